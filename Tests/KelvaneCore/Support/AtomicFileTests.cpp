#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "Support/AtomicFile.h"
#include "Support/TempFolder.h"
#include "Support/UnprivilegedUser.h"

namespace kelvane {
namespace {

using testing::TempFolder;
using testing::UnprivilegedUser;
using Names = std::vector<std::string>;

std::string message(const Result<void>& result) { return result ? "(written)" : result.error().message; }
std::string message(const Result<std::string>& result) { return result ? "(read)" : result.error().message; }

unsigned permission(const std::string& path) {
    struct stat status{};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

/// While it lives, no file of this process grows past `bytes`.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : handler_(signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &old_);
        const rlimit limit{bytes, old_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &old_);
        signal(SIGXFSZ, handler_);
    }

private:
    rlimit old_{};
    void (*handler_)(int);
};

TEST(ReadFile, GivesAllBytes) {
    const TempFolder folder;
    const std::string data = std::string("a\0b", 3) + std::string(300'000, 'x');
    folder.write("data", data);
    folder.write("empty", "");
    EXPECT_EQ(readFile(folder.path("data")), data);
    EXPECT_EQ(readFile(folder.path("empty")), "");
    std::filesystem::create_symlink("data", folder.path("link"));
    EXPECT_EQ(readFile(folder.path("link")), data);
}

TEST(ReadFile, ReadsFilesWhoseLengthTheSystemDoesNotTell) {
    const auto status = readFile("/proc/self/status");
    ASSERT_TRUE(status);
    EXPECT_TRUE(status->starts_with("Name:"));
    EXPECT_EQ(message(readFile("/proc/self/status", 10)), "“status” is too large to be read.");
}

TEST(ReadFile, RefusesWhatIsNoFileAndNeverWaits) {
    const TempFolder folder;
    folder.makeFolder("folder");
    mkfifo(folder.path("pipe").c_str(), 0600);
    std::filesystem::create_symlink("nowhere", folder.path("dangling"));
    std::filesystem::create_symlink("loop", folder.path("loop"));
    folder.write("large", "12345");
    EXPECT_EQ(message(readFile(folder.path("none"))), "“none” could not be read: No such file or directory.");
    EXPECT_EQ(message(readFile(folder.path("folder"))), "“folder” is a folder, not a file.");
    EXPECT_EQ(message(readFile(folder.path("folder/"))), "“folder” is a folder, not a file.");
    EXPECT_EQ(message(readFile(folder.path("pipe"))), "“pipe” is not a regular file.");
    EXPECT_EQ(message(readFile("/dev/zero")), "“zero” is not a regular file.");
    EXPECT_EQ(message(readFile(folder.path("dangling"))), "“dangling” could not be read: No such file or directory.");
    EXPECT_EQ(message(readFile(folder.path("loop"))), "“loop” could not be read: Too many levels of symbolic links.");
    EXPECT_EQ(message(readFile(folder.path("large/x"))), "“x” could not be read: Not a directory.");
    EXPECT_EQ(message(readFile(folder.path("large"), 4)), "“large” is too large to be read.");
    EXPECT_EQ(readFile(folder.path("large"), 5), "12345");
    EXPECT_FALSE(readFile(folder.path(std::string_view("large\0.txt", 10))));
    EXPECT_FALSE(readFile(""));
}

TEST(ReadFile, RefusesASocket) {
    const TempFolder folder;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = folder.path("s");
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const int server = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(server, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(message(readFile(path)), "“s” is not a regular file.");
    close(server);
}

TEST(ReadFile, SaysWhenAFileMayNotBeRead) {
    const TempFolder folder;
    folder.write("secret");
    chmod(folder.path().c_str(), 0755);
    chmod(folder.path("secret").c_str(), 0);
    const UnprivilegedUser unprivileged;
    EXPECT_EQ(message(readFile(folder.path("secret"))), "“secret” could not be read: Permission denied.");
}

TEST(WriteFileAtomically, MakesAndReplacesFilesAndLeavesNothingElse) {
    const TempFolder folder;
    for (const std::string& data : {std::string("first"), std::string(), std::string(2'000'000, 'y')}) {
        ASSERT_TRUE(writeFileAtomically(folder.path("file"), data));
        EXPECT_EQ(folder.read("file"), data);
    }
    const std::string longest(255, 'n');
    ASSERT_TRUE(writeFileAtomically(folder.path(longest), "x"));
    EXPECT_EQ(folder.entries(), (Names{"file", longest}));
}

TEST(WriteFileAtomically, WritesANewFileSoThatAnOpenOneKeepsItsBytes) {
    const TempFolder folder;
    folder.write("file", "old");
    std::filesystem::create_hard_link(folder.path("file"), folder.path("same"));
    ASSERT_TRUE(writeFileAtomically(folder.path("file"), "new"));
    EXPECT_EQ(folder.read("file"), "new");
    EXPECT_EQ(folder.read("same"), "old");
}

TEST(WriteFileAtomically, KeepsAnExistingFilesPermission) {
    const TempFolder folder;
    const mode_t mask = umask(022);
    ASSERT_TRUE(writeFileAtomically(folder.path("usual"), "x"));
    ASSERT_TRUE(writeFileAtomically(folder.path("private"), "x", 0600));
    ASSERT_TRUE(writeFileAtomically(folder.path("masked"), "x", 0666));
    folder.write("old");
    chmod(folder.path("old").c_str(), 0664);
    ASSERT_TRUE(writeFileAtomically(folder.path("old"), "x", 0600));
    folder.write("read-only");
    chmod(folder.path("read-only").c_str(), 0444);
    ASSERT_TRUE(writeFileAtomically(folder.path("read-only"), "x"));
    umask(mask);
    EXPECT_EQ(permission(folder.path("usual")), 0644u);
    EXPECT_EQ(permission(folder.path("private")), 0600u);
    EXPECT_EQ(permission(folder.path("masked")), 0644u);
    EXPECT_EQ(permission(folder.path("old")), 0664u);
    EXPECT_EQ(permission(folder.path("read-only")), 0444u);
}

TEST(WriteFileAtomically, KeepsAnExistingFilesOwner) {
    if (geteuid() != 0) GTEST_SKIP() << "only the superuser may give files away";
    const TempFolder folder;
    folder.write("file", "old");
    ASSERT_EQ(chown(folder.path("file").c_str(), 1234, 5678), 0);
    ASSERT_TRUE(writeFileAtomically(folder.path("file"), "new"));
    struct stat status{};
    stat(folder.path("file").c_str(), &status);
    EXPECT_EQ(status.st_uid, 1234u);
    EXPECT_EQ(status.st_gid, 5678u);
}

TEST(WriteFileAtomically, ReplacesALinksTargetAndKeepsTheLink) {
    const TempFolder folder;
    folder.write("elsewhere/target", "old");
    folder.makeFolder("here");
    std::filesystem::create_symlink("../elsewhere/target", folder.path("here/link"));
    std::filesystem::create_symlink("link", folder.path("here/second"));
    std::filesystem::create_symlink(folder.path("elsewhere/new"), folder.path("here/dangling"));
    ASSERT_TRUE(writeFileAtomically(folder.path("here/second"), "new"));
    ASSERT_TRUE(writeFileAtomically(folder.path("here/dangling"), "made"));
    EXPECT_EQ(folder.read("elsewhere/target"), "new");
    EXPECT_EQ(folder.read("elsewhere/new"), "made");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("here/link")));
    EXPECT_EQ(folder.entries(), (Names{"elsewhere", "elsewhere/new", "elsewhere/target", "here", "here/dangling",
                                       "here/link", "here/second"}));
}

TEST(WriteFileAtomically, RefusesPlacesThatCanHoldNoFile) {
    const TempFolder folder;
    folder.write("folder/kept");
    folder.write("file", "kept");
    mkfifo(folder.path("pipe").c_str(), 0600);
    std::filesystem::create_symlink("loop", folder.path("loop"));
    std::filesystem::create_symlink("none/none", folder.path("dangling"));
    const Names before = folder.entries();
    const struct {
        std::string path;
        const char* sentence;
    } rows[] = {
        {folder.path("folder"), "“folder” is a folder, not a file."},
        {folder.path("pipe"), "“pipe” is not a regular file."},
        {"/dev/null", "“null” is not a regular file."},
        {folder.path("none/file"), "“file” could not be written: No such file or directory."},
        {folder.path("file/below"), "“below” could not be written: Not a directory."},
        {folder.path("loop"), "“loop” could not be written: Too many levels of symbolic links."},
        {folder.path("dangling"), "“dangling” could not be written: No such file or directory."},
        {folder.path(std::string(256, 'n')), nullptr},
        {folder.path(std::string_view("file\0", 5)), nullptr},
        {"", nullptr},
    };
    for (const auto& row : rows) {
        const auto written = writeFileAtomically(row.path, "new");
        ASSERT_FALSE(written) << row.path;
        if (row.sentence != nullptr) EXPECT_EQ(written.error().message, row.sentence);
    }
    EXPECT_EQ(folder.entries(), before);
    EXPECT_EQ(folder.read("file"), "kept");
}

TEST(WriteFileAtomically, AFileThatGrowsTooLargeLeavesTheOldOne) {
    const TempFolder folder;
    folder.write("file", "old");
    Result<void> written;
    {
        const FileSizeLimit limit(100'000);
        written = writeFileAtomically(folder.path("file"), std::string(200'000, 'x'));
    }
    EXPECT_EQ(message(written), "“file” could not be written: File too large.");
    EXPECT_EQ(folder.read("file"), "old");
    EXPECT_EQ(folder.entries(), Names{"file"});
}

TEST(WriteFileAtomically, AFullDiskLeavesTheOldFile) {
    const TempFolder folder;
    folder.makeFolder("small");
    if (mount("none", folder.path("small").c_str(), "tmpfs", 0, "size=64k") != 0)
        GTEST_SKIP() << "no small disk can be mounted here";
    folder.write("small/file", "old");
    const auto written = writeFileAtomically(folder.path("small/file"), std::string(200'000, 'x'));
    const std::string kept = folder.read("small/file");
    const Names entries = folder.entries();
    umount(folder.path("small").c_str());
    EXPECT_EQ(message(written), "“file” could not be written: No space left on device.");
    EXPECT_EQ(kept, "old");
    EXPECT_EQ(entries, (Names{"small", "small/file"}));
}

TEST(WriteFileAtomically, AReadOnlyFolderKeepsWhatItHas) {
    const TempFolder folder;
    folder.write("sealed/file", "old");
    chmod(folder.path().c_str(), 0755);
    chmod(folder.path("sealed/file").c_str(), 0666);
    chmod(folder.path("sealed").c_str(), 0555);
    {
        const UnprivilegedUser unprivileged;
        EXPECT_EQ(message(writeFileAtomically(folder.path("sealed/file"), "new")),
                  "“file” could not be written: Permission denied.");
        EXPECT_EQ(message(writeFileAtomically(folder.path("sealed/new"), "new")),
                  "“new” could not be written: Permission denied.");
    }
    EXPECT_EQ(folder.read("sealed/file"), "old");
    EXPECT_EQ(folder.entries(), (Names{"sealed", "sealed/file"}));
}

TEST(WriteFileAtomically, WorksInAFolderThatMayBeWrittenButNotRead) {
    const TempFolder folder;
    folder.makeFolder("box");
    chmod(folder.path().c_str(), 0755);
    chmod(folder.path("box").c_str(), 0333);
    {
        const UnprivilegedUser unprivileged;
        EXPECT_EQ(message(writeFileAtomically(folder.path("box/file"), "new")), "(written)");
    }
    chmod(folder.path("box").c_str(), 0755);
    EXPECT_EQ(folder.read("box/file"), "new");
}

TEST(WriteFileAtomically, AReaderAndAKillFindTheOldFileOrTheNewOne) {
    const TempFolder folder;
    const std::string path = folder.path("file");
    const std::string first(400'000, 'a');
    const std::string second(700'000, 'b');
    ASSERT_TRUE(writeFileAtomically(path, first));
    for (int round = 0; round < 4; ++round) {
        const pid_t writer = fork();
        if (writer == 0) {
            while (true)
                if (!writeFileAtomically(path, second) || !writeFileAtomically(path, first)) _exit(1);
        }
        for (int i = 0; i < 50; ++i) {
            const auto data = readFile(path);
            ASSERT_TRUE(data) << data.error().message;
            ASSERT_TRUE(*data == first || *data == second) << data->size();
        }
        kill(writer, SIGKILL);
        int status = 0;
        waitpid(writer, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status));
        const std::string data = folder.read("file");
        EXPECT_TRUE(data == first || data == second) << data.size();
    }
}

TEST(MakeFolders, MakesWhatIsMissing) {
    const TempFolder folder;
    EXPECT_EQ(message(makeFolders(folder.path("a/b/c"))), "(written)");
    EXPECT_EQ(message(makeFolders(folder.path("a/b/c"))), "(written)");
    std::filesystem::create_symlink("a", folder.path("link"));
    EXPECT_EQ(message(makeFolders(folder.path("link"))), "(written)");
    EXPECT_EQ(folder.entries(), (Names{"a", "a/b", "a/b/c", "link"}));
}

TEST(MakeFolders, SaysWhatIsInTheWay) {
    const TempFolder folder;
    folder.write("file");
    std::filesystem::create_symlink("nowhere", folder.path("dangling"));
    EXPECT_EQ(message(makeFolders(folder.path("file"))), "The folder “file” could not be made: Not a directory.");
    EXPECT_EQ(message(makeFolders(folder.path("file/x/y"))), "The folder “y” could not be made: Not a directory.");
    EXPECT_EQ(message(makeFolders(folder.path("dangling"))),
              "The folder “dangling” could not be made: Not a directory.");
    EXPECT_FALSE(makeFolders(""));
}

TEST(SyncFolder, SaysWhichFolderIsGone) {
    const TempFolder folder;
    EXPECT_EQ(message(syncFolder(folder.path())), "(written)");
    EXPECT_EQ(message(syncFolder(folder.path("none"))),
              "The folder “none” could not be synced: No such file or directory.");
}

TEST(FolderEntries, AnUnreadableFolderIsToldFromAnEmptyOne) {
    const TempFolder folder;
    folder.makeFolder("Empty");
    folder.write("Full/a");
    EXPECT_EQ(readableEntries(folder.path("Empty")), std::vector<std::string>());
    EXPECT_EQ(readableEntries(folder.path("Full")), std::vector<std::string>{"a"});
    for (const char* name : {"Absent", "Full/a"}) {
        EXPECT_EQ(readableEntries(folder.path(name)), std::nullopt) << name;
        EXPECT_EQ(folderEntries(folder.path(name)), std::vector<std::string>()) << name;
    }
}

TEST(RemoveFolder, RemovesEverythingInItAndNothingBehindLinks) {
    const TempFolder folder;
    folder.write("Kept/a");
    folder.write("Doomed/b/c/d");
    std::filesystem::create_directory_symlink(folder.path("Kept"), folder.path("Doomed/b/link"));
    std::filesystem::create_symlink("nowhere", folder.path("Doomed/dangling"));
    std::vector<std::pair<std::size_t, std::size_t>> told;
    EXPECT_FALSE(
        removeFolder(folder.path("Doomed"), [&](auto removed, auto total) { told.emplace_back(removed, total); }));
    EXPECT_EQ(folder.entries(), (std::vector<std::string>{"Kept", "Kept/a"}));
    EXPECT_EQ(told, (std::vector<std::pair<std::size_t, std::size_t>>{{0, 3}, {1, 3}, {2, 3}, {3, 3}}));
    EXPECT_FALSE(removeFolder(folder.path("Doomed"))) << "nothing there is no failure";
}

TEST(RemoveFolder, TellsOfManyFilesAtAPace) {
    const TempFolder folder;
    for (int i = 0; i < 1050; ++i) folder.write("Doomed/" + std::to_string(i));
    std::vector<std::size_t> told;
    EXPECT_FALSE(
        removeFolder(folder.path("Doomed"), [&](std::size_t removed, std::size_t) { told.push_back(removed); }));
    ASSERT_EQ(told.size(), 106U);
    for (std::size_t i = 0; i < 105; ++i) EXPECT_EQ(told[i], 10 * i);
    EXPECT_EQ(told.back(), 1050U);
}

TEST(RemoveFolder, SaysWhatKeptItFromGoing) {
    const TempFolder folder;
    folder.write("Doomed/inside/a");
    for (const char* place : {"", "Doomed"}) chmod(folder.path(place).c_str(), 0777);
    chmod(folder.path("Doomed/inside").c_str(), 0555);
    std::vector<std::size_t> told;
    {
        const UnprivilegedUser unprivileged;
        const auto failed =
            removeFolder(folder.path("Doomed"), [&](std::size_t removed, std::size_t) { told.push_back(removed); });
        EXPECT_EQ(failed, std::errc::permission_denied);
    }
    EXPECT_EQ(told, std::vector<std::size_t>{0}) << "the end is not told of what stays";
    EXPECT_TRUE(folder.exists("Doomed/inside/a"));
    chmod(folder.path("Doomed/inside").c_str(), 0755);
}

TEST(FileExists, FollowsLinksAndRefusesWhatCannotBeAsked) {
    const TempFolder folder;
    EXPECT_FALSE(fileExists(folder.path("none")));
    EXPECT_TRUE(fileExists(folder.path()));
    const std::string file = folder.path("file");
    std::ignore = writeFileAtomically(file, "x");
    EXPECT_TRUE(fileExists(file));
    EXPECT_FALSE(fileExists(file + std::string("\0.mov", 5)));
    std::filesystem::create_symlink("none", folder.path("dangling"));
    std::filesystem::create_symlink("file", folder.path("link"));
    EXPECT_FALSE(fileExists(folder.path("dangling")));
    EXPECT_TRUE(fileExists(folder.path("link")));
    EXPECT_FALSE(fileExists(""));
}

}  // namespace
}  // namespace kelvane
