#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "CLI/CLIProjectDiscovery.h"
#include "CLI/CLISweep.h"
#include "CLI/LocalCLIConnection.h"
#include "Support/AtomicFile.h"
#include "Support/KilledProcess.h"
#include "Support/LiveFile.h"
#include "Support/TempFolder.h"

namespace kelvane {
namespace {

using testing::ChildEnd;
using testing::killAtFileOperation;
using Names = std::vector<std::string>;

const UUID projectID = *UUID::parse("8c1f2e4a-0b3d-4c5e-9f60-718293a4b5c6");
const std::string folderName = "kelvane-00000000-0000-4000-8000-00000000000A";

/// A registry and a folder for the folders of sockets.
class DeadServers : public ::testing::Test {
protected:
    /// A folder as a server makes it.
    std::string makeFolder(const std::string& name, mode_t mode = 0700) const {
        const std::string path = folder.path("sockets/" + name);
        std::filesystem::create_directories(path);
        EXPECT_EQ(chmod(path.c_str(), mode), 0);
        return path;
    }
    /// A socket at `path`, which listens for as long as the descriptor is open.
    static FileDescriptor listenAt(const std::string& path) {
        FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.data(), path.size());
        EXPECT_EQ(bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << path;
        EXPECT_EQ(listen(socket.get(), 1), 0);
        return socket;
    }
    static FileDescriptor hold(const std::string& path) {
        FileDescriptor held = FileDescriptor::open(path, O_RDONLY | O_DIRECTORY);
        EXPECT_TRUE(holdWhileOpen(held, path));
        return held;
    }
    void sweep() const { sweepDeadServers(registry, folder.path("sockets")); }
    Names entriesOf(const std::string& path) const {
        Names names = folderEntries(path);
        std::ranges::sort(names);
        return names;
    }
    Names sockets() const { return entriesOf(folder.path("sockets")); }
    Names records() const { return entriesOf(registry); }
    auto start(const std::string& socketPath) const {
        return CLIProjectDiscovery::start(projectID, socketPath, registry);
    }

