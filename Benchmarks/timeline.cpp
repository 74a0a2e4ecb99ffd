// What the timeline costs, at 1,280 × 348 points and a pixel to a point, offscreen:
//
//     bench-timeline scroll|drag|edit <clips> <steps> <folder> <movie> <sound>
//     bench-timeline trim <clips> <steps> <folder> <movie> <sound>
//     bench-timeline memory <clips> <files> <folder> <movie> <sound>
//
// The first measure a frame of so many clips in 8 rows. scroll: the person scrolls by 7 points. drag: a video clip is
// dragged by 3 points. edit: a clip is changed as by a command. They print, in milliseconds, the middle and the longest
// of what the main thread does by itself (the step, and what the surface draws), the middle of what the renderer adds,
// and the middle of the step alone, up to where it could be drawn.
//
// trim drags an end of a clip by 6 points a step, and draws each step and waits for the picture at that end. It prints
// how many steps there are a second, and the longest in milliseconds.
//
// memory shows so many video clips of that many files, all of them, at the smallest scale and then at a zoom of 1, and
// prints the megabytes that the process has then and those that it had at the most. With 0 clips these are those of an
// empty timeline.

#include <malloc.h>

#include <QGuiApplication>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickWindow>
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "Platform/TimelinePlayer.h"
#include "Views/Timeline/TimelineSurface.h"
#include "Views/Waveform/AudioWaveformView.h"
#include "application.h"

namespace {

namespace fs = std::filesystem;
using namespace kelvane;
using namespace kelvane::benchmarks;
using Clock = std::chrono::steady_clock;

constexpr double movieSeconds = 12;
constexpr double soundSeconds = 15;

double milliseconds(Clock::duration duration) { return std::chrono::duration<double, std::milli>(duration).count(); }

/// Tells how long it draws.
class MeasuredSurface final : public TimelineSurface {
public:
    double drawn = 0;

protected:
    void updatePolish() override {
        const auto begun = Clock::now();
        TimelineSurface::updatePolish();
        drawn += milliseconds(Clock::now() - begun);
    }
};

Clip assetOf(const fs::path& file, double seconds) {
    Clip asset;
    asset.id = UUID::random();
    asset.url = FileURL::fromPath(file.string());
    asset.sourceDuration = asset.end = seconds;
    return asset;
}

/// The n-th video clip of an asset.
Clip videoOf(Clip asset, int n) {
    asset.id = UUID::random();
    asset.start = n % 7;
    asset.end = asset.start + 1.2 + 0.3 * (n % 5);
    return asset;
}

fs::path write(const fs::path& folder, const Project& project) {
    const auto file = folder / "Film.kelvane";
    if (const auto written = ProjectFile::write(project, FileURL::fromPath(file.string())); !written)
        stop(written.error().message);
    return file;
}

/// Video, and seven lanes of sound that are each as full as its row.
fs::path writeFilm(const fs::path& folder, const fs::path& movie, const fs::path& sound, int count) {
    Project project;
    project.assets = std::vector<Clip>{assetOf(movie, movieSeconds), assetOf(sound, soundSeconds)};
    project.assets->back().audioOnly = true;
    std::vector<UUID> lanes;
    for (int i = 0, videos = 0, sounds = 0; i < count; ++i) {
        if (i % 16 < 7) {
            project.clips.push_back(videoOf(project.assets->front(), videos++));
            continue;
        }
        Clip clip = project.assets->back();
        clip.id = UUID::random();
        clip.start = sounds % 5;
        clip.end = clip.start + 7 + sounds % 3;
        clip.timelineStart = 10.0 * (sounds / 7) + sounds % 2;
        if (sounds < 7)
            lanes.push_back(clip.id);
        else
            clip.audioTrackID = lanes[static_cast<std::size_t>(sounds % 7)];
        ++sounds;
        project.clips.push_back(clip);
    }
    return write(folder, project);
}

/// Video alone, of copies of a movie in turn.
fs::path writeFootage(const fs::path& folder, const fs::path& movie, int count, int files) {
    Project project;
    project.assets.emplace();
    for (int i = 0; i < files && count > 0; ++i) {
        const auto file = folder / ("source " + std::to_string(i) + ".mp4");
        fs::copy_file(movie, file);
        project.assets->push_back(assetOf(file, movieSeconds));
    }
    for (int i = 0; i < count; ++i)
        project.clips.push_back(videoOf((*project.assets)[static_cast<std::size_t>(i % files)], i));
    return write(folder, project);
}

/// Of the pictures at trimmed edges, as large as the window's preview.
constexpr Size previewSize{400, 711};

/// Stands still on the timeline, and shows the pictures at trimmed edges.
std::unique_ptr<Player> makePlayer(Application& application, PlayerRole role) {
    if (role == PlayerRole::main) return std::make_unique<StillPlayer>();
    PlayerServices services{.context = &application.context};
    services.makePictureStream = [&application](EditedMediaPtr item, Size canvas) {
        return application.media.makePictureStream(std::move(item), canvas);
    };
    auto player = std::make_unique<TimelinePlayer>(std::move(services));
    player->pictures()->setSurfaceSize(previewSize);
    return player;
}

/// A window that shows the timeline of a project alone.
class Stage {
public:
    Stage(const fs::path& folder, const fs::path& project) : application(folder / "Library", makePlayer) {
        shareWaveforms(engine, waveforms);
        surface = new MeasuredSurface;
        surface->setParent(&window);
        QQmlEngine::setContextForObject(surface, engine.rootContext());
        window.resize(1280, 348);
        surface->setParentItem(window.contentItem());
        surface->setSize({1280, 348});
        surface->setView(&view);
        window.show();
        application.open(project);
    }
    [[nodiscard]] Editor& editor() const { return *application.workspace->editor(); }
    /// Shows frames for so long, and until nothing is built any more.
    void settle(std::chrono::milliseconds time) {
        const auto end = Clock::now() + time;
        Timer ticking;
        application.runUntil([&] {
            (void)window.grabWindow();
            ticking = application.context.after(std::chrono::milliseconds(10), [] {});
            return Clock::now() > end && !editor().isBuilding();
        });
    }

