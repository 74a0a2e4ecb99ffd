#pragma once

#include <array>
#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "NumberedFootage.h"
#include "PictureEye.h"
#include "Support/App/SoundEar.h"

namespace kelvane::testing {

/// What an ear heard of one lane's tones. Seconds.
struct HeardTones {
    /// When the timeline's zero sounded, on the steady clock.
    std::chrono::nanoseconds zero{0};
    /// The furthest that a tone was from its place.
    double worstPlace = 0;
    /// The furthest that one's frequency was from its own, Hz.
    double worstPitch = 0;
    /// The quietest and the loudest of them.
    double leastAmplitude = 0;
    double mostAmplitude = 0;
};

/// How near the pictures came to the sound that was heard with them, milliseconds; late is positive.
struct Closeness {
    int shown = 0;
    /// Of each third of the play, as a busy machine shows frames late and none early.
    std::array<double, 3> soonest{};
    double median = 0;
    /// So early, and so late, at least one was.
    double earliest = 0;
    double latest = 0;
};

/// What is wrong with the pictures of one play, in words: one that is none of the timeline's, or one before another
/// that it follows. Empty when all is as it should be, whatever came late or not at all.
std::string pictureFault(const std::vector<Sight>& sights, const NumberedTimeline& timeline);

/// What is wrong with the sound of one play, in words: a tone of a lane that isn't the timeline's. Empty when all is as
/// it should be, whatever is missing.
std::string soundFault(const SoundEar::Heard& heard, const std::vector<ExpectedTone>& tones);

/// The same, and one before another that it follows, as where a player that was held up takes its sound up again.
std::string orderFault(const SoundEar::Heard& heard, const std::vector<ExpectedTone>& tones);

/// Measures the tones of a play that began to sound at about `zero`. Those of less than 0.06 s are too short for it.
HeardTones measure(const SoundEar::Heard& heard, const std::vector<ExpectedTone>& tones, std::chrono::nanoseconds zero);

/// The longest stretch between two times in which nothing sounded, seconds.
double longestHole(const SoundEar::Heard& heard, std::chrono::nanoseconds from, std::chrono::nanoseconds until);

Closeness closeness(const std::vector<Sight>& sights, const NumberedTimeline& timeline, std::chrono::nanoseconds zero);

/// How loud a frequency is in a stretch of what was heard, as the amplitude of a sine; seconds of the stretch.
double amplitudeOf(const SoundEar::Heard& heard, double frequency, double from, double until);

/// Where a frequency begins and ends to sound at half of its loudness, seconds of what was heard; nothing where it
/// isn't heard.
std::optional<std::pair<double, double>> stretchOf(const SoundEar::Heard& heard, double frequency);

/// What `part` of the values are no greater than, 0.5 for the median; they must not be none.
double quantile(std::vector<double> values, double part);

}  // namespace kelvane::testing
