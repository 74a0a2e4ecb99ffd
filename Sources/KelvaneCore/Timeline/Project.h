#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Clip.h"

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

}  // namespace kelvane
