#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <new>
#include <optional>
#include <utility>

#include "Support/FileCopy.h"
#include "Support/FileDescriptor.h"
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

/// Where on its device a file of one stretch begins, bytes; nothing where the file system doesn't tell.
std::optional<std::uint64_t> placeOnDevice(const std::string& path) {
    const FileDescriptor file = FileDescriptor::open(path, O_RDONLY);
    alignas(fiemap) std::array<char, sizeof(fiemap) + sizeof(fiemap_extent)> memory{};
    auto* map = new (memory.data()) fiemap{};
    map->fm_length = FIEMAP_MAX_OFFSET;
    map->fm_flags = FIEMAP_FLAG_SYNC;
    map->fm_extent_count = 1;
    if (ioctl(file.get(), FS_IOC_FIEMAP, map) != 0 || map->fm_mapped_extents != 1) return std::nullopt;
    return map->fm_extents[0].fe_physical;
}

TEST(FileCopy, IsByReferenceWhereTheFileSystemCan) {
    const TempFolder folder;
    folder.write("file", noise(8u << 20));
    const FileDescriptor file = FileDescriptor::open(folder.path("file"), O_RDONLY);
    const FileDescriptor probe = FileDescriptor::open(folder.path("probe"), O_RDWR | O_CREAT | O_EXCL, 0600);
    if (ioctl(probe.get(), FICLONE, file.get()) != 0) GTEST_SKIP() << "this file system copies nothing by reference";
    const auto place = placeOnDevice(folder.path("file"));
    ASSERT_TRUE(place);
    EXPECT_EQ(message(copyFile(folder.path("file"), folder.path("copy"))), "(copied)");
    EXPECT_EQ(folder.read("copy"), folder.read("file"));
    EXPECT_EQ(placeOnDevice(folder.path("copy")), place);
    // What is written into the copy later leaves the source as it is.
    const std::string before = folder.read("file");
    std::fstream(folder.path("copy"), std::ios::in | std::ios::out | std::ios::binary) << "changed";
    EXPECT_EQ(folder.read("file"), before);
    EXPECT_NE(folder.read("copy"), before);
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
    folder.write("large", noise(32u << 20));
    std::stop_source stop;
    const auto copied =
        FileCopy::open(folder.path("large"))->copyTo(folder.path("copy"), stop.get_token(), [&](std::int64_t) {
            stop.request_stop();
        });
    if (copied) GTEST_SKIP() << "this file system clones";
    EXPECT_TRUE(copied.error().isCancelled());
    EXPECT_LE(std::filesystem::file_size(folder.path("copy")), 8u << 20);
}

TEST(FileCopy, TellsOfItsProgressInStepsOfMegabytes) {
    const TempFolder folder;
    folder.write("large", noise((17u << 20) + 3));
    std::vector<std::int64_t> told;
    const auto file = FileCopy::open(folder.path("large"));
    EXPECT_EQ(file->size(), (17 << 20) + 3);
    ASSERT_TRUE(file->copyTo(folder.path("copy"), {}, [&](std::int64_t bytes) { told.push_back(bytes); }));
    if (told.empty()) GTEST_SKIP() << "this file system clones";
    std::int64_t last = 0;
    for (const std::int64_t bytes : told) {
        EXPECT_GE(bytes - last, 4 << 20);
        last = bytes;
    }
    EXPECT_GT(last, 12 << 20);
    EXPECT_LE(last, file->size());
}

/// Files of more than 4 GB that hold a few megabytes.
class SparseFile : public ::testing::Test {
protected:
    static constexpr std::int64_t gigabyte = std::int64_t{1} << 30;

    void SetUp() override {
        make("probe", gigabyte, {});
        if (stored("probe") > 1 << 20) GTEST_SKIP() << "this file system has no holes";
    }

