// Works with the application's editor and players as restless hands do, without a window: seeks, plays, edits, hovers,
// looks at assets and goes back and forth in history, at random, and says whether memory grew.
//
//     bench-soak <seconds> <folder> <movie> …
//
// Sound goes to a private server where its package is installed. Memory is looked at after each tenth of the time, in
// stillness; in the first half, readers, caches and history fill. Prints resident megabytes after it, at most and at
// the end, and the operations done. Ends with 1 where the end found over a tenth more than the half.

#include <malloc.h>

#include <QGuiApplication>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "Platform/PulseConnection.h"
#include "Platform/PulseSoundOutput.h"
#include "Platform/TimelinePlayer.h"
#include "Support/SoundServer.h"
#include "application.h"

namespace kelvane::benchmarks {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int looks = 10;
constexpr double mostGrowth = 1.1;

double residentMegabytes() {
    malloc_trim(0);
    std::ifstream status("/proc/self/statm");
    double size = 0;
    double resident = 0;
    status >> size >> resident;
    return resident * 4096 / 1e6;
}

void run(std::chrono::milliseconds time) {
    QEventLoop loop;
    QTimer::singleShot(time, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

class Hands {
public:
    explicit Hands(std::shared_ptr<Editor> editor) : editor_(std::move(editor)) {}

    void act() {
        ++acts_;
        switch (pick(12)) {
            case 0:
            case 1:
                editor_->togglePlayback();
                break;
            case 2:
            case 3:
                editor_->seekPreview(fraction() * editor_->previewDuration());
                break;
            case 4:
                scrub();
                break;
            case 5:
                edit([this](Clip& clip) { clip.zoom = 1 + 2 * fraction(); });
                break;
            case 6:
                edit([this](Clip& clip) { clip.volume = fraction(); });
                break;
            case 7:
                edit([this](Clip& clip) { clip.end = clip.start + 0.5 + 2 * fraction(); });
                break;
            case 8:
                pick(2) == 0 ? editor_->undo() : editor_->redo();
                break;
            case 9:
                hover();
                break;
            case 10:
                editor_->endHoverPreview();
                break;
            default:
                pick(2) == 0 ? editor_->showAssetPreview(anyAsset()) : editor_->showTimelinePreview();
                break;
        }
        run(std::chrono::milliseconds(pick(pick(4) == 0 ? 700 : 60)));
    }
    void rest() {
        editor_->endHoverPreview();
        editor_->showTimelinePreview();
        editor_->pausePlayer();
        editor_->seekPreview(0);
        run(3s);
    }
    [[nodiscard]] int acts() const { return acts_; }

private:
    int pick(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random_); }
    double fraction() { return std::uniform_real_distribution<double>(0, 1)(random_); }
    UUID anyAsset() {
        return editor_->assets()[static_cast<std::size_t>(pick(static_cast<int>(editor_->assets().size())))].id;
    }
    void scrub() {
        double at = fraction() * editor_->previewDuration();
        for (int i = 0; i < 20; ++i) {
            editor_->seekPreview(at);
            at += (fraction() - 0.4) * 0.2;
            run(16ms);
        }
    }
    void hover() {
        const UUID asset = anyAsset();
        for (int i = 0; i < 10; ++i) {
            editor_->previewAssetHover(asset, fraction());
            run(20ms);
        }
    }
    void edit(const std::function<void(Clip&)>& change) {
        const auto& clips = editor_->clips();
        editor_->update(clips[static_cast<std::size_t>(pick(static_cast<int>(clips.size())))].id, change);
    }

    std::shared_ptr<Editor> editor_;
    std::mt19937 random_{20'260'101};
    int acts_ = 0;
};

/// A project of 40 clips of these movies and a sound.
std::filesystem::path writeProject(const std::filesystem::path& folder, const std::vector<std::string>& movies) {
    std::filesystem::create_directories(folder);
    FFmpegPlatform media;
    Project project;
    project.assets.emplace();
    for (const auto& movie : movies) {
        const auto imported =
            MediaEngine::importClip(media, FileURL::fromPath(std::filesystem::absolute(movie).string()), {});
        if (!imported) stop(imported.error().message);
        project.assets->push_back(imported->clip);
    }
    for (std::size_t i = 0; i < 40; ++i) {
        Clip clip = (*project.assets)[i % movies.size()];
        clip.id = UUID::random();
        clip.start = static_cast<double>(i % 8);
        clip.end = std::min(clip.start + 1, clip.sourceDuration);
        project.clips.push_back(clip);
    }
    const auto file = folder / "Soak.kelvane";
    if (const auto written = ProjectFile::write(project, FileURL::fromPath(file.string())); !written)
        stop(written.error().message);
    return file;
}

int soak(int seconds, const std::filesystem::path& parent, const std::vector<std::string>& movies) {
    const auto folder = std::filesystem::absolute(parent) / "soak";
    std::filesystem::remove_all(folder);
    testing::SoundServer server;
    if (testing::SoundServer::isInstalled() && !server.start()) stop("No sound server: " + server.log());
    const auto file = writeProject(folder / "Outside", movies);
    double half = 0;
    double most = 0;
    double last = 0;
    int acts = 0;
    {
        std::shared_ptr<PulseConnection> connection;
        Application application(folder / "Library", [&](Application& made, PlayerRole role) -> std::unique_ptr<Player> {
            PlayerServices services{.context = &made.context};
            services.makePictureStream = [&made](EditedMediaPtr item, Size canvas) {
                return made.media.makePictureStream(std::move(item), canvas);
            };
            if (role == PlayerRole::main) {
                services.makeSoundStream = [&made](EditedMediaPtr item) { return made.media.makeSoundStream(item); };
                if (!connection) connection = std::make_shared<PulseConnection>(made.context);
                services.output = std::make_shared<PulseSoundOutput>(connection);
            }
            auto player = std::make_unique<TimelinePlayer>(std::move(services));
            player->pictures()->setSurfaceSize({400, 711});
            return player;
        });
        application.open(file);
        Hands hands(application.workspace->editor());
        for (int look = 1; look <= looks; ++look) {
            const auto end = Clock::now() + std::chrono::milliseconds(seconds * 1000 / looks);
            while (Clock::now() < end) hands.act();
            hands.rest();
            if (const auto& error = application.workspace->editor()->error()) stop(*error);
            last = residentMegabytes();
            if (look == looks / 2) half = last;
            most = std::max(most, last);
            std::fprintf(stderr, "  %d operations, %.0f MB\n", hands.acts(), last);
        }
        acts = hands.acts();
    }
    std::filesystem::remove_all(folder);
    std::printf("%.0f %.0f %.0f %d\n", half, most, last, acts);
    return last > half * mostGrowth ? 1 : 0;
}

}  // namespace
}  // namespace kelvane::benchmarks

int main(int argc, char** argv) {
    QGuiApplication application(argc, argv);
    if (argc < 4) {
        std::fputs("bench-soak <seconds> <folder> <movie> …\n", stderr);
        return 2;
    }
    return kelvane::benchmarks::soak(std::atoi(argv[1]), argv[2], {argv + 3, argv + argc});
}
