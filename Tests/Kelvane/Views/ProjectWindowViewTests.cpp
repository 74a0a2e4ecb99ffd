#include <gmock/gmock.h>

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQmlIncubationController>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

#include "Support/App/WindowsFixture.h"
#include "Support/Patience.h"
#include "Views/Window/PanelHost.h"
#include "Views/Window/ProjectWindowView.h"

namespace kelvane::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// What can be done in a window.
struct Enabled {
    bool home = false;
    bool import = false;
    bool save = false;
    bool exportVideo = false;
    bool undo = false;
    bool redo = false;
    bool operator==(const Enabled&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Enabled& e) {
        return out << "home " << e.home << ", import " << e.import << ", save " << e.save << ", export "
                   << e.exportVideo << ", undo " << e.undo << ", redo " << e.redo;
    }
};

class ProjectWindowViewTests : public WindowsFixture {
protected:
    ProjectWindowViewTests() : workspace(show(first)), view(*windows, workspace) {}

    [[nodiscard]] Enabled enabled() const {
        return {.home = view.can(CommandID::showProjects),
                .import = view.can(CommandID::importVideos),
                .save = view.can(CommandID::saveProject),
                .exportVideo = view.can(CommandID::exportVideo),
                .undo = view.can(CommandID::undo),
                .redo = view.can(CommandID::redo)};
    }
    std::shared_ptr<Editor> openClip() {
        auto editor = open(projectWithClip("A"), workspace, false);
        context.settle();
        return editor;
    }

    std::shared_ptr<Workspace> workspace;
    ProjectWindowView view;
};

TEST_F(ProjectWindowViewTests, OnTheHomeNothingActsOnAProject) {
    EXPECT_TRUE(view.showsHome());
    EXPECT_EQ(enabled(), (Enabled{.home = true}));
    // Harmless all the same.
    view.save();
    context.settle();
    view.undo();
    view.redo();
    view.importMedia();
    view.exportVideo();
    view.cancelExport();
    view.showHome();
    EXPECT_TRUE(panels.askedFiles.empty());
    EXPECT_TRUE(panels.askedDestinations.empty());
    // Making and opening projects works from here.
    panels.names = {"New"};
    view.newProject();
    context.settle();
    EXPECT_EQ(view.title(), "New");
    view.showHome();
    ASSERT_TRUE(ProjectFile::write(Project{}, folder.url("Chosen.kelvane")));
    panels.files.push_back({folder.url("Chosen.kelvane")});
    view.chooseProject();
    context.settle();
    EXPECT_EQ(view.title(), "Chosen");
}

TEST_F(ProjectWindowViewTests, AProjectEnablesWhatItHasReasonFor) {
    const auto empty = open(project("Empty"), workspace, false);
    EXPECT_EQ(enabled(), (Enabled{.home = true, .import = true, .save = true})) << "no clips, no history";
    const auto editor = openClip();
    EXPECT_EQ(enabled(), (Enabled{.home = true, .import = true, .save = true, .exportVideo = true}));
    edit(*editor);
    EXPECT_EQ(enabled(), (Enabled{.home = true, .import = true, .save = true, .exportVideo = true, .undo = true}));
    view.undo();
    EXPECT_EQ(enabled(), (Enabled{.home = true, .import = true, .save = true, .exportVideo = true, .redo = true}));
    view.redo();
    EXPECT_EQ(editor->clips().front().volume, 0.5);
}

TEST_F(ProjectWindowViewTests, AnImportKeepsEverythingOutUntilItEnds) {
    const auto editor = openClip();
    edit(*editor);
    edit(*editor);
    view.undo();
    const auto before = enabled();
    EXPECT_EQ(before,
              (Enabled{.home = true, .import = true, .save = true, .exportVideo = true, .undo = true, .redo = true}));
    beginImport(*editor);
    EXPECT_EQ(enabled(), Enabled{});
    EXPECT_FALSE(view.shouldClose());
    view.showHome();
    EXPECT_FALSE(view.showsHome());
    view.save();
    context.settle();
    EXPECT_TRUE(editor->isDirty());
    context.settle();
    EXPECT_EQ(enabled(), before);
}

