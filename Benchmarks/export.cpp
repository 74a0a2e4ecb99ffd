// Exports an edit from the command line, as the application does, in a process of its own.
//
//     bench-export <movie> <width> <height> <fps> <clip …>      (clips as in edit.h)

#include "edit.h"

int main(int argc, char** argv) {
    using namespace kelvane;
    if (argc < 6) return 2;
    FFmpegPlatform platform;
    const EditedMediaPtr media = benchmarks::edit(platform, {argv + 2, argv + argc});
    if (!media) return 1;
    auto session = MediaEngine::exporter(platform, media, ExportContainer::mp4);
    if (!session) {
        std::fprintf(stderr, "%s\n", session.error().message.c_str());
        return 1;
    }
    std::remove(argv[1]);
    const auto done = (*session)->exportTo(FileURL::fromPath(argv[1]), ExportContainer::mp4, {});
    if (!done) std::fprintf(stderr, "%s\n", done.error().message.c_str());
    return done ? 0 : 1;
}
