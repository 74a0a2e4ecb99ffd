#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "MainContext.h"
#include "Media/EditedMedia.h"
#include "Media/MediaStreams.h"
#include "SoundFeed.h"
#include "SoundOutput.h"

namespace kelvane {

/// The sound of a player's item on its way through a SoundOutput, in terms of the item's positions. The main thread.
class PlaybackSound {
public:
    using Time = std::chrono::nanoseconds;
    using MakeStream = std::function<std::unique_ptr<SoundStream>(EditedMediaPtr)>;

    /// A position of the item, and when it is heard.
    struct Heard {
        Time position{0};
        Time at{0};
    };

    /// `output` may be null. Where players share one, only one of them plays.
    PlaybackSound(MainContext& context, std::shared_ptr<SoundOutput> output, MakeStream make);
    PlaybackSound(const PlaybackSound&) = delete;
    PlaybackSound& operator=(const PlaybackSound&) = delete;
    ~PlaybackSound();

    /// Ends the run; nullptr leaves nothing to hear.
    void setItem(const EditedMediaPtr& item);
    /// Renders the first sound from `position` on, so that `begin` of it finds it there: what it takes to open sources
    /// isn't waited for when a person presses Play. Nothing between `begin` and `end`.
    void prepare(Time position);
    /// Begins to play from `position` on, on a device that is there or comes; an earlier run ends. Answers whether
    /// something will be heard: not without a device, without sound in the item, or at its end.
    bool begin(Time position);
    /// Stillness, at once.
    void end();
    void setMuted(bool muted);
    [[nodiscard]] bool isMuted() const { return muted_; }
    /// What is heard of the present run; none before its first sample.
    [[nodiscard]] std::optional<Heard> heard();
    /// From `begin` to the first sample heard, as it was in the last run, or as can be expected of a first one.
    [[nodiscard]] Time latency() const { return latency_; }
    /// Since the beginning of time, in all runs.
    [[nodiscard]] std::int64_t underruns() const;
    /// Called when a device has come, or has gone and the run with it, between `begin` and `end`. Calls neither `end`
    /// nor this object's end.
    std::function<void(bool isAvailable)> onAvailability;

private:
    void render(std::int64_t first);
    void ready(std::uint64_t run);
    void start();
    void endRun();
    void deviceChanged();

    MainContext* context_;
    std::shared_ptr<SoundOutput> output_;
    MakeStream make_;
    std::shared_ptr<SoundFeed> feed_;
    std::int64_t end_ = 0;
    std::shared_ptr<SoundQueue> queue_;
    bool muted_ = false;
    bool observes_ = false;
    std::uint64_t run_ = 0;
    /// Whether the run was begun and not only prepared, whether it has its first sound, and whether the output has it.
    bool begun_ = false;
    bool ready_ = false;
    bool started_ = false;
    std::int64_t first_ = 0;
    Time begunAt_{0};
    Time latency_{std::chrono::milliseconds(60)};
    /// Whether anything of the run was heard.
    bool isHeard_ = false;
    std::int64_t formerUnderruns_ = 0;
    std::shared_ptr<void> life_ = std::make_shared<int>();
};

}  // namespace kelvane
