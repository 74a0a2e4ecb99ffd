#pragma once

#include <pulse/pulseaudio.h>

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kelvane::testing {

/// Listens at a source of the server that PULSE_SERVER names, mono, 48 kHz, by a connection of its own: what it hears
/// has its time on the steady clock, taken from the arrival of what came with the least delay. The calls may wait.
class SoundEar {
public:
    explicit SoundEar(const std::string& source = "ears.monitor");
    ~SoundEar();
    SoundEar(const SoundEar&) = delete;
    SoundEar& operator=(const SoundEar&) = delete;

    /// When the first sample of more than `level` was heard, at `after` or later.
    [[nodiscard]] std::optional<std::chrono::nanoseconds> loudSince(std::chrono::nanoseconds after,
                                                                    double level = 0.1) const;
    /// When the last one was.
    [[nodiscard]] std::optional<std::chrono::nanoseconds> lastLoud(double level = 0.1) const;
    /// Up to when it has heard anything at all.
    [[nodiscard]] std::chrono::nanoseconds heardUntil() const;

private:
    void read();
    /// When a sample was heard: one block at least came at the moment at which its first sample was played.
    [[nodiscard]] std::chrono::nanoseconds timeOf(std::size_t sample) const;

    pa_threaded_mainloop* loop_;
    pa_context* server_ = nullptr;
    pa_stream* stream_ = nullptr;
    mutable std::mutex mutex_;
    std::vector<float> samples_;
    /// Of the first sample.
    std::chrono::nanoseconds origin_ = std::chrono::nanoseconds::max();
};

}  // namespace kelvane::testing
