#include <gmock/gmock.h>

#include <QAccessible>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

#include "Support/App/WindowsFixture.h"
#include "Support/Patience.h"
#include "Views/Preview/PreviewSurface.h"
#include "Views/Window/PanelHost.h"
#include "Views/Window/ProjectWindowView.h"

namespace kelvane::testing {
namespace {

/// A window that shows a project of one clip of 10 s, built.
class PreviewTests : public WindowsFixture {
protected:
    PreviewTests() : workspace(show(first)), view(*windows, workspace), preview(*view.preview()) {
        QObject::connect(&engine, &QQmlEngine::warnings, [this](const QList<QQmlError>& found) {
            for (const auto& warning : found) warnings.push_back(warning.toString().toStdString());
        });
        registerWindowTypes();
        QQmlComponent component(&engine, QUrl("qrc:/Views/Window/ProjectWindow.qml"));
        surface.reset(component.createWithInitialProperties({{"view", QVariant::fromValue(&view)}}));
        EXPECT_TRUE(surface) << component.errorString().toStdString();
    }
    ~PreviewTests() override { EXPECT_EQ(warnings, std::vector<std::string>()); }
    std::shared_ptr<Editor> openClip() {
        auto editor = open(projectWithClip("A"), workspace, false);
        context.settle();
        advance(std::chrono::milliseconds(180));
        return editor;
    }
    [[nodiscard]] QQuickItem* item(const char* name) const {
        auto* found = surface->findChild<QQuickItem*>(name);
        check(found != nullptr, "the window has the control");
        return found;
    }
    /// What a reader of the screen is told.
    [[nodiscard]] static std::string nameOf(QQuickItem* item) {
        return QAccessible::queryAccessibleInterface(item)->text(QAccessible::Name).toStdString();
    }
    /// The timeline's ruler, as a reader of the screen has it.
    [[nodiscard]] QAccessibleInterface& slider() const {
        return *QAccessible::queryAccessibleInterface(item("timelineSurface"))->child(0);
    }
    [[nodiscard]] double seekValue() const { return slider().valueInterface()->currentValue().toDouble(); }
    [[nodiscard]] FakePlayer& player() const { return *static_cast<FakePlayer*>(workspace->editor()->player()); }
    [[nodiscard]] FakePlayer& hoverPlayer() const {
        return *static_cast<FakePlayer*>(workspace->editor()->hoverPlayer());
    }
    QQuickWindow* showWindow() const {
        auto* window = qobject_cast<QQuickWindow*>(surface.get());
        window->show();
        check(QTest::qWaitForWindowExposed(window, static_cast<int>(patience.count())), "the window is shown");
        return window;
    }
    /// A picture of a few grey points.
    static VideoPicturePtr grey() {
        const auto picture = std::make_shared<VideoPicture>();
        const auto memory = std::make_shared<std::vector<std::uint8_t>>(256, std::uint8_t{128});
        picture->width = picture->height = 2;
        for (VideoPicture::Plane& plane : picture->planes) plane = {memory->data(), 64, 1, 1};
        picture->planes[0].width = picture->planes[0].height = 2;
        picture->memory = memory;
        return picture;
    }

