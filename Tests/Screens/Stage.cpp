#include "Stage.h"

#include <QCoreApplication>
#include <QQmlComponent>
#include <QTest>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "Platform/TimelinePlayer.h"
#include "Storage/ProjectFile.h"
#include "Storage/UnfinishedSweep.h"
#include "Views/Theme.h"
#include "Views/Timeline/TimelineMetrics.h"
#include "Views/Window/PanelHost.h"

namespace kelvane::testing {

namespace fs = std::filesystem;

namespace {

/// Of one wait: far more than anything takes on a machine that has other things to do.
constexpr std::chrono::minutes patience{15};

struct NoWindow final : PlatformWindow {
    void bringToFront() override {}
    [[nodiscard]] bool isActive() const override { return true; }
    void setHasUnsavedChanges(bool) override {}
    void setProjectFile(const std::optional<FileURL>&) override {}
};

/// Whether something is on its way that is going to be shown.
bool isAwaited(const Editor& editor) {
    if (editor.isBuilding() || editor.isLoadingThumbnails()) return true;
    const auto isComing = [](Player* player) {
        const PictureFeed* feed = player != nullptr ? player->pictures() : nullptr;
        return feed != nullptr && (feed->isAwaited() || feed->picture() == nullptr);
    };
    return (editor.hoverPreview() && isComing(editor.hoverPlayer())) ||
           (!editor.clips().empty() && isComing(editor.player()));
}

}  // namespace

void stop(const std::string& words) {
    std::fprintf(stderr, "%s\n", words.c_str());
    std::fflush(nullptr);
    std::_Exit(1);
}

Stage::Stage(fs::path footage, const fs::path& library)
    : footage_(std::move(footage)),
      unfinished_(unfinishedFolder(FileURL::fromPath(library.string()))),
      platformWindow_(std::make_unique<NoWindow>()),
      windows_(EditorServices{.context = &context_,
                              .media = &media_,
                              .panels = &panels_,
                              .makePlayer =
                                  [this](PlayerRole) {
                                      PlayerServices services{.context = &context_};
                                      services.makePictureStream = [this](EditedMediaPtr item, Size canvas) {
                                          return media_.makePictureStream(std::move(item), canvas);
                                      };
                                      return std::make_unique<TimelinePlayer>(std::move(services));
                                  },
                              .recording = &recording_,
                              .unfinished = &unfinished_,
                              .desktop = &desktop_},
               FileURL::fromPath(library.string())),
      workspace_(windows_.workspace(std::nullopt)) {
    windows_.attach(workspace_, platformWindow_.get());
    registerWindowTypes();
    shareWaveforms(engine_, waveforms_);
    Theme::setAppearance({.reducedMotion = true});
    view_ = std::make_unique<ProjectWindowView>(windows_, workspace_, [] { return true; });
    QQmlComponent component(&engine_, QUrl("qrc:/Views/Window/ProjectWindow.qml"));
    window_.reset(qobject_cast<QQuickWindow*>(
        component.createWithInitialProperties({{"view", QVariant::fromValue(view_.get())}})));
    if (!window_) stop(component.errorString().toStdString());
    window_->show();
    window_->requestActivate();
    runUntil([this] { return window_->isActive() && window_->property("whole").toBool(); });
}

Stage::~Stage() { windows_.unregister(workspace_); }

void Stage::leave() {
    for (const auto& leave : std::exchange(leaving_, {})) leave();
    if (!workspace_->editor()) return;
    timeline().cancelGesture();
    // Who uses the pointer sees no ring of the keyboard's focus.
    QTest::mouseClick(window_.get(), Qt::LeftButton, {}, surface().mapToScene({surface().width() / 2, 8}).toPoint());
}

void Stage::goHome() {
    if (!workspace_->editor()) return;
    windows_.showHome(workspace_);
    runUntil([this] { return !workspace_->editor(); });
}

Clip Stage::video(const char* name, double start, double end, double volume) const {
    Clip clip;
    clip.id = UUID::random();
    clip.url = file(name);
    clip.sourceDuration = std::string(name).ends_with(".mp4") ? 12 : 40;
    clip.start = start;
    clip.end = end;
    clip.volume = volume;
    return clip;
}

Clip Stage::sound(const char* name, double at, double start, double end, double volume) const {
    Clip clip = video(name, start, end, volume);
    clip.audioOnly = true;
    clip.timelineStart = at;
    return clip;
}

void Stage::runUntil(const std::function<bool()>& isDone) {
    const auto end = context_.now() + patience;
    while (!isDone()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        if (windows_.error()) stop(*windows_.error());
        if (context_.now() > end) stop("The window does not come to rest.");
    }
}

void Stage::settle() {
    QImage before;
    // Pictures come one by one: it is still when it has been for a while.
    for (int still = 0; still < 6;) {
        const auto end = context_.now() + std::chrono::milliseconds(120);
        runUntil([&] {
            const auto shown = workspace_->editor();
            return context_.now() > end && !(shown && isAwaited(*shown));
        });
        const QImage now = window_->grabWindow();
        still = now == before ? still + 1 : 0;
        before = now;
    }
}

void Stage::open(const std::string& name, const std::vector<Clip>& clips, double playhead) {
    if (!isOpen(name, clips)) make(name, clips);
    editor().setError(std::nullopt);
    editor().showTimelinePreview();
    editor().selectAssets({});
    editor().selectTimelineClips({});
    editor().setShowInspector(false);
    timeline().setZoom(1);
    settle();
    editor().seekPreview(playhead);
    settle();
}

bool Stage::isOpen(const std::string& name, const std::vector<Clip>& clips) const {
    return workspace_->editor() && made_.name == name && made_.given == clips && editor().clips() == made_.clips &&
           editor().assets() == made_.assets;
}

void Stage::make(const std::string& name, const std::vector<Clip>& clips) {
    goHome();
    Project project;
    project.clips = clips;
    project.assets.emplace();
    if (!clips.empty())
        project.assets = {video("Coast.mp4", 0, 12),  video("Balloons.mp4", 0, 12), video("Harbour.mp4", 0, 12),
                          video("Meadow.mp4", 0, 12), sound("Voice.wav", 0, 0, 40), sound("Music.wav", 0, 0, 40)};
    // The library knows a file that it has taken in before by its place.
    const auto folder = fs::temp_directory_path() / ("kelvane-screens-" + std::to_string(++projects_));
    fs::create_directories(folder);
    const auto path = folder / (name + ".kelvane");
    if (const auto written = ProjectFile::write(project, FileURL::fromPath(path.string())); !written)
        stop(written.error().message);
    windows_.openProject(FileURL::fromPath(path.string()), workspace_, false);
    runUntil([&] { return workspace_->editor() != nullptr; });
    fs::remove_all(folder);
    settle();
    made_ = {.name = name, .given = clips, .clips = editor().clips(), .assets = editor().assets()};
}

QQuickItem& Stage::item(const char* name) const {
    auto* found = window_->findChild<QQuickItem*>(name);
    if (found == nullptr) stop(std::string("The window has no ") + name);
    return *found;
}

const TimelineSurface& Stage::surface() const { return static_cast<TimelineSurface&>(item("timelineSurface")); }

QPoint Stage::at(double seconds, int row, double y) const {
    const TimelineView& timeline = *view_->timeline();
    const double x = seconds * timeline.pointsPerSecond() - timeline.visibleOrigin().x() + surface().width() / 2;
    const double top = TimelineMetrics::trackTop + TimelineMetrics::trackStride * row - timeline.visibleOrigin().y();
    return surface().mapToScene({x, top + y}).toPoint();
}

QPoint Stage::middleOf(const QQuickItem& item) {
    return item.mapToScene({item.width() / 2, item.height() / 2}).toPoint();
}

QQuickItem& Stage::shown(const char* property, const QString& value) const {
    const auto find = [&](const auto& self, QQuickItem& item) -> QQuickItem* {
        if (!item.isVisible()) return nullptr;
        if (item.property(property) == value) return &item;
        for (auto* child : item.childItems())
            if (auto* found = self(self, *child)) return found;
        return nullptr;
    };
    auto* found = find(find, *window_->contentItem());
    if (found == nullptr) stop("The window does not show " + value.toStdString());
    return *found;
}

void Stage::press(Qt::Key key, Qt::KeyboardModifiers modifiers) { QTest::keyClick(window_.get(), key, modifiers); }

void Stage::drag(QPoint from, QPoint to) {
    QTest::mouseMove(window_.get(), from);
    QTest::mousePress(window_.get(), Qt::LeftButton, {}, from);
    for (int step = 1; step <= 4; ++step) QTest::mouseMove(window_.get(), from + (to - from) * step / 4);
    leaving_.emplace_back([this, to] {
        timeline().cancelGesture();
        QTest::mouseRelease(window_.get(), Qt::LeftButton, {}, to);
        QTest::mouseMove(window_.get(), {1, 1});
    });
}

}  // namespace kelvane::testing
