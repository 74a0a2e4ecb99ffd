#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace kelvane {

/// How long work still takes, from how far it was at which time. Nothing is told until enough of it has been seen, and
/// what is told falls steadily rather than jumping with each step. A plain value.
class RemainingTime {
public:
    /// Seen for less than this, a pace says nothing: encoders fill their buffers first.
    static constexpr std::chrono::seconds leastSeen{2};
    /// The same in parts of the whole.
    static constexpr double leastProgress = 0.03;
    /// The weight of the latest pace against all before it.
    static constexpr double newest = 0.2;

    /// The work is at `progress`, 0 to 1, at `now`. Progress that goes back begins anew.
    void note(double progress, std::chrono::nanoseconds now);
    /// What is left after the last of those; nothing where it can't be told, and at the end.
    [[nodiscard]] std::optional<std::chrono::duration<double>> left() const;

    /// For a person: "Less than 5 seconds left", "About 20 seconds left", "About 1 minute left", "About 2 hours left".
    static std::string text(std::chrono::duration<double> left);

private:
    struct Sample {
        double progress = 0;
        std::chrono::nanoseconds time{0};
    };

    std::optional<Sample> first_;
    Sample last_;
    /// Progress a second.
    std::optional<double> pace_;
};

}  // namespace kelvane