    std::shared_ptr<Workspace> workspace;
    ProjectWindowView view;
    PreviewView& preview;
    std::vector<std::string> warnings;
    QQmlEngine engine;
    std::unique_ptr<QObject> surface;
};

TEST_F(PreviewTests, OnTheHomeThereIsNothingToPlay) {
    EXPECT_FALSE(preview.hasPreview());
    EXPECT_FALSE(preview.canPlay());
    EXPECT_FALSE(preview.canSeek());
    EXPECT_FALSE(preview.canRecord());
    EXPECT_EQ(preview.feed(), nullptr);
    // Harmless all the same.
    preview.togglePlayback();
    preview.seek(1);
    preview.toggleRecording();
}

TEST_F(PreviewTests, TheButtonPlaysAndPauses) {
    const auto editor = openClip();
    auto* play = item("playButton");
    EXPECT_TRUE(play->isEnabled());
    EXPECT_EQ(nameOf(play), "Play Timeline");
    preview.togglePlayback();
    context.runPosted();
    EXPECT_TRUE(preview.playing());
    EXPECT_EQ(nameOf(play), "Pause Timeline");
    player().playTo(2.5);
    context.runPosted();
    EXPECT_EQ(seekValue(), 2.5);
    preview.togglePlayback();
    context.runPosted();
    EXPECT_EQ(nameOf(play), "Play Timeline");
}

TEST_F(PreviewTests, TheSliderSeeksInSeconds) {
    const auto editor = openClip();
    EXPECT_EQ(slider().text(QAccessible::Name), "Seek");
    EXPECT_EQ(slider().valueInterface()->maximumValue(), 10.0);
    preview.seek(4);
    context.runPosted();
    EXPECT_EQ(seekValue(), 4.0);
    EXPECT_EQ(player().position(), 4);
}

TEST_F(PreviewTests, AReaderOfTheScreenSetsAndStepsTheSlider) {
    const auto editor = openClip();
    ASSERT_NE(slider().valueInterface(), nullptr);
    slider().valueInterface()->setCurrentValue(4.0);
    context.runPosted();
    EXPECT_EQ(editor->playhead(), 4);
    EXPECT_EQ(player().position(), 4);
    slider().actionInterface()->doAction(QAccessibleActionInterface::increaseAction());
    context.runPosted();
    EXPECT_NEAR(editor->playhead(), 5, 1e-6) << "a second, as the arrow keys do";
}

TEST_F(PreviewTests, TheSliderShowsThePlayheadHoweverTheLengthChanges) {
    const auto editor = openClip();
    preview.seek(7);
    context.runPosted();
    Clip half = editor->clips().front();
    half.end = half.start + 4;
    editor->commit({half});
    context.runPosted();
    EXPECT_EQ(editor->playhead(), 7) << "a slider that is cut short seeks nothing";
    editor->undo();
    context.runPosted();
    EXPECT_EQ(seekValue(), 7.0);
}

TEST_F(PreviewTests, WhatIsShownIsToldWhereverThePlayheadStands) {
    media.addFileNamed("Voice.wav", FakeFile::audio(3));
    const auto editor = openClip();
    finish(context, editor->importMedia({folder.write("Sources/Voice.wav")}, nullptr));
    const Clip voice = editor->assets().back();
    auto* label = item("audioLabel");
    EXPECT_FALSE(preview.audioOnly());
    editor->showAssetPreview(voice.id);
    advance(std::chrono::milliseconds(180));
    EXPECT_TRUE(label->property("visible").toBool()) << "a sound";
    const auto movie = editor->assets().front().id;
    editor->showAssetPreview(movie);
    advance(std::chrono::milliseconds(180));
    EXPECT_FALSE(label->property("visible").toBool()) << "a movie behind it";
    preview.seek(2);
    context.runPosted();
    editor->showTimelinePreview();
    advance(std::chrono::milliseconds(180));
    EXPECT_EQ(seekValue(), 0.0) << "the timeline has its own place";
    const auto video = editor->clips();
    editor->addAssets({voice.id}, std::nullopt);
    editor->select(editor->clips().front().id);
    editor->deleteSelection();
    advance(std::chrono::milliseconds(180));
    EXPECT_TRUE(label->property("visible").toBool()) << "sound alone is left";
    editor->commit(video);
    advance(std::chrono::milliseconds(180));
    EXPECT_FALSE(label->property("visible").toBool());
}

TEST_F(PreviewTests, APlaceholderStaysUntilThePictureBehindItIsThere) {
    media.addFileNamed("Voice.wav", FakeFile::audio(3));
    const auto editor = openClip();
    finish(context, editor->importMedia({folder.write("Sources/Voice.wav")}, nullptr));
    editor->addAssets({editor->assets().back().id}, std::nullopt);
    advance(std::chrono::milliseconds(180));
    preview.setSurfaceSize({108, 192});
    player().feed.show(grey());
    preview.seek(10);
    context.runPosted();
    EXPECT_TRUE(preview.audioOnly()) << "behind the last picture";
    player().feed.awaited = true;
    preview.seek(1);
    context.runPosted();
    EXPECT_TRUE(preview.audioOnly()) << "what is there is the picture of before";
    player().feed.awaited = false;
    player().feed.show(grey());
    EXPECT_FALSE(preview.audioOnly());
    preview.seek(10);
    context.runPosted();
    preview.seek(9.9);
    context.runPosted();
    EXPECT_FALSE(preview.audioOnly()) << "the picture stood there already";
}

TEST_F(PreviewTests, NothingCanBeDoneWithATimelineThatWasEmptied) {
    const auto editor = openClip();
    editor->deleteSelection();
    context.runPosted();
    EXPECT_FALSE(item("playButton")->isEnabled());
    EXPECT_TRUE(slider().state().disabled);
    editor->undo();
    advance(std::chrono::milliseconds(180));
    EXPECT_TRUE(item("playButton")->isEnabled());
    EXPECT_FALSE(slider().state().disabled);
    editor->beginInteraction();
    context.runPosted();
    EXPECT_FALSE(item("recordButton")->isEnabled()) << "during a gesture";
    editor->endInteraction();
    context.runPosted();
    EXPECT_TRUE(item("recordButton")->isEnabled());
}

TEST_F(PreviewTests, AHoverPaintsItsOwnPictureOnceItIsThere) {
    const auto editor = openClip();
    showWindow();
    player().feed.show(grey());
    EXPECT_EQ(preview.feed(), player().pictures());
    editor->previewAssetHover(editor->assets().front().id, 0.5);
    context.settle();
    EXPECT_EQ(preview.feed(), player().pictures()) << "until there is one";
    EXPECT_EQ(hoverPlayer().feed.surface, player().feed.surface) << "which is drawn for the same pixels";
    hoverPlayer().feed.show(grey());
    EXPECT_EQ(preview.feed(), hoverPlayer().pictures());
    editor->endHoverPreview();
    context.runPosted();
    EXPECT_EQ(preview.feed(), player().pictures());
}

TEST_F(PreviewTests, SpaceBeginsAndEndsPlaying) {
    const auto editor = openClip();
    auto* window = qobject_cast<QQuickWindow*>(surface.get());
    window->show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window, static_cast<int>(patience.count())));
    QTest::keyClick(window, Qt::Key_Space);
    EXPECT_TRUE(editor->isPlaying());
    QTest::keyClick(window, Qt::Key_Space);
    EXPECT_FALSE(editor->isPlaying());
}