    /// A file of `size` bytes that is a hole but for `data` at the offsets.
    void make(const char* name, std::int64_t size, const std::vector<std::int64_t>& offsets) const {
        folder.write(name, "");
        for (const std::int64_t offset : offsets) poke(name, offset);
        std::filesystem::resize_file(folder.path(name), static_cast<std::uintmax_t>(size));
    }
    void poke(const char* name, std::int64_t offset) const {
        std::fstream(folder.path(name), std::ios::in | std::ios::out | std::ios::binary).seekp(offset) << data;
    }
    struct stat status(const std::string& path) const {
        struct stat status{};
        stat(path.c_str(), &status);
        return status;
    }
    /// Bytes that a file takes on the disk.
    std::int64_t stored(const char* name) const { return status(folder.path(name)).st_blocks * 512; }
    /// `count` bytes of a file from `offset` on.
    static std::string bytes(const std::string& path, std::int64_t offset, std::size_t count) {
        std::string read(count, '?');
        std::ifstream file(path, std::ios::binary);
        file.seekg(offset).read(read.data(), static_cast<std::streamsize>(count));
        read.resize(static_cast<std::size_t>(file.gcount()));
        return read;
    }
    void expectSame(const std::string& copy, std::int64_t size, const std::vector<std::int64_t>& offsets) const {
        EXPECT_EQ(status(copy).st_size, size);
        EXPECT_LT(status(copy).st_blocks * 512, 64 << 20) << "holes were filled";
        std::vector<std::int64_t> places = offsets;
        places.insert(places.end(), {0, size / 3, size - 70'000});
        for (const std::int64_t place : places) {
            const std::int64_t from = std::max<std::int64_t>(place - 70'000, 0);
            const std::size_t count = data.size() + 140'000;
            EXPECT_EQ(bytes(copy, from, count), bytes(folder.path("sparse"), from, count)) << "around " << place;
        }
    }

    TempFolder folder;
    const std::string data = noise(5'000'003);
};

TEST_F(SparseFile, KeepsItsHolesAndItsLength) {
    const std::int64_t sizes[] = {5 * gigabyte + 77, 5 * gigabyte};
    const std::vector<std::int64_t> layouts[] = {
        {},
        {0},
        {0, gigabyte + 13, 4 * gigabyte + 4096},
        {2 * gigabyte - 1, 2 * gigabyte + (8 << 20)},
        {5 * gigabyte - static_cast<std::int64_t>(data.size())},
    };
    int number = 0;
    for (const std::int64_t size : sizes) {
        for (const auto& offsets : layouts) {
            make("sparse", size, offsets);
            const std::string copy = folder.path("copy " + std::to_string(++number));
            ASSERT_EQ(message(copyFile(folder.path("sparse"), copy)), "(copied)");
            expectSame(copy, size, offsets);
        }
    }
}

TEST_F(SparseFile, KeepsItsHolesOnAnotherFileSystem) {
    std::string pattern = "/dev/shm/kelvane-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) GTEST_SKIP() << "no second file system";
    const std::vector<std::int64_t> offsets{4096, 4 * gigabyte + 1};
    make("sparse", 5 * gigabyte + 1, offsets);
    EXPECT_EQ(message(copyFile(folder.path("sparse"), pattern + "/there")), "(copied)");
    expectSame(pattern + "/there", 5 * gigabyte + 1, offsets);
    EXPECT_EQ(message(copyFile(pattern + "/there", folder.path("back"))), "(copied)");
    expectSame(folder.path("back"), 5 * gigabyte + 1, offsets);
    std::filesystem::remove_all(pattern);
}

TEST_F(SparseFile, FailsWhenItChangesMeanwhile) {
    const struct {
        const char* what;
        std::function<void(const std::string& path)> change;
    } rows[] = {
        {"grows", [](const std::string& path) { std::filesystem::resize_file(path, 6 * gigabyte); }},
        {"shrinks", [](const std::string& path) { std::filesystem::resize_file(path, gigabyte); }},
        {"is filled", [this](const std::string&) { poke("sparse", gigabyte / 2); }},
        {"is overwritten", [this](const std::string&) { poke("sparse", 1); }},
    };
    for (const auto& row : rows) {
        make("sparse", 5 * gigabyte, {0, 4 * gigabyte});
        // A clock of coarse ticks may give a change in the same tick the same time.
        std::filesystem::last_write_time(folder.path("sparse"),
                                         std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
        const auto file = FileCopy::open(folder.path("sparse"));
        bool changed = false;
        const auto copied = file->copyTo(folder.path("copy"), {}, [&](std::int64_t) {
            if (!std::exchange(changed, true)) row.change(folder.path("sparse"));
        });
        std::filesystem::remove(folder.path("copy"));
        if (!changed) GTEST_SKIP() << "this file system clones";
        EXPECT_EQ(message(copied), "“sparse” changed while it was being copied.") << row.what;
    }
}

}  // namespace
}  // namespace kelvane
