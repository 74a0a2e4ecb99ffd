#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <thread>

#include "Footage.h"
#include "LiveApplication.h"
#include "Storage/ProjectFile.h"
#include "Support/FileDescriptor.h"
#include "Support/Patience.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;

/// Counts what happens to the files of a folder: made, written, closed, renamed, removed.
class FolderChanges {
public:
    explicit FolderChanges(const std::string& folder) : queue_(inotify_init1(IN_CLOEXEC)) {
        constexpr auto kinds = IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE;
        EXPECT_GE(inotify_add_watch(queue_.get(), folder.c_str(), kinds), 0) << folder;
    }
    /// Waits until there were this many; false after a time that no healthy machine needs.
    [[nodiscard]] bool waitFor(int count) const {
        int seen = 0;
        while (seen < count) {
            pollfd waiting{queue_.get(), POLLIN, 0};
            if (poll(&waiting, 1, static_cast<int>(patience.count())) <= 0) return false;
            alignas(inotify_event) char events[4096];
            const ssize_t size = read(queue_.get(), events, sizeof events);
            for (ssize_t at = 0; at < size; ++seen)
                at += static_cast<ssize_t>(sizeof(inotify_event) + reinterpret_cast<inotify_event*>(events + at)->len);
        }
        return true;
    }

private:
    FileDescriptor queue_;
};

/// The real application on a new, empty project, with one clip of footage in its folder.
class LiveTests : public ::testing::Test {
protected:
    void start(const std::string& argument = {}) {
        folder.write("First Film.kelvane", "{\"clips\":[],\"version\":1}");
        app = std::make_unique<LiveApplication>(
            folder, std::vector<std::string>{argument.empty() ? folder.path("First Film.kelvane") : argument});
        ASSERT_TRUE(app->waitForProject()) << folder.read("application.log");
    }
    /// Imports files and gives the assets' ids.
    std::vector<std::string> import(const std::vector<std::string>& paths) {
        const auto state = app->result({"import", "--revision", app->revision(), "--json", json(paths).dump()});
        return state.value("imported", std::vector<std::string>());
    }
    /// The document, once it has saved itself with this many clips and assets.
    Project saved(std::size_t clips, std::size_t assets) {
        Project project{.version = 1, .clips = {}, .assets = std::vector<Clip>(), .mediaRoot = std::nullopt};
        const bool isSaved = eventually([&] {
            const auto read = ProjectFile::read(app->projectFile());
            if (read) project = *read;
            return read && read->clips.size() == clips && read->assets->size() == assets;
        });
        EXPECT_TRUE(isSaved) << "the project did not save itself";
        return project;
    }
    json setTimeline(const json& entries) {
        return app->result({"timeline", "--revision", app->revision(), "--json", entries.dump()});
    }

    TempFolder folder;
    std::unique_ptr<LiveApplication> app;
};

