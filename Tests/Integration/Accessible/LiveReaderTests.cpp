#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "Integration/LiveApplication.h"
#include "Integration/Playback/LiveWindow.h"
#include "Integration/Playback/NumberedFootage.h"
#include "Integration/Playback/PrivateDisplay.h"
#include "ReaderBus.h"

namespace kelvane::testing {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;

/// The real application on a display of its own, read from outside over the bus of a session of its own.
class LiveReader : public ::testing::Test {
protected:
    void SetUp() override {
        if (!ReaderBus::isInstalled()) GTEST_SKIP() << "no at-spi2-core or dbus-daemon here";
        if (!PrivateDisplay::isInstalled()) GTEST_SKIP() << "no Xvfb here";
        ASSERT_TRUE(display.start()) << display.log();
        ASSERT_TRUE(bus.start()) << bus.log();
        folder.write("Harbour.kelvane", "{\"clips\":[],\"version\":1}");
        std::vector<std::string> surroundings{"QT_QPA_PLATFORM=xcb", "QT_QUICK_BACKEND=software",
                                              "DISPLAY=" + display.name()};
        for (auto& entry : bus.surroundings()) surroundings.push_back(entry);
        app = std::make_unique<LiveApplication>(folder, std::vector{folder.path("Harbour.kelvane")}, surroundings);
        ASSERT_TRUE(app->waitForProject()) << folder.read("application.log");
        ASSERT_TRUE(eventually([this] { return bus.find("push button", "Projects").has_value(); })) << bus.tree();
    }
    /// Puts a movie of four seconds on the timeline.
    void addClip() {
        const nlohmann::json files{numbered::makeMovie(folder, 0, 120)};
        const auto assets = app->result({"import", "--revision", app->revision(), "--json", files.dump()})
                                .value("imported", std::vector<std::string>());
        ASSERT_EQ(assets.size(), 1U);
        const nlohmann::json entries{{{"assetID", assets.front()}, {"start", 0}, {"end", 4}, {"volume", 1}}};
        app->result({"timeline", "--revision", app->revision(), "--json", entries.dump()});
    }
    /// Waits for the node.
    BusNode node(const std::string& role, const std::string& name) {
        std::optional<BusNode> found;
        EXPECT_TRUE(eventually([&] { return (found = bus.find(role, name)).has_value(); })) << bus.tree();
        return found.value_or(BusNode{});
    }
    /// The first clip of the video track.
    BusNode firstClip() {
        std::vector<BusNode> clips;
        EXPECT_TRUE(eventually([&] { return !(clips = bus.children(node("list", "Video"))).empty(); })) << bus.tree();
        return clips.empty() ? BusNode{} : clips.front();
    }
    /// The window's own node.
    [[nodiscard]] BusNode frame() const {
        const auto windows = bus.windows();
        return windows.empty() ? BusNode{} : windows.front();
    }
    [[nodiscard]] bool isEnabled(const BusNode& node) const { return bus.report(node).states.contains("enabled"); }

