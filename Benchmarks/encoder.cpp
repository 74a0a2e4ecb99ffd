// The encoder without anything around it.
//
//     bench-encoder settings                               the preset and rate factor of every export
//     bench-encoder alone <width> <height> <fps> <clip …>  renders an edit's pictures into memory, a stretch at a time,
//     and
//                                                          times their encoding alone; prints seconds (clips as in
//                                                          edit.h)

#include <chrono>
#include <cstring>

#include "Media/FFmpeg/Export/ExportQuality.h"
#include "Media/FFmpeg/Export/MovieEncoders.h"
#include "Media/FFmpeg/Picture/PictureRenderer.h"
#include "edit.h"

namespace {

using namespace kelvane;

/// Pictures rendered at a time: 1.2 GB. The encoder holds fewer than ten between stretches, so that what it does while
/// the next stretch is rendered doesn't matter.
constexpr std::int64_t stretch = 400;

Result<double> encodeAlone(const EditedMediaPtr& media) {
    const MediaTime step = media->video.frameDuration;
    auto encoder = PictureEncoder::open(static_cast<int>(media->video.renderSize.width),
                                        static_cast<int>(media->video.renderSize.height), step);
    if (!encoder) return fail(encoder.error());
    PictureRenderer renderer(media);
    const PacketSink sink = [](PacketPtr) -> Result<void> { return {}; };
    std::chrono::duration<double> spent{};
    const MediaTime end = media->composition.duration();
    for (std::int64_t number = 0; MediaTime{number * step.value, step.timescale} < end;) {
        std::vector<SharedFrame> pictures;
        for (std::int64_t n = number; n < number + stretch; ++n) {
            const MediaTime time{n * step.value, step.timescale};
            if (!(time < end)) break;
            auto picture = renderer.picture(time, {});
            if (!picture) return fail(picture.error());
            pictures.push_back(*std::move(picture));
        }
        const auto start = std::chrono::steady_clock::now();
        for (const SharedFrame& picture : pictures)
            if (auto encoded = (*encoder)->encode(*picture, number++, false, sink); !encoded)
                return fail(encoded.error());
        spent += std::chrono::steady_clock::now() - start;
    }
    const auto start = std::chrono::steady_clock::now();
    if (auto finished = (*encoder)->finish(sink); !finished) return fail(finished.error());
    spent += std::chrono::steady_clock::now() - start;
    return spent.count();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "settings") == 0) {
        std::printf("%s %d\n", ExportQuality::preset, ExportQuality::constantRateFactor);
        return 0;
    }
    if (argc < 6 || std::strcmp(argv[1], "alone") != 0) return 2;
    FFmpegPlatform platform;
    const EditedMediaPtr media = benchmarks::edit(platform, {argv + 2, argv + argc});
    if (!media) return 1;
    const auto seconds = encodeAlone(media);
    if (!seconds) {
        std::fprintf(stderr, "%s\n", seconds.error().message.c_str());
        return 1;
    }
    std::printf("%.3f\n", *seconds);
    return 0;
}
