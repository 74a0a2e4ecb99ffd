#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QTimer>

#include "App/KelvaneApp.h"
#include "Storage/ProjectFile.h"
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
    void start(std::vector<FileURL> urls = {}) {
        app = std::make_unique<KelvaneApp>(false, std::move(urls));
        ASSERT_TRUE(app->start());
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
    EXPECT_EQ(shown().front()->title(), "Trailer");
    EXPECT_EQ(run([] { shown().front()->close(); }), 0);
}

TEST_F(KelvaneAppTests, AQuitIsGrantedWhenNothingStandsAgainstIt) {
    start({projectFile("Trailer")});
    EXPECT_EQ(run([this] { app->requestQuit(); }), 0);
}

}  // namespace
}  // namespace kelvane::testing
