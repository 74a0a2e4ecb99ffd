#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "Support/FileCopy.h"
#include "Support/TempFolder.h"

namespace kelvane {
namespace {

using testing::TempFolder;
using Names = std::vector<std::string>;

std::string message(const Result<void>& result) { return result ? "(copied)" : result.error().message; }

Result<void> copyFile(const std::string& source, const std::string& target) {
    const auto copy = FileCopy::open(source);
    return copy ? copy->copyTo(target, {}) : fail(copy.error());
}

/// Bytes that don't repeat within a step of the copy.
std::string noise(std::size_t size) {
    std::string data(size, '\0');
    std::uint64_t state = 1;
    for (char& byte : data) {
        state = state * 6364136223846793005u + 1442695040888963407u;
        byte = static_cast<char>(state >> 56);
    }
    return data;
}

TEST(FileCopy, HoldsTheSameBytes) {
    const TempFolder folder;
    for (const std::size_t size : {0u, 1u, 4096u, (4u << 20) - 1, 4u << 20, (17u << 20) + 3}) {
        const std::string name = std::to_string(size);
        const std::string data = noise(size);
        folder.write(name, data);
        EXPECT_EQ(message(copyFile(folder.path(name), folder.path("copy of " + name))), "(copied)");
        EXPECT_EQ(folder.read("copy of " + name), data);
    }
}

TEST(FileCopy, GoesBetweenFileSystems) {
    std::string pattern = "/dev/shm/kelvane-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) GTEST_SKIP() << "no second file system";
    const TempFolder folder;
    const std::string data = noise(9u << 20);
    folder.write("file", data);
    EXPECT_EQ(message(copyFile(folder.path("file"), pattern + "/there")), "(copied)");
    EXPECT_EQ(message(copyFile(pattern + "/there", folder.path("back"))), "(copied)");
    std::filesystem::remove_all(pattern);
    EXPECT_EQ(folder.read("back"), data);
}

TEST(FileCopy, CanAlwaysBeWrittenByItsOwner) {
    const TempFolder folder;
    folder.write("file");
    chmod(folder.path("file").c_str(), 0444);
    ASSERT_TRUE(copyFile(folder.path("file"), folder.path("copy")));
    struct stat status{};
    stat(folder.path("copy").c_str(), &status);
    EXPECT_EQ(status.st_mode & 0700, 0600u);
}

TEST(FileCopy, RefusesSourcesThatAreNoFiles) {
    const TempFolder folder;
    folder.makeFolder("folder");
    mkfifo(folder.path("pipe").c_str(), 0600);
    std::filesystem::create_symlink("nowhere", folder.path("dangling"));
    const auto sentence = [&](const char* name) { return message(copyFile(folder.path(name), folder.path("copy"))); };
    EXPECT_EQ(sentence("none"), "“none” could not be read: No such file or directory.");
    EXPECT_EQ(sentence("dangling"), "“dangling” could not be read: No such file or directory.");
    EXPECT_EQ(sentence("folder"), "“folder” is a folder, not a file.");
    EXPECT_EQ(sentence("pipe"), "“pipe” is not a regular file.");
    EXPECT_EQ(message(copyFile("/dev/zero", folder.path("copy"))), "“zero” is not a regular file.");
    EXPECT_FALSE(folder.exists("copy"));
}

TEST(FileCopy, NeverReplacesAFile) {
    const TempFolder folder;
    folder.write("file", "new");
    folder.write("there", "old");
    EXPECT_EQ(message(copyFile(folder.path("file"), folder.path("there"))),
              "“there” could not be written: File exists.");
    EXPECT_EQ(folder.read("there"), "old");
}

TEST(FileCopy, FailsWhenTheSourceChangesMeanwhile) {
    const TempFolder folder;
    folder.write("grows", "12345");
    folder.write("shrinks", "12345");
    const auto grows = FileCopy::open(folder.path("grows"));
    const auto shrinks = FileCopy::open(folder.path("shrinks"));
    std::ofstream(folder.path("grows"), std::ios::app) << "6";
    std::filesystem::resize_file(folder.path("shrinks"), 2);
    EXPECT_EQ(message(grows->copyTo(folder.path("1"), {})), "“grows” changed while it was being copied.");
    EXPECT_EQ(message(shrinks->copyTo(folder.path("2"), {})), "“shrinks” changed while it was being copied.");
}

TEST(FileCopy, KeepsToTheFileThatWasOpened) {
    const TempFolder folder;
    folder.write("file", "opened");
    const auto copy = FileCopy::open(folder.path("file"));
    std::filesystem::remove(folder.path("file"));
    folder.write("file", "another");
    EXPECT_EQ(message(copy->copyTo(folder.path("copy"), {})), "(copied)");
    EXPECT_EQ(folder.read("copy"), "opened");
}

TEST(FileCopy, IsNotBegunAfterAStopRequest) {
    const TempFolder folder;
    folder.write("file");
    std::stop_source stop;
    stop.request_stop();
    const auto copied = FileCopy::open(folder.path("file"))->copyTo(folder.path("copy"), stop.get_token());
    ASSERT_FALSE(copied);
    EXPECT_TRUE(copied.error().isCancelled());
    EXPECT_FALSE(folder.exists("copy"));
}

TEST(FileCopy, EndsSoonAfterAStopRequest) {
    const TempFolder folder;
    folder.write("large", "");
    // A hole takes no room, but copying it would take minutes.
    constexpr std::uintmax_t size = std::uintmax_t{64} << 30;
    std::filesystem::resize_file(folder.path("large"), size);
    std::stop_source stop;
    std::jthread watcher([&](const std::stop_token& over) {
        std::error_code ignored;
        while (!over.stop_requested()) {
            const auto copied = std::filesystem::file_size(folder.path("copy"), ignored);
            if (!ignored && copied > 0) {
                stop.request_stop();
                return;
            }
            std::this_thread::yield();
        }
    });
    const auto copied = FileCopy::open(folder.path("large"))->copyTo(folder.path("copy"), stop.get_token());
    watcher.request_stop();
    if (copied) GTEST_SKIP() << "this file system clones";
    EXPECT_TRUE(copied.error().isCancelled());
    EXPECT_LT(std::filesystem::file_size(folder.path("copy")), size / 4);
}

}  // namespace
}  // namespace kelvane