TEST_F(ProjectWindowViewTests, AnExportKeepsEverythingOutUntilItIsCancelled) {
    const auto editor = openClip();
    panels.destinations = {folder.url("film.mp4")};
    view.exportVideo();
    context.settle();
    EXPECT_TRUE(panels.askedDestinations.empty()) << "it is chosen first what is made";
    view.exportOptions()->confirm();
    EXPECT_EQ(enabled(), Enabled{}) << "while its place is looked at";
    EXPECT_FALSE(view.shouldClose());
    while (!view.exporting()) {
        ASSERT_TRUE(context.stepBackground());
        context.runPosted();
    }
    EXPECT_EQ(enabled(), Enabled{});
    EXPECT_FALSE(view.shouldClose());
    view.cancelExport();
    context.settle();
    EXPECT_FALSE(view.exporting());
    EXPECT_TRUE(view.can(CommandID::showProjects));
    EXPECT_TRUE(view.error().isEmpty());
}

TEST_F(ProjectWindowViewTests, CopiesAreShownWithWhatIsCopiedAndHowFar) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    ProjectWindowView view(*windows, workspace);
    std::vector<std::string> texts;
    std::vector<double> values;
    QObject::connect(&view, &ProjectWindowView::copyingChanged, [&] {
        if (view.copying().isEmpty()) return;
        texts.push_back(view.copying().toStdString());
        values.push_back(view.copyingProgress());
    });
    EXPECT_EQ(view.copying(), "");
    const auto duplicating = windows->duplicate(row.id);
    context.runPosted();
    windows->work().front()->progress = {.bytes = 0, .totalBytes = 10, .items = 0, .totalItems = 1};
    Q_EMIT windows->workChanged();
    EXPECT_EQ(view.copying(), "") << "what is done within a moment shows nothing";
    context.advance(std::chrono::milliseconds(300));
    EXPECT_EQ(view.copyingRemaining(), "") << "that can't be told yet";
    context.settle();
    ASSERT_FALSE(texts.empty());
    EXPECT_TRUE(texts.front().starts_with("Duplicating “A”… 0 bytes of ")) << texts.front();
    EXPECT_EQ(values.back(), 1);
    EXPECT_EQ(view.copying(), "") << "it is done";
    EXPECT_EQ(windows->library().projects().size(), 2U);
}

TEST_F(ProjectWindowViewTests, CancelStopsWhatTheLineTellsOfAlone) {
    const auto editor = openClip();
    const auto one = projectWithClip("One");
    const auto other = projectWithClip("Other");
    const auto first = windows->duplicate(one.id);
    const auto second = windows->duplicate(other.id);
    context.runPosted();
    ASSERT_EQ(windows->work().size(), 2U);
    editor->beginCopying();
    editor->setCopyProgress({.bytes = 1, .totalBytes = 2, .items = 0, .totalItems = 1});
    windows->work()[1]->progress = {.bytes = 1, .totalBytes = 2, .items = 0, .totalItems = 1};
    Q_EMIT windows->workChanged();
    context.advance(std::chrono::milliseconds(300));
    EXPECT_TRUE(view.copying().startsWith("Duplicating “Other”…")) << view.copying().toStdString();
    view.cancelCopying();
    EXPECT_FALSE(windows->work()[0]->stop.stop_requested());
    EXPECT_TRUE(windows->work()[1]->stop.stop_requested());
    editor->endCopying();
    context.settle();
    ASSERT_EQ(windows->library().projects().size(), 4U);
    EXPECT_EQ(windows->library().projects().front().name, "One Copy");
}

TEST_F(ProjectWindowViewTests, CopiesTellHowLongTheyStillTake) {
    const auto editor = openClip();
    editor->beginCopying();
    const auto copy = [&](std::int64_t share) {
        editor->setCopyProgress({.bytes = share, .totalBytes = 100, .items = 0, .totalItems = 1});
        context.advance(std::chrono::seconds(1));
    };
    copy(0);
    EXPECT_EQ(view.copyingRemaining(), "");
    for (const std::int64_t share : {5, 10, 15}) copy(share);
    EXPECT_EQ(view.copyingRemaining(), "About 15 seconds left");
    editor->endCopying();
    context.settle();
    EXPECT_EQ(view.copyingRemaining(), "");
}

TEST_F(ProjectWindowViewTests, SavingWritesAtOnce) {
    const auto editor = openClip();
    edit(*editor);
    context.runPosted();
    EXPECT_TRUE(view.edited());
    EXPECT_TRUE(first.unsaved);
    EXPECT_EQ(view.status(), "Saving…");
    view.save();
    context.settle();
    context.runPosted();
    EXPECT_FALSE(view.edited());
    EXPECT_FALSE(first.unsaved);
    EXPECT_EQ(view.status(), "Saved");
}