TEST_F(LiveTests, AnEditBecomesAMovieWhoseFramesAreThoseOfTheTimeline) {
    start();
    const auto wide =
        makeFootage(folder, "Wide.mp4", {.size = "640x360", .base = 20, .cb = 100, .tone = 440, .seconds = 3});
    const auto tall =
        makeFootage(folder, "Tall.mp4", {.size = "360x640", .base = 24, .cb = 150, .tone = 880, .seconds = 2});
    const auto music = makeTone(folder, "Music.wav", 3000, 2);
    const auto assets = import({wide, tall, music});
    ASSERT_EQ(assets.size(), 3u);
    // The overlay outlasts the picture by 0.7 s.
    const auto state =
        setTimeline({{{"assetID", assets[0]}, {"start", 1}, {"end", 2}},
                     {{"assetID", assets[1]}, {"start", 0}, {"end", 0.5}, {"zoom", 2}, {"horizontal", 1}},
                     {{"assetID", assets[0]}, {"start", 0}, {"end", 0.3}, {"volume", 0}},
                     {{"assetID", assets[2]}, {"start", 0}, {"end", 1.5}, {"timelineStart", 1}}});
    ASSERT_EQ(state.value("duration", 0.0), 2.5);
    const auto movie = folder.path("Film.mov");
    const auto reply = app->result(
        {"export", "--revision", state.value("revision", ""), "--path", movie, "--resolution", "720p", "--fps", "30"});
    EXPECT_EQ(reply, (json{{"path", movie}, {"revision", state.value("revision", "")}, {"stale", false}}));

    std::vector<std::pair<int, int>> wanted;
    for (int n = 30; n < 60; ++n) wanted.emplace_back(20 + 8 * (n % 24), 100);
    for (int n = 0; n < 15; ++n) wanted.emplace_back(24 + 8 * (n % 24), 150);
    for (int n = 0; n < 9; ++n) wanted.emplace_back(20 + 8 * (n % 24), 100);
    wanted.resize(75, {16, 128});
    const auto shown = middles(movie);
    ASSERT_EQ(shown.size(), wanted.size());
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        EXPECT_NEAR(shown[i].first, wanted[i].first, 3) << "luma of frame " << i;
        EXPECT_NEAR(shown[i].second, wanted[i].second, 3) << "chroma of frame " << i;
    }
    EXPECT_EQ(app->quit(), 0);
}

TEST_F(LiveTests, ARelativePathAmongOtherArgumentsOpensThatProject) {
    folder.write("Trip.kelvane", "{\"clips\":[],\"version\":1}");
    const auto back = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    app = std::make_unique<LiveApplication>(folder, std::vector<std::string>{"--verbose", "Trip.kelvane", "film.mp4"});
    std::filesystem::current_path(back);
    ASSERT_TRUE(app->waitForProject()) << folder.read("application.log");
    EXPECT_EQ(app->result({"project"}).value("name", ""), "Trip");
    const auto project = app->project();
    ASSERT_EQ(app->quit(), 0);
    // A link to it opens the same project again.
    LiveApplication again(folder, {"kelvane://project/" + project});
    ASSERT_TRUE(again.waitForProject()) << folder.read("application.log");
    EXPECT_EQ(again.project(), project);
    EXPECT_EQ(again.quit(), 0);
}

TEST_F(LiveTests, ATermSignalSavesAnEditThatHadNotSavedItself) {
    start();
    const auto assets = import({makeFootage(folder, "A.mp4", {})});
    setTimeline({{{"assetID", assets.at(0)}, {"start", 0}, {"end", 1}}});
    EXPECT_EQ(app->quit(), 0);
    const auto saved = ProjectFile::read(app->projectFile());
    ASSERT_TRUE(saved) << saved.error().message;
    EXPECT_EQ(saved->clips.size(), 1u);
    EXPECT_EQ(app->refusal({"project"}),
              "This Kelvane project is not connected. Reopen the project in Kelvane, then retry the command.");
}

TEST_F(LiveTests, AnEditSavesItselfWithoutAQuit) {
    start();
    const auto assets = import({makeFootage(folder, "A.mp4", {})});
    setTimeline({{{"assetID", assets.at(0)}, {"start", 0}, {"end", 1}}});
    EXPECT_EQ(saved(1, 1).clips.front().end, 1);
}

