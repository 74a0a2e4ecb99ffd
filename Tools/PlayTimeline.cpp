// Plays the timeline of a project file from its beginning to its end, with the program's own player, in a window of the
// preview's size, and prints how that went. Without a display, or with QT_QPA_PLATFORM=offscreen, nobody sees the
// window. Usage: play-timeline <project file> [<width> <height>]

#include <QGuiApplication>
#include <QPainter>
#include <QRasterWindow>
#include <cmath>
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

/// Shows a player's pictures, in the middle and as large as they fit.
class PictureWindow final : public QRasterWindow {
public:
    /// `feed` outlives it.
    explicit PictureWindow(PictureFeed& feed) : feed_(feed) {
        feed_.setPictureObserver([this] { update(); });
    }
    ~PictureWindow() override { feed_.setPictureObserver({}); }

protected:
    void resizeEvent(QResizeEvent*) override {
        const QSizeF pixels = place().size() * devicePixelRatio();
        feed_.setSurfaceSize({std::round(pixels.width()), std::round(pixels.height())});
    }
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(QRect({}, size()), Qt::black);
        const VideoPicturePtr picture = feed_.picture();
        if (!picture) return;
        const StillImagePtr still = stillOf(*picture);
        const QImage image(still->pixels.data(), still->width, still->height, 4 * still->width,
                           QImage::Format_RGBX8888);
        painter.drawImage(place(), image);
    }

private:
    [[nodiscard]] QRectF place() const {
        const QSizeF fitting =
            QSizeF(Framing::size.width, Framing::size.height).scaled(size(), Qt::KeepAspectRatio).toSize();
        return {QPointF((width() - fitting.width()) / 2, (height() - fitting.height()) / 2), fitting};
    }

    PictureFeed& feed_;
};

bool isSet(const char* variable) { return std::getenv(variable) != nullptr && *std::getenv(variable) != '\0'; }

double milliseconds(std::chrono::nanoseconds time) { return std::chrono::duration<double, std::milli>(time).count(); }

void print(const PlaybackStatistics& played, double seconds, bool hasSound) {
    const bool isSeen = QGuiApplication::platformName() != "offscreen";
    std::printf("%.2f s played %s and %s: %lld frames shown, %lld late, %lld dropped, the latest %.1f ms late\n",
                seconds, isSeen ? "in a window" : "offscreen", hasSound ? "with sound" : "without a sound device",
                static_cast<long long>(played.shown), static_cast<long long>(played.late),
                static_cast<long long>(played.dropped), milliseconds(played.greatestLateness));
    if (hasSound)
        std::printf("Picture and sound at most %.1f ms apart, %lld times too little sound\n",
                    milliseconds(played.greatestDistance), static_cast<long long>(played.underruns));
}

}  // namespace

int main(int argc, char** argv) {
    if (!isSet("QT_QPA_PLATFORM") && !isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    if (argc != 2 && argc != 4) {
        std::fputs("Usage: play-timeline <project file> [<width> <height>]\n", stderr);
        return 2;
    }
    const auto project = ProjectFile::read(FileURL::fromPath(argv[1]));
    if (!project) {
        std::fprintf(stderr, "%s\n", project.error().message.c_str());
        return 1;
    }
    const QSize size = argc == 4 ? QSize(std::atoi(argv[2]), std::atoi(argv[3])) : QSize(400, 711);
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
    PictureWindow window(*player.pictures());
    window.setTitle("Kelvane");
    window.resize(size);
    window.show();
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
