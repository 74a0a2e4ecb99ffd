#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "Storage/ProjectMedia.h"
#include "Support/AtomicFile.h"
#include "Support/ClipBuilder.h"
#include "Support/TempFolder.h"
#include "Support/UnprivilegedUser.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::TempFolder;
using testing::UnprivilegedUser;
using testing::videoClip;
using Names = std::vector<std::string>;

class CopiedMedia : public ::testing::Test {
protected:
    /// Entries of the media folder: one for each copied file.
    std::size_t copies() const {
        std::error_code ignored;
        const std::filesystem::directory_iterator entries(folder.path("Media"), ignored);
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    TempFolder folder;
    FileURL directory = folder.url("Media");
    FileURL movie = folder.write("card/movie.mov", "moving pictures");
    FileURL sound = folder.write("card/sound.wav", "sound");
};

TEST_F(CopiedMedia, LieInAFolderOfTheirOwnUnderTheirName) {
    ProjectMedia media(directory);
    EXPECT_FALSE(folder.exists("Media"));
    const auto copy = media.copy(movie);
    ASSERT_TRUE(copy) << copy.error().message;
    EXPECT_EQ(copy->fileName(), "movie.mov");
    const FileURL holder = copy->parentFolder();
    const auto id = UUID::parse(holder.fileName());
    ASSERT_TRUE(id);
    EXPECT_EQ(holder, directory.appending(id->upper()));
    EXPECT_EQ(folder.read("Media/" + id->upper() + "/movie.mov"), "moving pictures");
    EXPECT_EQ(folder.read("card/movie.mov"), "moving pictures");
}

TEST_F(CopiedMedia, KeepNamesOfAnyKind) {
    ProjectMedia media(directory);
    for (const std::string& name : {std::string("ü #1%.mov"), std::string("bytes \xff.mov"), std::string(255, 'n')}) {
        const auto copy = media.copy(folder.write("card/" + name, "x"));
        ASSERT_TRUE(copy) << copy.error().message;
        EXPECT_EQ(copy->fileName(), name);
        EXPECT_TRUE(std::filesystem::exists(copy->path()));
    }
}

TEST_F(CopiedMedia, AreNotMadeOfWhatIsInsideAlready) {
    const FileURL inside = folder.write("Media/7D1E/a b.mov");
    const Names before = folder.entries();
    {
        ProjectMedia media(directory);
        EXPECT_EQ(media.copy(inside), inside);
        // The same file under other texts keeps the text that it came with.
        const auto spelled = *FileURL::parse("file://" + folder.path() + "/Media/7D1E/%61%20b.mov");
        EXPECT_EQ(media.copy(spelled), spelled);
        const auto detour = *FileURL::parse("file://" + folder.path() + "/card/../Media/7D1E/a%20b.mov");
        EXPECT_EQ(media.copy(detour), inside);
        EXPECT_EQ(media.copy(directory.appending("none.mov")), directory.appending("none.mov"));
    }
    EXPECT_EQ(folder.entries(), before);
}

TEST_F(CopiedMedia, AreNotMadeOfLinksThatLeadInside) {
    const FileURL inside = folder.write("Media/7D1E/a.mov");
    std::filesystem::create_symlink(inside.path(), folder.path("card/link.mov"));
    std::filesystem::create_directory_symlink(folder.path("Media"), folder.path("alias"));
    ProjectMedia media(directory);
    EXPECT_EQ(media.copy(folder.url("card/link.mov")), inside);
    EXPECT_EQ(media.copy(folder.url("alias/7D1E/a.mov")), inside);
    EXPECT_EQ(copies(), 1u);
    ProjectMedia aliased(folder.url("alias"));
    EXPECT_EQ(aliased.directory(), directory);
    EXPECT_EQ(aliased.copy(inside), inside);
}

TEST_F(CopiedMedia, LieWhereTheFolderIsAtTheFirstCopy) {
    folder.makeFolder("Media");
    std::filesystem::create_directory_symlink(folder.path("Other"), folder.path("alias"));
    ProjectMedia media(folder.url("alias"));
    std::filesystem::remove(folder.path("alias"));
    std::filesystem::create_directory_symlink(folder.path("Media"), folder.path("alias"));
    const auto copy = media.copy(folder.write("card/a.mov"));
    ASSERT_TRUE(copy) << copy.error().message;
    EXPECT_EQ(copy->parentFolder().parentFolder(), directory) << "the disk is not asked before";
}

TEST_F(CopiedMedia, AreMadeOfASiblingFoldersFiles) {
    ProjectMedia media(directory);
    const auto copy = media.copy(folder.write("Media2/a.mov"));
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->parentFolder().parentFolder(), directory);
    EXPECT_EQ(copies(), 1u);
}