TEST_F(PreviewTests, SpacePressesTheButtonThatHasTheKeyboard) {
    const auto editor = openClip();
    auto* window = qobject_cast<QQuickWindow*>(surface.get());
    window->show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window, static_cast<int>(patience.count())));
    // Behind the menus, which are one stop of the Tab key, the next leads to the projects.
    QTest::keyClick(window, Qt::Key_Tab);
    QTest::keyClick(window, Qt::Key_Tab);
    QTest::keyClick(window, Qt::Key_Space);
    EXPECT_FALSE(editor->isPlaying());
    context.settle();
    EXPECT_TRUE(view.showsHome());
}

TEST_F(PreviewTests, ReturnPressesAButtonAndSpacePlaysBesideOneThatWasClicked) {
    const auto editor = openClip();
    auto* window = qobject_cast<QQuickWindow*>(surface.get());
    window->show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window, static_cast<int>(patience.count())));
    auto* play = item("playButton");
    play->forceActiveFocus(Qt::TabFocusReason);
    QTest::keyClick(window, Qt::Key_Return);
    EXPECT_TRUE(editor->isPlaying());
    QTest::keyClick(window, Qt::Key_Space);
    EXPECT_FALSE(editor->isPlaying());
    play->forceActiveFocus(Qt::MouseFocusReason);
    QTest::keyClick(window, Qt::Key_Space);
    EXPECT_TRUE(editor->isPlaying());
}

TEST_F(PreviewTests, WithoutAMicrophoneTheButtonForOneSaysWhy) {
    const auto editor = openClip();
    auto* record = item("recordButton");
    EXPECT_EQ(nameOf(record), "Record Voice Over");
    EXPECT_TRUE(record->isEnabled());
    recording.allowed = false;
    preview.toggleRecording();
    context.settle();
    EXPECT_TRUE(view.error().startsWith("Microphone access is required")) << view.error().toStdString();
}

