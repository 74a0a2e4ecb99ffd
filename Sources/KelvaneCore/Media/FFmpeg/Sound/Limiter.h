#pragma once

#include <cstdint>
#include <deque>
#include <span>
#include <utility>
#include <vector>

namespace kelvane {

/// Keeps a stereo mix within -1…1. While it stays there by itself, samples pass through bit by bit; where it would go
/// beyond, the gain comes down over the 5 ms before the peak and goes up again over some 80 ms, on both channels alike,
/// so that nothing clicks and nothing overshoots. A plain value; one thread at a time.
class Limiter {
public:
    /// Samples that go in before the first one comes out: 5 ms at 48 kHz.
    static constexpr std::int64_t lookAhead = 240;
    /// Samples after which what went in no longer counts for what comes out: a limiter that begins so much earlier than
    /// the first sample that is used gives what one gives that heard all. A gain comes back to 1 within ln(10⁴) time
    /// constants, 35,363 samples; both windows come on top.
    static constexpr std::int64_t memory = 36'000;

    /// Takes interleaved stereo and appends what is finished to `out`. The output is the input's in place and number:
    /// no delay shows after `finish`.
    void process(std::span<const float> in, std::vector<float>& out);
    /// Appends the samples that were still held back. Afterwards the limiter is as new.
    void finish(std::vector<float>& out);

private:
    void push(float left, float right, float needed, std::vector<float>& out);

    std::deque<std::pair<float, float>> held_;
    /// Gains that samples need, as (position, gain), rising: the front is the least of the window.
    std::deque<std::pair<std::int64_t, float>> least_;
    /// The gains that are averaged to the one applied, with their sum and how many of them are not 1.
    std::deque<double> recent_;
    double sum_ = 0;
    std::int64_t reduced_ = 0;
    double released_ = 1;
    std::int64_t position_ = 0;
};

}  // namespace kelvane
