#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Editor/FilePublishing.h"
#include "Support/TempFolder.h"

namespace kelvane::testing {
namespace {

class FilePublishing : public ::testing::Test {
protected:
    TempFolder folder;
    FileURL temporary = folder.write(".hidden.mp4", "new");
    FileURL destination = folder.url("Film.mp4");

    using Names = std::vector<std::string>;
};

TEST_F(FilePublishing, AFreeNameIsTakenEitherWay) {
    for (const bool overwrite : {false, true}) {
        folder.write(".hidden.mp4", "new");
        ASSERT_TRUE(publishFile(temporary, destination, overwrite));
        EXPECT_EQ(folder.entries(), Names{"Film.mp4"});
        EXPECT_EQ(folder.read("Film.mp4"), "new");
        ::unlink(destination.path().c_str());
    }
}

TEST_F(FilePublishing, ATakenNameIsReplacedOnlyWhenAllowed) {
    folder.write("Film.mp4", "old");
    EXPECT_EQ(publishFile(temporary, destination, false),
              Result<void>(fail(Error("“Film.mp4” could not be saved: File exists.", "POSIX", EEXIST))));
    EXPECT_EQ(folder.read("Film.mp4"), "old");
    EXPECT_EQ(folder.read(".hidden.mp4"), "new");
    ASSERT_TRUE(publishFile(temporary, destination, true));
    EXPECT_EQ(folder.read("Film.mp4"), "new");
    EXPECT_EQ(folder.entries(), Names{"Film.mp4"});
}

TEST_F(FilePublishing, WhatIsHeldOutlivesItsReplacement) {
    folder.write("Film.mp4", "old");
    struct stat old{};
    ASSERT_EQ(::stat(destination.path().c_str(), &old), 0);
    const FileDescriptor held = holdReplaced(destination);
    ASSERT_TRUE(held.isOpen());
    ASSERT_TRUE(publishFile(temporary, destination, true));
    struct stat now{};
    ASSERT_EQ(::fstat(held.get(), &now), 0);
    EXPECT_EQ(now.st_ino, old.st_ino);
    EXPECT_EQ(now.st_nlink, 0U) << "it has no name, and is not freed";
    EXPECT_EQ(folder.read("Film.mp4"), "new");
}

TEST_F(FilePublishing, ALinkIsHeldAndNotWhatItLeadsTo) {
    EXPECT_FALSE(holdReplaced(destination).isOpen());
    ASSERT_EQ(::symlink("nowhere", destination.path().c_str()), 0);
    const FileDescriptor held = holdReplaced(destination);
    struct stat status{};
    ASSERT_EQ(::fstat(held.get(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(FilePublishing, ADanglingLinkIsATakenName) {
    ASSERT_EQ(::symlink("nowhere", destination.path().c_str()), 0);
    const Result<void> published = publishFile(temporary, destination, false);
    ASSERT_FALSE(published);
    EXPECT_EQ(published.error().code, EEXIST);
}

TEST_F(FilePublishing, AMissingTemporaryFileFails) {
    ::unlink(temporary.path().c_str());
    for (const bool overwrite : {false, true}) {
        EXPECT_EQ(
            publishFile(temporary, destination, overwrite),
            Result<void>(fail(Error("“Film.mp4” could not be saved: No such file or directory.", "POSIX", ENOENT))));
    }
}

TEST_F(FilePublishing, ASecondNameStandsInForAnExclusiveRename) {
    EXPECT_EQ(linkInPlaceOfRename(temporary.path(), destination.path()), 0);
    EXPECT_EQ(folder.entries(), Names{"Film.mp4"});
    folder.write(".hidden.mp4", "newer");
    EXPECT_EQ(linkInPlaceOfRename(temporary.path(), destination.path()), EEXIST);
    EXPECT_EQ(folder.read("Film.mp4"), "new");
    EXPECT_EQ(folder.read(".hidden.mp4"), "newer");
}

TEST_F(FilePublishing, AFolderIsAskedWhetherItTakesAFile) {
    EXPECT_TRUE(checkFolderAccepts(destination));
    folder.write("file", "");
    EXPECT_EQ(checkFolderAccepts(folder.url("file/Film.mp4")),
              Result<void>(fail(
                  Error("“Film.mp4” could not be saved in the folder “file”: Not a directory.", "POSIX", ENOTDIR))));
    EXPECT_EQ(checkFolderAccepts(folder.url("gone/Film.mp4")),
              Result<void>(fail(Error("“Film.mp4” could not be saved in the folder “gone”: No such file or directory.",
                                      "POSIX", ENOENT))));
}

}  // namespace
}  // namespace kelvane::testing
