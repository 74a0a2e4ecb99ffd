#include "PlaybackWitness.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kelvane::testing {

namespace {

constexpr double rate = 48000;
/// Too short to tell its tone from its neighbours'.
constexpr double shortestTone = 0.06;
/// How far from its place a tone is looked for, and in what steps, seconds.
constexpr double reach = 0.03;
constexpr double step = 0.001;
/// A stretch in which the order of tones is looked at.
constexpr double block = 0.04;

double secondsOf(std::chrono::nanoseconds time) { return std::chrono::duration<double>(time).count(); }

std::chrono::nanoseconds timeOf(double seconds) {
    return std::chrono::nanoseconds(std::llround(seconds * std::nano::den));
}

/// Where, from `guess` on, a tone sounds most.
double placeOf(const SoundEar::Heard& heard, double frequency, double guess, double length) {
    double best = guess;
    double most = 0;
    for (double at = guess - reach; at <= guess + reach; at += step) {
        const double loud = amplitudeOf(heard, frequency, at, at + length);
        if (loud <= most) continue;
        most = loud;
        best = at;
    }
    return best;
}

double pitchOf(const SoundEar::Heard& heard, double frequency, double from, double until) {
    double best = frequency;
    double most = 0;
    for (double tried = frequency - 20; tried <= frequency + 20; tried += 1) {
        const double loud = amplitudeOf(heard, tried, from, until);
        if (loud <= most) continue;
        most = loud;
        best = tried;
    }
    return best;
}

}  // namespace

double quantile(std::vector<double> values, double part) {
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size()));
    std::ranges::nth_element(values, at);
    return *at;
}

double amplitudeOf(const SoundEar::Heard& heard, double frequency, double from, double until) {
    const auto begin = static_cast<std::size_t>(std::max(std::lround(from * rate), 0L));
    const auto end = std::min(heard.samples.size(), static_cast<std::size_t>(std::max(std::lround(until * rate), 0L)));
    if (end <= begin) return 0;
    const double turn = 2 * std::cos(2 * std::numbers::pi * frequency / rate);
    double last = 0;
    double beforeLast = 0;
    for (std::size_t i = begin; i < end; ++i) {
        const double next = heard.samples[i] + turn * last - beforeLast;
        beforeLast = last;
        last = next;
    }
    const double power = last * last + beforeLast * beforeLast - turn * last * beforeLast;
    return 2 * std::sqrt(std::max(power, 0.0)) / static_cast<double>(end - begin);
}

std::optional<std::pair<double, double>> stretchOf(const SoundEar::Heard& heard, double frequency) {
    constexpr double window = 0.005;
    std::vector<double> loudness;
    const double end = static_cast<double>(heard.samples.size()) / rate - window;
    for (double at = 0; at < end; at = step * static_cast<double>(loudness.size()))
        loudness.push_back(amplitudeOf(heard, frequency, at, at + window));
    if (loudness.empty()) return std::nullopt;
    const double half = std::ranges::max(loudness) / 2;
    if (half < numbered::amplitude / 4) return std::nullopt;
    const auto isLoud = [half](double loud) { return loud > half; };
    const auto first = std::ranges::find_if(loudness, isLoud) - loudness.begin();
    const auto last = loudness.rend() - std::find_if(loudness.rbegin(), loudness.rend(), isLoud) - 1;
    return std::pair{step * static_cast<double>(first) + window / 2, step * static_cast<double>(last) + window / 2};
}

std::string pictureFault(const std::vector<Sight>& sights, const NumberedTimeline& timeline) {
    int last = -1;
    for (const Sight& sight : sights) {
        if (sight.code == numbered::unreadable)
            return "a picture that is no frame, after frame " + std::to_string(last);
        const auto index = timeline.indexOf(sight.code);
        const std::string name = "frame " + std::to_string(sight.code % numbered::framesPerFile) + " of file " +
                                 std::to_string(sight.code / numbered::framesPerFile);
        if (!index) return name + ", which the timeline doesn't show";
        if (*index < last) return name + " after the timeline's frame " + std::to_string(last);
        last = *index;
    }
    return {};
}

namespace {

/// The loudest tone of a lane, one after the other, each as long as a block; unheard ones aside.
std::vector<double> loudest(const SoundEar::Heard& heard, const std::vector<ExpectedTone>& tones) {
    const auto lane = std::ranges::minmax(tones, {}, &ExpectedTone::frequency);
    const double end = static_cast<double>(heard.samples.size()) / rate;
    std::vector<double> found;
    for (double at = 0; at + block <= end; at += block / 2) {
        double most = numbered::amplitude / 2;
        double frequency = 0;
        for (double tried = lane.min.frequency - 400; tried <= lane.max.frequency + 400; tried += 40) {
            const double loud = amplitudeOf(heard, tried, at, at + block);
            if (loud <= most) continue;
            most = loud;
            frequency = tried;
        }
        if (frequency > 0) found.push_back(frequency);
    }
    return found;
}

std::string nameOf(double frequency) { return "a tone of " + std::to_string(std::lround(frequency)) + " Hz"; }

}  // namespace