TEST_F(LiveTests, AnExportKeepsWritersAndQuittingOutAndReadersIn) {
    start();
    const auto assets = import({makeFootage(folder, "A.mp4", {.size = "1280x720", .seconds = 3})});
    json clips = json::array();
    for (int i = 0; i < 5; ++i) clips.push_back({{"assetID", assets.at(0)}, {"start", 0}, {"end", 3}});
    const auto revision = setTimeline(clips).value("revision", "");
    const auto movie = folder.path("long.mp4");
    ProcessResult exported;
    std::thread exporter(
        [&] { exported = app->command({"export", "--revision", revision, "--path", movie, "--resolution", "1080p"}); });
    EXPECT_TRUE(eventually([&] { return app->result({"project"}).value("busy", false); }));
    EXPECT_EQ(app->refusal({"rename", "--revision", revision, "--name", "B"}),
              "Kelvane is busy. Finish importing, exporting or the current timeline interaction.");
    EXPECT_EQ(app->refusal({"undo", "--revision", "old"}),
              "Kelvane is busy. Finish importing, exporting or the current timeline interaction.");
    app->signal(SIGTERM);
    EXPECT_TRUE(app->tells("kelvane: Not quitting: “First Film” is being exported.\n"));
    exporter.join();
    EXPECT_EQ(exported.status, 0) << exported.output << exported.errors;
    EXPECT_EQ(app->result({"project"}).value("busy", true), false);
    EXPECT_EQ(app->refusal({"export", "--revision", revision, "--path", movie}), "Output exists; use --overwrite.");
    EXPECT_EQ(app->quit(), 0);
}

TEST_F(LiveTests, ADocumentIsWholeWheneverTheApplicationIsKilled) {
    const auto source = makeFootage(folder, "A.mp4", {.seconds = 1});
    start();
    const auto asset = import({source}).at(0);
    saved(0, 1);
    for (int round = 0; round < 6; ++round) {
        const auto before = app->result({"project"});
        json clips = json::array();
        for (int i = 0; i <= round * 50; ++i) clips.push_back({{"assetID", asset}, {"start", 0}, {"end", 0.5}});
        const FolderChanges changes(app->projectFile().parentFolder().path());
        setTimeline(clips);
        // Before anything is written, and a step farther into the saving of the change each time.
        EXPECT_TRUE(changes.waitFor(round));
        app->signal(SIGKILL);
        ASSERT_TRUE(app->wait());
        const auto kept = ProjectFile::read(app->projectFile());
        ASSERT_TRUE(kept) << kept.error().message;
        EXPECT_TRUE(kept->clips.size() == clips.size() || kept->clips.size() == before["timeline"].size())
            << kept->clips.size();
        const auto project = app->project();
        app = std::make_unique<LiveApplication>(folder, std::vector<std::string>{"kelvane://project/" + project});
        ASSERT_TRUE(app->waitForProject())
            << "the dead instance's record and lock don't stand in the way: " << folder.read("application.log");
    }
}

TEST_F(LiveTests, AnInstanceWithACopyOfTheLibraryIsToldAndGoesOn) {
    start();
    // One with the same library would be the same instance.
    const TempFolder copy;
    std::filesystem::copy(folder.path("Kelvane"), copy.path("Kelvane"), std::filesystem::copy_options::recursive);
    LiveApplication second(copy, {"kelvane://project/" + app->project(), "kelvane://project/not-an-id"});
    EXPECT_TRUE(second.tells("kelvane: This project is already connected in another Kelvane instance.\n"));
    EXPECT_TRUE(second.isRunning());
    EXPECT_EQ(second.quit(), 0) << "the alert neither ended nor blocked it";
    EXPECT_EQ(app->result({"project"}).value("name", ""), "First Film") << "the first one still serves";
}

TEST_F(LiveTests, AMissingSourceStopsEditsUntilItsClipGoes) {
    start();
    const auto assets = import({makeFootage(folder, "A.mp4", {}), makeFootage(folder, "B.mp4", {.tone = 880})});
    const auto state = setTimeline(
        {{{"assetID", assets.at(0)}, {"start", 0}, {"end", 1}}, {{"assetID", assets.at(1)}, {"start", 0}, {"end", 1}}});
    const auto project = saved(2, 2);
    const auto gone = std::ranges::find_if(*project.assets, [](const Clip& asset) { return asset.name() == "B"; });
    ASSERT_NE(gone, project.assets->end());
    std::filesystem::remove(gone->url.path());
    const auto& clips = state["timeline"];
    EXPECT_EQ(app->refusal({"clip", "--revision", state.value("revision", ""), "--id", clips[0].value("clipID", ""),
                            "--volume", "0.5"}),
              "Source missing: B. Restore the original video.");
    const auto without = app->result(
        {"remove", "--revision", state.value("revision", ""), "--id", clips[1].value("clipID", ""), "--compact"});
    EXPECT_EQ(without["timeline"].size(), 1u);
}

