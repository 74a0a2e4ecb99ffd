#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Media/EditedMedia.h"
#include "Media/FFmpeg/Source/FFmpegAsset.h"

/// Small files of known sound and numbered pictures, and how to take them apart again.
namespace kelvane::testing {

/// A sound by time: `seconds`, channel 0 or up.
using SoundFunction = std::function<double(double seconds, int channel)>;
/// A sum of tones without a common period: shifted by a sample it is no longer itself. The right side of it is softer.
double testSound(double seconds, int channel);

struct SoundFile {
    std::string name;
    std::string muxer;
    std::string encoder;
    int rate = 48000;
    int channels = 2;
    double seconds = 3;
    /// Time stamp of the first sample, seconds.
    double start = 0;
    /// From here on, seconds, time stamps are `gap` seconds later.
    double gapAt = 1e9;
    double gap = 0;
    SoundFunction sound = testSound;
};
/// Writes the file; false when the libraries have no such encoder.
bool writeSound(const std::string& path, const SoundFile& file);

struct MovieFile {
    int width = 144;
    int height = 256;
    AVRational frameRate{30, 1};
    int frames = 90;
    /// 0: without sound.
    int soundRate = 48000;
    SoundFunction sound = testSound;
    /// Luma of a pixel; by default the frame's number in twelve bars.
    std::function<int(int frame, int x, int y)> luma;
};
bool writeMovie(const std::string& path, const MovieFile& file);

/// The number that the bars of a picture show, or -1 for a black one.
int shownNumber(const AVFrame& frame);

/// The first track of a type of a file.
std::shared_ptr<const FFmpegTrack> trackOf(const std::string& path, MediaType type = MediaType::audio);

/// A movie taken apart by the libraries alone.
struct TakenApart {
    struct Picture {
        std::int64_t pts = 0;
        int number = 0;
    };
    AVRational pictureBase{0, 1};
    std::vector<Picture> pictures;
    /// Length of the track of pictures in its time base.
    std::int64_t pictureDuration = 0;
    int profile = 0;
    AVColorPrimaries primaries{};
    AVColorTransferCharacteristic transfer{};
    AVColorSpace matrix{};
    AVColorRange range{};
    int width = 0;
    int height = 0;
    int streams = 0;
    /// Stereo, from time zero on.
    std::vector<float> sound;
    int soundRate = 0;
    std::int64_t soundStart = 0;
    /// Length of the track of sound as the file says, samples.
    std::int64_t soundDuration = 0;
};
TakenApart takeApart(const std::string& path);

/// The shift in samples, within ±`reach`, at which `sound` (stereo, left side) is most like `expected` of sample 0 on.
int bestShift(const std::vector<float>& sound, std::size_t first, std::size_t count,
              const std::function<double(std::int64_t)>& expected, int reach = 120);
/// Root of the mean square of the difference at no shift.
double deviation(const std::vector<float>& sound, std::size_t first, std::size_t count,
                 const std::function<double(std::int64_t)>& expected);

/// One audio track, segment by segment.
struct SoundSegment {
    double at = 0;
    std::shared_ptr<const FFmpegTrack> source;
    double from = 0;
    double length = 0;
    float volume = 1;
};
/// Adds a track with these segments and their volumes.
void addSound(EditedMedia& media, const std::vector<SoundSegment>& segments);
/// The whole mix.
std::vector<float> render(const EditedMedia& media, double seconds);

}  // namespace kelvane::testing
