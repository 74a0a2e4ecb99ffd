#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <limits>

#include "Storage/ProjectDocument.h"
#include "Storage/ProjectFile.h"
#include "Support/ClipBuilder.h"
#include "Support/TempFolder.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::TempFolder;
using testing::uuid;
using testing::videoClip;

const std::string missingMedia = "The source media could not be found. Move them back to their original location:\n";

class ProjectFiles : public ::testing::Test {
protected:
    FileURL document() const { return folder.url("Film.kelvane"); }
    void write(const Project& project) const { ASSERT_TRUE(ProjectFile::write(project, document())); }
    Error failure() const {
        const auto project = ProjectFile::read(document());
        return project ? Error("(read)") : project.error();
    }

    TempFolder folder;
    FileURL movie = folder.write("movie.mov");
    FileURL sound = folder.write("sound.wav");
};

TEST_F(ProjectFiles, ReadBackWhatWasWritten) {
    const Project rows[] = {
        {1, {}, std::vector<Clip>(), std::nullopt},
        {1,
         {videoClip(1, movie).stretch(1, 3).zoom(2), audioClip(2, sound).at(0.1).lane(uuid(7)), videoClip(3, movie)},
         std::vector<Clip>{videoClip(1, movie), audioClip(5, sound).original(FileURL::fromPath("/gone/s.wav"))},
         std::nullopt},
        {1, {}, std::vector<Clip>{videoClip(1, movie)}, folder.url("Film.media")},
    };
    for (const Project& project : rows) {
        write(project);
        EXPECT_EQ(ProjectFile::read(document()), project) << &project - rows;
    }
}

TEST_F(ProjectFiles, AreReplacedWholeOrNotAtAll) {
    const Project good{1, {videoClip(1, movie)}, std::vector<Clip>(), std::nullopt};
    write(good);
    Project bad = good;
    bad.clips[0].end = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(ProjectFile::write(bad, document()).error().message, "clips[0].end must be a finite number.");
    EXPECT_EQ(ProjectFile::read(document()), good);
    EXPECT_EQ(folder.entries(), (std::vector<std::string>{"Film.kelvane", "movie.mov", "sound.wav"}));
    EXPECT_EQ(ProjectFile::write(good, folder.url("none/Film.kelvane")).error().message,
              "“Film.kelvane” could not be written: No such file or directory.");
}

TEST_F(ProjectFiles, AreWrittenUnchecked) {
    Project project;
    project.version = 9;
    project.clips = {videoClip(1, movie).zoom(50)};
    write(project);
    EXPECT_EQ(folder.read("Film.kelvane"), *encodeProject(project));
}

TEST_F(ProjectFiles, WithoutAssetsGetThemFromTheirClips) {
    const FileURL card = FileURL::fromPath("/card/movie.mov");
    Clip later = videoClip(2, movie, 20);
    write({1,
           {videoClip(1, movie).stretch(2, 4).zoom(2).position(1, -1).volume(0.5).original(card), later,
            audioClip(3, sound, 6).stretch(1, 2).at(5).lane(uuid(9)).volume(0)},
           std::nullopt,
           std::nullopt});
    const auto project = ProjectFile::read(document());
    ASSERT_TRUE(project) << project.error().message;
    EXPECT_EQ(project->assets, (std::vector<Clip>{videoClip(1, movie).original(card), audioClip(3, sound, 6)}));
    EXPECT_EQ(project->clips.size(), 3u);
}

TEST_F(ProjectFiles, WithEmptyAssetsKeepThemEmpty) {
    write({1, {videoClip(1, movie)}, std::vector<Clip>(), std::nullopt});
    EXPECT_EQ(ProjectFile::read(document())->assets, std::vector<Clip>());
    std::filesystem::remove(folder.path("movie.mov"));
    EXPECT_EQ(failure().message, missingMedia + movie.path());
}

TEST_F(ProjectFiles, ThatAreNotSoundAreCorrupt) {
    const Clip good = videoClip(1, movie);
    const Clip bad = videoClip(2, movie).stretch(0, 0.02);
    const struct {
        const char* what;
        Project project;
    } rows[] = {
        {"version 2", {2, {good}, std::nullopt, std::nullopt}},
        {"version 0", {0, {good}, std::nullopt, std::nullopt}},
        {"clip", {1, {good, bad}, std::nullopt, std::nullopt}},
        {"asset", {1, {good}, std::vector{good, bad}, std::nullopt}},
        {"clip ids", {1, {good, Clip(videoClip(1, sound))}, std::vector{good}, std::nullopt}},
        {"asset ids", {1, {}, std::vector{good, Clip(videoClip(1, sound))}, std::nullopt}},
    };
    for (const auto& row : rows) {
        write(row.project);
        EXPECT_EQ(failure(), Error("“Film.kelvane” isn’t in the correct format.", "Corrupt", 0)) << row.what;
    }
    write({1, {good}, std::vector{good}, std::nullopt});
    EXPECT_EQ(failure().message, "(read)");
}

TEST_F(ProjectFiles, AreTestedForSoundnessBeforeTheirMedia) {
    write({2, {videoClip(1, "/gone.mov")}, std::nullopt, std::nullopt});
    EXPECT_EQ(failure().domain, "Corrupt");
}