TEST_F(CopiedMedia, AreMadeOfALinksTargetUnderItsName) {
    std::filesystem::create_symlink("movie.mov", folder.path("card/link.mov"));
    ProjectMedia media(directory);
    const auto copy = media.copy(folder.url("card/link.mov"));
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->fileName(), "movie.mov");
    EXPECT_FALSE(std::filesystem::is_symlink(copy->path()));
    EXPECT_EQ(media.copy(movie), copy);
}

TEST_F(CopiedMedia, AreMadeOnceForEachFile) {
    ProjectMedia media(directory);
    const auto project = media.localize(
        Project{1, {videoClip(1, movie), videoClip(2, movie)}, std::vector<Clip>{videoClip(3, movie)}, std::nullopt});
    ASSERT_TRUE(project) << project.error().message;
    EXPECT_EQ(copies(), 1u);
    EXPECT_EQ(project->clips[0].url, project->clips[1].url);
    EXPECT_EQ(project->clips[0].url, project->assets->at(0).url);
}

TEST_F(CopiedMedia, OfOneNameLieApart) {
    ProjectMedia media(directory);
    const auto first = media.copy(movie);
    const auto second = media.copy(folder.write("other/movie.mov", "others"));
    ASSERT_TRUE(first && second);
    EXPECT_NE(*first, *second);
    EXPECT_EQ(copies(), 2u);
    ProjectMedia again(directory);
    EXPECT_NE(again.copy(movie), first);
}

TEST_F(CopiedMedia, RememberTheFirstPlaceOfTheirFile) {
    ProjectMedia media(directory);
    const auto clip = media.localize(Clip(videoClip(1, movie)));
    ASSERT_TRUE(clip);
    EXPECT_EQ(clip->originalURL, movie);
    ProjectMedia second(folder.url("Second"));
    const auto again = second.localize(*clip);
    ASSERT_TRUE(again);
    EXPECT_NE(again->url, clip->url);
    EXPECT_EQ(again->originalURL, movie);
    const auto inside = second.localize(Clip(videoClip(1, again->url)));
    EXPECT_EQ(inside->originalURL, std::nullopt);
}

TEST_F(CopiedMedia, ChangeNothingElseOfAProject) {
    const Project project{1,
                          {videoClip(1, movie).stretch(1, 2).zoom(2), audioClip(2, sound).at(3)},
                          std::vector<Clip>{videoClip(1, movie), audioClip(4, sound)},
                          folder.url("stale")};
    ProjectMedia media(directory);
    const auto localized = media.localize(project);
    ASSERT_TRUE(localized);
    Project expected = project;
    expected.mediaRoot = directory;
    const auto moved = [&](Clip& clip, const Clip& now) {
        clip.originalURL = clip.url;
        clip.url = now.url;
    };
    for (std::size_t i = 0; i < 2; ++i) {
        moved(expected.clips[i], localized->clips[i]);
        moved(expected.assets->at(i), localized->assets->at(i));
    }
    EXPECT_EQ(localized, expected);

    const auto without = media.localize(Project{1, {}, std::nullopt, std::nullopt});
    EXPECT_EQ(without, (Project{1, {}, std::nullopt, directory}));
}

TEST_F(CopiedMedia, AreNotMadeTwiceByTwoOperations) {
    const Project project{1, {videoClip(1, movie)}, std::vector<Clip>{videoClip(1, movie)}, std::nullopt};
    Project first;
    {
        ProjectMedia media(directory);
        first = *media.localize(project);
        media.commit();
    }
    ProjectMedia media(directory);
    EXPECT_EQ(media.localize(first), first);
    EXPECT_EQ(copies(), 1u);
}