TEST_F(PreviewTests, TheControlsSayWhatTheyDoAtEachStepOfARecording) {
    const auto editor = openClip();
    auto* play = item("playButton");
    auto* record = item("recordButton");
    auto* countdown = item("countdownLabel");
    recording.lateAccess.emplace();
    preview.toggleRecording();
    context.runPosted();
    EXPECT_FALSE(play->isEnabled());
    EXPECT_FALSE(record->isEnabled()) << "while access is asked for";
    recording.lateAccess->give(true);
    for (const int left : {3, 2, 1}) {
        context.runPosted();
        EXPECT_FALSE(play->isEnabled());
        EXPECT_TRUE(record->isEnabled());
        EXPECT_EQ(nameOf(record), "Cancel Voice Over");
        EXPECT_TRUE(countdown->property("visible").toBool());
        EXPECT_EQ(nameOf(countdown), "Recording starts in " + std::to_string(left) + " seconds");
        context.advance(std::chrono::seconds(1));
    }
    EXPECT_FALSE(countdown->property("visible").toBool());
    EXPECT_FALSE(record->isEnabled()) << "while the device starts";
    context.settle();
    ASSERT_TRUE(editor->isRecording());
    EXPECT_EQ(nameOf(play), "Stop Voice Over");
    EXPECT_EQ(nameOf(record), "Record Voice Over");
    EXPECT_TRUE(play->isEnabled());
    EXPECT_TRUE(record->isEnabled());
    EXPECT_TRUE(slider().state().disabled);
    recording.recorder->time = 1.5;
    context.advance(std::chrono::milliseconds(30));
    EXPECT_EQ(seekValue(), 1.5) << "the playhead goes with the take";
    recording.endsAtOnce = false;
    preview.togglePlayback();
    context.runPosted();
    EXPECT_FALSE(play->isEnabled()) << "while the take is finished";
    EXPECT_FALSE(record->isEnabled());
    media.addFileNamed(recording.recorder->url().fileName(), FakeFile::audio(1.5));
    recording.recorder->onFinish(true);
    context.settle();
    advance(std::chrono::milliseconds(180));
    EXPECT_EQ(nameOf(play), "Play Timeline");
    EXPECT_TRUE(play->isEnabled());
    EXPECT_TRUE(record->isEnabled());
    EXPECT_FALSE(slider().state().disabled);
}

TEST_F(PreviewTests, TheRingOfTheCountdownRunsOutInThreeSeconds) {
    const auto editor = openClip();
    preview.toggleRecording();
    context.runPosted();
    ASSERT_EQ(preview.countdown(), 3);
    EXPECT_EQ(preview.countdownShare(), 1);
    int moves = 0;
    QObject::connect(&preview, &PreviewView::countdownMoved, [&moves] { ++moves; });
    context.advance(std::chrono::milliseconds(1000));
    EXPECT_EQ(preview.countdown(), 2);
    EXPECT_NEAR(preview.countdownShare(), 2.0 / 3, 0.02);
    EXPECT_NEAR(moves, 30, 1) << "thirty times a second";
    context.advance(std::chrono::milliseconds(1500));
    EXPECT_NEAR(preview.countdownShare(), 1.0 / 6, 0.02);
    preview.toggleRecording();
    context.runPosted();
    const int before = moves;
    context.advance(std::chrono::milliseconds(500));
    EXPECT_EQ(moves, before) << "it was called off";
    preview.toggleRecording();
    context.runPosted();
    EXPECT_EQ(preview.countdownShare(), 1) << "and begins anew";
}

TEST_F(PreviewTests, AnImportCoversThePicture) {
    const auto editor = openClip();
    auto* overlay = item("importing");
    EXPECT_FALSE(overlay->isVisible());
    beginImport(*editor);
    context.runPosted();
    context.advance(std::chrono::milliseconds(299));
    EXPECT_FALSE(overlay->property("visible").toBool()) << "what is done within a moment shows nothing";
    context.advance(std::chrono::milliseconds(1));
    EXPECT_TRUE(preview.importing());
    EXPECT_TRUE(overlay->property("visible").toBool());
    EXPECT_FALSE(item("cancelImport")->property("visible").toBool()) << "one file is waited for";
    context.settle();
    EXPECT_FALSE(overlay->property("visible").toBool());
    EXPECT_FALSE(preview.importing());
}

