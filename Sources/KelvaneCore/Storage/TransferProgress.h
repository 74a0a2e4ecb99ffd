#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace kelvane {

/// How far an operation is that copies files. Sizes are the files' lengths, holes included. The totals are known before
/// the first copy where the operation knows its files beforehand; otherwise they grow with each file.
struct TransferProgress {
    std::int64_t bytes = 0;
    std::int64_t totalBytes = 0;
    std::size_t items = 0;
    std::size_t totalItems = 0;

    bool operator==(const TransferProgress&) const = default;
};

/// Told of the progress on the thread that copies: once with the totals before the first copy, then about every 4 MiB
/// at most, and after each file. Empty where nobody listens.
using ProgressReport = std::function<void(const TransferProgress&)>;

}  // namespace kelvane
