#pragma once

#include <string>
#include <vector>

#include "LiveApplication.h"

namespace kelvane::testing {

/// Footage whose frame n has luma `base` + 8 (n mod 24), all of one chroma, at 30 frames a second, with a tone. Steps
/// of 8 stay apart through two lossy encodings.
struct Footage {
    std::string size = "640x360";
    int base = 20;
    int cb = 110;
    int tone = 440;
    double seconds = 3;
};

/// Makes a file in the folder and gives its path.
inline std::string makeFootage(const TempFolder& folder, const std::string& name, const Footage& footage) {
    const auto path = folder.path(name);
    const auto seconds = std::to_string(footage.seconds);
    const auto made =
        runProcess({"ffmpeg",
                    "-v",
                    "error",
                    "-y",
                    "-f",
                    "lavfi",
                    "-i",
                    "color=c=gray:s=" + footage.size + ":r=30:d=" + seconds + ",format=yuv420p,geq=lum='" +
                        std::to_string(footage.base) + "+8*mod(N\\,24)':cb=" + std::to_string(footage.cb) +
                        ":cr=128,setparams=range=tv:color_primaries=bt709:color_trc=bt709:colorspace=bt709",
                    "-f",
                    "lavfi",
                    "-i",
                    "sine=frequency=" + std::to_string(footage.tone) + ":sample_rate=48000:duration=" + seconds,
                    "-ac",
                    "2",
                    "-c:v",
                    "libx264",
                    "-preset",
                    "veryfast",
                    "-crf",
                    "8",
                    "-bf",
                    "2",
                    "-color_primaries",
                    "bt709",
                    "-color_trc",
                    "bt709",
                    "-colorspace",
                    "bt709",
                    "-color_range",
                    "tv",
                    "-c:a",
                    "aac",
                    "-shortest",
                    path});
    EXPECT_EQ(made.status, 0) << made.errors;
    return path;
}

inline std::string makeTone(const TempFolder& folder, const std::string& name, int frequency, double seconds) {
    const auto path = folder.path(name);
    const auto made = runProcess(
        {"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
         "sine=frequency=" + std::to_string(frequency) + ":sample_rate=44100:duration=" + std::to_string(seconds),
         path});
    EXPECT_EQ(made.status, 0) << made.errors;
    return path;
}

/// Luma and cb at the middle of each frame of a movie.
inline std::vector<std::pair<int, int>> middles(const std::string& movie) {
    const auto decoded = runProcess({"ffmpeg", "-v", "error", "-i", movie, "-map", "0:v", "-vf",
                                     "crop=32:32,scale=2:2:flags=area,format=yuv444p,crop=1:1", "-f", "rawvideo", "-"});
    EXPECT_EQ(decoded.status, 0) << decoded.errors;
    std::vector<std::pair<int, int>> frames;
    for (std::size_t at = 0; at + 2 < decoded.output.size(); at += 3) {
        frames.emplace_back(static_cast<unsigned char>(decoded.output[at]),
                            static_cast<unsigned char>(decoded.output[at + 1]));
    }
    return frames;
}

}  // namespace kelvane::testing
