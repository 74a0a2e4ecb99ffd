#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <future>
#include <sstream>

#include "CLI/CLIProjectDiscovery.h"
#include "Support/FileDescriptor.h"
#include "Support/Patience.h"
#include "Support/TempFolder.h"

namespace kelvane {
namespace {

const UUID projectID = *UUID::parse("8c1f2e4a-0b3d-4c5e-9f60-718293a4b5c6");
const std::string notConnected =
    "This Kelvane project is not connected. Reopen the project in Kelvane, then retry the command.";
const std::string notPrivate = "The Kelvane connection registry is not private.";

std::string messageOf(const auto& result) { return result ? std::string() : result.error().message; }

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void write(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

/// Permission bits of what stands at `path` itself; -1 when nothing does.
int modeOf(const std::string& path) {
    struct stat status{};
    return lstat(path.c_str(), &status) == 0 ? static_cast<int>(status.st_mode & 07777) : -1;
}

class Registry : public ::testing::Test {
protected:
    testing::TempFolder folder_;
    std::string path_ = folder_.path() + "/registry";
    std::string record_ = path_ + "/8C1F2E4A-0B3D-4C5E-9F60-718293A4B5C6.json";
    std::string lock_ = path_ + "/8C1F2E4A-0B3D-4C5E-9F60-718293A4B5C6.lock";

    auto start(const std::string& socketPath = "/tmp/x/control.sock") {
        return CLIProjectDiscovery::start(projectID, socketPath, path_);
    }
    auto lookup() { return CLIProjectDiscovery::publishedSocketPath(projectID, path_); }
};

TEST_F(Registry, StandsUnderTheUsersOwnIdentifier) {
    EXPECT_EQ(CLIProjectDiscovery::registryPath(), "/tmp/kelvane-connections-" + std::to_string(getuid()));
}

TEST_F(Registry, ASweepThatRestsWithTheLockIsWaitedFor) {
    ASSERT_EQ(CLIProjectDiscovery::folder(path_), path_);
    write(lock_, "");
    FileDescriptor sweeping = FileDescriptor::open(lock_, O_RDWR);
    ASSERT_EQ(flock(sweeping.get(), LOCK_SH), 0);
    const FileDescriptor tries(inotify_init1(IN_CLOEXEC));
    ASSERT_GE(inotify_add_watch(tries.get(), lock_.c_str(), IN_OPEN), 0);
    auto started = std::async(std::launch::async, [this] { return start(); });
    // Each try opens the file: as many as take half a second at the least.
    for (int opened = 0; opened < 1'000;) {
        pollfd waiting{tries.get(), POLLIN, 0};
        ASSERT_GT(poll(&waiting, 1, static_cast<int>(testing::patience.count())), 0) << "given up after " << opened;
        alignas(inotify_event) char events[4096];
        // Events of a watched file have no name. Like ones that wait unread are told once.
        opened += static_cast<int>(read(tries.get(), events, sizeof events) / ssize_t{sizeof(inotify_event)});
    }
    sweeping = FileDescriptor();
    const auto discovery = started.get();
    ASSERT_TRUE(discovery) << discovery.error().message;
    EXPECT_EQ(lookup(), "/tmp/x/control.sock");
}

TEST_F(Registry, IsMadePrivateAndFoundAgain) {
    EXPECT_EQ(CLIProjectDiscovery::folder(path_), path_);
    EXPECT_EQ(modeOf(path_), 0700);
    EXPECT_EQ(CLIProjectDiscovery::folder(path_), path_);
}

TEST_F(Registry, IsMadePrivateInAFolderThatHandsItsGroupDown) {
    ASSERT_EQ(chmod(folder_.path().c_str(), 02700), 0);
    EXPECT_EQ(CLIProjectDiscovery::folder(path_), path_);
    EXPECT_EQ(modeOf(path_), 0700);
}

TEST_F(Registry, ThatCannotBeMadeIsSaidSo) {
    EXPECT_EQ(messageOf(CLIProjectDiscovery::folder(folder_.path() + "/missing/registry")),
              "Could not create the Kelvane connection registry.");
}

TEST_F(Registry, OfAnyOtherModeIsRefusedAndNotRepaired) {
    for (const int mode : {0755, 0750, 0701, 0710, 0770, 0777, 0600, 0500, 01700, 02700, 04700}) {
        mkdir(path_.c_str(), 0700);
        ASSERT_EQ(chmod(path_.c_str(), static_cast<mode_t>(mode)), 0);
        EXPECT_EQ(messageOf(start()), notPrivate) << std::oct << mode;
        EXPECT_EQ(messageOf(lookup()), notPrivate) << std::oct << mode;
        EXPECT_EQ(modeOf(path_), mode);
    }
    EXPECT_EQ(chmod(path_.c_str(), 0700), 0);
    EXPECT_EQ(modeOf(record_), -1);
}

TEST_F(Registry, ThatIsALinkOrAFileIsRefused) {
    const std::string real = folder_.path() + "/real";
    ASSERT_EQ(mkdir(real.c_str(), 0700), 0);
    ASSERT_EQ(symlink(real.c_str(), path_.c_str()), 0);
    EXPECT_EQ(messageOf(start()), notPrivate);
    EXPECT_EQ(messageOf(lookup()), notPrivate);
    ASSERT_EQ(unlink(path_.c_str()), 0);
    ASSERT_EQ(symlink("nowhere", path_.c_str()), 0);
    EXPECT_EQ(messageOf(start()), notPrivate);
    ASSERT_EQ(unlink(path_.c_str()), 0);
    write(path_, "");
    ASSERT_EQ(chmod(path_.c_str(), 0700), 0);
    EXPECT_EQ(messageOf(lookup()), notPrivate);
}

TEST_F(Registry, OfAnotherUserIsRefused) {
    if (getuid() != 0) GTEST_SKIP() << "only root can give a folder away";
    ASSERT_EQ(mkdir(path_.c_str(), 0700), 0);
    ASSERT_EQ(chown(path_.c_str(), 65534, 65534), 0);
    EXPECT_EQ(messageOf(start()), notPrivate);
    EXPECT_EQ(messageOf(lookup()), notPrivate);
}

TEST_F(Registry, HoldsARecordAndALockWhileConnected) {
    const auto discovery = start();
    ASSERT_TRUE(discovery) << discovery.error().message;
    EXPECT_EQ(contentOf(record_),
              R"({"projectID":"8C1F2E4A-0B3D-4C5E-9F60-718293A4B5C6","socketPath":"/tmp/x/control.sock"})");
    EXPECT_EQ(modeOf(record_), 0600);
    EXPECT_EQ(modeOf(lock_), 0600);
    EXPECT_EQ(contentOf(lock_), "");
    EXPECT_EQ(lookup(), "/tmp/x/control.sock");
    EXPECT_EQ(messageOf(CLIProjectDiscovery::publishedSocketPath(UUID::random(), path_)), notConnected);
}

TEST_F(Registry, StopWithdrawsTheRecordAndKeepsTheLockFile) {
    const auto discovery = start();
    ASSERT_TRUE(discovery);
    (*discovery)->stop();
    EXPECT_EQ(modeOf(record_), -1);
    EXPECT_EQ(modeOf(lock_), 0600);
    EXPECT_EQ(messageOf(lookup()), notConnected);
    const auto next = start("/tmp/y/control.sock");
    ASSERT_TRUE(next);
    (*discovery)->stop();
    EXPECT_EQ(lookup(), "/tmp/y/control.sock");
}

TEST_F(Registry, TheEndOfAnInstanceDoesTheSameAsStop) {
    {
        ASSERT_TRUE(start());
    }
    EXPECT_EQ(modeOf(record_), -1);
    EXPECT_TRUE(start());
}

TEST_F(Registry, RefusesASecondClaimantAndLeavesTheFirstAlone) {
    const auto first = start();
    ASSERT_TRUE(first);
    EXPECT_EQ(messageOf(start("/tmp/y/control.sock")),
              "This project is already connected in another Kelvane instance.");
    EXPECT_EQ(lookup(), "/tmp/x/control.sock");
    EXPECT_TRUE(CLIProjectDiscovery::start(UUID::random(), "/tmp/z", path_));
}

TEST_F(Registry, RefusesAClaimantInAnotherProcess) {
    const auto first = start();
    ASSERT_TRUE(first);
    const pid_t child = fork();
    if (child == 0) {
        const auto second = start("/tmp/y/control.sock");
        _exit(messageOf(second) == "This project is already connected in another Kelvane instance." ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(lookup(), "/tmp/x/control.sock");
}

TEST_F(Registry, ALinkInTheLocksPlaceIsNotFollowed) {
    ASSERT_TRUE(CLIProjectDiscovery::folder(path_));
    const std::string victim = folder_.path() + "/victim";
    ASSERT_EQ(symlink(victim.c_str(), lock_.c_str()), 0);
    EXPECT_EQ(messageOf(start()), "Could not lock the Kelvane project connection.");
    EXPECT_EQ(modeOf(victim), -1);
    EXPECT_EQ(modeOf(record_), -1);
}

TEST_F(Registry, ARecordOfADeadProcessIsReplacedByTheNextConnect) {
    const pid_t child = fork();
    if (child == 0) {
        const auto discovery = start("/tmp/dead/control.sock");
        _exit(discovery ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    EXPECT_EQ(lookup(), "/tmp/dead/control.sock");
    ASSERT_EQ(chmod(record_.c_str(), 0644), 0);

    const auto discovery = start("/tmp/new/control.sock");
    ASSERT_TRUE(discovery) << discovery.error().message;
    EXPECT_EQ(lookup(), "/tmp/new/control.sock");
    EXPECT_EQ(modeOf(record_), 0600);
}

TEST_F(Registry, ARecordThatCannotBeWrittenReleasesTheLock) {
    ASSERT_TRUE(CLIProjectDiscovery::folder(path_));
    ASSERT_EQ(mkdir(record_.c_str(), 0700), 0);
    const auto refused = start();
    ASSERT_FALSE(refused);
    EXPECT_FALSE(refused.error().message.empty());
    ASSERT_EQ(rmdir(record_.c_str()), 0);
    EXPECT_TRUE(start());
}

TEST_F(Registry, RecordsThatAreNotTheProjectsCountAsAbsent) {
    ASSERT_TRUE(CLIProjectDiscovery::folder(path_));
    const std::string rows[] = {
        "",
        "junk",
        "[]",
        "{}",
        R"({"projectID":"8C1F2E4A-0B3D-4C5E-9F60-718293A4B5C6"})",
        R"({"socketPath":"/tmp/x/control.sock"})",
        R"({"projectID":"8C1F2E4A-0B3D-4C5E-9F60-718293A4B5C7","socketPath":"/tmp/x/control.sock"})",
        R"({"projectID":"not-a-uuid","socketPath":"/tmp/x/control.sock"})",
        R"({"projectID":7,"socketPath":"/tmp/x/control.sock"})",
        R"({"projectID":"8C1F2E4A-0B3D-4C5E-9F60-718293A4B5C6","socketPath":null})",
        R"({"projectID":"8C1F2E4A-0B3D-4C5E-9F60-718293A4B5C6","socketPath":7})",
        std::string(100'000, '['),
    };
    for (const auto& text : rows) {
        write(record_, text);
        EXPECT_EQ(messageOf(lookup()), notConnected) << text.substr(0, 100);
    }
    write(record_, R"({"socketPath":"/s","projectID":"8c1f2e4a-0b3d-4c5e-9f60-718293a4b5c6","more":1})");
    EXPECT_EQ(lookup(), "/s");
}

}  // namespace
}  // namespace kelvane
