#include <gmock/gmock.h>

#include "Kelvane/Views/Accessible/TreeReading.h"
#include "Kelvane/Views/Timeline/TimelineWindowFixture.h"
#include "Session/AIAssistantSession.h"
#include "Views/Export/ExportOptionsView.h"
#include "Views/Export/ExportingView.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// The sheets and alerts of the real window, worked by keys, by pointer, and as a reader of the screen does.
class WindowSheetsTests : public TimelineWindowFixture {
protected:
    [[nodiscard]] QAccessibleInterface* find(QAccessible::Role role, const std::string& name) {
        return findNode(treeRoot(*window), role, name);
    }
    template <class Condition>
    bool becomes(Condition isSo) {
        return QTest::qWaitFor(
            [&] {
                context.runPosted();
                return isSo();
            },
            static_cast<int>(patience.count()));
    }
    /// Waits until a sheet or an alert of this name stands, and reads it.
    std::string read(QAccessible::Role role, const std::string& name) {
        EXPECT_TRUE(becomes([&] {
            auto* found = find(role, name);
            auto* item = found != nullptr ? qobject_cast<QQuickItem*>(found->object()) : nullptr;
            return item != nullptr && item->opacity() == 1;
        })) << name;
        auto* found = find(role, name);
        return found != nullptr ? treeOf(*found) : "";
    }
    bool isGone(QAccessible::Role role, const std::string& name) {
        return becomes([&] { return find(role, name) == nullptr; });
    }
    void pressNode(QAccessible::Role role, const std::string& name) {
        auto* found = find(role, name);
        ASSERT_NE(found, nullptr) << treeOf(treeRoot(*window));
        found->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        context.runPosted();
    }
    void pressButton(const std::string& name) { pressNode(QAccessible::PushButton, name); }
    /// Opens the export options, with everything worked out.
    void openOptions() {
        view.exportVideo();
        context.settle();
        advance(std::chrono::milliseconds(200));
        read(QAccessible::Dialog, "Export Video");
    }
    /// Starts an export, up to where the encoder is about to begin.
    void beginExport() {
        panels.destinations = {movie()};
        editor->confirmExport(ExportResolution::automatic, ExportFrameRate::automatic, ExportContainer::mp4);
        const auto before = media.exportRecords().size();
        while (media.exportRecords().size() == before) {
            ASSERT_TRUE(context.stepBackground());
            context.runPosted();
        }
    }
    [[nodiscard]] FileURL movie() const { return folder.url("Film.mp4"); }
};

TEST_F(WindowSheetsTests, TheExportOptionsAreReadable) {
    view.exportVideo();
    EXPECT_EQ(read(QAccessible::Dialog, "Export Video"),
              "dialog \"Export Video\"\n"
              "  label \"Portrait video\"\n"
              "  panel \"Format\"\n"
              "    radio button \"MP4\" checked\n"
              "    radio button \"MOV\"\n"
              "  combo box \"Resolution\" (Auto)\n"
              "  label \"Checking source clips…\"\n"
              "  combo box \"Frame rate\" (Auto)\n"
              "  label \"Estimated size\"\n"
              "  label \"Calculating…\"\n"
              "  label \"Actual file size may vary.\"\n"
              "  button \"Cancel\"\n"
              "  button \"Export…\" disabled default\n");
    context.settle();
    advance(std::chrono::milliseconds(200));
    EXPECT_EQ(read(QAccessible::Dialog, "Export Video"),
              "dialog \"Export Video\"\n"
              "  label \"Portrait video\"\n"
              "  panel \"Format\"\n"
              "    radio button \"MP4\" checked\n"
              "    radio button \"MOV\"\n"
              "  combo box \"Resolution\" (Auto)\n"
              "  label \"Best available · 1080 × 1920\"\n"
              "  combo box \"Frame rate\" (Auto)\n"
              "  label \"Auto: 30 fps · Matches the slowest clip, up to 60 fps\"\n"
              "  label \"Estimated size\"\n"
              "  label \"1 MB\"\n"
              "  label \"Actual file size may vary.\"\n"
              "  button \"Cancel\"\n"
              "  button \"Export…\" default\n");
    EXPECT_THAT(faultsOf(*find(QAccessible::Dialog, "Export Video")), IsEmpty());
}

