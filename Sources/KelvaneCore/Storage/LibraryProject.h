#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Support/Error.h"
#include "Support/FileURL.h"
#include "Support/UUID.h"

namespace kelvane {

/// The moment from which a row's dates count, 2001-01-01 00:00:00 UTC, in seconds since 1970-01-01 00:00:00 UTC.
inline constexpr double referenceDate = 978307200;

/// One row of the library. A plain value.
struct LibraryProject {
    UUID id;
    /// Shown to the user; any text that is not blank.
    std::string name;
    /// Time of the last update, seconds since `referenceDate`.
    double modified = 0;
    /// Timeline length at the last update, seconds.
    double duration = 0;
    /// The outside project file from which this project was made.
    std::optional<FileURL> importedFrom;

    bool operator==(const LibraryProject&) const = default;
};

/// "Metadata.json": the byte form of the project document.
Result<std::string> encodeLibraryProject(const LibraryProject& row);
Result<LibraryProject> decodeLibraryProject(std::string_view json);

}  // namespace kelvane
