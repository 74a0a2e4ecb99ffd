#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

namespace kelvane {

/// Interleaved stereo between the thread that makes sound and the one that plays it: a ring of fixed size. One thread
/// writes, one reads, any may ask.
class SoundQueue {
public:
    /// `room` is called on the reader's thread after samples were taken, and must not block.
    SoundQueue(std::int64_t capacity, std::function<void()> room);

    /// Puts samples in, as far as there is room; how many frames it took. The writer.
    std::int64_t write(std::span<const float> stereo);
    /// The device ran dry although more will come. The reader.
    void countUnderrun();
    /// Nothing will be written any more. The writer.
    void finish();
    /// Takes up to `out.size() / 2` frames; how many there were. Muted ones come as silence. The reader.
    std::int64_t read(std::span<float> stereo);

    /// Frames.
    [[nodiscard]] std::int64_t held() const;
    [[nodiscard]] std::int64_t room() const;
    /// Frames taken so far.
    [[nodiscard]] std::int64_t taken() const;
    /// Whether all that will come was taken.
    [[nodiscard]] bool isOver() const;
    /// Reads that found fewer frames than they asked for although more will come, and times that the device ran dry.
    [[nodiscard]] std::int64_t underruns() const;
    void setMuted(bool muted);

private:
    /// Where the ring holds `frame`, and how many of `count` frames from there lie before its edge.
    [[nodiscard]] std::pair<std::int64_t, std::int64_t> stretchAt(std::int64_t frame, std::int64_t count) const;

    mutable std::mutex mutex_;
    std::vector<float> ring_;
    std::int64_t written_ = 0;
    std::int64_t taken_ = 0;
    std::int64_t underruns_ = 0;
    bool finished_ = false;
    bool muted_ = false;
    std::function<void()> room_;
};

}  // namespace kelvane
