#include <gmock/gmock.h>

#include <QDropEvent>
#include <QMimeData>
#include <QStyleHints>

#include "Session/AIAssistantSession.h"
#include "Support/Quick/TextContrast.h"
#include "Timeline/TimelineWindowFixture.h"
#include "Views/Theme.h"
#include "Views/Window/PanelHost.h"

namespace kelvane::testing {
namespace {

using ::testing::IsEmpty;

/// Nothing is on its way to its colour, and controls follow the pointer as on a desktop.
struct Still {
    Still() {
        Theme::setAppearance({.reducedMotion = true});
        QGuiApplication::styleHints()->setUseHoverEffects(true);
        QGuiApplication::styleHints()->setCursorFlashTime(0);
    }
    ~Still() {
        Theme::setAppearance({});
        QGuiApplication::styleHints()->setUseHoverEffects(false);
    }
};

/// The texts of all panes, menus, sheets, alerts and questions, read from what the window draws.
class WindowTextsTests : private Still, public TimelineWindowFixture {
protected:
    static QQuickItem* find(QQuickItem* root, const char* property, const QVariant& value) {
        if (!root->isVisible()) return nullptr;
        if (root->property(property) == value) return root;
        for (auto* child : root->childItems())
            if (auto* found = find(child, property, value)) return found;
        return nullptr;
    }
    /// The middle of what is shown with this value of a property.
    [[nodiscard]] QPoint middleOf(const char* property, const QVariant& value) const {
        const auto* found = find(window->contentItem(), property, value);
        check(found != nullptr, "the window shows it");
        return found->mapToScene({found->width() / 2, found->height() / 2}).toPoint();
    }
    /// Waits until the window shows this text, whole, and reads all of them: with the usual contrast and with more.
    void expectReadable(const std::string& text) {
        for (const bool more : {false, true}) {
            Theme::setAppearance({.moreContrast = more, .reducedMotion = true});
            std::vector<ShownText> texts;
            const bool isShown = QTest::qWaitFor(
                [&] {
                    refresh();
                    texts = shownTexts(*window);
                    return std::ranges::any_of(
                        texts, [&](const ShownText& shown) { return shown.isThere && shown.text.starts_with(text); });
                },
                static_cast<int>(patience.count()));
            EXPECT_TRUE(isShown) << text;
            for (const ShownText& shown : texts)
                EXPECT_GE(shown.contrast, 4.5) << '"' << shown.text << "\" beside \"" << text << '"';
        }
        Theme::setAppearance({.reducedMotion = true});
    }
    /// Lets the window ask a question, reads it, and declines.
    void expectQuestionReadable(const std::function<void(WindowPanels&)>& question, const std::string& text) {
        WindowPanels asked(true, context);
        PanelHost host(asked, engine, *window);
        question(asked);
        EXPECT_TRUE(QTest::qWaitFor(
            [&] {
                context.settle();
                return host.panel() != nullptr;
            },
            static_cast<int>(patience.count())));
        // What is in the folder.
        context.settle();
        expectReadable(text);
        press(Qt::Key_Escape);
    }
    void openMenu(Qt::Key letter) {
        press(letter, Qt::AltModifier);
        refresh();
    }
};

TEST_F(WindowTextsTests, ThoseOfThePanesAreReadable) {
    editor->setShowInspector(true);
    editor->selectTimelineClips({});
    expectReadable("Select a Clip");
    editor->selectTimelineClips({a});
    expectReadable("Reset Frame");
    editor->selectTimelineClips({music});
    expectReadable("Position");
    editor->selectTimelineClips({a, b});
    expectReadable("2 Clips Selected");
    editor->showAssetPreview(editor->assets()[0].id);
    context.settle();
    expectReadable("Back to Timeline");
    editor->showAssetPreview(editor->assets()[1].id);
    context.settle();
    expectReadable("Audio preview");
    view.preview()->showTimeline();
    editor->setSaveFailed(true);
    expectReadable("Not saved");
}

TEST_F(WindowTextsTests, ThoseOfWorkUnderWayAreReadable) {
    media.addFileNamed("late.mov", FakeFile::video(3));
    editor->importURLs({folder.write("Sources/late.mov"), folder.write("More/late.mov")});
    ASSERT_TRUE(editor->busy());
    context.runPosted();
    context.advance(std::chrono::milliseconds(300));
    expectReadable("Importing…");
    context.settle();
    editor->toggleVoiceOverRecording();
    context.settle();
    expectReadable("3");
    advance(std::chrono::seconds(3));
    // A time is written digit by digit.
    expectReadable("0");
    editor->toggleVoiceOverRecording();
    context.settle();
}

TEST_F(WindowTextsTests, ThoseOfAnAssistantsEditAreReadable) {
    const ClipArray before = editor->clipArray();
    auto clips = *before;
    clips[1].volume = 0.5;
    editor->commit(clips);
    editor->noteAssistantEdit(before);
    expectReadable("Assistant changed 1 clip");
}

TEST_F(WindowTextsTests, ThoseOfAnEmptyProjectAreReadable) {
    editor = open(project("Nothing", Project{}), workspace, false);
    context.settle();
    expectReadable("Import or drop video and audio here.");
}

TEST_F(WindowTextsTests, ThoseOfFilesDraggedOverTheWindowAreReadable) {
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile("/Take.mov")});
    const QPoint place = middle("assetsPane");
    QDragEnterEvent entered(place, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window.get(), &entered);
    expectReadable("Drop to import");
    QDragLeaveEvent left;
    QCoreApplication::sendEvent(window.get(), &left);
}

