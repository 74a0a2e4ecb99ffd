// Plays the timeline of a project file from its beginning to its end, with the program's own player, at the size of the
// preview and without a window, and prints how that went. Usage: play-timeline <project file> [<width> <height>]

#include <QCoreApplication>
#include <cstdio>
#include <cstdlib>

#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/MediaEngine.h"
#include "Platform/PulseConnection.h"
#include "Platform/PulseSoundOutput.h"
#include "Platform/QtMainContext.h"
#include "Platform/TimelinePlayer.h"
#include "Storage/ProjectFile.h"
#include "Timeline/Framing.h"

using namespace kelvane;

namespace {

double milliseconds(std::chrono::nanoseconds time) { return std::chrono::duration<double, std::milli>(time).count(); }

void print(const PlaybackStatistics& played, double seconds, bool hasSound) {
    std::printf("%.2f s played %s: %lld frames shown, %lld late, %lld dropped, the latest %.1f ms late\n", seconds,
                hasSound ? "with sound" : "without a sound device", static_cast<long long>(played.shown),
                static_cast<long long>(played.late), static_cast<long long>(played.dropped),
                milliseconds(played.greatestLateness));
    if (hasSound)
        std::printf("Picture and sound at most %.1f ms apart, %lld times too little sound\n",
                    milliseconds(played.greatestDistance), static_cast<long long>(played.underruns));
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    if (argc != 2 && argc != 4) {
        std::fputs("Usage: play-timeline <project file> [<width> <height>]\n", stderr);
        return 2;
    }
    const auto project = ProjectFile::read(FileURL::fromPath(argv[1]));
    if (!project) {
        std::fprintf(stderr, "%s\n", project.error().message.c_str());
        return 1;
    }
    const Size surface = argc == 4 ? Size{std::atof(argv[2]), std::atof(argv[3])} : Size{400, 711};
    FFmpegPlatform media;
    const auto built = MediaEngine::build(media, project->clips, Framing::size, MediaEngine::previewFrame, {});
    if (!built) {
        std::fprintf(stderr, "%s\n", built.error().message.c_str());
        return 1;
    }
    QtMainContext context;
    const auto output = std::make_shared<PulseSoundOutput>(std::make_shared<PulseConnection>(context));
    PlayerServices services{.context = &context};
    services.makePictureStream = [&media](EditedMediaPtr item, Size canvas) {
        return media.makePictureStream(std::move(item), canvas);
    };
    services.makeSoundStream = [&media](EditedMediaPtr item) { return media.makeSoundStream(std::move(item)); };
    services.output = output;
    TimelinePlayer player(std::move(services));
    player.pictures()->setSurfaceSize(surface);
    player.replaceItem(*built);
    player.setEndObserver([](const EditedMediaPtr&) { QCoreApplication::quit(); });
    // As a person does, who looks at the first frame before pressing Play.
    player.seek(0);
    const Timer start = context.after(std::chrono::seconds(1), [&player] {
        player.resetStatistics();
        player.play();
    });
    const int status = QCoreApplication::exec();
    print(player.statistics(), (*built)->composition.duration().seconds(), output->isAvailable());
    return status;
}
