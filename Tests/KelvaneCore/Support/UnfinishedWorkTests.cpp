#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <future>

#include "Support/AtomicFile.h"
#include "Support/Gate.h"
#include "Support/TempFolder.h"
#include "Support/UnfinishedWork.h"

namespace {

/// A disk on which a test lets no sync end until it says so.
kelvane::testing::Gate disk;

}  // namespace

/// Stands in for the system's in this program.
extern "C" int fsync(int file) {
    (void)disk.pass({});
    return static_cast<int>(syscall(SYS_fsync, file));
}

namespace kelvane {
namespace {

using namespace std::chrono_literals;
using testing::TempFolder;
using Kind = UnfinishedThing::Kind;

/// Far longer than any healthy machine needs; waited for in full only where the test fails.
constexpr auto patience = 10s;

/// A record with one entry, on a disk that is slow from now on.
class SlowDisk : public ::testing::Test {
protected:
    SlowDisk() {
        kept = work.begin({Kind::exportFile, folder.url("kept.mp4")});
        disk.close();
    }
    ~SlowDisk() override { disk.open(); }
    std::future<UnfinishedWork::Ticket> beginInBackground(const std::string& name) {
        return std::async(std::launch::async,
                          [this, name] { return work.begin({Kind::exportFile, folder.url(name)}); });
    }
    [[nodiscard]] std::string record() const {
        return folder.read("Unfinished/" + folderEntries(folder.path("Unfinished")).front());
    }

    TempFolder folder;
    UnfinishedWork work{folder.path("Unfinished")};
    UnfinishedWork::Ticket kept = 0;
};

TEST_F(SlowDisk, KeepsNobodyWhoHasNothingToWithdraw) {
    auto beginning = beginInBackground("a.mp4");
    ASSERT_TRUE(disk.waitForArrivals());
    auto ending = std::async(std::launch::async, [this] {
        work.end({});
        work.end({0, 0});
    });
    EXPECT_EQ(ending.wait_for(patience), std::future_status::ready);
    disk.open();
    EXPECT_NE(beginning.get(), 0u);
}

TEST_F(SlowDisk, SyncsSeveralEntriesAtOnce) {
    auto first = beginInBackground("a.mp4");
    auto second = beginInBackground("b.mp4");
    EXPECT_TRUE(disk.waitForArrivals(2)) << "none waits for the sync of another";
    auto ending = std::async(std::launch::async, [this] { work.end({kept}); });
    EXPECT_TRUE(disk.waitForArrivals(3));
    const std::string written = record();
    for (const char* text : {"a.mp4\n", "b.mp4\n", "\n- 1\n"}) EXPECT_TRUE(written.contains(text)) << text;
    // Nobody is told of an entry before it is on disk.
    EXPECT_EQ(first.wait_for(0s), std::future_status::timeout);
    EXPECT_EQ(second.wait_for(0s), std::future_status::timeout);
    disk.open();
    EXPECT_NE(first.get(), second.get());
    ending.get();
}

}  // namespace
}  // namespace kelvane
