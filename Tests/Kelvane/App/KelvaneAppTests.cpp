#include <gtest/gtest.h>
#include <qtestsupport_core.h>

#include <QGuiApplication>
#include <QTest>
#include <QTimer>

#include "App/KelvaneApp.h"
#include "Storage/ProjectFile.h"
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
    /// Presses a key where the keyboard is, once the application's window is in front.
    static void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        ASSERT_TRUE(QTest::qWaitForWindowActive(shown().front(), 20000));
        QTest::keyClick(keyboardWindow(shown().front()), key, modifiers);
    }
    /// A second of silence.
    [[nodiscard]] QUrl sound() const {
        const std::string header(
            "RIFF\xA4\x3E\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1F\0\0\x80\x3E\0\0\2\0\x10\0data\x80\x3E\0\0", 44);
        return QUrl::fromLocalFile(
            QString::fromStdString(folder.write("Sound.wav", header + std::string(16000, '\0')).path()));
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
    FileURL projectFile(const std::string& name) const {
        const auto file = folder.url(name + ".kelvane");
        EXPECT_TRUE(
            ProjectFile::write({.version = 1, .clips = {}, .assets = std::vector<Clip>(), .mediaRoot = {}}, file));
        return file;
    }

    TempFolder folder;
    std::unique_ptr<KelvaneApp> app;
};

TEST_F(KelvaneAppTests, ClosingTheLastWindowEndsTheApplication) {
    start();
    ASSERT_EQ(shown().size(), 1);
    EXPECT_EQ(shown().front()->title(), "Kelvane");
    EXPECT_EQ(run([] { shown().front()->close(); }), 0);
    EXPECT_TRUE(shown().isEmpty());
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
                  question->answer({sound()});
                  EXPECT_TRUE(view->busy());
                  press(Qt::Key_Q, Qt::ControlModifier);
                  QTimer::singleShot(0, [] { QCoreApplication::exit(refused); });
              }),
              refused);
    EXPECT_TRUE(QTest::qWaitFor([view] { return !view->busy(); }, 20000));
    EXPECT_EQ(view->error().toStdString(), "");
    EXPECT_EQ(run([] { press(Qt::Key_Q, Qt::ControlModifier); }), 0);
}

}  // namespace
}  // namespace kelvane::testing
