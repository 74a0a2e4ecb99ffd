#pragma once

#include <cstdint>
#include <stop_token>
#include <string>

#include "Storage/TransferProgress.h"
#include "Support/UUID.h"

namespace kelvane {

/// Work on a whole project that is under way: what a window shows of it, and how it is stopped. The main thread, but
/// for the stop.
struct ProjectWork {
    enum class Kind : std::uint8_t { opening, importing, duplicating, deleting, drawing };

    Kind kind = Kind::opening;
    /// The project that is worked on; a fresh id for one that is only being made.
    UUID projectID;
    std::string name;
    /// Zeros until it is known; a deletion counts files alone, a drawing pictures.
    TransferProgress progress;
    std::stop_source stop;
};

}  // namespace kelvane