TEST_F(CopiedMedia, AreGoneAfterAFailureOfALaterFile) {
    folder.write("Media/before/kept.mov");
    {
        ProjectMedia media(directory);
        const auto failed =
            media.localize(Project{1,
                                   {videoClip(1, movie), audioClip(2, sound), videoClip(3, "/gone/third.mov")},
                                   std::nullopt,
                                   std::nullopt});
        ASSERT_FALSE(failed);
        EXPECT_EQ(failed.error().message, "“third.mov” could not be read: No such file or directory.");
        EXPECT_EQ(copies(), 3u);
    }
    EXPECT_EQ(folder.entries(),
              (Names{"Media", "Media/before", "Media/before/kept.mov", "card", "card/movie.mov", "card/sound.wav"}));
}

TEST_F(CopiedMedia, StayOnceCommitted) {
    {
        ProjectMedia media(directory);
        ASSERT_TRUE(media.copy(movie));
        media.commit();
        ASSERT_TRUE(media.copy(sound));
    }
    EXPECT_EQ(copies(), 2u);
    {
        ProjectMedia(directory).commit();
    }
    EXPECT_EQ(copies(), 2u);
}

TEST_F(CopiedMedia, AreRemovedWithoutACommit) {
    {
        ProjectMedia media(directory);
        ASSERT_TRUE(media.copy(movie));
        ASSERT_TRUE(media.copy(sound));
        EXPECT_EQ(copies(), 2u);
    }
    EXPECT_FALSE(folder.exists("Media"));
}

TEST_F(CopiedMedia, AreRemovedFromAFolderThatWasThereBefore) {
    folder.makeFolder("Media");
    {
        ProjectMedia media(directory);
        ASSERT_TRUE(media.copy(movie));
    }
    EXPECT_TRUE(folder.exists("Media"));
    EXPECT_EQ(copies(), 0u);
}

TEST_F(CopiedMedia, AreRemovedByAFinishBeforeTheEnd) {
    ProjectMedia dropped(directory);
    ASSERT_TRUE(dropped.copy(movie));
    dropped.finish();
    EXPECT_FALSE(folder.exists("Media"));
    ProjectMedia kept(directory);
    ASSERT_TRUE(kept.copy(movie));
    kept.commit();
    kept.finish();
    EXPECT_EQ(copies(), 1u);
}

TEST_F(CopiedMedia, AreRecordedUntilTheyAreCommittedOrRemoved) {
    UnfinishedWork work(folder.path("Unfinished"));
    const auto recorded = [&] {
        const auto names = folderEntries(folder.path("Unfinished"));
        return names.empty() ? std::string() : folder.read("Unfinished/" + names.front());
    };
    {
        ProjectMedia media(directory, {}, &work);
        EXPECT_FALSE(folder.exists("Unfinished"));
        const auto copy = media.copy(movie);
        ASSERT_TRUE(copy);
        const std::string holder = copy->parentFolder().absoluteString();
        EXPECT_EQ(recorded(), "+ 1 media-folder " + directory.absoluteString() + "\n+ 2 media " + holder + "\n");
    }
    EXPECT_EQ(recorded(), "");
    {
        ProjectMedia media(directory, {}, &work);
        ASSERT_TRUE(media.copy(movie));
        EXPECT_NE(recorded(), "");
        media.commit();
    }
    EXPECT_EQ(recorded(), "");
    EXPECT_EQ(copies(), 1u);
}

TEST_F(CopiedMedia, AreNotMadeAfterAStopRequest) {
    std::stop_source stop;
    stop.request_stop();
    ProjectMedia media(directory);
    EXPECT_TRUE(media.copy(movie, stop.get_token()).error().isCancelled());
    EXPECT_TRUE(media.localize(Project{1, {videoClip(1, movie)}, std::nullopt, std::nullopt}, stop.get_token())
                    .error()
                    .isCancelled());
    EXPECT_EQ(copies(), 0u);
}

