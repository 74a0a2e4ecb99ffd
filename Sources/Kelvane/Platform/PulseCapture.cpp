#include "PulseCapture.h"

#include <algorithm>
#include <utility>

namespace kelvane {

namespace {

using namespace std::chrono_literals;

/// How much comes at a time: meters look every 30 ms.
constexpr std::chrono::milliseconds fragment = 20ms;
/// How long the end of a take is waited for. A source that answers at all is not that late.
constexpr std::chrono::milliseconds endPatience = 500ms;
/// How often the server is asked what is captured: the clock of a device drifts by less than a sample meanwhile.
constexpr std::chrono::milliseconds timings = 100ms;
/// Blocks of before the beginning that are kept: a source may be told to be that late, or early.
constexpr std::size_t earlyBlocks = 25;

std::int64_t samplesIn(std::chrono::nanoseconds time) { return time.count() * soundSampleRate / 1'000'000'000; }

}  // namespace

PulseCapture::PulseCapture(PulseConnection& connection, std::shared_ptr<TakePipe> pipe, std::function<void()> vanished)
    : connection_(connection), context_(connection.context()), pipe_(std::move(pipe)), vanished_(std::move(vanished)) {}

void PulseCapture::open(Reply<bool> opened) {
    opened_ = std::move(opened);
    if (connection_.server() == nullptr) return vanish();
    const pa_sample_spec format{PA_SAMPLE_FLOAT32NE, soundSampleRate, 1};
    stream_ = newStream(connection_.server(), "Voice Over", "production", format);
    if (stream_ == nullptr) return vanish();
    pa_stream_set_state_callback(
        stream_, [](pa_stream*, void* self) { static_cast<PulseCapture*>(self)->stateChanged(); }, this);
    pa_stream_set_read_callback(
        stream_, [](pa_stream*, std::size_t, void* self) { static_cast<PulseCapture*>(self)->read(); }, this);
    pa_stream_set_latency_update_callback(
        stream_, [](pa_stream*, void* self) { static_cast<PulseCapture*>(self)->listenToClock(); }, this);
    constexpr auto byItself = static_cast<std::uint32_t>(-1);
    const auto bytes = static_cast<std::uint32_t>(fragment.count() * soundSampleRate / 1000 * 4);
    const pa_buffer_attr buffer{byItself, byItself, byItself, byItself, bytes};
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_START_CORKED | PA_STREAM_ADJUST_LATENCY);
    if (pa_stream_connect_record(stream_, nullptr, &buffer, flags) < 0) vanish();
}

void PulseCapture::stateChanged() {
    const pa_stream_state_t state = pa_stream_get_state(stream_);
    if (!PA_STREAM_IS_GOOD(state)) return vanish();
    if (state == PA_STREAM_READY) answer(opened_, true);
}

void PulseCapture::listen(Reply<bool> heard) {
    heard_ = std::move(heard);
    if (stream_ == nullptr) return answer(heard_, false);
    if (pa_operation* operation = pa_stream_cork(stream_, 0, nullptr, nullptr)) pa_operation_unref(operation);
    ask();
}

void PulseCapture::ask() {
    connection_.cancelTimer(timing_);
    askForTiming(stream_);
    timing_ = connection_.startTimer(timings, [](void* self) { static_cast<PulseCapture*>(self)->ask(); }, this);
}

void PulseCapture::listenToClock() {
    const pa_timing_info* timing = pa_stream_get_timing_info(stream_);
    if (timing == nullptr || timing->write_index_corrupt != 0) return;
    // What the device holds is behind what was written; a monitor hears a sink's sound before it is played.
    const auto given = timing->write_index / static_cast<std::int64_t>(sizeof(float));
    const std::chrono::nanoseconds held = std::chrono::microseconds(timing->source_usec);
    const std::chrono::nanoseconds ahead = std::chrono::microseconds(timing->sink_usec);
    clock_ = {given + samplesIn(held) - samplesIn(ahead), timeOf(*timing, context_)};
}

std::int64_t PulseCapture::sampleAt(std::chrono::nanoseconds moment) const {
    return clock_->first + samplesIn(moment - clock_->second);
}

void PulseCapture::read() {
    // The take's last block lets go of the stream.
    while (stream_ != nullptr && pa_stream_readable_size(stream_) > 0) {
        const void* data = nullptr;
        std::size_t bytes = 0;
        if (pa_stream_peek(stream_, &data, &bytes) < 0 || bytes == 0) return;
        Block block{std::vector<float>(bytes / sizeof(float)), count_};
        count_ += static_cast<std::int64_t>(block.samples.size());
        // Without data it is a hole, which keeps its length.
        const auto* samples = static_cast<const float*>(data);
        if (samples != nullptr) std::copy_n(samples, block.samples.size(), block.samples.begin());
        pa_stream_drop(stream_);
        answer(heard_, true);
        take(std::move(block));
    }
}

void PulseCapture::take(Block block) {
    if (hasBegun_) return push(block);
    early_.push_back(std::move(block));
    const std::chrono::nanoseconds begin(begin_.load());
    if (begin < 0ns || !clock_) {
        if (early_.size() > earlyBlocks) early_.pop_front();
        return;
    }
    const std::int64_t first = sampleAt(begin);
    for (Block& early : std::exchange(early_, {})) {
        const auto count = static_cast<std::int64_t>(early.samples.size());
        const auto before = hasBegun_ ? 0 : std::clamp<std::int64_t>(first - early.first, 0, count);
        if (before == count) continue;
        hasBegun_ = true;
        early.samples.erase(early.samples.begin(), early.samples.begin() + before);
        early.first += before;
        push(early);
    }
}

void PulseCapture::push(const Block& block) {
    if (pipe_ == nullptr) return;
    const std::span<const float> samples(block.samples);
    const auto count = static_cast<std::int64_t>(samples.size());
    const auto kept = end_ ? std::clamp<std::int64_t>(sampleAt(*end_) - block.first, 0, count) : count;
    pipe_->push(samples.first(static_cast<std::size_t>(kept)));
    if (kept < count) leave();
}

void PulseCapture::finish(std::chrono::nanoseconds moment) {
    if (stream_ == nullptr) return;
    end_ = moment;
    connection_.cancelTimer(patience_);
    patience_ =
        connection_.startTimer(endPatience, [](void* self) { static_cast<PulseCapture*>(self)->leave(); }, this);
}

void PulseCapture::leave() {
    const std::shared_ptr<TakePipe> pipe = std::exchange(pipe_, nullptr);
    if (pipe == nullptr) return;
    connection_.cancelTimer(patience_);
    connection_.cancelTimer(timing_);
    releaseStream(stream_);
    pipe->close();
    answer(opened_, false);
    answer(heard_, false);
    // May be the end of this object.
    connection_.remove(*this);
}

void PulseCapture::vanish() {
    if (pipe_ == nullptr) return;
    // Before the end of the take is told.
    context_.post(vanished_);
    leave();
}

void PulseCapture::serverWent() { vanish(); }

void PulseCapture::answer(std::optional<Reply<bool>>& reply, bool value) {
    if (!reply) return;
    context_.post([reply = *std::exchange(reply, std::nullopt), value] { reply.give(value); });
}

}  // namespace kelvane
