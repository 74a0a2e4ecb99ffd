#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Clip.h"
#include "Support/Error.h"

namespace kelvane {

/// The persisted document: a timeline and its media pool. A plain value.
struct Project {
    /// Format version; 1 is the only one.
    std::int64_t version = 1;
    /// The timeline's occurrences: video in play order, audio anywhere among them.
    std::vector<Clip> clips;
    /// The media pool; a document may lack it.
    std::optional<std::vector<Clip>> assets;
    /// The media folder at the time of the save.
    std::optional<FileURL> mediaRoot;

    bool operator==(const Project&) const = default;
};

/// The document's JSON: sorted keys, two blanks of indentation, escaped slashes, shortest numbers, no line break
/// at the end. Fails when a number is not finite.
Result<std::string> encodeProject(const Project& project);
/// Reads a document. Strict about presence and types, lenient about order and unknown keys; no range is tested.
Result<Project> decodeProject(std::string_view json);

}  // namespace kelvane
