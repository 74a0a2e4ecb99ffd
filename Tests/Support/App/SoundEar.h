#pragma once

#include <pulse/pulseaudio.h>

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kelvane::testing {

/// Listens at a source of the server that PULSE_SERVER names, mono, 48 kHz, by a connection of its own: what it hears
/// has its time on the steady clock, the median of what the server's reports come to, as a busy machine delays some of
/// them. The calls may wait.
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
    /// Up to when it has heard anything at all; 0 before.
    [[nodiscard]] std::chrono::nanoseconds heardUntil() const;
    struct Heard {
        /// When the first sample was heard.
        std::chrono::nanoseconds from{0};
        std::vector<float> samples;
    };
    /// All that it has heard from a time on.
    [[nodiscard]] Heard heard(std::chrono::nanoseconds after) const;

private:
    void read();
    void listenToClock();
    /// When a sample was heard.
    [[nodiscard]] std::chrono::nanoseconds timeOf(std::size_t sample) const;

    pa_threaded_mainloop* loop_;
    pa_context* server_ = nullptr;
    pa_stream* stream_ = nullptr;
    mutable std::mutex mutex_;
    std::vector<float> samples_;
    /// When the first sample was played, as each report has it, in order.
    std::vector<std::chrono::nanoseconds> origins_;
    int reads_ = 0;
};

}  // namespace kelvane::testing