TEST_F(WindowSheetsTests, ChoicesAreTakenFromTheListsThatTheTreeTells) {
    openOptions();
    pressNode(QAccessible::ComboBox, "Resolution");
    ASSERT_TRUE(becomes([this] { return find(QAccessible::ListItem, "720p") != nullptr; }));
    EXPECT_FALSE(find(QAccessible::ListItem, "Auto")->state().disabled);
    EXPECT_TRUE(find(QAccessible::ListItem, "4K")->state().disabled);
    EXPECT_TRUE(find(QAccessible::ListItem, "1440p")->state().disabled);
    EXPECT_FALSE(find(QAccessible::ListItem, "1080p")->state().disabled);
    EXPECT_TRUE(find(QAccessible::ListItem, "Auto")->state().selected);
    EXPECT_THAT(faultsOf(treeRoot(*window)), IsEmpty()) << treeOf(treeRoot(*window));
    pressNode(QAccessible::ListItem, "4K");
    EXPECT_EQ(view.exportOptions()->resolution(), 0);
    pressNode(QAccessible::ListItem, "720p");
    EXPECT_EQ(view.exportOptions()->resolution(), 4);
    EXPECT_TRUE(becomes([this] { return find(QAccessible::ListItem, "720p") == nullptr; })) << "the list closes";
    EXPECT_EQ(find(QAccessible::ComboBox, "Resolution")->text(QAccessible::Description), "720p");
    pressNode(QAccessible::RadioButton, "MOV");
    EXPECT_EQ(view.exportOptions()->container(), 1);
    EXPECT_TRUE(find(QAccessible::RadioButton, "MOV")->state().checked);
    EXPECT_FALSE(find(QAccessible::RadioButton, "MP4")->state().checked);
    pressNode(QAccessible::RadioButton, "MOV");
    EXPECT_TRUE(find(QAccessible::RadioButton, "MOV")->state().checked) << "what is taken stays taken";
}

TEST_F(WindowSheetsTests, ChoicesAreTakenByKeysAlone) {
    openOptions();
    press(Qt::Key_Right);
    EXPECT_EQ(view.exportOptions()->container(), 1) << "the first control has the focus";
    press(Qt::Key_Left);
    EXPECT_EQ(view.exportOptions()->container(), 0);
    press(Qt::Key_Tab);
    press(Qt::Key_Down);
    EXPECT_EQ(view.exportOptions()->resolution(), 3) << "past what isn't there";
    press(Qt::Key_Down);
    press(Qt::Key_Down);
    EXPECT_EQ(view.exportOptions()->resolution(), 4);
    press(Qt::Key_Tab);
    press(Qt::Key_Down);
    EXPECT_EQ(view.exportOptions()->frameRate(), 1);
    EXPECT_THAT(panels.askedDestinations, IsEmpty());
    context.settle();
    press(Qt::Key_Return);
    EXPECT_THAT(panels.askedDestinations,
                ElementsAre(FakePanels::DestinationQuestion{PanelContent::mp4Movie, "Film.mp4", "720p · 24 fps · MP4"}))
        << "Return on a closed menu is the default button’s";
    press(Qt::Key_Escape);
    EXPECT_FALSE(editor->showExportOptions());
    EXPECT_TRUE(isGone(QAccessible::Dialog, "Export Video"));
    EXPECT_TRUE(surface().hasActiveFocus()) << "what had the focus has it again";
}

TEST_F(WindowSheetsTests, OnlyItsButtonEndsARunningExport) {
    beginExport();
    media.setProgress(0.64F);
    context.advance(std::chrono::milliseconds(200));
    EXPECT_EQ(read(QAccessible::Dialog, "Exporting Video"),
              "dialog \"Exporting Video\"\n"
              "  label \"1080 × 1920 · 30 fps · MP4\"\n"
              "  progress bar \"Export progress\"\n"
              "  label \"64%\"\n"
              "  button \"Cancel\"\n");
    EXPECT_NEAR(find(QAccessible::ProgressBar, "Export progress")->valueInterface()->currentValue().toDouble(), 0.64,
                1e-6);
    EXPECT_THAT(faultsOf(*find(QAccessible::Dialog, "Exporting Video")), IsEmpty());
    press(Qt::Key_Escape);
    press(Qt::Key_Return);
    press(Qt::Key_Space);
    EXPECT_FALSE(editor->exportCancellationRequested());
    pressButton("Cancel");
    EXPECT_TRUE(editor->exportCancellationRequested());
    context.settle();
    EXPECT_TRUE(isGone(QAccessible::Dialog, "Exporting Video"));
    EXPECT_EQ(find(QAccessible::AlertMessage, "Video Exported"), nullptr);
}

TEST_F(WindowSheetsTests, AFinishedExportIsTold) {
    beginExport();
    context.settle();
    EXPECT_EQ(read(QAccessible::AlertMessage, "Video Exported"),
              "alert \"Video Exported\"\n"
              "  label \"Your vertical video is ready to share.\"\n"
              "  button \"Show in Folder\"\n"
              "  button \"Done\" default\n");
    pressButton("Show in Folder");
    EXPECT_THAT(desktop.shown, ElementsAre(movie()));
    EXPECT_TRUE(isGone(QAccessible::AlertMessage, "Video Exported"));
    beginExport();
    context.settle();
    read(QAccessible::AlertMessage, "Video Exported");
    press(Qt::Key_Escape);
    EXPECT_EQ(editor->exportedURL(), std::nullopt);
    EXPECT_TRUE(isGone(QAccessible::AlertMessage, "Video Exported"));
    EXPECT_TRUE(surface().hasActiveFocus());
}

