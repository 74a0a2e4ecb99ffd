// The encoder without anything around it.
//
//     bench-encoder settings          the preset and rate factor of every export
//     bench-encoder alone <movie>     decodes a movie of 30 frames a second into memory, then times the encoding of its
//                                     pictures; prints seconds

#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

#include "Media/FFmpeg/ExportQuality.h"
#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/FFmpeg/MovieEncoders.h"
#include "Media/FFmpeg/VideoFrameReader.h"

int main(int argc, char** argv) {
    using namespace kelvane;
    if (argc == 2 && std::strcmp(argv[1], "settings") == 0) {
        std::printf("%s %d\n", ExportQuality::preset, ExportQuality::constantRateFactor);
        return 0;
    }
    if (argc != 3) return 2;
    FFmpegPlatform platform;
    const auto asset = platform.openAsset(FileURL::fromPath(argv[2]), {});
    const auto tracks = asset ? (*asset)->loadTracks(MediaType::video) : fail("no asset");
    if (!tracks || tracks->empty()) return 1;
    const auto track = std::static_pointer_cast<const FFmpegTrack>(tracks->front());
    auto reader = VideoFrameReader::open(track);
    if (!reader) return 1;
    const auto length = track->loadTimeRange()->end();
    std::vector<SharedFrame> pictures;
    for (std::int64_t n = 0; MediaTime{n, 30} < length; ++n) {
        const auto frame = (*reader)->frame(MediaTime{n, 30}, {});
        if (!frame || !*frame) return 1;
        pictures.push_back(*frame);
    }
    auto encoder = PictureEncoder::open(pictures.front()->width, pictures.front()->height, MediaTime{1, 30});
    if (!encoder) return 1;
    std::size_t bytes = 0;
    const PacketSink sink = [&bytes](PacketPtr packet) -> Result<void> {
        bytes += static_cast<std::size_t>(packet->size);
        return {};
    };
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t n = 0; n < pictures.size(); ++n) {
        if (!(*encoder)->encode(*pictures[n], static_cast<std::int64_t>(n), false, sink)) return 1;
    }
    if (!(*encoder)->finish(sink)) return 1;
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
    std::fprintf(stderr, "%zu pictures, %zu bytes\n", pictures.size(), bytes);
    std::printf("%.3f\n", spent.count());
}
