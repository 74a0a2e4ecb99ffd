#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "Integration/LiveApplication.h"
#include "Integration/Playback/PrivateDisplay.h"
#include "StrictManager.h"

namespace kelvane::testing {
namespace {

/// What lies between two acts of a person, in ms.
constexpr std::uint32_t later = 1000;

/// The real application on a display with a window manager that lets nobody take the focus away from who works.
class Activation : public ::testing::Test {
protected:
    void SetUp() override {
        if (!PrivateDisplay::isInstalled()) GTEST_SKIP() << "no Xvfb here";
        ASSERT_TRUE(display.start()) << display.log();
        manager = std::make_unique<StrictManager>(display.name());
        folder.write("Trip.kelvane", "{\"clips\":[],\"version\":1}");
    }
    void TearDown() override {
        if (first) EXPECT_EQ(first->quit(), 0);
    }
    /// A start of the program by a launcher that gives these variables along.
    [[nodiscard]] std::unique_ptr<LiveApplication> launch(const std::vector<std::string>& variables,
                                                          std::vector<std::string> arguments = {}) const {
        std::vector<std::string> surroundings{"QT_QPA_PLATFORM=xcb", "QT_QUICK_BACKEND=software",
                                              "DISPLAY=" + display.name()};
        surroundings.insert(surroundings.end(), variables.begin(), variables.end());
        return std::make_unique<LiveApplication>(folder, std::move(arguments), surroundings);
    }
    /// Starts the application and waits until its window stands; then a person works elsewhere, a minute later.
    void startAndLeave() {
        first = launch({"DESKTOP_STARTUP_ID=", "XDG_ACTIVATION_TOKEN="}, {folder.path("Trip.kelvane")});
        ASSERT_TRUE(eventually([this] {
            manager->handle();
            return manager->window() != 0 && manager->isShown();
        })) << folder.read("application.log");
        // It answers once its events are handled.
        ASSERT_TRUE(waitForProject()) << folder.read("application.log");
        act = manager->now() + 60'000;
        manager->workElsewhere(act);
    }
    bool waitForProject() {
        manager->handle();
        return first->waitForProject();
    }
    /// Starts the program again, waits for its end, and until the window manager has been asked.
    void startAgain(const std::vector<std::string>& variables) {
        const auto before = manager->asks().size();
        EXPECT_EQ(launch(variables)->wait(), 0);
        EXPECT_TRUE(eventually([&] {
            manager->handle();
            return manager->asks().size() > before;
        })) << "nobody asked for the focus";
    }
    /// Waits until everybody was told that a startup sequence is over, in these words.
    void expectTold(const std::string& words) {
        EXPECT_TRUE(eventually([&] {
            manager->handle();
            return std::ranges::count(manager->messages(), words) == 1;
        })) << words
            << " is not among " << ::testing::PrintToString(manager->messages());
    }
    static std::string sequence(std::uint32_t time) {
        return "a \"launcher\"/kelvane/7-1-desk_TIME" + std::to_string(time);
    }
    static std::string quoted(std::uint32_t time) {
        return "a \\\"launcher\\\"/kelvane/7-1-desk_TIME" + std::to_string(time);
    }

    TempFolder folder;
    PrivateDisplay display;
    std::unique_ptr<StrictManager> manager;
    std::unique_ptr<LiveApplication> first;
    /// When a person last did something elsewhere.
    std::uint32_t act = 0;
};

TEST_F(Activation, AFirstStartTellsThatItsStartupIsOver) {
    first = launch({"DESKTOP_STARTUP_ID=launcher/kelvane/7-0-desk_TIME4711"});
    expectTold("remove: ID=launcher/kelvane/7-0-desk_TIME4711");
    ASSERT_TRUE(eventually([this] {
        manager->handle();
        return manager->window() != 0 && manager->isShown();
    }));
}

TEST_F(Activation, AFurtherStartComesForwardByTheActThatLaunchedIt) {
    startAndLeave();
    startAgain({"DESKTOP_STARTUP_ID=" + sequence(act + later)});
    const auto ask = manager->asks().back();
    EXPECT_EQ(ask.window, manager->window());
    EXPECT_EQ(ask.source, 1U);
    EXPECT_EQ(ask.time, act + later);
    EXPECT_TRUE(ask.isGranted);
    EXPECT_TRUE(manager->hasFocus());
    EXPECT_EQ(manager->number("_NET_WM_USER_TIME"), act + later);
    EXPECT_EQ(manager->text("_NET_STARTUP_ID"), sequence(act + later));
    expectTold("remove: ID=\"" + quoted(act + later) + "\"");
}

TEST_F(Activation, ALaunchersTokenServesWhereItGivesNoOther) {
    startAndLeave();
    startAgain({"DESKTOP_STARTUP_ID=", "XDG_ACTIVATION_TOKEN=" + sequence(act + later)});
    EXPECT_EQ(manager->asks().back().time, act + later);
    EXPECT_TRUE(manager->hasFocus());
}

TEST_F(Activation, AWindowThatWasPutAwayComesBack) {
    startAndLeave();
    manager->putAway();
    startAgain({"DESKTOP_STARTUP_ID=" + sequence(act + later)});
    EXPECT_TRUE(manager->asks().back().isGranted);
    EXPECT_TRUE(eventually([this] {
        manager->handle();
        return manager->isShown();
    }));
    EXPECT_TRUE(eventually([this] { return manager->hasFocus(); }));
}

TEST_F(Activation, WhoWorksElsewhereSinceTheLaunchKeepsTheFocus) {
    startAndLeave();
    startAgain({"DESKTOP_STARTUP_ID=" + sequence(act - later)});
    EXPECT_EQ(manager->asks().back().time, act - later);
    EXPECT_FALSE(manager->asks().back().isGranted);
    EXPECT_FALSE(manager->hasFocus());
    expectTold("remove: ID=\"" + quoted(act - later) + "\"");
}

TEST_F(Activation, WhoWorkedInTheWindowSinceTheLaunchDoesNotGoBackInTime) {
    startAndLeave();
    manager->setNumber("_NET_WM_USER_TIME", act + 2 * later);
    startAgain({"DESKTOP_STARTUP_ID=" + sequence(act + later)});
    for (const auto& ask : manager->asks()) EXPECT_NE(ask.time, act + later);
    expectTold("remove: ID=\"" + quoted(act + later) + "\"");
}

TEST_F(Activation, AFurtherStartWithoutALauncherAsksOnly) {
    startAndLeave();
    startAgain({"DESKTOP_STARTUP_ID=", "XDG_ACTIVATION_TOKEN="});
    EXPECT_EQ(manager->asks().back().window, manager->window());
    EXPECT_FALSE(manager->hasFocus());
    EXPECT_EQ(manager->text("_NET_STARTUP_ID"), "");
    EXPECT_TRUE(manager->messages().empty());
}

TEST_F(Activation, WhatNoLauncherGivesIsPassedOver) {
    startAndLeave();
    startAgain({"DESKTOP_STARTUP_ID=line\nline_TIME" + std::to_string(act + later), "XDG_ACTIVATION_TOKEN="});
    startAgain({"DESKTOP_STARTUP_ID=" + std::string(5000, 'x') + "_TIME" + std::to_string(act + later)});
    EXPECT_FALSE(manager->hasFocus());
    EXPECT_EQ(manager->text("_NET_STARTUP_ID"), "");
    EXPECT_TRUE(manager->messages().empty());
}

}  // namespace
}  // namespace kelvane::testing
