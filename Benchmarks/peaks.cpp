// The waveform inspection of a whole file in 120 bins, picture and document included.
//
//     bench-peaks <file> <folder for the picture>
//
// Prints the largest peak.

#include <cstdio>

#include "Inspection/CLIWaveform.h"
#include "Media/FFmpeg/FFmpegPlatform.h"

int main(int argc, char** argv) {
    using namespace kelvane;
    if (argc != 3) return 2;
    FFmpegPlatform platform;
    Clip asset;
    asset.url = FileURL::fromPath(argv[1]);
    const auto opened = platform.openAsset(asset.url, {});
    const auto duration = opened ? (*opened)->loadDuration() : Result<double>(fail(opened.error()));
    if (duration) asset.sourceDuration = *duration;
    const auto document = duration ? CLIWaveform::inspect(platform, asset, 0, *duration, 120,
                                                          FileURL::fromPath(argv[2]), 1, std::nullopt, {})
                                   : Result<JSONObject>(fail(duration.error()));
    if (!document) {
        std::fprintf(stderr, "%s\n", document.error().message.c_str());
        return 1;
    }
    std::printf("%s\n", document->raw("peak").c_str());
    return 0;
}