    testing::TempFolder folder;
    std::string registry = folder.path("registry");
    std::string record = projectID.upper() + ".json";
    std::string lock = projectID.upper() + ".lock";
};

TEST_F(DeadServers, OfNobodyAreNothingToSweep) {
    sweep();
    EXPECT_TRUE(folder.entries().empty());
}

TEST_F(DeadServers, LoseTheirSocketFolders) {
    const std::string place = makeFolder(folderName);
    {
        const auto server = listenAt(place + "/control.sock");
    }
    makeFolder("kelvane-00000000-0000-4000-8000-00000000000B");
    sweep();
    EXPECT_EQ(sockets(), Names{});
}

TEST_F(DeadServers, AreNotThoseThatHoldTheirFolderOrAnswer) {
    const std::string held = makeFolder(folderName);
    const auto holder = hold(held);
    const std::string open = makeFolder("kelvane-00000000-0000-4000-8000-00000000000B");
    const auto server = listenAt(open + "/control.sock");
    sweep();
    EXPECT_EQ(sockets().size(), 2u);
    EXPECT_TRUE(std::filesystem::exists(open + "/control.sock"));
    // The one that holds its folder wasn't asked.
    EXPECT_FALSE(std::filesystem::exists(held + "/control.sock"));
}

TEST_F(DeadServers, MadeNothingOfOtherNamesModesAndContents) {
    makeFolder("kelvane-notes");
    makeFolder("kelvane-00000000-0000-4000-8000-00000000000a");
    makeFolder("kelvane-00000000-0000-4000-8000-00000000000C", 0755);
    folder.write("sockets/" + folderName + "/notes.txt");
    chmod(folder.path("sockets/" + folderName).c_str(), 0700);
    folder.write("sockets/kelvane-00000000-0000-4000-8000-00000000000D", "a file");
    folder.makeFolder("elsewhere");
    std::filesystem::create_symlink(folder.path("elsewhere"),
                                    folder.path("sockets/kelvane-00000000-0000-4000-8000-00000000000E"));
    const Names before = folder.entries();
    sweep();
    EXPECT_EQ(folder.entries(), before);
}

TEST_F(DeadServers, OfAnotherUserAreLeftAlone) {
    if (getuid() != 0) GTEST_SKIP() << "only root can give a folder away";
    ASSERT_EQ(chown(makeFolder(folderName).c_str(), 65534, 65534), 0);
    sweep();
    EXPECT_EQ(sockets(), Names{folderName});
}

TEST_F(DeadServers, LoseTheirRecordAndItsLock) {
    const std::string place = makeFolder(folderName);
    const auto ended = killAtFileOperation(1 << 30, [&]() -> bool {
        const auto discovery = start(place + "/control.sock");
        _exit(discovery ? 0 : 1);
    });
    if (ended == ChildEnd::notPermitted) GTEST_SKIP() << "no process can be watched here";
    ASSERT_EQ(records(), (Names{record, lock}));
    sweep();
    EXPECT_EQ(records(), Names{});
    EXPECT_EQ(sockets(), Names{});
}

TEST_F(DeadServers, LoseRecordsThatNameNothing) {
    ASSERT_EQ(mkdir(registry.c_str(), 0700), 0);
    folder.write("registry/" + record, "no record");
    folder.write("registry/00000000-0000-4000-8000-00000000000F.json",
                 R"({"projectID":"00000000-0000-4000-8000-00000000000F","socketPath":"/tmp/none/control.sock"})");
    sweep();
    EXPECT_EQ(records(), Names{});
}

TEST_F(DeadServers, AreNotThoseWhoseLockIsHeld) {
    const auto discovery = start(folder.path("sockets/gone/control.sock"));
    ASSERT_TRUE(discovery);
    sweep();
    EXPECT_EQ(records(), (Names{record, lock}));
}

TEST_F(DeadServers, AreNotThoseWhoseSocketAnswersWithoutALock) {
    const std::string place = makeFolder(folderName);
    const auto server = listenAt(place + "/control.sock");
    {
        auto discovery = start(place + "/control.sock");
        ASSERT_TRUE(discovery);
        std::filesystem::copy_file(registry + "/" + record, folder.path("copy"));
    }
    std::filesystem::copy_file(folder.path("copy"), registry + "/" + record);
    sweep();
    EXPECT_EQ(records(), (Names{record, lock}));
}

TEST_F(DeadServers, LeaveTheLockOfAProjectThatWasClosed) {
    {
        const auto discovery = start(folder.path("sockets/gone/control.sock"));
    }
    EXPECT_EQ(records(), Names{lock});
    sweep();
    EXPECT_EQ(records(), Names{lock});
}

TEST_F(DeadServers, AreSweptInAPrivateRegistryOnly) {
    ASSERT_EQ(mkdir(registry.c_str(), 0755), 0);
    folder.write("registry/" + record, "no record");
    sweep();
    EXPECT_EQ(records(), Names{record});
}

TEST_F(DeadServers, LoseHalfWrittenRecords) {
    ASSERT_EQ(mkdir(registry.c_str(), 0700), 0);
    folder.write("registry/.kelvane-" + projectID.lower(), "half");
    sweep();
    EXPECT_EQ(records(), Names{});
}

TEST_F(DeadServers, DontKeepALivingOneFromServing) {
    ASSERT_EQ(mkdir(registry.c_str(), 0700), 0);
    const std::string dead = R"({"projectID":")" + projectID.upper() + R"(","socketPath":"/tmp/none/control.sock"})";
    const int rounds = 300;
    // One sweep beside each start, as when two applications start at once.
    std::atomic<int> begun = 0;
    std::thread sweeper([&] {
        for (int swept = 0; swept < rounds; ++swept) {
            begun.wait(swept);
            sweep();
        }
    });
    for (int round = 1; round <= rounds; ++round) {
        // Whether it is there then isn't looked at: the sweep of the round before may still be under way.
        std::ofstream(folder.path("registry/" + record), std::ios::binary) << dead;
        begun = round;
        begun.notify_one();
        const auto discovery = start(folder.path("sockets/live/control.sock"));
        EXPECT_TRUE(discovery) << discovery.error().message;
        EXPECT_EQ(CLIProjectDiscovery::publishedSocketPath(projectID, registry),
                  folder.path("sockets/live/control.sock"));
        EXPECT_TRUE(folder.exists("registry/" + lock));
        // A second server is refused as ever.
        EXPECT_FALSE(start("/tmp/second/control.sock"));
    }
    sweeper.join();
}

TEST_F(DeadServers, KilledAtAnyStepLeaveNothingAfterASweep) {
    for (int step = 1;; ++step) {
        SCOPED_TRACE("killed before step " + std::to_string(step));
        const auto ended = killAtFileOperation(step, [&] {
            const auto ignore = [](const std::string&, const LocalCLIConnection::Reply&) {};
            auto connection = LocalCLIConnection::start(ignore, 1, folder.makeFolder("sockets").path());
            if (!connection) return false;
            auto discovery = CLIProjectDiscovery::start(projectID, (*connection)->socketPath(), registry);
            if (!discovery) return false;
            (*discovery)->stop();
            (*connection)->cancel();
            return true;
        });
        if (ended == ChildEnd::notPermitted) GTEST_SKIP() << "no process can be watched here";
        ASSERT_NE(ended, ChildEnd::failed);
        sweep();
        EXPECT_EQ(sockets(), Names{});
        // A lock alone is a closed project's.
        for (const std::string& name : records()) EXPECT_EQ(name, lock);
        if (ended == ChildEnd::done) {
            EXPECT_GT(step, 8);
            return;
        }
    }
}

}  // namespace
}  // namespace kelvane