TEST_F(PreviewTests, AnImportThatIsOverAtOnceShowsNothing) {
    const auto editor = openClip();
    beginImport(*editor);
    context.settle();
    advance(std::chrono::seconds(1));
    EXPECT_FALSE(preview.importing());
    // The clock of another one begins anew.
    media.addFileNamed("later.mov", FakeFile::video(3));
    editor->importURLs({folder.write("Sources/later.mov")});
    context.runPosted();
    context.advance(std::chrono::milliseconds(200));
    EXPECT_FALSE(preview.importing());
    context.settle();
}

TEST_F(PreviewTests, AnAssetHasControlsOfItsOwnAndAWayBack) {
    const auto editor = openClip();
    preview.seek(4);
    context.runPosted();
    auto* play = item("playAsset");
    EXPECT_FALSE(preview.showsAsset());
    editor->showAssetPreview(editor->assets().front().id);
    advance(std::chrono::milliseconds(180));
    EXPECT_TRUE(preview.showsAsset());
    EXPECT_EQ(nameOf(play), "Play Preview");
    preview.togglePlayback();
    context.runPosted();
    EXPECT_EQ(nameOf(play), "Pause Preview");
    preview.togglePlayback();
    auto* position = item("assetPosition");
    EXPECT_EQ(nameOf(position), "Asset preview position");
    EXPECT_EQ(position->property("to"), 10.0);
    auto* reader = QAccessible::queryAccessibleInterface(position);
    reader->valueInterface()->setCurrentValue(2.5);
    context.runPosted();
    EXPECT_EQ(editor->assetPlayhead(), 2.5);
    EXPECT_EQ(position->property("value"), 2.5);
    EXPECT_EQ(preview.positionText(), "00:02.5");
    auto* back = item("backToTimeline");
    EXPECT_EQ(nameOf(back), "Back to Timeline");
    QMetaObject::invokeMethod(back, "clicked");
    context.runPosted();
    EXPECT_FALSE(preview.showsAsset());
    EXPECT_EQ(preview.position(), 4) << "the timeline kept its place";
}

TEST_F(PreviewTests, RCountsATakeInAndOutAndSpaceEndsIt) {
    const auto editor = openClip();
    auto* window = qobject_cast<QQuickWindow*>(surface.get());
    window->show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window, static_cast<int>(patience.count())));
    const auto press = [this, window](Qt::Key key) {
        QTest::keyClick(window, key);
        context.settle();
    };
    press(Qt::Key_R);
    EXPECT_EQ(editor->recordingCountdown(), 3);
    press(Qt::Key_R);
    EXPECT_FALSE(editor->busy());
    press(Qt::Key_R);
    for (int i = 0; i < 3; ++i) advance(std::chrono::seconds(1));
    ASSERT_TRUE(editor->isRecording());
    press(Qt::Key_R);
    EXPECT_TRUE(editor->isRecording()) << "no slip of a finger ends a take";
    media.addFileNamed(recording.recorder->url().fileName(), FakeFile::audio(1));
    press(Qt::Key_Space);
    EXPECT_FALSE(editor->busy());
    EXPECT_EQ(editor->clips().size(), 2U);
}

TEST_F(PreviewTests, NothingPlaysWhileItIsBuiltOrBusy) {
    const auto editor = openClip();
    edit(*editor);
    context.runPosted();
    EXPECT_TRUE(preview.building());
    EXPECT_FALSE(preview.canPlay());
    EXPECT_FALSE(preview.canRecord());
    EXPECT_TRUE(preview.canSeek());
    advance(std::chrono::milliseconds(180));
    EXPECT_TRUE(preview.canPlay());
    beginImport(*editor);
    EXPECT_FALSE(preview.canPlay());
    EXPECT_FALSE(preview.canRecord());
    context.settle();
}

}  // namespace
}  // namespace kelvane::testing
