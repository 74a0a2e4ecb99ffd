// Exports an edit from the command line, as the application does, in a process of its own.
//
//     bench-export <movie> <width> <height> <fps> <clip …>
//
// A clip is "video:<path>:<start>:<end>[:<volume>]" or "audio:<path>:<start>:<end>:<at>[:<volume>]".

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/MediaEngine.h"

int main(int argc, char** argv) {
    using namespace kelvane;
    if (argc < 6) return 2;
    FFmpegPlatform platform;
    std::vector<Clip> clips;
    for (int i = 5; i < argc; ++i) {
        std::vector<std::string> fields;
        std::istringstream text(argv[i]);
        for (std::string field; std::getline(text, field, ':');) fields.push_back(field);
        const auto imported = MediaEngine::importClip(platform, FileURL::fromPath(fields.at(1)), {});
        if (!imported) {
            std::fprintf(stderr, "%s\n", imported.error().message.c_str());
            return 1;
        }
        Clip clip = imported->clip;
        clip.start = std::atof(fields.at(2).c_str());
        clip.end = std::atof(fields.at(3).c_str());
        const bool audio = fields[0] == "audio";
        if (audio) clip.timelineStart = std::atof(fields.at(4).c_str());
        const std::size_t volume = audio ? 5 : 4;
        if (fields.size() > volume) clip.volume = std::atof(fields[volume].c_str());
        clips.push_back(clip);
    }
    const Size size{std::atof(argv[2]), std::atof(argv[3])};
    const auto media = MediaEngine::build(platform, clips, size, frameDuration(std::atof(argv[4])), {});
    if (!media) {
        std::fprintf(stderr, "%s\n", media.error().message.c_str());
        return 1;
    }
    auto session = MediaEngine::exporter(platform, *media, ExportContainer::mp4);
    if (!session) {
        std::fprintf(stderr, "%s\n", session.error().message.c_str());
        return 1;
    }
    std::remove(argv[1]);
    const auto done = (*session)->exportTo(FileURL::fromPath(argv[1]), ExportContainer::mp4, {});
    if (!done) std::fprintf(stderr, "%s\n", done.error().message.c_str());
    return done ? 0 : 1;
}
