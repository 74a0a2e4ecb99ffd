#include "AudioWaveform.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "AmplitudeBins.h"

namespace kelvane::AudioWaveform {

Result<std::vector<float>> readMedia(MediaPlatform& platform, const FileURL& url, std::stop_token stop) {
    std::vector<float> peaks;
    const auto slotAt = [](double time) {
        // Times are not negative, and may be whatever a broken file claims.
        return static_cast<std::size_t>(std::min(std::floor(time * peaksPerSecond), double{mostPeaks}));
    };
    const auto keep = [&peaks](std::size_t slot, float amplitude) {
        if (slot >= mostPeaks) return;
        if (slot >= peaks.size()) peaks.resize(slot + 1);
        peaks[slot] = std::max(peaks[slot], std::min(amplitude, 1.0F));
    };
    const auto take = [&](const AudioSampleReader::AmplitudeBlock& block) { AmplitudeBins::fold(block, slotAt, keep); };
    const auto read = AudioSampleReader::readBlocks(platform, url, 0, std::nullopt, take, std::move(stop));
    if (!read) return fail(read.error());
    // They are kept for long, and their growth left room behind them.
    peaks.shrink_to_fit();
    return peaks;
}

float peak(std::span<const float> peaks, double from, double to) {
    // Compared as numbers of the one type that holds them all, whatever the times are.
    const double first = std::max(0.0, std::floor(from * peaksPerSecond));
    const double behind = std::max(first + 1, std::ceil(to * peaksPerSecond));
    const double last = std::min(static_cast<double>(peaks.size()), behind);
    if (!(first < last)) return 0;
    const auto index = static_cast<std::size_t>(first);
    return AmplitudeBins::largest(peaks.subspan(index, static_cast<std::size_t>(last) - index));
}

}  // namespace kelvane::AudioWaveform