TEST_F(WindowSheetsTests, AlertsStandOneAfterTheOther) {
    beginExport();
    context.settle();
    read(QAccessible::AlertMessage, "Video Exported");
    editor->setError("Amiss.");
    editor->setError("Amiss again.");
    context.runPosted();
    EXPECT_EQ(find(QAccessible::AlertMessage, "Unable to Complete"), nullptr);
    press(Qt::Key_Return);
    EXPECT_EQ(read(QAccessible::AlertMessage, "Unable to Complete"),
              "alert \"Unable to Complete\"\n"
              "  label \"Amiss again.\"\n"
              "  button \"OK\" default\n");
    press(Qt::Key_Return);
    EXPECT_EQ(editor->error(), std::nullopt);
    EXPECT_TRUE(isGone(QAccessible::AlertMessage, "Unable to Complete"));
    EXPECT_TRUE(surface().hasActiveFocus());
}

TEST_F(WindowSheetsTests, TheAssistantsAreRowsThatArePressed) {
    desktop.install("com.openai.codex");
    desktop.install("com.anthropic.claudefordesktop");
    editor->ai().start();
    EXPECT_EQ(read(QAccessible::Dialog, "Edit with AI"),
              "dialog \"Edit with AI\"\n"
              "  button \"Done\" default\n"
              "  label \"Choose an app to edit this project.\"\n"
              "  button \"ChatGPT\" (Desktop app)\n"
              "  button \"Claude\" (Desktop app)\n"
              "  label \"Describe your edit in the assistant. Changes appear here with normal Undo. Keep Kelvane "
              "open.\"\n");
    EXPECT_THAT(faultsOf(*find(QAccessible::Dialog, "Edit with AI")), IsEmpty());
    press(Qt::Key_Tab);
    press(Qt::Key_Tab);
    press(Qt::Key_Return);
    EXPECT_TRUE(editor->ai().launching());
    EXPECT_EQ(read(QAccessible::Dialog, "Edit with AI"),
              "dialog \"Edit with AI\"\n"
              "  button \"Done\" disabled default\n"
              "  label \"Choose an app to edit this project.\"\n"
              "  button \"ChatGPT\" (Desktop app) disabled\n"
              "  button \"Claude\" (Desktop app) disabled\n"
              "  label \"Opening assistant…\"\n");
    press(Qt::Key_Escape);
    EXPECT_TRUE(editor->ai().showSheet()) << "not during a launch";
    context.settle();
    ASSERT_EQ(desktop.opened.size(), 1U);
    EXPECT_EQ(desktop.opened.front().application, "com.anthropic.claudefordesktop");
    EXPECT_TRUE(isGone(QAccessible::Dialog, "Edit with AI"));
}

TEST_F(WindowSheetsTests, ALaunchThatFailsIsToldInTheSheet) {
    desktop.install("com.openai.codex");
    editor->ai().start();
    desktop.applications.clear();
    read(QAccessible::Dialog, "Edit with AI");
    pressButton("ChatGPT");
    context.settle();
    EXPECT_EQ(read(QAccessible::Dialog, "Edit with AI"),
              "dialog \"Edit with AI\"\n"
              "  button \"Done\" default\n"
              "  label \"Choose an app to edit this project.\"\n"
              "  button \"ChatGPT\" (Desktop app)\n"
              "  label \"Describe your edit in the assistant. Changes appear here with normal Undo. Keep Kelvane "
              "open.\"\n"
              "  label \"ChatGPT is no longer installed.\"\n");
    press(Qt::Key_Escape);
    EXPECT_TRUE(isGone(QAccessible::Dialog, "Edit with AI"));
}

TEST_F(WindowSheetsTests, WithoutAnAssistantTheSheetSaysWhatToInstall) {
    editor->ai().start();
    EXPECT_EQ(read(QAccessible::Dialog, "Edit with AI"),
              "dialog \"Edit with AI\"\n"
              "  button \"Done\" default\n"
              "  label \"Choose an app to edit this project.\"\n"
              "  label \"No desktop assistants found\"\n"
              "  label \"Install ChatGPT or Claude to edit with AI.\"\n"
              "  label \"Describe your edit in the assistant. Changes appear here with normal Undo. Keep Kelvane "
              "open.\"\n");
    press(Qt::Key_Return);
    EXPECT_FALSE(editor->ai().showSheet());
}

}  // namespace
}  // namespace kelvane::testing
