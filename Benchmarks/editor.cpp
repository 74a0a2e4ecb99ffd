// A project in its real window of 1060 × 760 points, offscreen, a pixel to a point:
//
//     bench-editor open <clips> <times> <folder> <movie>
//     bench-editor slider <steps> <folder> <movie>
//
// open opens a project of so many clips of 10 files of the library's, from the projects home, again and again. It
// prints the middle and the longest time, in milliseconds, from the act to the end of the first frame in which all is
// drawn: the panes, the clips, and the picture at the playhead.
//
// slider drags "Horizontal" of the clip at the playhead by a step at a time, and draws each step and waits for its
// picture. It prints how many steps there are a second, and the longest in milliseconds.

#include <malloc.h>

#include <QGuiApplication>
#include <QQuickStyle>
#include <QQuickWindow>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "App/KelvaneApp.h"
#include "Storage/ProjectStore.h"
#include "Views/Preview/PreviewSurface.h"

namespace {

namespace fs = std::filesystem;
using namespace kelvane;
using Clock = std::chrono::steady_clock;

constexpr double movieSeconds = 12;

[[noreturn]] void stop(const std::string& words) {
    std::fprintf(stderr, "%s\n", words.c_str());
    std::exit(1);
}

double millisecondsSince(Clock::time_point begun) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begun).count();
}

template <class Condition>
void runUntil(Condition isDone) {
    while (!isDone()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

/// A library with one project, whose media lie outside.
UUID makeLibrary(const fs::path& folder, const fs::path& movie, int clips, int files) {
    Project project;
    project.assets.emplace();
    for (int i = 0; i < files; ++i) {
        const auto file = folder / ("source " + std::to_string(i) + ".mp4");
        fs::copy_file(movie, file);
        Clip asset;
        asset.id = UUID::random();
        asset.url = FileURL::fromPath(file.string());
        asset.sourceDuration = asset.end = movieSeconds;
        project.assets->push_back(asset);
    }
    for (int i = 0; i < clips; ++i) {
        Clip clip = (*project.assets)[static_cast<std::size_t>(i % files)];
        clip.id = UUID::random();
        clip.start = i % 7;
        clip.end = clip.start + 1.2 + 0.3 * (i % 5);
        project.clips.push_back(clip);
    }
    const ProjectStore store(FileURL::fromPath((folder / "Kelvane/Projects").string()));
    const LibraryProject row{
        .id = UUID::random(), .name = "Film", .modified = 800'000'000.0, .duration = 12, .importedFrom = {}};
    if (const auto made = store.create(row, project); !made) stop(made.error().message);
    return row.id;
}

/// The window of a started application.
struct Shown {
    QQuickWindow* window = nullptr;
    ProjectWindowView* view = nullptr;
    int frames = 0;

    explicit Shown(KelvaneApp& app) {
        if (!app.start()) stop("The window can't be made.");
        window = qobject_cast<QQuickWindow*>(QGuiApplication::topLevelWindows().value(0));
        if (window == nullptr) stop("There is no window.");
        view = window->property("view").value<ProjectWindowView*>();
        if (view == nullptr) stop("The window shows nothing.");
        QObject::connect(window, &QQuickWindow::frameSwapped, window, [this] { ++frames; });
        window->resize(1060, 760);
        runUntil([this] { return frames > 0 && view->home()->projects()->rowCount({}) > 0; });
    }
    [[nodiscard]] VideoPicturePtr picture() const {
        const PictureFeed* feed = view->preview()->feed();
        return feed == nullptr ? nullptr : feed->picture();
    }
    /// From the act to the end of the frame that shows everything.
    double open(const UUID& project) {
        const auto begun = Clock::now();
        view->home()->open(QString::fromStdString(project.upper()));
        runUntil([this] { return !view->showsHome() && picture() != nullptr; });
        const int before = frames;
        window->update();
        runUntil([&] { return frames > before; });
        return millisecondsSince(begun);
    }
    void leave() {
        view->showHome();
        runUntil([this] { return view->showsHome(); });
        const int before = frames;
        window->update();
        runUntil([&] { return frames > before; });
    }
};

void measureOpening(const fs::path& folder, const fs::path& movie, int clips, int times) {
    const UUID project = makeLibrary(folder, movie, clips, 10);
    auto* app = new KelvaneApp(false, {});
    Shown shown(*app);
    std::vector<double> taken;
    for (int i = 0; i < times; ++i) {
        taken.push_back(shown.open(project));
        shown.leave();
    }
    std::ranges::sort(taken);
    std::printf("%.0f %.0f\n", taken[taken.size() / 2], taken.back());
}

void measureSlider(const fs::path& folder, const fs::path& movie, int steps) {
    const UUID project = makeLibrary(folder, movie, 5, 1);
    auto* app = new KelvaneApp(false, {});
    Shown shown(*app);
    shown.open(project);
    const auto editor = shown.view->workspace()->editor();
    runUntil([&] { return !editor->isBuilding() && !editor->isLoadingThumbnails(); });
    editor->selectTimelineClips({editor->clips().front().id});
    InspectorRow* row = shown.view->inspector()->horizontal();
    row->begin();
    double all = 0;
    double longest = 0;
    // The first one opens the file.
    for (int i = 0; i <= steps; ++i) {
        const VideoPicturePtr before = shown.picture();
        const auto begun = Clock::now();
        row->drag(0.9 - 0.02 * (i % 90));
        runUntil([&] { return shown.picture() != before && shown.picture() != nullptr; });
        const int frame = shown.frames;
        shown.window->update();
        runUntil([&] { return shown.frames > frame; });
        const double taken = millisecondsSince(begun);
        if (i == 0) continue;
        all += taken;
        longest = std::max(longest, taken);
    }
    row->end();
    std::printf("%.1f %.1f\n", 1000 * steps / all, longest);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string act = argc > 1 ? argv[1] : "";
    const bool opens = act == "open" && argc == 6;
    if (!opens && !(act == "slider" && argc == 5)) {
        std::fprintf(stderr,
                     "bench-editor open <clips> <times> <folder> <movie>\n"
                     "bench-editor slider <steps> <folder> <movie>\n");
        return 2;
    }
    // As the application does.
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
    const fs::path folder = fs::absolute(argv[argc - 2]) / ("editor-" + act);
    const fs::path movie = fs::absolute(argv[argc - 1]);
    fs::remove_all(folder);
    fs::create_directories(folder);
    qputenv("XDG_DATA_HOME", folder.string().c_str());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QQuickStyle::setStyle("Basic");
    QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    if (opens)
        measureOpening(folder, movie, std::atoi(argv[2]), std::atoi(argv[3]));
    else
        measureSlider(folder, movie, std::atoi(argv[2]));
    std::fflush(stdout);
    fs::remove_all(folder);
    _exit(0);
}
