#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>

#include "LiveApplication.h"
#include "Support/App/PrivateBus.h"
#include "Support/AtomicFile.h"

namespace kelvane::testing {
namespace {

/// The real application, started more than once on one library.
class SecondStart : public ::testing::Test {
protected:
    SecondStart() {
        for (const char* name : {"Trip", "Party", "Work"})
            folder.write(std::string("files/") + name + ".kelvane", "{\"clips\":[],\"version\":1}");
    }
    [[nodiscard]] std::string file(const std::string& name) const { return folder.path("files/" + name + ".kelvane"); }
    /// Starts the program again and waits for its end.
    ProcessResult again(const std::vector<std::string>& arguments, const std::string& where = "/",
                        const std::string& data = {}) const {
        const std::string home = "XDG_DATA_HOME=" + (data.empty() ? folder.path() : data);
        std::vector<std::string> words{"env",
                                       "-C",
                                       where,
                                       "-u",
                                       "DBUS_SESSION_BUS_ADDRESS",
                                       home,
                                       "QT_QPA_PLATFORM=offscreen",
                                       KELVANE_EXECUTABLE};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return runProcess(words);
    }
    void expectHandedOver(const ProcessResult& ended) {
        EXPECT_EQ(ended.status, 0);
        EXPECT_EQ(ended.output, "");
        EXPECT_EQ(ended.errors, "");
    }
    /// Names of the library's projects, sorted.
    [[nodiscard]] std::vector<std::string> projects() const {
        std::vector<std::string> names;
        for (const auto& id : folderEntries(folder.path("Kelvane/Projects"))) {
            const auto row =
                nlohmann::json::parse(folder.read("Kelvane/Projects/" + id + "/Metadata.json"), nullptr, false);
            if (row.is_object()) names.push_back(row.value("name", ""));
        }
        std::ranges::sort(names);
        return names;
    }
    /// Whether a project with this name answers the client, or comes to.
    [[nodiscard]] bool serves(const std::string& name) const {
        return eventually([&] {
            for (const auto& id : folderEntries(folder.path("Kelvane/Projects"))) {
                const auto ended = runProcess({KELVANE_EXECUTABLE, "cli", "--project", id, "project"});
                const auto reply = nlohmann::json::parse(ended.output, nullptr, false);
                if (ended.status == 0 && reply["result"].value("name", "") == name) return true;
            }
            return false;
        });
    }

