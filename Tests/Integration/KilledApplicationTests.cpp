#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <future>

#include "Footage.h"
#include "LiveApplication.h"
#include "Storage/ProjectFile.h"
#include "Support/AtomicFile.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;
using Names = std::vector<std::string>;

/// The real application, killed amid its work and started again.
class KilledApplication : public ::testing::Test {
protected:
    void start(const std::string& argument) {
        app = std::make_unique<LiveApplication>(folder, Names{argument});
        ASSERT_TRUE(app->waitForProject()) << folder.read("application.log");
    }
    void startFirst() {
        folder.write("First Film.kelvane", "{\"clips\":[],\"version\":1}");
        start(folder.path("First Film.kelvane"));
        if (HasFatalFailure()) return;
        project = app->project();
        registry = "/tmp/kelvane-connections-" + std::to_string(getuid()) + "/" + project;
        std::ifstream record(registry + ".json");
        const std::string socket = json::parse(record, nullptr, false).value("socketPath", "");
        socketFolder = std::filesystem::path(socket).parent_path();
        ASSERT_TRUE(std::filesystem::exists(socketFolder));
    }
    void kill() {
        app->signal(SIGKILL);
        app->wait();
    }
    [[nodiscard]] std::string media() const { return folder.path("Kelvane/Projects/" + project + "/Media"); }
    /// Records of unfinished work that name something.
    [[nodiscard]] std::size_t recordsWithWork() const {
        std::size_t count = 0;
        for (const auto& name : folderEntries(folder.path("Kelvane/Unfinished")))
            if (!folder.read("Kelvane/Unfinished/" + name).empty()) ++count;
        return count;
    }
    /// A sound file of that many megabytes that is no hole.
    std::string makeLongSound(std::uint32_t megabytes) const {
        const std::uint32_t size = megabytes << 20;
        const auto bytes = [](std::uint32_t number) {
            return std::string({static_cast<char>(number), static_cast<char>(number >> 8),
                                static_cast<char>(number >> 16), static_cast<char>(number >> 24)});
        };
        std::string wav = "RIFF" + bytes(size + 36) + "WAVEfmt " + bytes(16) + std::string("\1\0\2\0", 4) +
                          bytes(48'000) + bytes(192'000) + std::string("\4\0\20\0", 4) + "data" + bytes(size);
        wav.append(size, '\1');
        folder.write("Long.wav", wav);
        return folder.path("Long.wav");
    }

    TempFolder folder;
    std::unique_ptr<LiveApplication> app;
    std::string project;
    std::string registry;
    std::filesystem::path socketFolder;
};

TEST_F(KilledApplication, AmidAnImportLeavesNoCopyAfterTheNextStart) {
    startFirst();
    ASSERT_FALSE(HasFatalFailure());
    const std::string kept = makeTone(folder, "Short.wav", 3000, 2);
    app->result({"import", "--revision", app->revision(), "--json", json(Names{kept}).dump()});
    ASSERT_TRUE(eventually([&] {
        const auto document = ProjectFile::read(app->projectFile());
        return document && document->assets->size() == 1;
    }));
    const Names committed = folderEntries(media());
    ASSERT_EQ(committed.size(), 1u);

    const std::string sound = makeLongSound(192);
    const std::string revision = app->revision();
    auto client = std::async(std::launch::async, [&] {
        return app->command({"import", "--revision", revision, "--json", json(Names{sound}).dump()});
    });
    EXPECT_TRUE(eventually([&] { return folderEntries(media()).size() > 1; }));
    kill();
    EXPECT_NE(client.get().status, 0);
    EXPECT_EQ(folderEntries(media()).size(), 2u);
    EXPECT_EQ(recordsWithWork(), 1u);

    start(folder.path("First Film.kelvane"));
    ASSERT_FALSE(HasFatalFailure());
    EXPECT_EQ(app->project(), project);
    EXPECT_TRUE(eventually([&] { return recordsWithWork() == 0; }));
    EXPECT_EQ(folderEntries(media()), committed);
    EXPECT_TRUE(eventually([&] { return !std::filesystem::exists(socketFolder); }));
    // What was there before is as it was, and the import can be done again.
    app->result({"import", "--revision", app->revision(), "--json", json(Names{sound}).dump()});
    EXPECT_EQ(app->result({"project"})["assets"].size(), 2u);
    EXPECT_EQ(folderEntries(media()).size(), 2u);
    EXPECT_EQ(app->quit(), 0);
    EXPECT_EQ(folderEntries(folder.path("Kelvane/Unfinished")), Names{});
}

TEST_F(KilledApplication, AmidAnExportLeavesTheOldFileAfterTheNextStart) {
    startFirst();
    ASSERT_FALSE(HasFatalFailure());
    const auto footage = makeFootage(folder, "Wide.mp4", {.seconds = 10});
    const auto state = app->result({"import", "--revision", app->revision(), "--json", json(Names{footage}).dump()});
    const auto asset = state.value("imported", Names()).at(0);
    json entries = json::array();
    for (int n = 0; n < 30; ++n) entries.push_back({{"assetID", asset}, {"start", 0}, {"end", 10}});
    const auto edited = app->result({"timeline", "--revision", app->revision(), "--json", entries.dump()});
    folder.write("out/Film.mp4", "the old film");
    auto client = std::async(std::launch::async, [&] {
        return app->command({"export", "--revision", edited.value("revision", ""), "--path",
                             folder.path("out/Film.mp4"), "--overwrite"});
    });
    EXPECT_TRUE(eventually([&] { return folderEntries(folder.path("out")).size() > 1; }));
    EXPECT_TRUE(std::filesystem::exists(registry + ".json"));
    EXPECT_TRUE(std::filesystem::exists(socketFolder));
    // From here on any other application of the user that starts may sweep those two.
    kill();
    EXPECT_NE(client.get().status, 0);
    EXPECT_EQ(folderEntries(folder.path("out")).size(), 2u);
    EXPECT_EQ(recordsWithWork(), 1u);

    // This start opens nothing.
    app = std::make_unique<LiveApplication>(folder);
    EXPECT_TRUE(eventually([&] { return folderEntries(folder.path("out")).size() == 1; }));
    EXPECT_EQ(folder.read("out/Film.mp4"), "the old film");
    EXPECT_TRUE(eventually([&] { return recordsWithWork() == 0; }));
    EXPECT_TRUE(eventually([&] { return !std::filesystem::exists(socketFolder); }));
    EXPECT_TRUE(eventually([&] { return !std::filesystem::exists(registry + ".json"); }));
    EXPECT_TRUE(eventually([&] { return !std::filesystem::exists(registry + ".lock"); }));
    EXPECT_EQ(app->quit(), 0);
    EXPECT_EQ(folderEntries(folder.path("Kelvane/Unfinished")), Names{});
}

}  // namespace
}  // namespace kelvane::testing