TEST_F(LiveTests, AClientThatGoesAwayLeavesItsEditStanding) {
    start();
    const auto assets = import({makeFootage(folder, "A.mp4", {})});
    const auto before = app->revision();
    const auto request = json{{"command", "timeline"},
                              {"options",
                               {{"revision", before},
                                {"json", json::array({{{"assetID", assets.at(0)}, {"start", 0}, {"end", 1}}}).dump()}}}}
                             .dump();
    // The record names the socket; a bare peer sends one line and leaves.
    std::ifstream record("/tmp/kelvane-connections-" + std::to_string(getuid()) + "/" + app->project() + ".json");
    const auto endpoint = json::parse(record);
    const auto sent =
        runProcess({"bash", "-c", "exec socat -u - UNIX-CONNECT:" + endpoint.value("socketPath", "")}, request + "\n");
    if (sent.status == 127) GTEST_SKIP() << "socat is not installed";
    EXPECT_TRUE(eventually([&] { return app->result({"project"})["timeline"].size() == 1; }));
}

TEST_F(LiveTests, AnUnreadableImportSaysWhichFileAndChangesNothing) {
    start();
    const auto before = app->revision();
    folder.write("notes.mp4", "These are no pictures.");
    const auto good = makeFootage(folder, "A.mp4", {});
    const auto refused =
        app->refusal({"import", "--revision", before, "--json", json{good, folder.path("notes.mp4")}.dump()});
    EXPECT_NE(refused.find("notes.mp4"), std::string::npos) << refused;
    EXPECT_EQ(app->revision(), before);
    const auto media = app->projectFile().parentFolder().path() + "/Media";
    EXPECT_TRUE(!std::filesystem::exists(media) || std::filesystem::is_empty(media)) << "copies were left behind";
}

TEST_F(LiveTests, AnExportNeverReplacesSourcesAndSaysWhenItsFolderIsMissing) {
    start();
    const auto source = makeFootage(folder, "A.mp4", {});
    const auto assets = import({source});
    const auto revision = setTimeline({{{"assetID", assets.at(0)}, {"start", 0}, {"end", 0.5}}}).value("revision", "");
    const auto project = saved(1, 1);
    ASSERT_EQ(project.assets->size(), 1u);
    const auto copy = project.assets->front().url.path();
    std::filesystem::create_symlink(copy, folder.path("link.mp4"));
    for (const auto& path : {copy, folder.path("link.mp4")}) {
        EXPECT_EQ(app->refusal({"export", "--revision", revision, "--path", path, "--overwrite"}),
                  "Output cannot replace project or source media.");
    }
    const auto lost = app->refusal({"export", "--revision", revision, "--path", folder.path("no folder/x.mp4")});
    EXPECT_NE(lost.find("no folder"), std::string::npos) << lost;
    // A folder of the system's that takes no files, not even from its owner: what is named is the file asked for.
    const auto refused = app->refusal({"export", "--revision", revision, "--path", "/proc/film.mp4"});
    EXPECT_NE(refused.find("“film.mp4”"), std::string::npos) << refused;
    // More than the source has.
    EXPECT_EQ(app->refusal({"export", "--revision", revision, "--path", folder.path("x.mp4"), "--resolution", "4k"}),
              "4K requires enough source resolution in every video clip after crop and zoom.");
    EXPECT_FALSE(folder.exists("x.mp4"));
    EXPECT_EQ(app->result({"project"}).value("busy", true), false);
}

}  // namespace
}  // namespace kelvane::testing
