#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "Support/AtomicFile.h"
#include "Support/LiveFile.h"
#include "Support/TempFolder.h"
#include "Support/UnfinishedWork.h"

namespace kelvane {
namespace {

using testing::TempFolder;
using Names = std::vector<std::string>;

TEST(LiveFile, IsAbandonedOnceItIsClosed) {
    const TempFolder folder;
    const std::string path = folder.path("file");
    {
        const auto file = FileDescriptor::open(path, O_WRONLY | O_CREAT | O_EXCL, 0600);
        ASSERT_TRUE(holdWhileOpen(file, path));
        EXPECT_FALSE(takeAbandoned(path, S_IFREG).isOpen());
    }
    EXPECT_TRUE(takeAbandoned(path, S_IFREG).isOpen());
}

TEST(LiveFile, CanBeAFolder) {
    const TempFolder folder;
    const std::string path = folder.makeFolder("folder").path();
    {
        const auto held = FileDescriptor::open(path, O_RDONLY | O_DIRECTORY);
        ASSERT_TRUE(holdWhileOpen(held, path));
        EXPECT_FALSE(takeAbandoned(path, S_IFDIR).isOpen());
    }
    EXPECT_TRUE(takeAbandoned(path, S_IFDIR).isOpen());
    EXPECT_FALSE(takeAbandoned(path, S_IFREG).isOpen());
}

TEST(LiveFile, IsTakenByOneSweepOnly) {
    const TempFolder folder;
    folder.write("file");
    const auto first = takeAbandoned(folder.path("file"), S_IFREG);
    EXPECT_TRUE(first.isOpen());
    EXPECT_FALSE(takeAbandoned(folder.path("file"), S_IFREG).isOpen());
}

TEST(LiveFile, IsMadeAnewWhereASweepWasFaster) {
    const TempFolder folder;
    const std::string path = folder.path("file");
    const auto file = FileDescriptor::open(path, O_WRONLY | O_CREAT | O_EXCL, 0600);
    {
        const auto sweep = takeAbandoned(path, S_IFREG);
        ASSERT_TRUE(sweep.isOpen());
        EXPECT_FALSE(holdWhileOpen(file, path));
        unlink(path.c_str());
    }
    EXPECT_FALSE(holdWhileOpen(file, path));
}

TEST(LiveFile, IsNoLinkAndNobodyElses) {
    const TempFolder folder;
    folder.write("file");
    std::filesystem::create_symlink("file", folder.path("link"));
    mkfifo(folder.path("pipe").c_str(), 0600);
    EXPECT_FALSE(takeAbandoned(folder.path("link"), S_IFREG).isOpen());
    EXPECT_FALSE(takeAbandoned(folder.path("pipe"), S_IFREG).isOpen());
    EXPECT_FALSE(takeAbandoned(folder.path("none"), S_IFREG).isOpen());
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    ASSERT_EQ(chown(folder.path("file").c_str(), 65534, 65534), 0);
    EXPECT_FALSE(takeAbandoned(folder.path("file"), S_IFREG).isOpen());
}

TEST(HalfWrittenFiles, OfLivingWritersOutlastSweepsBesideThem) {
    const TempFolder folder;
    std::atomic<bool> isOver = false;
    std::thread sweeper([&] {
        while (!isOver) removeHalfWrittenFiles(folder.path());
    });
    for (int round = 0; round < 200; ++round) {
        const auto written = writeFileAtomically(folder.path("file"), std::to_string(round));
        EXPECT_TRUE(written) << written.error().message;
        EXPECT_EQ(folder.read("file"), std::to_string(round));
    }
    isOver = true;
    sweeper.join();
    EXPECT_EQ(folder.entries(), Names{"file"});
}

TEST(UnfinishedWork, OfSeveralThreadsAndSweepsBesideThemStaysWhole) {
    const TempFolder folder;
    std::atomic<bool> isOver = false;
    std::atomic<int> settled = 0;
    std::thread sweeper([&] {
        while (!isOver)
            UnfinishedWork::settleAbandoned(folder.path("Unfinished"), [&](const UnfinishedThing&) {
                ++settled;
                return true;
            });
    });
    const auto work = [&](int thread) {
        for (int round = 0; round < 10; ++round) {
            UnfinishedWork record(folder.path("Unfinished"));
            for (int entry = 0; entry < 3; ++entry) {
                const auto ticket =
                    record.begin({UnfinishedThing::Kind::exportFile, folder.url(std::to_string(thread))});
                EXPECT_NE(ticket, 0u);
                record.end({ticket});
            }
        }
    };
    std::thread first(work, 1);
    std::thread second(work, 2);
    first.join();
    second.join();
    isOver = true;
    sweeper.join();
    EXPECT_EQ(settled, 0);
    EXPECT_EQ(folder.entries(), Names{"Unfinished"});
}

TEST(UnfinishedWork, KeepsItsRecordShort) {
    const TempFolder folder;
    UnfinishedWork work(folder.path("Unfinished"));
    EXPECT_FALSE(folder.exists("Unfinished"));
    const UnfinishedThing thing{UnfinishedThing::Kind::exportFile, FileURL::fromPath("/out/ü #1%\n.mov")};
    const auto first = work.begin(thing);
    const auto second = work.begin(thing);
    const std::string record = "Unfinished/" + folderEntries(folder.path("Unfinished")).front();
    const std::string line = " export file:///out/%C3%BC%20%231%25%0A.mov\n";
    EXPECT_EQ(folder.read(record), "+ 1" + line + "+ 2" + line);
    work.end({first, 0, first});
    EXPECT_EQ(folder.read(record), "+ 1" + line + "+ 2" + line + "- 1\n");
    work.retire();
    EXPECT_TRUE(folder.exists(record));
    work.end({second});
    EXPECT_EQ(folder.read(record), "");
    work.retire();
    EXPECT_FALSE(folder.exists(record));
    EXPECT_EQ(work.begin(thing), 3u);
}

TEST(UnfinishedWork, GoesOnWhereNothingCanBeRecorded) {
    const TempFolder folder;
    folder.write("file");
    UnfinishedWork work(folder.path("file"));
    EXPECT_EQ(work.begin({UnfinishedThing::Kind::exportFile, folder.url("a.mov")}), 0u);
    work.end({0});
    work.retire();
    EXPECT_EQ(folder.entries(), Names{"file"});
}

}  // namespace
}  // namespace kelvane