TEST_F(ProjectWindowViewTests, TheAlertShowsTheOwnersErrorFirstAndThenTheEditors) {
    const auto editor = openClip();
    editor->setError("Of the editor.");
    windows->setError("Of the windows.");
    EXPECT_EQ(view.error(), "Of the windows.");
    view.dismissError();
    EXPECT_EQ(view.error(), "Of the editor.");
    view.dismissError();
    EXPECT_TRUE(view.error().isEmpty());
    EXPECT_EQ(windows->error(), std::nullopt);
    EXPECT_EQ(editor->error(), std::nullopt);
}

TEST_F(ProjectWindowViewTests, EachPropertyIsAnnouncedAtItsOwnRate) {
    const auto editor = openClip();
    context.advance(std::chrono::milliseconds(180));
    context.settle();
    std::vector<std::string> told;
    const auto note = [&told](const char* name) { return [&told, name] { told.emplace_back(name); }; };
    QObject::connect(&view, &ProjectWindowView::contentChanged, &view, note("content"));
    QObject::connect(&view, &ProjectWindowView::workChanged, &view, note("work"));
    QObject::connect(&view, &ProjectWindowView::statusChanged, &view, note("status"));
    QObject::connect(view.commands()->undo(), &WindowCommand::changed, &view, note("undo"));
    QObject::connect(&view, &ProjectWindowView::errorChanged, &view, note("error"));
    const auto announced = [&](const std::function<void()>& act) {
        told.clear();
        act();
        context.runPosted();
        return told;
    };
    EXPECT_THAT(announced([&] { editor->selectTimelineClips({}); }), IsEmpty()) << "nothing here shows a selection";
    EXPECT_THAT(announced([&] { editor->seekPreview(1); }), IsEmpty()) << "nor the playhead";
    EXPECT_THAT(announced([&] { edit(*editor); }), ElementsAre("undo", "content", "status", "work"));
    EXPECT_THAT(announced([&] { edit(*editor); }), ElementsAre("content")) << "nothing else is another";
    EXPECT_THAT(announced([&] { editor->setError("Amiss."); }), ElementsAre("work", "error"));
    EXPECT_THAT(announced([&] { windows->setError("Amiss, too."); }), ElementsAre("error"));
    EXPECT_THAT(announced([&] { view.dismissError(); }), ElementsAre("error"));
    panels.destinations = {folder.url("film.mp4")};
    const auto confirm = [&] {
        editor->confirmExport(ExportResolution::automatic, ExportFrameRate::automatic, ExportContainer::mp4);
    };
    EXPECT_THAT(announced(confirm), ElementsAre("undo", "work"));
    const auto begin = [&] {
        while (!editor->isExporting() && context.stepBackground()) context.runPosted();
    };
    EXPECT_THAT(announced(begin), ElementsAre("work")) << "it was busy before";
    // Beside the pauses of the preview and of the autosave, the look at the encoder.
    while (context.pendingTimers() < 3) {
        ASSERT_TRUE(context.stepBackground());
        context.runPosted();
    }
    media.setProgress(0.5);
    EXPECT_THAT(announced([&] { context.advance(std::chrono::milliseconds(200)); }), ElementsAre("work"));
    EXPECT_EQ(view.progress(), 0.5);
}

/// The window itself, drawn by nobody.
class ProjectWindowSurfaceTests : public ProjectWindowViewTests {
protected:
    ProjectWindowSurfaceTests() {
        QObject::connect(&engine, &QQmlEngine::warnings, [this](const QList<QQmlError>& found) {
            for (const auto& warning : found) warnings.push_back(warning.toString().toStdString());
        });
        registerWindowTypes();
        QQmlComponent component(&engine, QUrl("qrc:/Views/Window/ProjectWindow.qml"));
        surface.reset(component.createWithInitialProperties({{"view", QVariant::fromValue(&view)}}));
        EXPECT_TRUE(surface) << component.errorString().toStdString();
    }
    [[nodiscard]] QQuickWindow* window() const { return qobject_cast<QQuickWindow*>(surface.get()); }
    /// The button with this label that a person can see.
    [[nodiscard]] QQuickItem* button(const QString& label) const {
        for (auto* item : window()->findChildren<QQuickItem*>()) {
            if (item->property("text") == label && item->inherits("QQuickAbstractButton") &&
                item->property("visible").toBool()) {
                return item;
            }
        }
        return nullptr;
    }
    [[nodiscard]] bool isEnabled(const QString& label) const {
        const auto* shown = button(label);
        return shown != nullptr && shown->isEnabled();
    }

