#pragma once

#include <functional>

namespace kelvane::testing {

/// Counts the packets that are read from MP4 and QuickTime files, whoever reads them: the library tells about each one
/// in its log before it takes it from the file. One watch at a time; made and ended on the test's thread.
class PacketWatch {
public:
    /// `read` gets the number of each packet, 1 and up, on the thread that is about to read it, which goes on once
    /// `read` returns. Of a file's tracks the first one counts, and so each pass over a file counts alike.
    explicit PacketWatch(std::function<void(int number)> read = {});
    PacketWatch(const PacketWatch&) = delete;
    PacketWatch& operator=(const PacketWatch&) = delete;
    /// A thread that is left behind may read on; nobody hears of it.
    ~PacketWatch();

    /// Packets that were read up to now. Any thread.
    [[nodiscard]] int count() const;
};

}  // namespace kelvane::testing
