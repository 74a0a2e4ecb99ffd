#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Support/FileURL.h"

/// Movies and sounds whose content tells where it comes from: each picture carries its number, each stretch of sound
/// its time. Made with the `ffmpeg` command line in a folder of the test's own. A failure to make one ends the program
/// with the tool's words.
namespace kelvane::testing {

/// Whether the `ffmpeg` command line can be run here.
bool hasSampleTool();

/// Runs a program with these words and waits; its exit status, or -1 when it can't be run. Output goes to `output`.
int runTool(const std::vector<std::string>& words, std::string* output = nullptr);
/// Runs `ffmpeg` with these words (the program's name, "-y" and the level of its messages are added) and expects
/// success.
void runSampleTool(const std::vector<std::string>& words);

/// A filter that states what plain footage is, BT.709 in limited range, and the encoder words that go with it: versions
/// of the tool differ in what they take and write for pictures that don't say.
inline constexpr const char* plainColorFilter =
    "setparams=range=tv:color_primaries=bt709:color_trc=bt709:colorspace=bt709";
const std::vector<std::string>& plainColorWords();

/// What a sample movie is made of.
struct SampleMovie {
    int width = 320;
    int height = 180;
    /// Frames a second, as a fraction.
    int rateNumerator = 30;
    int rateDenominator = 1;
    int frames = 60;
    /// Number of the first frame.
    int firstNumber = 0;
    /// Encoder words for the picture; {} for no picture at all.
    std::vector<std::string> video{"-c:v", "libx264", "-preset", "ultrafast", "-qp", "12", "-pix_fmt", "yuv420p"};
    /// Words of a filter for the picture, such as "setpts=…"; empty for none.
    std::string videoFilter;
    /// Seconds of timed sound; 0 for no sound.
    double soundSeconds = 0;
    int soundRate = 48000;
    std::vector<std::string> audio{"-c:a", "aac", "-b:a", "160k"};
    /// Seconds that the sound starts after the picture; negative for a late picture.
    double soundDelay = 0;
    /// Further words before the output's path.
    std::vector<std::string> output;
};

/// Makes `folder`/`name`; the container follows the name's extension. Returns the file.
FileURL makeSampleMovie(const std::string& folder, const std::string& name, const SampleMovie& movie);
/// Makes a file of timed sound alone; `words` are the encoder's.
FileURL makeSampleSound(const std::string& folder, const std::string& name, double seconds, int rate = 48000,
                        const std::vector<std::string>& words = {});

/// Numbers run from 0 to 4095 and then from 0 again.
inline constexpr int sampleNumbers = 4096;
/// The pictures' corners, so that turns and mirrors show: luma and chroma (BT.601 limited range) of the quarter of the
/// picture at the top left, top right, bottom left and bottom right.
struct SampleColor {
    int y = 0;
    int u = 0;
    int v = 0;
};
/// Red, green, blue, yellow.
inline constexpr SampleColor sampleCorners[4]{{81, 90, 240}, {145, 54, 34}, {41, 240, 110}, {210, 16, 146}};
/// The planes of one picture (4:2:0, rows without gaps, chroma sizes rounded up).
std::vector<std::uint8_t> samplePicture(int width, int height, int number);

/// Reads a picture's number. `luma` answers the brightness, 0 to 255 or in limited range, at a place of the picture as
/// it was made, both coordinates 0 to 1 from the top left. The number stands in a grid of 4 × 4 cells in the middle
/// three tenths of either side, so that a crop from landscape to portrait keeps it. Nothing when the grid's checks
/// fail.
std::optional<int> readSampleNumber(const std::function<int(double x, double y)>& luma);
/// Reads the number from an upright luma plane.
std::optional<int> readSampleNumber(const std::uint8_t* plane, int stride, int width, int height);

/// A burst of tone in timed sound.
struct SampleBurst {
    /// Where it begins in the sound that was read, seconds; exact to about 2 ms.
    double at = 0;
    /// Its number, 0 to 63: burst n begins at n · 0.1 s (and at n · 0.1 + 6.4, and so on) of the sound as made.
    int number = 0;
};
inline constexpr double sampleBurstInterval = 0.1;
inline constexpr double sampleBurstLength = 0.05;
inline constexpr int sampleBurstNumbers = 64;
/// Frequency of a burst, Hz.
double sampleBurstFrequency(int number);
/// Timed sound: one channel, peaks at `peak`.
std::vector<float> sampleSound(double seconds, int rate, float peak = 0.5F);
/// Finds the whole bursts in one channel of sound. Sound that the search can't tell from silence gives none.
std::vector<SampleBurst> findSampleBursts(std::span<const float> sound, int rate);

/// Rewrites the display matrix of the picture track of a finished MP4 or MOV: x' = a·x + c·y + tx, y' = b·x + d·y + ty.
/// All nine values, the last one too, are written `scale` times as large, which means the same.
void setSampleMatrix(const FileURL& movie, double a, double b, double c, double d, double tx = 0, double ty = 0,
                     double scale = 1);
/// Cuts a file to its first `bytes` bytes.
void truncateSample(const FileURL& file, std::uint64_t bytes);

}  // namespace kelvane::testing