    TempFolder folder;
    PrivateDisplay display;
    ReaderBus bus;
    std::unique_ptr<LiveApplication> app;
};

TEST_F(LiveReader, EachControlHasANameAndExtentsAndIsShown) {
    addClip();
    std::vector<std::string> faults;
    bus.walk([&](const BusNode& node, const NodeReport& report) {
        const auto add = [&](const char* fault) {
            faults.push_back(report.role + " \"" + report.name + "\" " + fault);
        };
        if (report.name.empty()) add("has no name");
        if (report.extents.isEmpty()) add("has no extents");
        if (!report.states.contains("visible")) add("isn't visible");
        const auto value = bus.value(node);
        if (value && !(value->minimum < value->maximum)) add("has no range");
        return true;
    });
    EXPECT_THAT(faults, IsEmpty()) << bus.tree();
}

TEST_F(LiveReader, PlacesInTheWindowAreThoseOnTheScreenLessItsCorner) {
    LiveWindow window(display.name());
    ASSERT_TRUE(window.waitForIt());
    window.moveTo(120, 90);
    ASSERT_TRUE(eventually([this] { return bus.report(frame()).extents.topLeft() == QPoint(120, 90); })) << bus.tree();
    EXPECT_TRUE(bus.act(node("push button", "Import Assets"), "Press"));
    const auto chooser = node("dialog", "Choose videos or audio files.");
    (void)node("text", "File name");
    std::vector<std::string> faults;
    bus.walk([&](const BusNode& node, const NodeReport& report) {
        const QRect place = bus.placeInWindow(node);
        if (place != report.extents.translated(-120, -90)) faults.push_back(report.role + " " + report.name);
        return true;
    });
    EXPECT_THAT(faults, IsEmpty()) << "dialogs are no windows of their own";
    const auto field = node("text", "File name");
    EXPECT_EQ(bus.childAt(chooser, bus.placeInWindow(field).center()), field);
}

TEST_F(LiveReader, WhereNoWindowManagerIsTheWindowHasTheKeyboard) {
    EXPECT_TRUE(eventually([this] { return bus.states(frame()).contains("active"); })) << bus.tree();
}

TEST_F(LiveReader, WhatIsDisabledIsToldAndWhatIsHiddenIsntThere) {
    const auto exporting = node("push button", "Export");
    EXPECT_FALSE(isEnabled(exporting));
    EXPECT_THAT(bus.tree(), Not(HasSubstr("New Project")));
    addClip();
    EXPECT_TRUE(eventually([&] { return isEnabled(exporting); }));
    const auto projects = node("push button", "Projects");
    EXPECT_TRUE(isEnabled(projects));
    EXPECT_THAT(bus.report(projects).actions, Contains("Press"));
}

TEST_F(LiveReader, AButtonIsPressedFromOutside) {
    EXPECT_TRUE(eventually([this] { return isEnabled(node("push button", "Projects")); }));
    EXPECT_TRUE(bus.act(node("push button", "Projects"), "Press"));
    (void)node("push button", "New Project");
    EXPECT_THAT(bus.tree(), Not(HasSubstr("Play Timeline")));
}

TEST_F(LiveReader, ASliderIsReadSetAndSteppedFromOutside) {
    addClip();
    const auto seek = node("slider", "Seek");
    ASSERT_TRUE(eventually([&] { return isEnabled(seek) && bus.value(seek)->maximum == 4; }));
    const double step = bus.value(seek)->step;
    EXPECT_EQ(*bus.value(seek), (NodeValue{0, 4, 0, step}));
    EXPECT_GT(step, 0);
    EXPECT_TRUE(bus.setValue(seek, 2));
    EXPECT_TRUE(eventually([&] { return bus.value(seek)->current == 2; })) << bus.value(seek)->current;
    EXPECT_TRUE(bus.act(seek, "Increase"));
    EXPECT_TRUE(eventually([&] { return std::abs(bus.value(seek)->current - 2 - step) < 0.002; }))
        << bus.value(seek)->current;
}

TEST_F(LiveReader, AClipIsReadAndItsVolumeSteppedFromOutside) {
    addClip();
    const auto clip = firstClip();
    const auto report = bus.report(clip);
    EXPECT_EQ(report.description, "Volume 100 percent");
    EXPECT_THAT(report.states, IsSupersetOf({"enabled", "showing", "selectable"}));
    const auto viewport = bus.report(node("panel", "Timeline viewport")).extents;
    EXPECT_TRUE(viewport.contains(report.extents.topLeft()));
    EXPECT_EQ(report.extents.height(), 86);
    EXPECT_TRUE(bus.act(clip, "Decrease Volume"));
    EXPECT_TRUE(eventually([&] { return bus.report(clip).description == "Volume 95 percent"; }));
}

TEST_F(LiveReader, WhatHappensIsSaid) {
    addClip();
    const auto clip = firstClip();
    EXPECT_TRUE(bus.act(clip, "Press"));
    EXPECT_TRUE(eventually([&] { return bus.report(clip).states.contains("selected"); }));
    EXPECT_TRUE(bus.act(node("push button", "Delete Clip"), "Press"));
    (void)node("label", "1 clip deleted.");
    const std::string left = bus.tree();
    EXPECT_EQ(left.find("list item"), left.rfind("list item")) << "the asset alone";
    EXPECT_THAT(left, Not(HasSubstr("Redo"))) << "that menu isn't open";
    EXPECT_TRUE(bus.act(node("menu item", "Edit"), "Press"));
    EXPECT_TRUE(bus.act(node("menu item", "Undo"), "Press"));
    (void)node("label", "Undone.");
    EXPECT_TRUE(eventually([this] { return !bus.find("menu item", "Redo"); })) << "the menu closes";
}

}  // namespace
}  // namespace kelvane::testing