    TempFolder folder;
};

TEST_F(SecondStart, HandsItsFilesAndLinksToTheFirstAndEnds) {
    LiveApplication first(folder, {file("Trip")});
    ASSERT_TRUE(first.waitForProject()) << folder.read("application.log");
    const auto trip = first.project();
    expectHandedOver(again({file("Party")}));
    EXPECT_TRUE(serves("Party")) << folder.read("application.log");
    expectHandedOver(again({"kelvane://project/" + trip}));
    EXPECT_TRUE(serves("Trip"));
    // Relative paths are those of the second start; what is neither link nor project is passed over as ever.
    expectHandedOver(again({"--verbose", "Work.kelvane", "film.mp4"}, folder.path("files")));
    EXPECT_TRUE(serves("Work"));
    expectHandedOver(again({}));
    expectHandedOver(again({"kelvane://project/not-an-id", "film.mp4"}));
    EXPECT_EQ(projects(), (std::vector<std::string>{"Party", "Trip", "Work"}));
    EXPECT_EQ(first.quit(), 0);
}

TEST_F(SecondStart, OfSeveralAtTheSameMomentOneStaysAndOpensEverything) {
    std::vector<std::unique_ptr<LiveApplication>> starts;
    for (const char* name : {"Trip", "Party", "Work"})
        starts.push_back(std::make_unique<LiveApplication>(folder, std::vector<std::string>{file(name)}));
    EXPECT_TRUE(eventually([&] { return projects() == std::vector<std::string>{"Party", "Trip", "Work"}; }))
        << folder.read("application.log");
    EXPECT_TRUE(eventually(
        [&] { return std::ranges::count_if(starts, [](const auto& start) { return start->isRunning(); }) == 1; }));
    for (const auto& start : starts) {
        // One that still opens a project refuses to quit.
        EXPECT_TRUE(eventually([&] {
            if (start->isRunning()) start->signal(SIGTERM);
            return !start->isRunning();
        }));
        EXPECT_EQ(start->wait(), 0);
    }
}

TEST_F(SecondStart, AfterAKilledOneIsTheFirst) {
    LiveApplication killed(folder, {file("Trip")});
    ASSERT_TRUE(killed.waitForProject());
    killed.signal(SIGKILL);
    killed.wait();
    LiveApplication next(folder, {file("Party")});
    EXPECT_TRUE(serves("Party")) << folder.read("application.log");
    EXPECT_TRUE(next.isRunning());
    EXPECT_EQ(next.quit(), 0);
}

TEST_F(SecondStart, IsNotHeldUpByAFirstThatHangsWhichActsOnItLater) {
    LiveApplication first(folder, {file("Trip")});
    ASSERT_TRUE(first.waitForProject());
    first.signal(SIGSTOP);
    expectHandedOver(again({file("Party")}));
    EXPECT_EQ(projects(), std::vector<std::string>{"Trip"});
    first.signal(SIGCONT);
    EXPECT_TRUE(serves("Party")) << folder.read("application.log");
    EXPECT_EQ(first.quit(), 0);
}

TEST_F(SecondStart, OnALibraryOfItsOwnIsAnInstanceOfItsOwn) {
    LiveApplication first(folder, {file("Trip")});
    ASSERT_TRUE(first.waitForProject());
    const TempFolder elsewhere;
    LiveApplication other(elsewhere, {file("Party")});
    ASSERT_TRUE(other.waitForProject()) << elsewhere.read("application.log");
    EXPECT_EQ(projects(), std::vector<std::string>{"Trip"});
    // One that is reached by a link is the same.
    const TempFolder links;
    std::filesystem::create_directory_symlink(folder.path("Kelvane"), links.path("Kelvane"));
    expectHandedOver(again({file("Work")}, "/", links.path()));
    EXPECT_TRUE(serves("Work"));
    EXPECT_EQ(first.quit(), 0);
    EXPECT_EQ(other.quit(), 0);
}

TEST_F(SecondStart, ByAProjectsOpenCommandReachesTheFirstOnADesktopThatKnowsTheProgram) {
    for (const char* tool : {"/usr/bin/open", "/usr/bin/update-desktop-database"})
        if (!fileExists(tool)) GTEST_SKIP() << tool << " is not installed";
    const std::string home = "XDG_DATA_HOME=" + folder.path();
    const auto registered =
        runProcess({"env", home, KELVANE_SOURCE_FOLDER "/Tools/register-desktop", KELVANE_EXECUTABLE});
    ASSERT_EQ(registered.status, 0) << registered.errors;
    LiveApplication first(folder, {file("Trip")});
    ASSERT_TRUE(first.waitForProject());
    const auto trip = first.project();
    const auto command = first.result({"project"}).value("openCommand", "");
    expectHandedOver(again({file("Party")}));
    ASSERT_TRUE(serves("Party"));
    ASSERT_TRUE(eventually([&] { return first.command({"project"}).status != 0; })) << "its window shows the other one";
    // A desktop without a program of its own for opening. The display only has to be said: nothing is shown on it.
    const auto opened =
        runProcess({"env", "-u", "XDG_CURRENT_DESKTOP", "-u", "DESKTOP_SESSION", "-u", "WAYLAND_DISPLAY", "-u",
                    "QT_QPA_PLATFORM", home, "XDG_CONFIG_HOME=" + folder.path("config"), "XDG_DATA_DIRS=/usr/share",
                    "DISPLAY=:4242", "BROWSER=false", "sh", "-c", command});
    EXPECT_EQ(opened.status, 0) << opened.errors;
    EXPECT_TRUE(eventually([&] { return first.command({"project"}).status == 0; })) << folder.read("application.log");
    EXPECT_EQ(first.quit(), 0);
}

TEST_F(SecondStart, NeedsNoDisplayToHandOver) {
    LiveApplication first(folder, {file("Trip")});
    ASSERT_TRUE(first.waitForProject());
    expectHandedOver(runProcess({"env", "-u", "QT_QPA_PLATFORM", "-u", "DISPLAY", "-u", "WAYLAND_DISPLAY",
                                 "XDG_DATA_HOME=" + folder.path(), KELVANE_EXECUTABLE, file("Party")}));
    EXPECT_TRUE(serves("Party"));
    EXPECT_EQ(first.quit(), 0);
}

TEST(SessionBus, ThatDiesEndsAndBlocksNothing) {
    if (!PrivateBus::isInstalled()) GTEST_SKIP() << "dbus-daemon is not installed";
    const TempFolder folder;
    PrivateBus bus;
    const auto file = folder.write("Trip.kelvane", "{\"clips\":[],\"version\":1}");
    const std::vector<std::string> surroundings{"QT_QPA_PLATFORM=offscreen",
                                                "DBUS_SESSION_BUS_ADDRESS=" + bus.address()};
    LiveApplication app(folder, {file.path()}, surroundings);
    ASSERT_TRUE(app.waitForProject()) << folder.read("application.log");
    bus.kill();
    const auto revision = app.revision();
    EXPECT_EQ(app.result({"rename", "--revision", revision, "--name", "Holiday"}).value("name", ""), "Holiday");
    EXPECT_EQ(app.quit(), 0);
    // One that is dead from the start.
    LiveApplication next(folder, {"kelvane://project/" + app.project()}, surroundings);
    ASSERT_TRUE(next.waitForProject()) << folder.read("application.log");
    EXPECT_EQ(next.quit(), 0);
}

}  // namespace
}  // namespace kelvane::testing
