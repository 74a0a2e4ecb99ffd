#pragma once

#include <cstddef>
#include <span>
#include <stop_token>
#include <vector>

#include "MediaPlatform.h"

/// The sound of a file as peaks at a fixed rate, whatever the rate of its samples, so that a drawing never touches
/// samples. The peak at index i is the largest amplitude (linear, 0 to 1 for full scale) in the seconds from i / 30 up
/// to but not including (i + 1) / 30, counted from the asset's time zero.
namespace kelvane::AudioWaveform {

/// Fine enough for one peak in each shortest clip.
inline constexpr double peaksPerSecond = 30;
/// Most peaks of a file, 128 MiB of them or thirteen days: a file's time stamps may claim any place for its sound, and
/// what lies behind is not kept.
inline constexpr std::size_t mostPeaks = std::size_t{1} << 25;

/// The peaks of the file's first audio track, as many as reach up to its last sample: silence and gaps before that are
/// 0, and there is none behind. Amplitudes above full scale count as 1. Empty for a file without sound. Fails in the
/// words of AudioSampleReader::readBlocks, and ends as cancelled soon after a stop request. Blocks; any thread but the
/// main one.
Result<std::vector<float>> readMedia(MediaPlatform& platform, const FileURL& url, std::stop_token stop);

/// The largest of the `peaks` that the stretch [`from`, `to`) touches, seconds from time zero: a stretch within a
/// thirtieth of a second has that one. 0 where the peaks are over. `peaks` are not negative. Any thread.
float peak(std::span<const float> peaks, double from, double to);

}  // namespace kelvane::AudioWaveform
