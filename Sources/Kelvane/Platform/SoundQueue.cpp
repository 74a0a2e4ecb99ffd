#include "SoundQueue.h"

#include <algorithm>
#include <utility>

namespace kelvane {

namespace {
constexpr std::int64_t channels = 2;
}

SoundQueue::SoundQueue(std::int64_t capacity, std::function<void()> room)
    : ring_(static_cast<std::size_t>(std::max<std::int64_t>(capacity, 1) * channels)), room_(std::move(room)) {}

std::int64_t SoundQueue::write(std::span<const float> stereo) {
    const std::scoped_lock lock(mutex_);
    const auto capacity = static_cast<std::int64_t>(ring_.size()) / channels;
    const auto count = std::min(static_cast<std::int64_t>(stereo.size()) / channels, capacity - (written_ - taken_));
    for (std::int64_t i = 0; i < count * channels; ++i)
        ring_[static_cast<std::size_t>((written_ * channels + i) % (capacity * channels))] =
            stereo[static_cast<std::size_t>(i)];
    written_ += count;
    return count;
}

void SoundQueue::finish() {
    const std::scoped_lock lock(mutex_);
    finished_ = true;
}

std::int64_t SoundQueue::read(std::span<float> stereo) {
    std::int64_t count = 0;
    {
        const std::scoped_lock lock(mutex_);
        const auto capacity = static_cast<std::int64_t>(ring_.size()) / channels;
        const auto wanted = static_cast<std::int64_t>(stereo.size()) / channels;
        count = std::min(wanted, written_ - taken_);
        for (std::int64_t i = 0; i < count * channels; ++i)
            stereo[static_cast<std::size_t>(i)] =
                muted_ ? 0 : ring_[static_cast<std::size_t>((taken_ * channels + i) % (capacity * channels))];
        taken_ += count;
        if (count < wanted && !finished_) ++underruns_;
    }
    if (count > 0 && room_) room_();
    return count;
}

std::int64_t SoundQueue::held() const {
    const std::scoped_lock lock(mutex_);
    return written_ - taken_;
}

std::int64_t SoundQueue::room() const {
    const std::scoped_lock lock(mutex_);
    return static_cast<std::int64_t>(ring_.size()) / channels - (written_ - taken_);
}

std::int64_t SoundQueue::taken() const {
    const std::scoped_lock lock(mutex_);
    return taken_;
}

bool SoundQueue::isOver() const {
    const std::scoped_lock lock(mutex_);
    return finished_ && taken_ == written_;
}

std::int64_t SoundQueue::underruns() const {
    const std::scoped_lock lock(mutex_);
    return underruns_;
}

void SoundQueue::setMuted(bool muted) {
    const std::scoped_lock lock(mutex_);
    muted_ = muted;
}

}  // namespace kelvane
