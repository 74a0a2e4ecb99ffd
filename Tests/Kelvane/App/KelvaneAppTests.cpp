#include <gtest/gtest.h>
#include <qtestsupport_core.h>

#include <QGuiApplication>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <filesystem>
#include <fstream>

#include "App/KelvaneApp.h"
#include "Session/AIAssistantSession.h"
#include "Storage/ProjectFile.h"
#include "Support/App/FinishTask.h"
#include "Support/ClipBuilder.h"
#include "Support/Quick/Keyboard.h"
#include "Support/TempFolder.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

/// The application on its real event loop, without a display and with a library of its own.
class KelvaneAppTests : public ::testing::Test {
protected:
    KelvaneAppTests() {
        // The library's place is asked for when the application is made.
        qputenv("XDG_DATA_HOME", QByteArray::fromStdString(folder.path()));
    }
    ~KelvaneAppTests() override {
        if (app) app->shutDown();
    }
    void start(std::vector<FileURL> urls = {}, bool hasDisplay = false) {
        app = std::make_unique<KelvaneApp>(hasDisplay, std::move(urls));
        ASSERT_TRUE(app->start());
    }
    /// Presses a key where the keyboard is, once the application's window is in front. It isn't let go of: the window
    /// may close on the press.
    static void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        ASSERT_TRUE(QTest::qWaitForWindowActive(shown().front(), 20000));
        qt_handleKeyEvent(keyboardWindow(shown().front()), QEvent::KeyPress, key, modifiers);
    }
    /// A second of silence.
    [[nodiscard]] FileURL sound() const {
        const std::string header(
            "RIFF\xA4\x3E\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1F\0\0\x80\x3E\0\0\2\0\x10\0data\x80\x3E\0\0", 44);
        return folder.write("Sound.wav", header + std::string(16000, '\0'));
    }
    static QList<QQuickWindow*> shown() {
        QList<QQuickWindow*> windows;
        for (auto* window : QGuiApplication::topLevelWindows())
            if (auto* quick = qobject_cast<QQuickWindow*>(window); quick && quick->isVisible())
                windows.push_back(quick);
        return windows;
    }
    /// Runs the event loop after `act`; the exit status, or nothing when the application hasn't ended `limit` later.
    static std::optional<int> run(std::function<void()> act, std::chrono::milliseconds limit = 20s) {
        bool late = false;
        QTimer watch;
        watch.setSingleShot(true);
        QObject::connect(&watch, &QTimer::timeout, [&late] {
            late = true;
            QCoreApplication::exit(0);
        });
        watch.start(limit);
        QTimer::singleShot(0, std::move(act));
        const int status = QCoreApplication::exec();
        return late ? std::nullopt : std::optional(status);
    }
    /// Runs the event loop until the window has this title; false when that doesn't come.
    static bool becomesTitled(const char* title) {
        return QTest::qWaitFor([title] { return !shown().isEmpty() && shown().front()->title() == title; }, 20'000);
    }
    static ProjectWindowView* view() { return shown().front()->property("view").value<ProjectWindowView*>(); }
    /// Has `act` keep a project in the background from being left behind, and closes the only window.
    void expectAWindowAfterClosing(const std::function<void(Editor&)>& act) {
        start({projectFile("Trailer")});
        ASSERT_TRUE(becomesTitled("Trailer"));
        const auto editor = view()->workspace()->editor();
        view()->showHome();
        ASSERT_TRUE(becomesTitled("Kelvane"));
        act(*editor);
        const int seen = 7;
        EXPECT_EQ(run([] {
                      shown().front()->close();
                      ASSERT_TRUE(shown().isEmpty());
                      EXPECT_TRUE(QTest::qWaitFor([] { return !shown().isEmpty(); }, 20'000));
                      QCoreApplication::exit(seen);
                  }),
                  seen);
        ASSERT_EQ(shown().size(), 1);
        EXPECT_EQ(shown().front()->title(), "Kelvane");
    }
    FileURL projectFile(const std::string& name) const {
        const auto file = folder.url(name + ".kelvane");
        EXPECT_TRUE(
            ProjectFile::write({.version = 1, .clips = {}, .assets = std::vector<Clip>(), .mediaRoot = {}}, file));
        return file;
    }

    TempFolder folder;
    std::unique_ptr<KelvaneApp> app;
};

TEST_F(KelvaneAppTests, WhatAnotherStartWasGivenOpensInTheWindowThatComesForward) {
    start();
    ASSERT_TRUE(becomesTitled("Kelvane"));
    shown().front()->showMinimized();
    app->receive({.urls = {projectFile("Trailer")}, .activation = {.token = "leave", .startupID = "leave_TIME1"}});
    EXPECT_TRUE(becomesTitled("Trailer"));
    ASSERT_EQ(shown().size(), 1);
    EXPECT_FALSE(shown().front()->windowStates().testFlag(Qt::WindowMinimized));
    EXPECT_TRUE(qEnvironmentVariableIsEmpty("XDG_ACTIVATION_TOKEN")) << "nothing takes it here";
}

TEST_F(KelvaneAppTests, ALinksProjectComesForwardInItsOwnWindowAlone) {
    start({projectFile("Trailer")});
    ASSERT_TRUE(becomesTitled("Trailer"));
    const auto editor = view()->workspace()->editor();
    auto* linked = shown().front();
    // A window that is at work isn't taken over.
    editor->beginCopying();
    app->receive({.urls = {projectFile("Coast")}, .activation = {}});
    ASSERT_TRUE(QTest::qWaitFor([] { return shown().size() == 2; }, 20'000));
    editor->endCopying();
    const auto windows = shown();
    for (auto* window : windows) window->showMinimized();
    const auto link = "kelvane://project/" + editor->id().upper();
    app->receive({.urls = {FileURL::parse(link).value()}, .activation = {}});
    EXPECT_FALSE(linked->windowStates().testFlag(Qt::WindowMinimized));
    for (auto* window : windows)
        if (window != linked) EXPECT_TRUE(window->windowStates().testFlag(Qt::WindowMinimized)) << "it took the leave";
}

TEST_F(KelvaneAppTests, AnotherStartBringsAWindowWhereNoneIsLeft) {
    start({projectFile("Trailer")});
    ASSERT_TRUE(becomesTitled("Trailer"));
    const int seen = 7;
    EXPECT_EQ(run([this] {
                  const auto editor = view()->workspace()->editor();
                  // Something keeps the application from ending with its window.
                  editor->beginCopying();
                  view()->showHome();
                  shown().front()->close();
                  app->receive({});
                  EXPECT_TRUE(QTest::qWaitFor([] { return !shown().isEmpty(); }, 20'000));
                  QCoreApplication::exit(seen);
              }),
              seen);
}

TEST_F(KelvaneAppTests, FromTheTurnInWhichAQuitIsGrantedTheNextStartIsTheFirst) {
    const auto registry = folder.path("registry");
    auto role = claimLibrary(ProjectStore::defaultRoot(), {}, 20s, registry);
    ASSERT_EQ(role.kind, StartRole::Kind::first);
    app = std::make_unique<KelvaneApp>(false, std::vector<FileURL>(), std::move(role.instance));
    ASSERT_TRUE(app->start());
    EXPECT_EQ(run([&] {
                  app->requestQuit();
                  EXPECT_EQ(claimLibrary(ProjectStore::defaultRoot(), {}, 20s, registry).kind, StartRole::Kind::first);
              }),
              0);
}

TEST_F(KelvaneAppTests, ClosingTheLastWindowEndsTheApplication) {
    start();
    ASSERT_EQ(shown().size(), 1);
    EXPECT_EQ(shown().front()->title(), "Kelvane");
    EXPECT_EQ(run([] { shown().front()->close(); }), 0);
    EXPECT_TRUE(shown().isEmpty());
}

TEST_F(KelvaneAppTests, AClosedWindowsProjectIsServedNoMoreFromTheSameTurnOn) {
    start({projectFile("Trailer")});
    ASSERT_TRUE(becomesTitled("Trailer"));
    const auto editor = view()->workspace()->editor();
    ASSERT_TRUE(editor->ai().isConnected());
    // What came in behind the last save would be written by nobody, or over another instance's work.
    shown().front()->close();
    EXPECT_TRUE(shown().isEmpty());
    EXPECT_FALSE(editor->ai().isConnected());
}

TEST_F(KelvaneAppTests, AFileThatCameBeforeTheFirstWindowIsShownThere) {
    start({projectFile("Trailer")});
    ASSERT_EQ(shown().size(), 1);
    EXPECT_TRUE(becomesTitled("Trailer"));
    EXPECT_EQ(run([] { shown().front()->close(); }), 0);
}

TEST_F(KelvaneAppTests, AQuitIsGrantedWhenNothingStandsAgainstIt) {
    start({projectFile("Trailer")});
    EXPECT_TRUE(becomesTitled("Trailer"));
    EXPECT_EQ(run([this] { app->requestQuit(); }), 0);
}

TEST_F(KelvaneAppTests, ANameThatIsEditedIsTakenBeforeTheApplicationEnds) {
    start({projectFile("Trailer")}, true);
    ASSERT_TRUE(becomesTitled("Trailer"));
    const auto editor = view()->workspace()->editor();
    view()->naming()->edit();
    view()->naming()->nameEditor()->setDraft("Coast");
    EXPECT_EQ(run([] { press(Qt::Key_Q, Qt::ControlModifier); }), 0);
    EXPECT_EQ(ProjectStore(ProjectStore::defaultRoot()).scan({}).front().name, "Coast");
}

TEST_F(KelvaneAppTests, ANameThatIsEditedOnACardIsTakenBeforeTheLastWindowCloses) {
    start({projectFile("Trailer")}, true);
    ASSERT_TRUE(becomesTitled("Trailer"));
    const auto id = QString::fromStdString(view()->workspace()->editor()->id().upper());
    app->shutDown();
    start({}, true);
    ASSERT_TRUE(QTest::qWaitFor([] { return view()->home()->projects()->rowCount() == 1; }, 20'000));
    view()->home()->rename(id);
    view()->home()->nameEditor()->setDraft("Coast");
    EXPECT_EQ(run([] { press(Qt::Key_W, Qt::ControlModifier); }), 0);
    EXPECT_EQ(ProjectStore(ProjectStore::defaultRoot()).scan({}).front().name, "Coast");
}

TEST_F(KelvaneAppTests, AProjectsNewWindowStandsAsItsLastOneAndHasTheKeyboardOnTheTimeline) {
    start({projectFile("Trailer")}, true);
    ASSERT_TRUE(becomesTitled("Trailer"));
    auto* before = shown().front();
    ASSERT_TRUE(QTest::qWaitForWindowActive(before, 20'000));
    const auto id = QString::fromStdString(view()->workspace()->editor()->id().upper());
    before->setGeometry(60, 50, 900, 640);
    QCoreApplication::processEvents();
    view()->showHome();
    ASSERT_TRUE(becomesTitled("Kelvane"));
    before->setGeometry(10, 20, 800, 600);
    QCoreApplication::processEvents();
    view()->home()->openInNewWindow(id);
    ASSERT_TRUE(QTest::qWaitFor([] { return shown().size() == 2; }, 20'000));
    auto* window = shown().front() == before ? shown().back() : shown().front();
    ASSERT_EQ(window->title(), "Trailer");
    EXPECT_EQ(window->geometry(), QRect(60, 50, 900, 640));
    ASSERT_TRUE(QTest::qWaitForWindowActive(window, 20'000));
    ASSERT_NE(window->activeFocusItem(), nullptr);
    EXPECT_EQ(window->activeFocusItem()->objectName(), "timelineSurface");
}

TEST_F(KelvaneAppTests, AWaveformThatIsDecodedHoldsUpNoQuit) {
    start();
    // Five days of silence, most of which lie in a hole.
    const FileURL days =
        folder.write("Days.wav", std::string("RIFF\x24\x28\x6b\xeeWAVEfmt \x10\0\0\0\1\0\1\0\x40\x1F\0\0"
                                             "\x40\x1F\0\0\1\0\x8\0data\0\x28\x6b\xee",
                                             44));
    std::filesystem::resize_file(days.path(), 44 + std::uintmax_t{0xee6b2800});
    std::optional<Result<AudioWaveformCache::Samples>> answer;
    EXPECT_EQ(run([&] {
                  auto asking = keep(app->waveforms().peaks(days), &answer);
                  QTimer::singleShot(0, [this] { app->requestQuit(); });
              }),
              0);
    EXPECT_FALSE(answer);
    app->shutDown();
    ASSERT_TRUE(QTest::qWaitFor([&] { return answer.has_value(); }, 20'000));
    ASSERT_FALSE(*answer);
    EXPECT_TRUE(answer->error().isCancelled()) << answer->error().message;
}

TEST_F(KelvaneAppTests, TheKeyForAnImportOpensTheChooserAndEscapeClosesIt) {
    start({}, true);
    press(Qt::Key_O, Qt::ControlModifier);
    auto* question = qobject_cast<FilesQuestion*>(app->panels().question());
    ASSERT_NE(question, nullptr);
    EXPECT_EQ(question->title(), "Import editable projects and copy their media into your Kelvane library.");
    ASSERT_TRUE(QTest::qWaitFor([&] { return question->stage() == PanelQuestion::Stage::shown; }, 20000));
    EXPECT_TRUE(QTest::qWaitFor(
        [this] {
            press(Qt::Key_Escape);
            return app->panels().question() == nullptr;
        },
        20000));
    EXPECT_TRUE(shown().front()->isVisible());
}

TEST_F(KelvaneAppTests, TheKeyForItEndsTheApplicationUnlessItIsBusy) {
    start({projectFile("Trailer")}, true);
    ASSERT_TRUE(becomesTitled("Trailer"));
    auto* view = shown().front()->property("view").value<ProjectWindowView*>();
    ASSERT_NE(view, nullptr);
    const int refused = 7;
    EXPECT_EQ(run([&] {
                  press(Qt::Key_I, Qt::ControlModifier);
                  auto* question = qobject_cast<FilesQuestion*>(app->panels().question());
                  ASSERT_NE(question, nullptr);
                  question->answer({QUrl::fromLocalFile(QString::fromStdString(sound().path()))});
                  EXPECT_TRUE(view->busy());
                  press(Qt::Key_Q, Qt::ControlModifier);
                  QTimer::singleShot(0, [] { QCoreApplication::exit(refused); });
              }),
              refused);
    EXPECT_TRUE(QTest::qWaitFor([view] { return !view->busy(); }, 20000));
    EXPECT_EQ(view->error().toStdString(), "");
    EXPECT_EQ(run([] { press(Qt::Key_Q, Qt::ControlModifier); }), 0);
}

TEST_F(KelvaneAppTests, AWindowThatIsNoLongerActivePausesItsPlayer) {
    start({projectFile("Trailer")}, true);
    ASSERT_TRUE(becomesTitled("Trailer"));
    auto* window = shown().front();
    const auto editor = view()->workspace()->editor();
    editor->importURLs({sound()});
    ASSERT_TRUE(QTest::qWaitFor([&] { return !editor->busy(); }, 20'000));
    editor->addAssets({editor->assets().front().id}, std::nullopt);
    // An hour to play.
    editor->update(editor->clips().front().id, [](Clip& clip) { clip.timelineStart = 3600; });
    ASSERT_TRUE(QTest::qWaitFor([&] { return !editor->isBuilding(); }, 20'000));
    ASSERT_TRUE(QTest::qWaitForWindowActive(window, 20'000));
    editor->togglePlayback();
    ASSERT_TRUE(editor->isPlaying());
    QWindow other;
    other.show();
    other.requestActivate();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other, 20'000));
    EXPECT_FALSE(editor->isPlaying());
    EXPECT_EQ(editor->player()->rate(), 0);
    window->requestActivate();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window, 20'000));
    EXPECT_FALSE(editor->isPlaying()) << "until a person wants it";
    EXPECT_EQ(run([] { press(Qt::Key_Q, Qt::ControlModifier); }), 0);
}

TEST_F(KelvaneAppTests, NothingChangesAnyMoreFromTheTurnInWhichAQuitIsGranted) {
    start({projectFile("Trailer")});
    ASSERT_TRUE(becomesTitled("Trailer"));
    const auto editor = view()->workspace()->editor();
    EXPECT_EQ(run([&] {
                  const auto epoch = editor->ai().generation();
                  app->requestQuit();
                  EXPECT_FALSE(editor->ai().isConnected());
                  EXPECT_NE(editor->ai().generation(), epoch) << "what was posted before is refused";
                  EXPECT_TRUE(editor->busy());
              }),
              0);
}

TEST_F(KelvaneAppTests, TheLastWindowsClosingWhileAProjectOpensEndsNothing) {
    start({projectFile("Trailer")});
    const int seen = 7;
    // It is on its way since the start.
    EXPECT_EQ(run([] {
                  shown().front()->close();
                  ASSERT_TRUE(shown().isEmpty());
                  EXPECT_TRUE(QTest::qWaitFor(
                      [] {
                          const auto windows = shown();
                          return std::ranges::any_of(windows,
                                                     [](auto* window) { return window->title() == "Trailer"; });
                      },
                      20'000));
                  QCoreApplication::exit(seen);
              }),
              seen);
}

TEST_F(KelvaneAppTests, TheLastWindowsClosingWhileAProjectIsCopiedOpensOne) {
    expectAWindowAfterClosing([](Editor& editor) { editor.beginCopying(); });
}

TEST_F(KelvaneAppTests, TheLastWindowsClosingWhileAProjectCantBeSavedOpensOne) {
    expectAWindowAfterClosing([this](Editor& editor) {
        // A file where the project's folder should be keeps every write out.
        const auto place = editor.projectURL()->parentFolder().path();
        std::filesystem::rename(place, folder.path("kept"));
        std::ofstream(place) << "in the way";
        editor.commit({videoClip(1, sound())});
        ASSERT_TRUE(editor.isDirty());
    });
}

}  // namespace
}  // namespace kelvane::testing
