#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "FakeMainContext.h"
#include "FakeStreams.h"
#include "Platform/SoundOutput.h"

namespace kelvane::testing {

/// A device on the simulated clock: it takes a stretch of the queue each few milliseconds, and that is heard a latency
/// later.
class FakeSoundOutput final : public SoundOutput {
public:
    explicit FakeSoundOutput(FakeMainContext& context) : context_(&context) {}

    /// From taking a sample to hearing it.
    std::chrono::nanoseconds latency = std::chrono::milliseconds(40);
    /// How much is taken at once; with none, nothing ever is.
    std::int64_t period = 480;
    /// How much faster than the clock its own runs, millionths.
    std::int64_t drift = 0;
    /// By how much its reports are off, in turn early and late.
    std::chrono::nanoseconds jitter{0};
    /// Takes nothing more, although it is there.
    bool isStuck = false;
    int starts = 0;
    int stops = 0;

    void start(std::shared_ptr<SoundQueue> queue) override {
        ++starts;
        endRun();
        queue_ = std::move(queue);
        if (isAvailable_ && period > 0) take();
    }
    void stop() override {
        ++stops;
        endRun();
    }
    [[nodiscard]] std::optional<SoundMoment> moment() const override {
        const auto* stretch = heardNow();
        if (!isAvailable_ || !stretch) return std::nullopt;
        reports_ = reports_ + 1;
        const auto off = reports_ % 2 == 0 ? jitter : -jitter;
        const auto into = std::min(samplesIn(context_->now() - stretch->at), stretch->count);
        return SoundMoment{stretch->first + into, context_->now() + off};
    }
    [[nodiscard]] bool isAvailable() const override { return isAvailable_; }
    void setAvailabilityObserver(std::function<void()> observer) override { observer_ = std::move(observer); }

    /// The device goes, with what was on its way, or comes.
    void setAvailable(bool available) {
        isAvailable_ = available;
        if (!available) endRun();
        const auto observer = observer_;
        if (observer) observer();
    }
    [[nodiscard]] bool isObserved() const { return static_cast<bool>(observer_); }
    /// Whether anything is or will be heard.
    [[nodiscard]] bool isPlaying() const { return queue_ != nullptr; }
    /// What the ear hears now: a sample of the item, as it says itself; none in silence.
    [[nodiscard]] std::optional<std::int64_t> heard() const {
        const auto* stretch = heardNow();
        if (!stretch) return std::nullopt;
        const auto into = samplesIn(context_->now() - stretch->at);
        if (into >= stretch->count) return std::nullopt;
        const auto place = static_cast<std::size_t>(into) * 2;
        return FakeSoundStream::sampleOf(stretch->samples[place], stretch->samples[place + 1]);
    }

private:
    struct Stretch {
        std::chrono::nanoseconds at{0};
        std::int64_t first = 0;
        std::int64_t count = 0;
        std::vector<float> samples;
    };

    static constexpr std::int64_t second = 1'000'000'000;
    [[nodiscard]] std::int64_t samplesIn(std::chrono::nanoseconds time) const {
        return time.count() * soundSampleRate / second * (1'000'000 + drift) / 1'000'000;
    }
    [[nodiscard]] const Stretch* heardNow() const {
        const Stretch* heard = nullptr;
        for (const Stretch& stretch : stretches_)
            if (stretch.at <= context_->now()) heard = &stretch;
        return heard;
    }
    void take() {
        std::vector<float> samples(static_cast<std::size_t>(period) * 2);
        const auto first = queue_->taken();
        const auto count = isStuck ? 0 : queue_->read(samples);
        const auto now = context_->now();
        if (count > 0) stretches_.push_back({now + latency, first, count, std::move(samples)});
        while (stretches_.size() > 1 && stretches_[1].at <= now) stretches_.pop_front();
        // The next stretch joins this one to the nanosecond, which a whole number of milliseconds can't say.
        owed_ += std::chrono::nanoseconds(period * second / soundSampleRate * 1'000'000 / (1'000'000 + drift));
        const auto wait = std::max(std::chrono::milliseconds(1), std::chrono::floor<std::chrono::milliseconds>(owed_));
        owed_ -= wait;
        timer_ = context_->after(wait, [this] { take(); });
    }
    void endRun() {
        timer_.cancel();
        queue_ = nullptr;
        stretches_.clear();
        owed_ = {};
    }

    FakeMainContext* context_;
    std::shared_ptr<SoundQueue> queue_;
    std::deque<Stretch> stretches_;
    std::chrono::nanoseconds owed_{0};
    Timer timer_;
    bool isAvailable_ = true;
    mutable std::int64_t reports_ = 0;
    std::function<void()> observer_;
};

}  // namespace kelvane::testing
