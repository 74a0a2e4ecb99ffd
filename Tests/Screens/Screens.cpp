// Shows the window in each state of the timeline, with the engine's own pictures and sounds, and keeps what it looks
// like:
//
//     screens <folder of footage> <folder for the pictures> <folder for a library> [<state>…]
//
// The footage are "Coast.mp4", "Balloons.mp4", "Voice.wav" and "Music.wav"; Tools/screens draws them. Pictures are
// named by their state, and by the scale where it isn't 1 (QT_SCALE_FACTOR).

#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTest>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Platform/QtMainContext.h"
#include "Platform/TimelinePlayer.h"
#include "Storage/ProjectFile.h"
#include "Storage/UnfinishedSweep.h"
#include "Support/App/FakePanels.h"
#include "Support/App/FakeRecording.h"
#include "Support/UnfinishedWork.h"
#include "Timeline/TimelineLayout.h"
#include "Views/Timeline/TimelineMetrics.h"
#include "Views/Timeline/TimelineSurface.h"
#include "Views/Waveform/AudioWaveformView.h"
#include "Views/Window/PanelHost.h"
#include "Views/Window/ProjectWindowView.h"
#include "Windows/ProjectWindows.h"

namespace {

namespace fs = std::filesystem;
using namespace kelvane;

[[noreturn]] void stop(const std::string& words) {
    std::fprintf(stderr, "%s\n", words.c_str());
    std::exit(1);
}

struct NoWindow final : PlatformWindow {
    void bringToFront() override {}
    [[nodiscard]] bool isActive() const override { return true; }
    void setHasUnsavedChanges(bool) override {}
    void setProjectFile(const std::optional<FileURL>&) override {}
};

/// The application with one window, a microphone that hears what it is told, and no sound.
class Stage {
public:
    Stage(fs::path footage, fs::path pictures, const fs::path& library);
    ~Stage() { windows_.unregister(workspace_); }

    // The states. Each shows a project of its own.
    void showEmpty();
    void showEditor();
    void showMany();
    void showMove();
    void showSound();
    void showTrim();
    void showVolume();
    void showMarquee();
    void showRecording();
    void showNarrow();
    void showWide();

private:
    [[nodiscard]] FileURL file(const char* name) const { return FileURL::fromPath((footage_ / name).string()); }
    [[nodiscard]] Clip video(const char* name, double start, double end, double volume = 1) const;
    [[nodiscard]] Clip sound(const char* name, double at, double start, double end, double volume = 1) const;
    [[nodiscard]] std::vector<Clip> film() const;
    void open(const std::string& name, std::vector<Clip> clips, double playhead, QSize size = {1060, 760});
    template <class Condition>
    void runUntil(Condition isDone);
    /// Until all that is in sight is drawn as it stays.
    void settle();
    [[nodiscard]] Editor& editor() const { return *workspace_->editor(); }
    [[nodiscard]] TimelineView& timeline() { return *view_->timeline(); }
    [[nodiscard]] const TimelineSurface& surface() const;
    [[nodiscard]] QPoint at(double seconds, int row, double y) const;
    /// Presses and moves, and holds what it has.
    void drag(QPoint from, QPoint to);
    void keep(const std::string& state);