    /// Which parts are made that a first frame of the home holds nothing of.
    [[nodiscard]] std::vector<std::string> lateParts() const {
        std::vector<std::string> made;
        for (const char* name : {"assetsPane", "timelinePane", "fileMenu", "windowSheets"})
            if (window()->findChild<QObject*>(name) != nullptr) made.emplace_back(name);
        return made;
    }

    std::vector<std::string> warnings;
    QQmlEngine engine;
    std::unique_ptr<QObject> surface;
};

TEST_F(ProjectWindowSurfaceTests, WhatAFirstFrameOfTheHomeHoldsNothingOfIsMadeBehindIt) {
    EXPECT_THAT(lateParts(), IsEmpty());
    window()->show();
    EXPECT_TRUE(
        QTest::qWaitFor([this] { return window()->property("whole").toBool(); }, static_cast<int>(patience.count())));
    EXPECT_TRUE(view.standing());
    EXPECT_THAT(lateParts(), ElementsAre("assetsPane", "timelinePane", "fileMenu", "windowSheets"));
    EXPECT_THAT(warnings, IsEmpty());
}

TEST_F(ProjectWindowSurfaceTests, WhatIsWantedBeforeItIsMadeAtOnce) {
    // No frame of the home was ever shown, and parts are made in slices, of which none comes.
    QQmlIncubationController slices;
    engine.setIncubationController(&slices);
    window()->show();
    const auto editor = openClip();
    EXPECT_THAT(lateParts(), ElementsAre("assetsPane", "timelinePane"));
    windows->setError("The disk is full.");
    EXPECT_THAT(lateParts(), ElementsAre("assetsPane", "timelinePane", "windowSheets"));
    QMetaObject::invokeMethod(window()->findChild<QObject*>("projectHeader"), "takeFocus");
    ASSERT_THAT(lateParts(), ElementsAre("assetsPane", "timelinePane", "fileMenu", "windowSheets"));
    EXPECT_TRUE(window()->findChild<QObject*>("fileMenu")->property("visible").toBool());
    EXPECT_THAT(warnings, IsEmpty());
}

TEST_F(ProjectWindowSurfaceTests, WhatIsWantedWhileItIsMadeInSlicesIsThereAtOnce) {
    QQmlIncubationController slices;
    engine.setIncubationController(&slices);
    context.settle();
    view.frameShown();
    QCoreApplication::processEvents();
    slices.incubateFor(1);
    EXPECT_FALSE(window()->property("whole").toBool()) << "a slice isn't enough for all";
    const auto editor = openClip();
    EXPECT_THAT(lateParts(), Contains("timelinePane"));
    EXPECT_TRUE(window()->findChild<QQuickItem*>("timelinePane")->isEnabled());
    EXPECT_THAT(warnings, IsEmpty());
}

TEST_F(ProjectWindowSurfaceTests, ABusyWindowStaysOpenAndItsWayHomeIsShut) {
    window()->show();
    EXPECT_TRUE(isEnabled("New Project"));
    EXPECT_TRUE(isEnabled("Import Project"));
    EXPECT_EQ(button("Export"), nullptr);
    const auto editor = openClip();
    EXPECT_TRUE(isEnabled("Projects"));
    EXPECT_TRUE(isEnabled("Export"));
    EXPECT_TRUE(isEnabled("Edit with AI…"));
    edit(*editor);
    context.runPosted();
    beginImport(*editor);
    context.runPosted();
    for (const char* label : {"Projects", "Edit with AI…", "Export"}) EXPECT_FALSE(isEnabled(label)) << label;
    EXPECT_FALSE(window()->close());
    EXPECT_TRUE(window()->isVisible());
    context.settle();
    EXPECT_TRUE(isEnabled("Projects"));
    EXPECT_FALSE(window()->close()) << "not before everything is saved";
    EXPECT_TRUE(window()->isVisible());
    context.settle();
    EXPECT_FALSE(window()->isVisible());
    EXPECT_FALSE(editor->isDirty()) << "closing saves";
    EXPECT_EQ(warnings, std::vector<std::string>());
}

TEST_F(ProjectWindowSurfaceTests, TheKeyForItAsksForTheEndOfTheApplication) {
    window()->show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window(), static_cast<int>(patience.count())));
    int asked = 0;
    QObject::connect(&view, &ProjectWindowView::quitRequested, &view, [&asked] { ++asked; });
    QTest::keyClick(window(), Qt::Key_Q, Qt::ControlModifier);
    EXPECT_EQ(asked, 1);
    EXPECT_TRUE(window()->isVisible()) << "the application decides";
    EXPECT_EQ(warnings, std::vector<std::string>());
}

}  // namespace
}  // namespace kelvane::testing
