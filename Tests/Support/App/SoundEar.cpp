#include "SoundEar.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace kelvane::testing {

namespace {

constexpr std::int64_t rate = 48000;
/// Blocks, of 10 ms, between two reports that are asked for.
constexpr int blocksPerReport = 5;

std::chrono::nanoseconds lengthOf(std::size_t samples) {
    return std::chrono::nanoseconds(static_cast<std::int64_t>(samples) * 1'000'000'000 / rate);
}

}  // namespace

SoundEar::SoundEar(const std::string& source) : loop_(pa_threaded_mainloop_new()) {
    const auto wake = [](auto*, void* loop) {
        pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(loop), 0);
    };
    pa_threaded_mainloop_start(loop_);
    pa_threaded_mainloop_lock(loop_);
    server_ = pa_context_new(pa_threaded_mainloop_get_api(loop_), "ear");
    pa_context_set_state_callback(server_, wake, loop_);
    pa_context_connect(server_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
    while (PA_CONTEXT_IS_GOOD(pa_context_get_state(server_)) && pa_context_get_state(server_) != PA_CONTEXT_READY)
        pa_threaded_mainloop_wait(loop_);
    if (pa_context_get_state(server_) == PA_CONTEXT_READY) {
        const pa_sample_spec format{PA_SAMPLE_FLOAT32NE, rate, 1};
        stream_ = pa_stream_new(server_, "ear", &format, nullptr);
        pa_stream_set_state_callback(stream_, wake, loop_);
        pa_stream_set_read_callback(
            stream_, [](pa_stream*, std::size_t, void* self) { static_cast<SoundEar*>(self)->read(); }, this);
        pa_stream_set_latency_update_callback(
            stream_, [](pa_stream*, void* self) { static_cast<SoundEar*>(self)->listenToClock(); }, this);
        constexpr auto byItself = static_cast<std::uint32_t>(-1);
        const pa_buffer_attr buffer{byItself, byItself, byItself, byItself, rate / 100 * 4};
        const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
        pa_stream_connect_record(stream_, source.c_str(), &buffer, flags);
        while (PA_STREAM_IS_GOOD(pa_stream_get_state(stream_)) && pa_stream_get_state(stream_) != PA_STREAM_READY)
            pa_threaded_mainloop_wait(loop_);
    }
    pa_threaded_mainloop_unlock(loop_);
}

SoundEar::~SoundEar() {
    pa_threaded_mainloop_stop(loop_);
    if (stream_ != nullptr) {
        pa_stream_disconnect(stream_);
        pa_stream_unref(stream_);
    }
    pa_context_disconnect(server_);
    pa_context_unref(server_);
    pa_threaded_mainloop_free(loop_);
}

void SoundEar::read() {
    while (pa_stream_readable_size(stream_) > 0) {
        const void* data = nullptr;
        std::size_t bytes = 0;
        if (pa_stream_peek(stream_, &data, &bytes) < 0 || bytes == 0) return;
        {
            const std::scoped_lock lock(mutex_);
            samples_.resize(samples_.size() + bytes / sizeof(float));
            if (data != nullptr) std::memcpy(samples_.data() + samples_.size() - bytes / sizeof(float), data, bytes);
        }
        pa_stream_drop(stream_);
        if (reads_++ % blocksPerReport != 0) continue;
        if (pa_operation* asked = pa_stream_update_timing_info(stream_, nullptr, nullptr)) pa_operation_unref(asked);
    }
}

void SoundEar::listenToClock() {
    const pa_timing_info* timing = pa_stream_get_timing_info(stream_);
    if (timing == nullptr || timing->write_index_corrupt != 0 || timing->write_index <= 0) return;
    timeval wall;
    pa_gettimeofday(&wall);
    const auto age = static_cast<std::int64_t>(pa_timeval_diff(&wall, &timing->timestamp));
    // A monitor gives a sample before it is played.
    const std::chrono::microseconds ahead(static_cast<std::int64_t>(timing->sink_usec) -
                                          static_cast<std::int64_t>(timing->source_usec) - age);
    const auto given = lengthOf(static_cast<std::size_t>(timing->write_index) / sizeof(float));
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    const std::scoped_lock lock(mutex_);
    const auto origin = now + ahead - given;
    origins_.insert(std::ranges::upper_bound(origins_, origin), origin);
}

std::chrono::nanoseconds SoundEar::timeOf(std::size_t sample) const {
    return origins_[origins_.size() / 2] + lengthOf(sample);
}

std::optional<std::chrono::nanoseconds> SoundEar::loudSince(std::chrono::nanoseconds after, double level) const {
    const std::scoped_lock lock(mutex_);
    if (origins_.empty()) return std::nullopt;
    for (std::size_t i = 0; i < samples_.size(); ++i)
        if (std::abs(samples_[i]) > level && timeOf(i) >= after) return timeOf(i);
    return std::nullopt;
}

std::optional<std::chrono::nanoseconds> SoundEar::lastLoud(double level) const {
    const std::scoped_lock lock(mutex_);
    if (origins_.empty()) return std::nullopt;
    for (std::size_t i = samples_.size(); i-- > 0;)
        if (std::abs(samples_[i]) > level) return timeOf(i);
    return std::nullopt;
}

std::chrono::nanoseconds SoundEar::heardUntil() const {
    const std::scoped_lock lock(mutex_);
    return origins_.empty() ? std::chrono::nanoseconds(0) : timeOf(samples_.size());
}

SoundEar::Heard SoundEar::heard(std::chrono::nanoseconds after) const {
    const std::scoped_lock lock(mutex_);
    if (origins_.empty()) return {};
    const auto passed = std::max(after - timeOf(0), std::chrono::nanoseconds(0));
    const auto first = std::min(samples_.size(), static_cast<std::size_t>(passed.count() * rate / 1'000'000'000));
    return {timeOf(first), {samples_.begin() + static_cast<std::ptrdiff_t>(first), samples_.end()}};
}

}  // namespace kelvane::testing