    fs::path footage_;
    fs::path pictures_;
    UnfinishedWork unfinished_;
    FFmpegPlatform media_;
    testing::FakePanels panels_;
    testing::FakeRecording recording_;
    QtMainContext context_;
    AudioWaveformCache waveforms_{context_, media_};
    NoWindow platformWindow_;
    ProjectWindows windows_;
    std::shared_ptr<Workspace> workspace_;
    std::unique_ptr<ProjectWindowView> view_;
    QQmlEngine engine_;
    std::unique_ptr<QQuickWindow> window_;
    QPoint held_;
    bool isHeld_ = false;
};

Stage::Stage(fs::path footage, fs::path pictures, const fs::path& library)
    : footage_(std::move(footage)),
      pictures_(std::move(pictures)),
      unfinished_(unfinishedFolder(FileURL::fromPath(library.string()))),
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
                              .unfinished = &unfinished_},
               FileURL::fromPath(library.string())),
      workspace_(windows_.workspace(std::nullopt)) {
    windows_.attach(workspace_, &platformWindow_);
    registerWindowTypes();
    shareWaveforms(engine_, waveforms_);
    view_ = std::make_unique<ProjectWindowView>(windows_, workspace_, [] { return true; });
    QQmlComponent component(&engine_, QUrl("qrc:/Views/Window/ProjectWindow.qml"));
    window_.reset(qobject_cast<QQuickWindow*>(
        component.createWithInitialProperties({{"view", QVariant::fromValue(view_.get())}})));
    if (!window_) stop(component.errorString().toStdString());
    window_->show();
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

/// A short film with two voices and music.
std::vector<Clip> Stage::film() const {
    std::vector<Clip> clips{
        video("Coast.mp4", 1, 6),           video("Balloons.mp4", 0.5, 5),    video("Coast.mp4", 4, 10.5),
        video("Balloons.mp4", 6, 9.8, 0.8), video("Coast.mp4", 0, 7),         video("Balloons.mp4", 3, 9.2),
        sound("Voice.wav", 1, 0, 10.4),     sound("Voice.wav", 17.5, 12, 21), sound("Music.wav", 0.2, 0, 34, 0.62)};
    clips[7].audioTrackID = clips[6].id;
    return clips;
}

template <class Condition>
void Stage::runUntil(Condition isDone) {
    while (!isDone()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        if (windows_.error()) stop(*windows_.error());
        if (workspace_->editor() && workspace_->editor()->error()) stop(*workspace_->editor()->error());
    }
}

void Stage::settle() {
    QImage before;
    // Pictures come one by one: it is still when it has been for a while.
    for (int still = 0; still < 8;) {
        const auto end = context_.now() + std::chrono::milliseconds(120);
        runUntil([&] { return context_.now() > end && !editor().isBuilding() && !editor().isLoadingThumbnails(); });
        const QImage now = window_->grabWindow();
        still = now == before ? still + 1 : 0;
        before = now;
    }
}

void Stage::open(const std::string& name, std::vector<Clip> clips, double playhead, QSize size) {
    Project project;
    project.clips = std::move(clips);
    project.assets = std::vector<Clip>{video("Coast.mp4", 0, 12), video("Balloons.mp4", 0, 12)};
    const auto path = fs::temp_directory_path() / (name + ".kelvane");
    if (const auto written = ProjectFile::write(project, FileURL::fromPath(path.string())); !written)
        stop(written.error().message);
    const auto shown = workspace_->editor();
    windows_.openProject(FileURL::fromPath(path.string()), workspace_, false);
    runUntil([&] { return workspace_->editor() && workspace_->editor() != shown; });
    fs::remove(path);
    window_->resize(size);
    settle();
    editor().seekPreview(playhead);
    settle();
}

const TimelineSurface& Stage::surface() const {
    const auto* found = window_->findChild<TimelineSurface*>("timelineSurface");
    if (found == nullptr) stop("The window has no timeline.");
    return *found;
}

QPoint Stage::at(double seconds, int row, double y) const {
    const TimelineView& timeline = *view_->timeline();
    const double x = seconds * timeline.pointsPerSecond() - timeline.visibleOrigin().x() + surface().width() / 2;
    const double top = TimelineMetrics::trackTop + TimelineMetrics::trackStride * row - timeline.visibleOrigin().y();
    return surface().mapToScene({x, top + y}).toPoint();
}

void Stage::drag(QPoint from, QPoint to) {
    QTest::mouseMove(window_.get(), from);
    QTest::mousePress(window_.get(), Qt::LeftButton, {}, from);
    for (int step = 1; step <= 4; ++step) QTest::mouseMove(window_.get(), from + (to - from) * step / 4);
    held_ = to;
    isHeld_ = true;
    settle();
}

void Stage::keep(const std::string& state) {
    settle();
    const double scale = window_->effectiveDevicePixelRatio();
    const std::string suffix = scale == 1 ? "" : "@" + QString::number(scale).toStdString();
    const QImage image = window_->grabWindow().convertToFormat(QImage::Format_RGB888);
    const auto path = pictures_ / (state + suffix + ".png");
    if (!image.save(QString::fromStdString(path.string()))) stop("Can't write " + path.string());
    std::printf("%s\n", path.c_str());
    if (!std::exchange(isHeld_, false)) return;
    timeline().cancelGesture();
    QTest::mouseRelease(window_.get(), Qt::LeftButton, {}, held_);
}

void Stage::showEmpty() {
    open("Untitled", {}, 0);
    keep("empty");
}

void Stage::showEditor() {
    open("Late light", film(), 17.5);
    editor().selectTimelineClips({editor().clips()[3].id});
    keep("editor");
}

void Stage::showMany() {
    std::vector<Clip> clips;
    for (int i = 0; i < 440; ++i)
        clips.push_back(video(i % 3 == 1 ? "Balloons.mp4" : "Coast.mp4", i % 7, i % 7 + 1.2 + 0.3 * (i % 5)));
    std::vector<UUID> lanes;
    for (int i = 0; i < 560; ++i) {
        Clip clip = sound(i % 4 == 0 ? "Music.wav" : "Voice.wav", 10 * (i / 7) + i % 3, i % 9, i % 9 + 4 + i % 5,
                          1 - 0.1 * (i % 6));
        if (i < 7)
            lanes.push_back(clip.id);
        else
            clip.audioTrackID = lanes[static_cast<std::size_t>(i % 7)];
        clips.push_back(clip);
    }
    open("Many", clips, 400);
    keep("many");
}

void Stage::showMove() {
    open("Late light", film(), 13.5);
    drag(at(6.5, 0, 50), at(17.6, 0, 50));
    keep("drag-video");
}

void Stage::showSound() {
    open("Late light", film(), 13.5);
    // Its start comes near the cut at 20 s, in the lane below.
    drag(at(19, 1, 50), at(21.4, 2, 50));
    keep("drag-sound");
}

void Stage::showTrim() {
    open("Late light", film(), 25);
    drag(at(33, 0, 50) - QPoint(5, 0), at(26.5, 0, 50) - QPoint(1, 0));
    keep("trim");
}

void Stage::showVolume() {
    open("Late light", film(), 13.5);
    drag(at(11, 2, 12 + 0.38 * 62), at(11, 2, 52));
    keep("volume");
}

void Stage::showMarquee() {
    open("Late light", film(), 17.5);
    drag(at(13, 1, 60), at(19, 0, 60));
    keep("marquee");
}

void Stage::showRecording() {
    open("Late light", film(), 5);
    editor().toggleVoiceOverRecording();
    runUntil([this] { return editor().isRecording(); });
    for (int i = 1; i <= 150; ++i) {
        recording_.recorder->time = i / 30.0;
        recording_.recorder->power =
            static_cast<float>(-4 - 26 * ((i * 7919 % 100) / 100.0) - (i / 18 % 3 == 2 ? 30 : 0));
        const double grown = i / 30.0;
        runUntil([&] { return editor().recordingElapsed() >= grown; });
    }
    settle();
    keep("recording");
    recording_.endsAtOnce = false;
    editor().toggleVoiceOverRecording();
    recording_.recorder->onFinish(false);
    runUntil([this] { return !editor().isRecording(); });
}

void Stage::showNarrow() {
    open("Late light, slow water, and a name that is longer than its room", film(), 17.5, {740, 560});
    editor().selectTimelineClips({editor().clips()[3].id});
    keep("narrow");
}

void Stage::showWide() {
    open("Late light", film(), 17.5, {1600, 1000});
    editor().selectTimelineClips({editor().clips()[3].id});
    timeline().setZoom(1.4);
    keep("wide");
}

struct State {
    const char* name;
    void (Stage::*show)();
};
constexpr State states[]{
    {"empty", &Stage::showEmpty},     {"editor", &Stage::showEditor},    {"many", &Stage::showMany},
    {"drag-video", &Stage::showMove}, {"drag-sound", &Stage::showSound}, {"trim", &Stage::showTrim},
    {"volume", &Stage::showVolume},   {"marquee", &Stage::showMarquee},  {"recording", &Stage::showRecording},
    {"narrow", &Stage::showNarrow},   {"wide", &Stage::showWide}};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) stop("screens <footage> <pictures> <library> [<state>…]");
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QQuickStyle::setStyle("Basic");
    QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    fs::create_directories(argv[2]);
    const std::vector<std::string> wanted(argv + 4, argv + argc);
    Stage stage(fs::absolute(argv[1]), fs::absolute(argv[2]), fs::absolute(argv[3]));
    for (const auto& [name, show] : states)
        if (wanted.empty() || std::ranges::find(wanted, name) != wanted.end()) (stage.*show)();
    std::fflush(nullptr);
    _exit(0);
}
