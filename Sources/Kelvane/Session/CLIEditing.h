#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Support/Error.h"
#include "Timeline/Clip.h"

/// From the texts of the command interface to timelines, and the checks that every new timeline passes. Pure functions,
/// but for the question whether source files exist; any thread.
namespace kelvane::CLIEditing {

/// Content hash of what an edit depends on, and the lock that writes quote: "sha256:" and 64 hexadecimal digits. Takes
/// in the clips' identity, source, trim, framing, volume and lanes, and the assets' identity, source and length; leaves
/// out name, playhead, selection and `originalURL`. Zero of either sign counts alike.
std::string revision(std::span<const Clip> clips, std::span<const Clip> assets);

/// The timeline that a JSON array states against the present `assets` and `current` clips. An entry with a "clipID"
/// keeps that clip's identity, lane and place; all else that it leaves out goes back to its default. The first fault
/// found answers, in this order: size, syntax, shape, unknown fields and nulls, types, then entry by entry, and
/// `validate` last. Entries are counted from 1.
Result<std::vector<Clip>> resolve(std::string_view json, std::span<const Clip> assets, std::span<const Clip> current);

/// Refuses a timeline beyond `CLILimits` and one that holds an invalid clip.
Result<void> validate(std::span<const Clip> clips);
/// Refuses a timeline that uses a source file that isn't there; asked once it is valid. Asks the disk once for each
/// source, and is not for the main thread.
Result<void> checkSources(std::span<const Clip> clips);

/// Whether replacing `current` by `target` would change nothing that matters: fresh ids and a lane that was only
/// implied count as no change.
bool identical(std::span<const Clip> current, std::span<const Clip> target);

}  // namespace kelvane::CLIEditing