TEST_F(ProjectFiles, ListEveryUseOfMissingMedia) {
    write(
        {1,
         {videoClip(1, "/gone/b.mov"), videoClip(2, movie), audioClip(3, "/gone/a ü.wav"), videoClip(4, "/gone/b.mov")},
         std::nullopt,
         std::nullopt});
    EXPECT_EQ(failure(), Error(missingMedia + "/gone/b.mov\n/gone/a ü.wav\n/gone/b.mov\n/gone/b.mov\n/gone/a ü.wav",
                               "Kelvane", 1));
    std::filesystem::create_symlink("/gone/x", folder.path("dangling.mov"));
    write({1, {videoClip(1, folder.url("dangling.mov"))}, std::nullopt, std::nullopt});
    EXPECT_EQ(failure().message, missingMedia + folder.path("dangling.mov") + "\n" + folder.path("dangling.mov"));
}

TEST_F(ProjectFiles, ThatWereMovedFindTheirMediaAgain) {
    const FileURL inside = folder.write("old/Film.media/7D1E/a b.mov");
    const Project project{1,
                          {videoClip(1, inside), videoClip(2, movie)},
                          std::vector<Clip>{videoClip(1, inside).original(inside)},
                          folder.url("old/Film.media")};
    ASSERT_TRUE(ProjectFile::write(project, folder.url("old/Film.kelvane")));
    std::filesystem::rename(folder.path("old"), folder.path("new"));
    const auto moved = ProjectFile::read(folder.url("new/Film.kelvane"));
    ASSERT_TRUE(moved) << moved.error().message;
    Project expected = project;
    expected.clips[0].url = folder.url("new/Film.media/7D1E/a b.mov");
    expected.assets->at(0).url = expected.clips[0].url;
    expected.mediaRoot = folder.url("new/Film.media");
    EXPECT_EQ(moved, expected);

    std::filesystem::remove_all(folder.path("new/Film.media"));
    const std::string gone = folder.path("new/Film.media/7D1E/a b.mov");
    EXPECT_EQ(ProjectFile::read(folder.url("new/Film.kelvane")).error().message, missingMedia + gone + "\n" + gone);
}

TEST_F(ProjectFiles, LeaveMediaOutsideTheirFolderWhereItWas) {
    const FileURL inside = folder.write("old/Film.media/7D1E/a.mov");
    const FileURL outside = folder.write("elsewhere/b.mov");
    ASSERT_TRUE(ProjectFile::write(
        {1, {videoClip(1, inside), videoClip(2, outside)}, std::nullopt, folder.url("old/Film.media")},
        folder.url("old/Film.kelvane")));
    std::filesystem::rename(folder.path("old"), folder.path("new"));
    const auto moved = ProjectFile::read(folder.url("new/Film.kelvane"));
    ASSERT_TRUE(moved) << moved.error().message;
    EXPECT_EQ(moved->clips[1].url, outside);
    // A file of that name in the media folder is another one.
    folder.write("new/Film.media/b.mov");
    std::filesystem::remove(outside.path());
    EXPECT_EQ(ProjectFile::read(folder.url("new/Film.kelvane")).error(),
              Error(missingMedia + outside.path() + "\n" + outside.path(), "Kelvane", 1));
}

TEST_F(ProjectFiles, ThatWereDuplicatedUseTheirOwnMedia) {
    const FileURL inside = folder.write("old/Media/7D1E/a.mov");
    ASSERT_TRUE(ProjectFile::write({1, {videoClip(1, inside)}, std::nullopt, folder.url("old/Media")},
                                   folder.url("old/Project.kelvane")));
    std::filesystem::copy(folder.path("old"), folder.path("copy"), std::filesystem::copy_options::recursive);
    EXPECT_EQ(ProjectFile::read(folder.url("copy/Project.kelvane"))->clips[0].url, folder.url("copy/Media/7D1E/a.mov"));
    EXPECT_EQ(ProjectFile::read(folder.url("old/Project.kelvane"))->clips[0].url, inside);
}

TEST_F(ProjectFiles, FailInWordsWhenThereIsNoDocument) {
    folder.makeFolder("Folder.kelvane");
    mkfifo(folder.path("Pipe.kelvane").c_str(), 0600);
    std::filesystem::create_symlink("nowhere", folder.path("Link.kelvane"));
    folder.write("Huge.kelvane", "");
    std::filesystem::resize_file(folder.path("Huge.kelvane"), std::uintmax_t{1} << 40);
    folder.write("Empty.kelvane", "");
    folder.write("Binary.kelvane", std::string_view("\0\x01\xff", 3));
    folder.write("Deep.kelvane", std::string(5'000'000, '['));
    const struct {
        const char* name;
        const char* sentence;
    } rows[] = {
        {"None.kelvane", "“None.kelvane” could not be read: No such file or directory."},
        {"Folder.kelvane", "“Folder.kelvane” is a folder, not a file."},
        {"Pipe.kelvane", "“Pipe.kelvane” is not a regular file."},
        {"Link.kelvane", "“Link.kelvane” could not be read: No such file or directory."},
        {"Huge.kelvane", "“Huge.kelvane” is too large to be read."},
        {"Empty.kelvane", "“Empty.kelvane” can’t be read as a project. The JSON ends too early, at line 1, column 1."},
        {"Binary.kelvane", "“Binary.kelvane” can’t be read as a project. The JSON is not valid at line 1, column 1."},
        {"Deep.kelvane", "“Deep.kelvane” can’t be read as a project. The JSON nests deeper than 512 levels."},
    };
    for (const auto& row : rows) {
        const auto project = ProjectFile::read(folder.url(row.name));
        ASSERT_FALSE(project);
        EXPECT_EQ(project.error().message, row.sentence);
    }
}

}  // namespace
}  // namespace kelvane