    Application application;
    AudioWaveformCache waveforms{application.context, application.media};
    TimelineView view{application.workspace, application.context, [] { return true; }};
    QQmlEngine engine;
    QQuickWindow window;
    MeasuredSurface* surface = nullptr;
};

struct Step {
    double own = 0;
    double rendering = 0;
    /// Of `own`, what comes before the drawing.
    double acting = 0;
};

double middle(std::vector<Step> steps, double Step::* part) {
    std::ranges::sort(steps, {}, part);
    return steps[steps.size() / 2].*part;
}

void report(const std::vector<Step>& steps) {
    std::printf("%.2f %.2f %.2f %.2f\n", middle(steps, &Step::own), std::ranges::max(steps, {}, &Step::own).own,
                middle(steps, &Step::rendering), middle(steps, &Step::acting));
}

/// One act of a person or a command; the way turns every forty steps.
void act(Stage& stage, const std::string& scene, int step, QPointF& pointer) {
    const double way = step / 40 % 2 == 0 ? 1 : -1;
    if (scene == "scroll") {
        stage.view.scrollBy({7 * way, 0});
    } else if (scene == "drag") {
        pointer += QPointF(3 * way, 0);
        stage.view.drag(pointer, {});
    } else {
        auto clips = stage.editor().clips();
        clips[clips.size() / 2].volume = step % 2 == 0 ? 0.5 : 1;
        stage.editor().commit(clips);
    }
}

void measureFrames(Stage& stage, const std::string& scene, int rounds) {
    stage.editor().seekPreview(20);
    stage.settle(std::chrono::milliseconds(1500));
    std::vector<Step> steps;
    QPointF pointer(700, 70);
    if (scene == "drag") stage.view.press(pointer, {});
    for (int i = 0; i < rounds; ++i) {
        stage.surface->drawn = 0;
        const auto begun = Clock::now();
        act(stage, scene, i, pointer);
        QCoreApplication::processEvents();
        // The loop may have drawn already.
        const double early = stage.surface->drawn;
        const double stepped = milliseconds(Clock::now() - begun);
        (void)stage.window.grabWindow();
        const double all = milliseconds(Clock::now() - begun);
        const double late = stage.surface->drawn - early;
        steps.push_back({stepped + late, all - stepped - late, stepped - early});
    }
    if (scene == "drag") stage.view.cancelGesture();
    report(steps);
}

/// Where the end of a clip of the video track is, well behind the playhead.
QPointF endInSight(const TimelineView& view) {
    const auto& clips = view.displayedClips();
    for (std::size_t i = 0; i < clips.size(); ++i) {
        const QRectF frame = view.drawnFrame(i);
        const double x = frame.right() - view.visibleOrigin().x() + view.viewportWidth() / 2;
        if (!clips[i].isAudio() && x > view.viewportWidth() / 2 + 150) return {x - 2, frame.center().y()};
    }
    stop("No clip is in sight.");
}

void measureTrims(Stage& stage, int rounds) {
    stage.editor().seekPreview(20);
    stage.settle(std::chrono::milliseconds(1500));
    QPointF pointer = endInSight(stage.view);
    stage.view.press(pointer, {});
    PictureFeed* feed = stage.editor().hoverPlayer()->pictures();
    bool isShown = false;
    feed->setPictureObserver([&] { isShown = feed->picture() != nullptr; });
    double all = 0;
    double longest = 0;
    // The first one opens the file.
    for (int i = 0; i <= rounds; ++i) {
        isShown = false;
        const auto begun = Clock::now();
        pointer += QPointF(i / 16 % 2 == 0 ? 6 : -6, 0);
        stage.view.drag(pointer, Qt::AltModifier);
        (void)stage.window.grabWindow();
        stage.application.runUntil([&] { return isShown; });
        const double taken = milliseconds(Clock::now() - begun);
        if (i == 0) continue;
        all += taken;
        longest = std::max(longest, taken);
    }
    feed->setPictureObserver({});
    stage.view.cancelGesture();
    std::printf("%.1f %.1f\n", 1000 * rounds / all, longest);
}

/// Of this process, megabytes.
double memory(const std::string& line) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (double kilobytes = 0; word == line + ":" && status >> kilobytes) return kilobytes / 1000;
    stop("The system tells no " + line + ".");
}