std::string soundFault(const SoundEar::Heard& heard, const std::vector<ExpectedTone>& tones) {
    for (const double frequency : loudest(heard, tones))
        if (std::ranges::find(tones, frequency, &ExpectedTone::frequency) == tones.end())
            return nameOf(frequency) + ", which the timeline doesn't sound";
    return {};
}

std::string orderFault(const SoundEar::Heard& heard, const std::vector<ExpectedTone>& tones) {
    auto last = tones.begin();
    for (const double frequency : loudest(heard, tones)) {
        const auto found = std::ranges::find(tones, frequency, &ExpectedTone::frequency);
        if (found == tones.end()) return nameOf(frequency) + ", which the timeline doesn't sound";
        if (found < last) return nameOf(frequency) + " after " + nameOf(last->frequency);
        last = found;
    }
    return {};
}

HeardTones measure(const SoundEar::Heard& heard, const std::vector<ExpectedTone>& tones,
                   std::chrono::nanoseconds zero) {
    const double begun = secondsOf(zero - heard.from);
    std::vector<double> zeros;
    HeardTones measured{.leastAmplitude = 1};
    for (const ExpectedTone& tone : tones) {
        const double length = tone.until - tone.from;
        if (length < shortestTone) continue;
        const double place = placeOf(heard, tone.frequency, begun + tone.from, length);
        zeros.push_back(place - tone.from);
        // Away from its ends, of which each file's coding makes a little more or less.
        const double from = place + length * 0.1;
        const double until = place + length * 0.9;
        const double loud = amplitudeOf(heard, tone.frequency, from, until);
        measured.leastAmplitude = std::min(measured.leastAmplitude, loud);
        measured.mostAmplitude = std::max(measured.mostAmplitude, loud);
        measured.worstPitch =
            std::max(measured.worstPitch, std::abs(pitchOf(heard, tone.frequency, from, until) - tone.frequency));
    }
    if (zeros.empty()) return measured;
    const double middle = quantile(zeros, 0.5);
    for (const double one : zeros) measured.worstPlace = std::max(measured.worstPlace, std::abs(one - middle));
    measured.zero = heard.from + timeOf(middle);
    return measured;
}

double longestHole(const SoundEar::Heard& heard, std::chrono::nanoseconds from, std::chrono::nanoseconds until) {
    // Longer than half a wave of the lowest tone.
    constexpr double threshold = numbered::amplitude / 4;
    const auto sampleAt = [&heard](std::chrono::nanoseconds time) {
        const double at = std::max(secondsOf(time - heard.from) * rate, 0.0);
        return std::min(heard.samples.size(), static_cast<std::size_t>(at));
    };
    std::size_t longest = 0;
    std::size_t silent = 0;
    for (std::size_t i = sampleAt(from); i < sampleAt(until); ++i) {
        silent = std::abs(heard.samples[i]) > threshold ? 0 : silent + 1;
        longest = std::max(longest, silent);
    }
    return static_cast<double>(longest) / rate;
}

Closeness closeness(const std::vector<Sight>& sights, const NumberedTimeline& timeline, std::chrono::nanoseconds zero) {
    constexpr double never = 1e9;
    Closeness close{.soonest = {never, never, never}, .earliest = never, .latest = -never};
    std::vector<double> all;
    for (const Sight& sight : sights) {
        const auto index = timeline.indexOf(sight.code);
        if (!index) continue;
        const auto due = zero + timeOf(static_cast<double>(*index) / numbered::framesPerSecond);
        // It came at an unknown moment between two looks.
        close.earliest = std::min(close.earliest, secondsOf(sight.notAfter - due) * 1000);
        close.latest = std::max(close.latest, secondsOf(sight.notBefore - due) * 1000);
        all.push_back(secondsOf((sight.notBefore + sight.notAfter) / 2 - due) * 1000);
        double& soonest = close.soonest.at(static_cast<std::size_t>(*index * 3 / timeline.frames()));
        soonest = std::min(soonest, all.back());
    }
    close.shown = static_cast<int>(all.size());
    close.median = all.empty() ? never : quantile(all, 0.5);
    return close;
}

}  // namespace kelvane::testing
