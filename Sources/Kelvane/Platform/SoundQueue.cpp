#include "SoundQueue.h"

#include <algorithm>
#include <utility>

namespace kelvane {

namespace {
constexpr std::int64_t channels = 2;
}

SoundQueue::SoundQueue(std::int64_t capacity, std::function<void()> room)
    : ring_(static_cast<std::size_t>(std::max<std::int64_t>(capacity, 1) * channels)), room_(std::move(room)) {}

std::pair<std::int64_t, std::int64_t> SoundQueue::stretchAt(std::int64_t frame, std::int64_t count) const {
    const auto capacity = static_cast<std::int64_t>(ring_.size()) / channels;
    const auto place = frame % capacity;
    return {place, std::min(count, capacity - place)};
}

std::int64_t SoundQueue::write(std::span<const float> stereo) {
    const std::scoped_lock lock(mutex_);
    const auto capacity = static_cast<std::int64_t>(ring_.size()) / channels;
    const auto count = std::min(static_cast<std::int64_t>(stereo.size()) / channels, capacity - (written_ - taken_));
    const auto [place, first] = stretchAt(written_, count);
    std::copy_n(stereo.data(), first * channels, ring_.data() + place * channels);
    std::copy_n(stereo.data() + first * channels, (count - first) * channels, ring_.data());
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
        const auto wanted = static_cast<std::int64_t>(stereo.size()) / channels;
        count = std::min(wanted, written_ - taken_);
        const auto [place, first] = stretchAt(taken_, count);
        std::copy_n(ring_.data() + place * channels, first * channels, stereo.data());
        std::copy_n(ring_.data(), (count - first) * channels, stereo.data() + first * channels);
        if (muted_) std::fill_n(stereo.data(), count * channels, 0.0F);
        taken_ += count;
        if (count < wanted && !finished_) ++underruns_;
    }
    if (count > 0 && room_) room_();
    return count;
}

void SoundQueue::countUnderrun() {
    const std::scoped_lock lock(mutex_);
    ++underruns_;
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
