// Measures the program's own player, at the size of the preview, without a window. Sound goes to a private server's
// null sink, whose monitor is listened to; without the package of the server there is no sound.
//
//     bench-playback play <inspections> <edit …>          an edit is played once, with so many inspections of it
//     running bench-playback respond <rounds> <edit …>            Play and Pause, at various places of an edit
//     bench-playback edit <rounds> <folder> <movie>       the clip at the playhead is framed anew, among 1,000 of 10
//     files
//
// For `edit …` see edit.h. Prints, for play: the share of frames that were shown within half a frame of their time, in
// percent, the latest frame's delay in frames, frames shown, late and dropped, the number of times that the device
// found too little sound, and the furthest that picture and sound were apart in milliseconds. For respond: the medians
// of the times from Play to the first sound and from Pause to silence, and the greatest of each, milliseconds. For
// edit: the median and the greatest time from the edit to the new picture, without the pause for further edits,
// milliseconds.

#include <QGuiApplication>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "Platform/PulseConnection.h"
#include "Platform/PulseSoundOutput.h"
#include "Platform/TimelinePlayer.h"
#include "Support/App/SoundEar.h"
#include "Support/SoundServer.h"
#include "application.h"
#include "edit.h"

namespace kelvane::benchmarks {
namespace {

using namespace std::chrono_literals;
using Time = std::chrono::nanoseconds;

constexpr Size surface{400, 711};
constexpr Time frame = std::chrono::nanoseconds(1s) / 30;
/// The pause after a change before the preview is built.
constexpr Time previewPause = 180ms;
/// Louder than silence, quieter than a tone of the benchmark's footage.
constexpr double soundLevel = 0.02;

double milliseconds(Time time) { return std::chrono::duration<double, std::milli>(time).count(); }

void run(Time time) {
    QEventLoop loop;
    QTimer::singleShot(std::chrono::duration_cast<std::chrono::milliseconds>(time), Qt::PreciseTimer, &loop,
                       &QEventLoop::quit);
    loop.exec();
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

std::unique_ptr<TimelinePlayer> makePlayer(MediaPlatform& media, MainContext& context,
                                           std::shared_ptr<SoundOutput> output) {
    PlayerServices services{.context = &context};
    services.makePictureStream = [&media](EditedMediaPtr item, Size canvas) {
        return media.makePictureStream(std::move(item), canvas);
    };
    if (output) services.makeSoundStream = [&media](EditedMediaPtr item) { return media.makeSoundStream(item); };
    services.output = std::move(output);
    return std::make_unique<TimelinePlayer>(std::move(services));
}

/// A player of an edit with sound, at rest on its first frame.
struct Stage {
    explicit Stage(const std::vector<std::string>& words) {
        if (testing::SoundServer::isInstalled() && !server.start()) stop("No sound server: " + server.log());
        output = std::make_shared<PulseSoundOutput>(std::make_shared<PulseConnection>(context));
        item = edit(media, words);
        if (!item) std::exit(1);
        player = makePlayer(media, context, output);
        player->pictures()->setSurfaceSize(surface);
        player->replaceItem(item);
        player->seek(0);
        run(1s);
    }

    testing::SoundServer server;
    FFmpegPlatform media;
    QtMainContext context;
    std::shared_ptr<PulseSoundOutput> output;
    EditedMediaPtr item;
    std::unique_ptr<TimelinePlayer> player;
};

/// Looks at an edit as assistants do, again and again, on the lane of their work.
class Inspections {
public:
    Inspections(Stage& stage, int count) : stage_(stage) {
        for (int i = 0; i < 24; ++i)
            times_.push_back(MediaTime::fromSeconds(stage.item->composition.duration().seconds() * (i + 0.5) / 24));
        for (int i = 0; i < count; ++i) begin();
    }
    ~Inspections() {
        stop_.request_stop();
        while (running_ > 0) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        if (done_ > 0) std::fprintf(stderr, "  %d inspections ended meanwhile\n", done_);
    }
    Inspections(const Inspections&) = delete;
    Inspections& operator=(const Inspections&) = delete;

private:
    void begin() {
        ++running_;
        const auto look = [this] {
            const auto take = [](std::size_t, const TimedStill&) -> Result<void> { return {}; };
            const auto seen = stage_.media.timelineStills(stage_.item, times_, {360, 640}, take, stop_.get_token());
            stage_.context.post([this, isDone = seen.has_value()] {
                --running_;
                if (isDone) ++done_;
                if (!stop_.stop_requested()) begin();
            });
        };
        stage_.context.runInBackground(look, Lane::longWork);
    }

    Stage& stage_;
    std::vector<MediaTime> times_;
    std::stop_source stop_;
    int running_ = 0;
    int done_ = 0;
};

void play(int inspections, const std::vector<std::string>& words) {
    Stage stage(words);
    if (!stage.output->isAvailable()) std::fprintf(stderr, "  without sound\n");
    const Inspections beside(stage, inspections);
    if (inspections > 0) run(1s);
    QEventLoop loop;
    stage.player->setEndObserver([&](const EditedMediaPtr&) { loop.quit(); });
    stage.player->resetStatistics();
    stage.player->play();
    loop.exec();
    const auto played = stage.player->statistics();
    const auto frames = static_cast<double>(played.shown + played.dropped);
    std::printf("%.2f %.2f %lld %lld %lld %lld %.1f\n", 100 * static_cast<double>(played.shown - played.late) / frames,
                milliseconds(played.greatestLateness) / milliseconds(frame), static_cast<long long>(played.shown),
                static_cast<long long>(played.late), static_cast<long long>(played.dropped),
                static_cast<long long>(played.underruns), milliseconds(played.greatestDistance));
}

void respond(int rounds, const std::vector<std::string>& words) {
    Stage stage(words);
    if (!stage.output->isAvailable()) stop("There is no sound.");
    const testing::SoundEar ear;
    std::vector<double> sounds;
    std::vector<double> silences;
    const double seconds = stage.item->composition.duration().seconds();
    for (int round = 0; round < rounds; ++round) {
        stage.player->seek((seconds - 2) * round / rounds);
        run(500ms);
        const Time pressed = stage.context.now();
        stage.player->play();
        run(700ms);
        const Time paused = stage.context.now();
        stage.player->pause();
        run(500ms);
        const auto first = ear.loudSince(pressed, soundLevel);
        const auto last = ear.lastLoud(soundLevel);
        if (!first || !last || *first > paused) stop("Nothing was heard.");
        std::fprintf(stderr, "  %.1f ms to sound, %.1f ms to silence\n", milliseconds(*first - pressed),
                     milliseconds(*last - paused));
        sounds.push_back(milliseconds(*first - pressed));
        silences.push_back(std::max(milliseconds(*last - paused), 0.0));
    }
    std::printf("%.1f %.1f %.1f %.1f\n", median(sounds), *std::ranges::max_element(sounds), median(silences),
                *std::ranges::max_element(silences));
}

void editAmongMany(int rounds, const std::filesystem::path& parent, const std::filesystem::path& movie) {
    const auto folder = std::filesystem::absolute(parent) / "playback-edit";
    std::filesystem::remove_all(folder);
    const auto file = writeProject(folder / "Outside", std::filesystem::absolute(movie), 10, 1'000, 0);
    {
        Application application(folder / "Library", [](Application& made, PlayerRole role) -> std::unique_ptr<Player> {
            auto player = makePlayer(made.media, made.context, nullptr);
            if (role == PlayerRole::main) player->pictures()->setSurfaceSize(surface);
            return player;
        });
        application.open(file);
        const auto editor = application.workspace->editor();
        application.runUntil([&] { return editor->player()->item() != nullptr; });
        std::vector<double> times;
        for (int round = 0; round < rounds; ++round) {
            const auto at = static_cast<std::size_t>(37 + 80 * round) % editor->clips().size();
            editor->seekPreview(static_cast<double>(at) + 0.5);
            PictureFeed* feed = editor->player()->pictures();
            // At the first, hundreds of frames from the key frame on are decoded.
            run(round == 0 ? 8s : 1s);
            std::optional<Time> shown;
            feed->setPictureObserver([&] {
                if (!shown) shown = application.context.now();
            });
            const Time edited = application.context.now();
            editor->update(editor->clips()[at].id, [](Clip& clip) { clip.zoom = clip.zoom == 1 ? 2 : 1; });
            application.runUntil([&] { return shown.has_value(); });
            feed->setPictureObserver({});
            times.push_back(milliseconds(*shown - edited - previewPause));
            std::fprintf(stderr, "  %.1f ms\n", times.back());
        }
        std::printf("%.1f %.1f\n", median(times), *std::ranges::max_element(times));
    }
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace kelvane::benchmarks

int main(int argc, char** argv) {
    QGuiApplication application(argc, argv);
    const std::vector<std::string> words(argv + std::min(argc, 3), argv + argc);
    const std::string scene = argc > 4 ? argv[1] : "";
    if (scene == "play") {
        kelvane::benchmarks::play(std::atoi(argv[2]), words);
    } else if (scene == "respond") {
        kelvane::benchmarks::respond(std::atoi(argv[2]), words);
    } else if (scene == "edit") {
        kelvane::benchmarks::editAmongMany(std::atoi(argv[2]), argv[3], argv[4]);
    } else {
        std::fputs("bench-playback play|respond|edit <number> …\n", stderr);
        return 2;
    }
    return 0;
}