TEST_F(CopiedMedia, AreReportedWithTheirTotalsKnownBeforehand) {
    const FileURL large = folder.write("card/large.mov", std::string((9u << 20) + 1, 'x'));
    const std::int64_t total = (9 << 20) + 1 + 15 + 5;
    const FileURL inside = folder.write("Media/7D1E/a.mov");
    std::vector<TransferProgress> told;
    ProjectMedia media(directory, [&](const TransferProgress& progress) { told.push_back(progress); });
    const Project project{1,
                          {videoClip(1, movie), videoClip(2, large), videoClip(3, movie), videoClip(4, inside)},
                          std::vector<Clip>{audioClip(5, sound), videoClip(6, large)},
                          std::nullopt};
    const auto localized = media.localize(project);
    ASSERT_TRUE(localized);

    ASSERT_GE(told.size(), 4u);
    EXPECT_EQ(told.front(), (TransferProgress{0, total, 0, 3}));
    EXPECT_EQ(told.back(), (TransferProgress{total, total, 3, 3}));
    for (const TransferProgress& after : {TransferProgress{15, total, 1, 3}, TransferProgress{total - 5, total, 2, 3}})
        EXPECT_EQ(std::ranges::count(told, after), 1);
    EXPECT_TRUE(std::ranges::is_sorted(told, {}, &TransferProgress::bytes));
    EXPECT_TRUE(std::ranges::all_of(told, [&](const auto& progress) { return progress.totalBytes == total; }));

    told.clear();
    EXPECT_EQ(media.localize(*localized), localized);
    EXPECT_TRUE(told.empty());
}

TEST_F(CopiedMedia, OfOneFileAfterAnotherAddToTheTotals) {
    std::vector<TransferProgress> told;
    ProjectMedia media(directory, [&](const TransferProgress& progress) { told.push_back(progress); });
    ASSERT_TRUE(media.copy(movie));
    ASSERT_TRUE(media.copy(sound));
    ASSERT_TRUE(media.copy(movie));
    EXPECT_EQ(told, (std::vector<TransferProgress>{{15, 15, 1, 1}, {20, 20, 2, 2}}));
}

TEST_F(CopiedMedia, AreCountedWithoutTheFilesThatAreMissing) {
    std::vector<TransferProgress> told;
    ProjectMedia media(directory, [&](const TransferProgress& progress) { told.push_back(progress); });
    const auto failed = media.localize(Project{
        1, {videoClip(1, movie), videoClip(2, "/gone/b.mov"), audioClip(3, sound)}, std::nullopt, std::nullopt});
    EXPECT_FALSE(failed);
    EXPECT_EQ(told, (std::vector<TransferProgress>{{0, 20, 0, 3}, {15, 20, 1, 3}}));
}

TEST_F(CopiedMedia, FailInWordsForWhatIsNoFile) {
    folder.makeFolder("card/folder.mov");
    mkfifo(folder.path("card/pipe.mov").c_str(), 0600);
    std::filesystem::create_symlink("nowhere", folder.path("card/dangling.mov"));
    ProjectMedia media(directory);
    const struct {
        FileURL url;
        std::string sentence;
    } rows[] = {
        {folder.url("card/none.mov"), "“none.mov” could not be read: No such file or directory."},
        {folder.url("card/folder.mov"), "“folder.mov” is a folder, not a file."},
        {folder.url("card/pipe.mov"), "“pipe.mov” is not a regular file."},
        {folder.url("card/dangling.mov"), "“dangling.mov” could not be read: No such file or directory."},
        {*FileURL::parse("https://host/a.mov"), "“https://host/a.mov” is not a file on this computer."},
        {FileURL(), "“” is not a file on this computer."},
    };
    for (const auto& row : rows) {
        const auto copy = media.copy(row.url);
        ASSERT_FALSE(copy) << row.sentence;
        EXPECT_EQ(copy.error().message, row.sentence);
    }
    EXPECT_FALSE(folder.exists("Media"));
}

