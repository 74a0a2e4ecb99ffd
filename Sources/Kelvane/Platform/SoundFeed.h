#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>

#include "MainContext.h"
#include "Media/MediaStreams.h"
#include "SoundQueue.h"

namespace kelvane {

/// Renders the sound of one item into queues on the playback lane, as a device takes it: a few hundred milliseconds
/// ahead and no more, and never on the main thread. From the first failure of a run on, the rest of it is silent.
/// `begin` and `end` on the main thread.
class SoundFeed : public std::enable_shared_from_this<SoundFeed> {
public:
    /// Of `stream`, whose item ends before sample `end`. `context` outlives its works.
    static std::shared_ptr<SoundFeed> make(MainContext& context, std::unique_ptr<SoundStream> stream, std::int64_t end);

    /// Begins a run at sample `first`; an earlier one ends. `ready` is called on the main thread once enough is there
    /// to start a device with.
    std::shared_ptr<SoundQueue> begin(std::int64_t first, bool muted, std::function<void()> ready);
    /// Ends the run: nothing more is rendered.
    void end();

private:
    struct Run {
        std::shared_ptr<SoundQueue> queue;
        std::int64_t next = 0;
        std::stop_source stop;
        std::function<void()> ready;
        bool silent = false;
    };
    /// What a device rings at to have more rendered; it holds no stream, so that none ever ends on the device's thread.
    struct Bell;

    SoundFeed(MainContext& context, std::unique_ptr<SoundStream> stream, std::int64_t end)
        : context_(&context), stream_(std::move(stream)), end_(end) {}
    void render();
    /// The run that wants its next block now. Takes the right to render, which ends when there is none.
    std::shared_ptr<Run> wanting(bool beginning);
    void renderBlock(Run& run);

    MainContext* context_;
    std::unique_ptr<SoundStream> stream_;
    const std::int64_t end_;
    /// Guards `run_` and `rendering_`; a run's own fields belong to the thread that renders.
    std::mutex mutex_;
    std::shared_ptr<Run> run_;
    bool rendering_ = false;
};

}  // namespace kelvane
