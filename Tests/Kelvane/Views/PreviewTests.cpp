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
    [[nodiscard]] FakePlayer& player() const { return *static_cast<FakePlayer*>(workspace->editor()->player()); }

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
    EXPECT_EQ(item("seekSlider")->property("value"), 2.5);
    preview.togglePlayback();
    context.runPosted();
    EXPECT_EQ(nameOf(play), "Play Timeline");
}

TEST_F(PreviewTests, TheSliderSeeksInSeconds) {
    const auto editor = openClip();
    auto* slider = item("seekSlider");
    EXPECT_EQ(nameOf(slider), "Seek");
    EXPECT_EQ(slider->property("to"), 10.0);
    preview.seek(4);
    context.runPosted();
    EXPECT_EQ(slider->property("value"), 4.0);
    EXPECT_EQ(player().position(), 4);
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
    // The first stop of the Tab key leads to the projects.
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
    preview.toggleRecording();
    context.settle();
    EXPECT_TRUE(view.error().startsWith("Microphone access is required")) << view.error().toStdString();
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
