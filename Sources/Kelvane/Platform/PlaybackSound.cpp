#include "PlaybackSound.h"

#include <algorithm>
#include <utility>

namespace kelvane {

namespace {

/// What wireless devices take at the most; more is a report that isn't to be trusted.
constexpr std::chrono::nanoseconds greatestLatency = std::chrono::milliseconds(500);
constexpr std::int64_t nanosecondsInSecond = 1'000'000'000;

std::int64_t sampleAt(std::chrono::nanoseconds position) {
    return static_cast<std::int64_t>(static_cast<__int128>(position.count()) * soundSampleRate / nanosecondsInSecond);
}

std::chrono::nanoseconds positionOf(std::int64_t sample) {
    const auto nanoseconds = static_cast<__int128>(sample) * nanosecondsInSecond / soundSampleRate;
    return std::chrono::nanoseconds(static_cast<std::int64_t>(nanoseconds));
}

bool sounds(const EditedMedia& media) {
    auto isSound = [](const CompositionTrack& track) {
        return track.type == MediaType::audio && !std::ranges::all_of(track.segments, &CompositionSegment::isEmpty);
    };
    return std::ranges::any_of(media.composition.tracks(), isSound);
}

}  // namespace

PlaybackSound::PlaybackSound(MainContext& context, std::shared_ptr<SoundOutput> output, MakeStream make)
    : context_(&context), output_(std::move(output)), make_(std::move(make)) {}

PlaybackSound::~PlaybackSound() { setItem(nullptr); }

void PlaybackSound::setItem(const EditedMediaPtr& item) {
    end();
    // A stream closes decoders and files when it ends, which takes its time.
    if (feed_) context_->runInBackground([feed = std::move(feed_)] {}, Lane::playback);
    feed_ = nullptr;
    if (!item || !output_ || !make_ || !sounds(*item)) return;
    end_ = (item->composition.duration()).floored(soundSampleRate).value;
    if (auto stream = make_(item)) feed_ = SoundFeed::make(*context_, std::move(stream), end_);
}

void PlaybackSound::prepare(Time position) {
    if (begun_ || observes_ || !feed_ || !output_->isAvailable()) return;
    const auto first = sampleAt(position);
    if (queue_ && first_ == first) return;
    endRun();
    if (first < end_) render(first);
}

bool PlaybackSound::begin(Time position) {
    const auto first = sampleAt(position);
    const bool isPrepared = queue_ && !begun_ && first_ == first;
    if (!isPrepared) endRun();
    if (!feed_) return false;
    if (!std::exchange(observes_, true)) output_->setAvailabilityObserver([this] { deviceChanged(); });
    if (first >= end_ || !output_->isAvailable()) return false;
    if (!isPrepared) render(first);
    begun_ = true;
    begunAt_ = context_->now();
    start();
    return true;
}

void PlaybackSound::render(std::int64_t first) {
    first_ = first;
    isHeard_ = false;
    auto tell = [this, run = ++run_, life = std::weak_ptr(life_)] {
        if (!life.expired()) ready(run);
    };
    queue_ = feed_->begin(first, muted_, std::move(tell));
}

void PlaybackSound::ready(std::uint64_t run) {
    if (run != run_ || !queue_) return;
    ready_ = true;
    start();
}

void PlaybackSound::start() {
    if (!begun_ || !ready_ || std::exchange(started_, true)) return;
    output_->start(queue_);
}

void PlaybackSound::end() {
    endRun();
    if (std::exchange(observes_, false)) output_->setAvailabilityObserver({});
}

void PlaybackSound::deviceChanged() {
    const bool isAvailable = output_->isAvailable();
    if (!isAvailable) endRun();
    if (onAvailability) onAvailability(isAvailable);
}

void PlaybackSound::endRun() {
    if (!queue_) return;
    begun_ = false;
    ready_ = false;
    if (std::exchange(started_, false)) output_->stop();
    feed_->end();
    formerUnderruns_ += queue_->underruns();
    queue_ = nullptr;
}

void PlaybackSound::setMuted(bool muted) {
    muted_ = muted;
    if (queue_) queue_->setMuted(muted);
}

std::optional<PlaybackSound::Heard> PlaybackSound::heard() {
    const auto moment = started_ ? output_->moment() : std::nullopt;
    if (!moment) return std::nullopt;
    if (!std::exchange(isHeard_, true))
        latency_ = std::clamp(moment->at - positionOf(moment->sample) - begunAt_, Time(0), greatestLatency);
    return Heard{positionOf(first_ + moment->sample), moment->at};
}

std::int64_t PlaybackSound::underruns() const { return formerUnderruns_ + (queue_ ? queue_->underruns() : 0); }

}  // namespace kelvane
