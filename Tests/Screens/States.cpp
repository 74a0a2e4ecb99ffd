#include <QCoreApplication>
#include <QDropEvent>
#include <QMimeData>
#include <QTest>
#include <map>

#include "Stage.h"
#include "Views/Theme.h"

namespace kelvane::testing {

namespace {

/// Where nothing is hovered.
constexpr QPoint corner{1, 1};

/// The states whose picture is taken while something moves, at once.
constexpr const char* fleeting[]{"assistant-edit", "countdown", "recording", "exporting",
                                 "importing",      "working",   "deleting"};

}  // namespace

const std::vector<Clip>& Stage::film() {
    if (!film_.empty()) return film_;
    film_ = {
        video("Coast.mp4", 1, 6),           video("Balloons.mp4", 0.5, 5),    video("Coast.mp4", 4, 10.5),
        video("Balloons.mp4", 6, 9.8, 0.8), video("Coast.mp4", 0, 7),         video("Balloons.mp4", 3, 9.2),
        sound("Voice.wav", 1, 0, 10.4),     sound("Voice.wav", 17.5, 12, 21), sound("Music.wav", 0.2, 0, 34, 0.62)};
    film_[7].audioTrackID = film_[6].id;
    return film_;
}

QImage Stage::show(const std::string& state, QSize size) {
    static const std::map<std::string, void (Stage::*)()> states{
        {"empty", &Stage::showEmpty},
        {"editor", &Stage::showEditor},
        {"many", &Stage::showMany},
        {"drag-video", &Stage::showMove},
        {"drag-sound", &Stage::showSound},
        {"drop", &Stage::showDrop},
        {"trim", &Stage::showTrim},
        {"volume", &Stage::showVolume},
        {"marquee", &Stage::showMarquee},
        {"recording", &Stage::showRecording},
        {"countdown", &Stage::showCountdown},
        {"assistant-edit", &Stage::showAssistantEdit},
        {"focus", &Stage::showFocus},
        {"tip", &Stage::showTip},
        {"more-contrast", &Stage::showMoreContrast},
        {"sound", &Stage::showSoundClip},
        {"several", &Stage::showSeveral},
        {"rename", &Stage::showRename},
        {"rename-problem", &Stage::showRenameProblem},
        {"menu", &Stage::showMenu},
        {"asset-menu", &Stage::showAssetMenu},
        {"clip-menu", &Stage::showClipMenu},
        {"drop-files", &Stage::showFileDrop},
        {"audio-preview", &Stage::showAudioPreview},
        {"export-choices", &Stage::showExportChoices},
        {"chooser", &Stage::showChooser},
        {"chooser-save", &Stage::showChooserSave},
        {"assistants", &Stage::showAssistants},
        {"assistants-none", &Stage::showAssistantsNone},
        {"assistants-message", &Stage::showAssistantsMessage},
        {"shortcuts", &Stage::showShortcuts},
        {"about", &Stage::showAbout},
        {"home-menu", &Stage::showHomeMenu},
        {"home-rename", &Stage::showHomeRename},
        {"home-nothing", &Stage::showHomeNothing},
        {"home-focus", &Stage::showHomeFocus},
        {"home-many", &Stage::showHomeMany},
        {"working", &Stage::showWorking},
        {"deleting", &Stage::showDeleting},
        {"alert", &Stage::showAlert},
        {"export-options", &Stage::showExportOptions},
        {"exporting", &Stage::showExporting},
        {"exported", &Stage::showExported},
        {"importing", &Stage::showImporting},
        {"asset-preview", &Stage::showAssetPreview},
        {"confirm", &Stage::showConfirm},
        {"name", &Stage::showName},
        {"home", &Stage::showHome},
        {"home-empty", &Stage::showHomeEmpty},
        {"wide", &Stage::showWide},
    };
    const auto known = states.find(state);
    if (known == states.end()) stop("There is no state " + state + ".");
    QTest::mouseMove(window_.get(), corner);
    window_->resize(size);
    (this->*known->second)();
    if (std::ranges::find(fleeting, state) == std::end(fleeting)) settle();
    const QImage image = window_->grabWindow().convertToFormat(QImage::Format_RGB888);
    leave();
    return image;
}

void Stage::showEmpty() { open("Untitled", {}, 0); }

void Stage::showEditor() {
    open("Late light", film(), 17.5);
    editor().selectTimelineClips({editor().clips()[3].id});
    editor().setShowInspector(true);
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
}

void Stage::showMove() {
    open("Late light", film(), 13.5);
    drag(at(6.5, 0, 50), at(17.6, 0, 50));
}

void Stage::showSound() {
    open("Late light", film(), 13.5);
    // Its start comes near the cut at 20 s, in the lane below.
    drag(at(19, 1, 50), at(21.4, 2, 50));
}

void Stage::showDrop() {
    open("Late light", film(), 13.5);
    // The platform keeps the payload for as long as the drag.
    const auto data = std::make_shared<QMimeData>();
    data->setText("asset:" + QString::fromStdString(editor().assets().front().id.upper()));
    const QPoint point = at(14.2, 0, 50);
    QDragEnterEvent entered(point, Qt::CopyAction, data.get(), Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window_.get(), &entered);
    QDragMoveEvent moved(point, Qt::CopyAction, data.get(), Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window_.get(), &moved);
    leaving_.emplace_back([this, data] {
        QDragLeaveEvent left;
        QCoreApplication::sendEvent(window_.get(), &left);
    });
}

void Stage::showTrim() {
    auto clips = film();
    // Its end comes into the reach of the trimmed one.
    clips[7].timelineStart = 20.6;
    open("Late light", clips, 25);
    drag(at(33, 0, 50) - QPoint(5, 0), at(29.6, 0, 50) - QPoint(3, 0));
}

void Stage::showVolume() {
    open("Late light", film(), 13.5);
    drag(at(11, 2, 12 + 0.38 * 62), at(11, 2, 52));
}

void Stage::showMarquee() {
    open("Late light", film(), 17.5);
    drag(at(13, 1, 60), at(19, 0, 60));
}

void Stage::startRecording() {
    open("Late light", film(), 5);
    editor().toggleVoiceOverRecording();
    leaving_.emplace_back([this] {
        editor().toggleVoiceOverRecording();
        runUntil([this] { return !editor().busy(); });
    });
}

void Stage::showCountdown() {
    startRecording();
    runUntil([this] { return editor().recordingCountdown() == 2; });
}

void Stage::showRecording() {
    startRecording();
    runUntil([this] { return editor().isRecording(); });
    // By the clock that the pictures go by.
    const auto begun = context_.now();
    const auto gone = [&] { return std::chrono::duration<double>(context_.now() - begun).count(); };
    runUntil([&] {
        const double time = gone();
        const int step = static_cast<int>(time * 30);
        recording_.recorder->time = time;
        recording_.recorder->power =
            static_cast<float>(-4 - 26 * ((step * 7919 % 100) / 100.0) - (step / 18 % 3 == 2 ? 30 : 0));
        return editor().recordingElapsed() >= 5;
    });
}

void Stage::showAssistantEdit() {
    open("Late light", film(), 17.5);
    editor().selectTimelineClips({});
    settle();
    const ClipArray before = editor().clipArray();
    auto clips = *before;
    clips[3].volume = 1;
    clips[7].timelineStart = 17.6;
    editor().commit(clips);
    runUntil([this] { return !editor().isBuilding(); });
    settle();
    // The history has the edit; the marks begin now.
    editor().noteAssistantEdit(before);
    runUntil([this] { return item("assistantUndoButton").parentItem()->isVisible(); });
    const auto begun = context_.now();
    runUntil([&] { return context_.now() > begun + std::chrono::milliseconds(250); });
}

void Stage::showFocus() {
    open("Late light", film(), 17.5);
    editor().selectTimelineClips({editor().clips()[3].id});
    item("zoomSlider").forceActiveFocus(Qt::TabFocusReason);
    item("timelineSurface").forceActiveFocus(Qt::TabFocusReason);
}

void Stage::showTip() {
    open("Late light", film(), 17.5);
    editor().selectTimelineClips({editor().clips()[3].id});
    settle();
    QTest::mouseMove(window_.get(), middleOf(item("deleteButton")));
    runUntil([this] { return view_->tips()->shown(); });
}

void Stage::showMoreContrast() {
    Theme::setAppearance({.moreContrast = true, .reducedMotion = true});
    leaving_.emplace_back([] { Theme::setAppearance({.reducedMotion = true}); });
    showEditor();
}

void Stage::showWide() {
    open("Late light", film(), 17.5);
    editor().selectTimelineClips({editor().clips()[3].id});
    editor().setShowInspector(true);
    timeline().setZoom(1.4);
}

}  // namespace kelvane::testing