TEST_F(WindowTextsTests, ThoseOfMenusAreReadable) {
    openMenu(Qt::Key_F);
    expectReadable("New Project…");
    QTest::mouseMove(window.get(), middleOf("text", "Export Video…"));
    expectReadable("Export Video…");
    press(Qt::Key_Escape);
    QTest::mouseClick(window.get(), Qt::RightButton, {}, body(2, 0));
    expectReadable("Reset Volume");
    press(Qt::Key_Escape);
    QTest::mouseClick(window.get(), Qt::RightButton, {}, item("assetsSurface")->mapToScene({60, 40}).toPoint());
    expectReadable("Delete Asset");
    press(Qt::Key_Escape);
}

TEST_F(WindowTextsTests, ThoseOfTipsAreReadable) {
    QTest::mouseMove(window.get(), middle("playButton"));
    advance(std::chrono::milliseconds(700));
    expectReadable("Play");
}

TEST_F(WindowTextsTests, ThoseOfTheExportAreReadable) {
    view.exportVideo();
    expectReadable("Checking source clips…");
    context.settle();
    advance(std::chrono::milliseconds(200));
    expectReadable("Best available");
    QTest::mouseClick(window.get(), Qt::LeftButton, {}, middleOf("label", "Resolution"));
    expectReadable("720p");
    press(Qt::Key_Escape);
    press(Qt::Key_Escape);
    panels.destinations = {folder.url("Film.mp4"), folder.url("Film.mp4")};
    editor->confirmExport(ExportResolution::automatic, ExportFrameRate::automatic, ExportContainer::mp4);
    const auto before = media.exportRecords().size();
    while (media.exportRecords().size() == before) {
        ASSERT_TRUE(context.stepBackground());
        context.runPosted();
    }
    expectReadable("1080 × 1920");
    context.settle();
    expectReadable("Your vertical video is ready to share.");
    press(Qt::Key_Return);
    editor->setError("The disk is full.");
    expectReadable("The disk is full.");
}

TEST_F(WindowTextsTests, ThoseOfTheAssistantsAreReadable) {
    editor->ai().start();
    expectReadable("No desktop assistants found");
    press(Qt::Key_Escape);
    desktop.install("com.openai.codex");
    desktop.install("com.anthropic.claudefordesktop");
    editor->ai().start();
    expectReadable("Describe your edit");
    desktop.applications.clear();
    editor->ai().launch(editor->ai().assistants().front());
    expectReadable("Opening assistant…");
    context.settle();
    expectReadable("ChatGPT is no longer installed.");
}

TEST_F(WindowTextsTests, ThoseOfTheHelpAreReadable) {
    view.help()->showShortcuts();
    expectReadable("Keyboard Shortcuts");
    press(Qt::Key_Escape);
    view.help()->showAbout();
    expectReadable("Libraries");
}

TEST_F(WindowTextsTests, ThoseOfQuestionsAreReadable) {
    expectQuestionReadable(
        [](WindowPanels& asked) { asked.confirm("Delete “Film”?", "For good.", "Cancel", "Delete", [](bool) {}); },
        "For good.");
    expectQuestionReadable(
        [](WindowPanels& asked) { asked.askName("New Project", "Untitled", "Create", [](const auto&) {}); },
        "Untitled");
    expectQuestionReadable(
        [this](WindowPanels& asked) {
            asked.beginNextIn(folder.url("Sources").path());
            asked.chooseFiles(PanelContent::media, "Import Assets", [](const auto&) {});
        },
        "Footage.mov");
    expectQuestionReadable(
        [this](WindowPanels& asked) {
            asked.beginNextIn(folder.url("Sources").path());
            asked.chooseDestination(PanelContent::mp4Movie, "Film.mp4", "1080p", [](const auto&) {});
        },
        "Film.mp4");
}

TEST_F(WindowTextsTests, ThoseOfANameThatCanNotBeTakenAreReadable) {
    view.naming()->edit();
    expectReadable("Film");
    press(Qt::Key_Delete);
    press(Qt::Key_Return);
    context.settle();
    expectReadable("Enter a project name.");
}

TEST_F(WindowTextsTests, ThoseOfTheHomeAreReadable) {
    showHome(workspace);
    context.settle();
    expectReadable("1 project · Recently edited first");
    QTest::mouseMove(window.get(), {150, 200});
    expectReadable("Film");
    QTest::mouseClick(window.get(), Qt::RightButton, {}, {150, 200});
    expectReadable("Delete…");
    press(Qt::Key_Escape);
    view.home()->setSearch("snow");
    expectReadable("No Results");
    view.home()->setSearch("");
    windows->library().replaceRows({}, windows->library().projects());
    expectReadable("Create a video");
}

TEST_F(WindowTextsTests, AFaintOneIsFound) {
    item("timeReadout")->setProperty("color", Theme::text4);
    refresh();
    EXPECT_FALSE(faintTexts(*window).empty());
}

}  // namespace
}  // namespace kelvane::testing