void measureMemory(Stage& stage) {
    for (const double zoom : {stage.view.lowestZoom(), 1.0}) {
        stage.view.setZoom(zoom);
        stage.editor().seekPreview(0);
        const double end = stage.view.duration() * stage.view.pointsPerSecond();
        do {
            stage.settle(std::chrono::milliseconds(400));
            stage.view.scrollBy({1000, 0});
        } while (stage.view.visibleOrigin().x() < end - 1);
        stage.view.endScrolling();
    }
    stage.settle(std::chrono::milliseconds(400));
    std::printf("%.1f %.1f\n", memory("VmRSS"), memory("VmHWM"));
}

int run(const std::vector<std::string>& arguments) {
    const std::string& scene = arguments.at(1);
    const int count = std::atoi(arguments.at(2).c_str());
    const int number = std::atoi(arguments.at(3).c_str());
    const fs::path folder = fs::absolute(arguments.at(4)) / ("timeline-" + scene);
    const fs::path movie = fs::absolute(arguments.at(5));
    fs::remove_all(folder);
    fs::create_directories(folder);
    if (scene == "memory") {
        Stage stage(folder, writeFootage(folder, movie, count, number));
        measureMemory(stage);
    } else {
        Stage stage(folder, writeFilm(folder, movie, fs::absolute(arguments.at(6)), count));
        if (scene == "trim")
            measureTrims(stage, number);
        else
            measureFrames(stage, scene, number);
    }
    fs::remove_all(folder);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    // As the application does.
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication gui(argc, argv);
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    if (argc < 7) {
        std::fprintf(stderr,
                     "bench-timeline scroll|drag|edit <clips> <steps> <folder> <movie> <sound>\n"
                     "bench-timeline trim <clips> <steps> <folder> <movie> <sound>\n"
                     "bench-timeline memory <clips> <files> <folder> <movie> <sound>\n");
        return 2;
    }
    return run(std::vector<std::string>(argv, argv + argc));
}
