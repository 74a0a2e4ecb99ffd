#pragma once

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "PulseConnection.h"
#include "Reply.h"
#include "TakePipe.h"

namespace kelvane {

/// The default source of the sound server for one take, mono at `soundSampleRate`. Lives on the connection's thread but
/// for `beginAt`.
class PulseCapture final : public PulseClient {
public:
    /// `vanished` is called on the main thread when the source or the server goes in the midst of the take, which is
    /// then closed.
    PulseCapture(PulseConnection& connection, std::shared_ptr<TakePipe> pipe, std::function<void()> vanished);

    /// Opens the source, and tells whether it is there.
    void open(Reply<bool> opened);
    /// Lets it run, and tells whether anything comes of it.
    void listen(Reply<bool> heard);
    /// From this moment on, of MainContext::now, what is captured belongs to the take. The main thread, once.
    void beginAt(std::chrono::nanoseconds moment) { begin_ = moment.count(); }
    /// What was captured up to `moment` belongs to the take; it is closed as soon as that has come.
    void finish(std::chrono::nanoseconds moment);
    /// Closes the take and lets go of the source.
    void leave();

    void serverChanged() override {}
    void serverWent() override;

private:
    struct Block {
        std::vector<float> samples;
        /// Of the stream's samples, its first.
        std::int64_t first = 0;
    };

    void stateChanged();
    void read();
    void take(Block block);
    void push(const Block& block);
    void listenToClock();
    [[nodiscard]] std::int64_t sampleAt(std::chrono::nanoseconds moment) const;
    void ask();
    void answer(std::optional<Reply<bool>>& reply, bool value);
    void vanish();

    PulseConnection& connection_;
    MainContext& context_;
    std::shared_ptr<TakePipe> pipe_;
    std::function<void()> vanished_;
    pa_stream* stream_ = nullptr;
    pa_time_event* patience_ = nullptr;
    std::optional<Reply<bool>> opened_;
    std::optional<Reply<bool>> heard_;
    pa_time_event* timing_ = nullptr;
    /// Samples that the stream has given.
    std::int64_t count_ = 0;
    /// Which sample was captured when.
    std::optional<std::pair<std::int64_t, std::chrono::nanoseconds>> clock_;
    /// Captured, but not yet known whether before the beginning.
    std::deque<Block> early_;
    bool hasBegun_ = false;
    /// Nanoseconds; negative before the take begins.
    std::atomic<std::int64_t> begin_ = -1;
    std::optional<std::chrono::nanoseconds> end_;
};

}  // namespace kelvane