TEST_F(CopiedMedia, FailInWordsWhereNoFolderCanBeMade) {
    folder.write("file");
    ProjectMedia blocked(folder.url("file"));
    const auto inTheWay = blocked.copy(movie);
    ASSERT_FALSE(inTheWay);
    EXPECT_TRUE(inTheWay.error().message.ends_with("could not be made: Not a directory.")) << inTheWay.error().message;

    folder.makeFolder("sealed");
    for (const char* entry : {"", "card", "sealed"}) chmod(folder.path(entry).c_str(), 0555);
    const UnprivilegedUser unprivileged;
    ProjectMedia media(folder.url("sealed/Media"));
    EXPECT_EQ(media.copy(movie).error().message, "The folder “Media” could not be made: Permission denied.");
}

TEST_F(CopiedMedia, OfAFullDiskAreGone) {
    folder.write("card/large.mov", std::string(300'000, 'x'));
    folder.makeFolder("small");
    if (mount("none", folder.path("small").c_str(), "tmpfs", 0, "size=128k") != 0)
        GTEST_SKIP() << "no small disk can be mounted here";
    std::string sentence;
    {
        ProjectMedia media(folder.url("small/Media"));
        EXPECT_TRUE(media.copy(movie));
        sentence = media.copy(folder.url("card/large.mov")).error().message;
    }
    const bool empty = std::filesystem::is_empty(folder.path("small"));
    umount(folder.path("small").c_str());
    EXPECT_EQ(sentence, "“large.mov” could not be written: No space left on device.");
    EXPECT_TRUE(empty);
}

class MovedMedia : public ::testing::Test {
protected:
    TempFolder folder;
};

TEST_F(MovedMedia, IsFoundBesideTheFile) {
    const FileURL original = FileURL::fromPath("/card/a.mov");
    const Project project{1,
                          {videoClip(1, "/old/place/Media/7D1E/a b.mov").original(original),
                           videoClip(2, "/old/place/Media2/b.mov"), videoClip(3, "/old/place/Media"),
                           videoClip(4, "/elsewhere/c.mov").original(FileURL::fromPath("/old/place/Media/c.mov"))},
                          std::vector<Clip>{audioClip(5, "/old/place/Media/x/y/d.wav")},
                          FileURL::parse("file:///old/place/Media/")};
    const Project moved = ProjectMedia::resolveMedia(project, folder.url("Project.kelvane"));
    Project expected = project;
    expected.clips[0].url = folder.url("Media/7D1E/a b.mov");
    expected.assets->at(0).url = folder.url("Media/x/y/d.wav");
    expected.mediaRoot = folder.url("Media");
    EXPECT_EQ(moved, expected);
    EXPECT_FALSE(folder.exists("Media"));
}

TEST_F(MovedMedia, StaysWithoutAMediaRoot) {
    const Project project{1, {videoClip(1, "/old/Media/a.mov")}, std::nullopt, std::nullopt};
    EXPECT_EQ(ProjectMedia::resolveMedia(project, folder.url("Project.kelvane")), project);
}

TEST_F(MovedMedia, KeepsTheTextOfWhatLiesElsewhere) {
    for (const char* text : {"file:///else/../%61.mov", "https://host/old/Media/a.mov"}) {
        Project project{1, {}, std::nullopt, FileURL::fromPath("/old/Media")};
        project.clips = {videoClip(1, *FileURL::parse(text))};
        const Project moved = ProjectMedia::resolveMedia(project, folder.url("Project.kelvane"));
        EXPECT_EQ(moved.clips, project.clips);
        EXPECT_EQ(moved.assets, std::nullopt);
    }
}

TEST_F(MovedMedia, ComparesPlacesWithLinksResolved) {
    folder.write("real/Media/a.mov");
    std::filesystem::create_directory_symlink("real", folder.path("alias"));
    const Project project{1, {videoClip(1, folder.url("alias/Media/a.mov"))}, std::nullopt, folder.url("real/Media")};
    folder.makeFolder("new");
    std::filesystem::create_directory_symlink("new", folder.path("new alias"));
    const Project moved = ProjectMedia::resolveMedia(project, folder.url("new alias/Project.kelvane"));
    EXPECT_EQ(moved.clips[0].url, folder.url("new/Media/a.mov"));
    EXPECT_EQ(moved.mediaRoot, folder.url("new/Media"));
}

}  // namespace
}  // namespace kelvane
