#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "Error.h"

namespace kelvane {

/// Reads a whole regular file. A folder, a device or a missing file fails in words that name the file. Reads
/// at most `limit` bytes; a larger file fails. Any thread.
Result<std::string> readFile(const std::string& path, std::size_t limit = std::size_t{1} << 30);

/// How the names of half-written files begin; a UUID follows. One whose writer was killed stays until it is swept.
inline constexpr std::string_view temporaryFilePrefix = ".kelvane-";

/// Whether a write waits for the disk. What only the running system needs to find is not worth the wait.
enum class Durability : std::uint8_t { synced, unsynced };

/// Replaces the file at `path` by `data`, whole and durably: a temporary file in the same folder is written,
/// synced and renamed over `path`, and then the folder is synced. On failure the old file stays as it was and
/// no temporary file is left. A folder that fails to sync in the end is no failure: the new file is there. `mode`,
/// less the process's mask, is the permission of a file that did not exist; an existing file's permission is kept.
/// Where `path` is a link, its target is replaced and the link stays; a folder, pipe or device is refused.
/// Any thread; blocks for the length of the syncs. With `Durability::unsynced` the same without the syncs: whole or not
/// there for every reader, but gone or torn after a power cut.
Result<void> writeFileAtomically(const std::string& path, std::string_view data, unsigned mode = 0644,
                                 Durability durability = Durability::synced);

/// Whether something is at `path`, links followed; false for what can't be asked for. Any thread.
bool fileExists(const std::string& path);

/// Removes the half-written files in `folder` whose writers are gone. Those of living ones, here or in another process,
/// are left alone: they are locked.
void removeHalfWrittenFiles(const std::string& folder);

/// Names of the entries of a folder, without "." and "..", in the order that the system lists them; none when it can't
/// be read.
std::vector<std::string> folderEntries(const std::string& path);
/// The same, but nothing when it can't be read.
std::optional<std::vector<std::string>> readableEntries(const std::string& path);

/// Told how many of how many files are removed.
using RemovalReport = std::function<void(std::size_t removed, std::size_t total)>;
/// Removes a folder with everything in it, or whatever else is at `path`; nothing there is no failure. Links are
/// removed and not followed. Answers what kept the folder from going. `report`, where there is one, is told before the
/// first file, about a hundred times on the way and at the end; the files are counted for it beforehand.
std::error_code removeFolder(const std::string& path, const RemovalReport& report = {});

/// Makes the folder at `path` with all the folders above it; one that is there already is fine, and new
/// names are synced.
Result<void> makeFolders(const std::string& path);

/// Syncs the folder at `path`, so that renames in it last through a power cut.
Result<void> syncFolder(const std::string& path);

}  // namespace kelvane
