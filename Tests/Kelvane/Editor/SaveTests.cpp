#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "Storage/ProjectFile.h"
#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using Clips = std::vector<Clip>;

/// Tells one version of a file from the next: each write makes a new file.
ino_t inode(const FileURL& file) {
    struct stat status{};
    return ::stat(file.path().c_str(), &status) == 0 ? status.st_ino : 0;
}

bool exists(const FileURL& file) { return std::filesystem::exists(file.path()); }

Project read(const FileURL& file) {
    const Result<Project> project = ProjectFile::read(file);
    EXPECT_TRUE(project) << project.error().message;
    return project.value_or(Project());
}

QCoro::Task<bool> refused() { co_return false; }

class Load : public EditorFixture {
protected:
    void write(const Project& project) {
        const Result<void> written = ProjectFile::write(project, projectFile());
        ASSERT_TRUE(written) << written.error().message;
    }
};

TEST_F(Load, AProjectWhoseMediaIsInPlaceIsNotRewritten) {
    const FileURL file = makeManaged("a.mov", FakeFile::video(4));
    write({1, {videoClip(1, file, 4)}, Clips{videoClip(9, file, 4)}, mediaFolder()});
    const ino_t before = inode(projectFile());
    ASSERT_TRUE(load(projectFile()));
    EXPECT_EQ(inode(projectFile()), before);
    EXPECT_EQ(editor->clips(), Clips{videoClip(1, file, 4)});
    EXPECT_EQ(editor->assets(), Clips{videoClip(9, file, 4)});
    EXPECT_EQ(editor->projectURL(), projectFile());
    EXPECT_FALSE(editor->isDirty());
    EXPECT_EQ(projectChanges, 0);
    EXPECT_THAT(mediaFiles(), SizeIs(2));
}

TEST_F(Load, AProjectThatOnlyNamesAnotherMediaFolderIsRewritten) {
    const FileURL file = makeManaged("a.mov", FakeFile::video(4));
    struct Row {
        const char* what;
        std::optional<FileURL> mediaRoot;
        bool rewritten;
    };
    const auto slashed = FileURL::parse(mediaFolder().absoluteString() + "/");
    for (const Row& row : {Row{"none", std::nullopt, true}, Row{"another", sources(), true},
                           Row{"this one with a slash", slashed, false}}) {
        SCOPED_TRACE(row.what);
        write({1, {videoClip(1, file, 4)}, Clips{videoClip(9, file, 4)}, row.mediaRoot});
        const ino_t before = inode(projectFile());
        ASSERT_TRUE(load(projectFile()));
        EXPECT_EQ(inode(projectFile()) != before, row.rewritten);
        EXPECT_EQ(read(projectFile()).mediaRoot->path(), mediaFolder().path());
    }
}

TEST_F(Load, MediaFromElsewhereIsCopiedInBeforeAnythingShows) {
    const FileURL outside = makeSource("a.mov", FakeFile::video(4));
    write({1, {videoClip(1, outside, 4)}, Clips{videoClip(9, outside, 4)}, std::nullopt});
    ASSERT_TRUE(load(projectFile()));
    ASSERT_THAT(editor->clips(), SizeIs(1));
    const Clip& clip = editor->clips()[0];
    EXPECT_EQ(clip.originalURL, outside);
    EXPECT_TRUE(clip.url.path().starts_with(mediaFolder().path() + "/"));
    EXPECT_EQ(editor->assets()[0].url, clip.url) << "one file is copied once";
    EXPECT_THAT(mediaFiles(), SizeIs(2));
    EXPECT_FALSE(editor->isDirty());
    const Project onDisk = read(projectFile());
    EXPECT_EQ(onDisk.clips, editor->clips());
    EXPECT_EQ(onDisk.assets, editor->assets());
    EXPECT_EQ(onDisk.mediaRoot->path(), mediaFolder().path());
}

TEST_F(Load, AFailingCopyLeavesTheEditorAndTheFileAlone) {
    const FileURL inside = makeManaged("a.mov", FakeFile::video(4));
    load({videoClip(1, inside, 4)});
    editor->commit({videoClip(1, inside, 4), videoClip(2, inside, 4)});
    const ClipArray clips = editor->clipArray();
    const FileURL outside = makeSource("b.mov", FakeFile::video(4));
    const FileURL second = library().appending("Second.kelvane");
    ASSERT_TRUE(ProjectFile::write({1, {videoClip(5, outside, 4)}, Clips{}, std::nullopt}, second));
    const ino_t before = inode(second);
    // A file where the media folder should be stands in the way of every copy.
    std::filesystem::rename(mediaFolder().path(), folder().appending("Away").path());
    std::ofstream(mediaFolder().path()) << "no folder";

    const Result<void> loaded = load(second);
    ASSERT_FALSE(loaded);
    EXPECT_FALSE(loaded.error().message.empty());
    EXPECT_EQ(editor->clipArray(), clips);
    EXPECT_EQ(editor->projectURL(), projectFile());
    EXPECT_THAT(editor->undoStack(), SizeIs(1));
    EXPECT_TRUE(editor->isDirty());
    EXPECT_EQ(inode(second), before);
}

TEST_F(Load, AFileThatIsNoProjectLeavesTheEditorAlone) {
    const FileURL inside = makeManaged("a.mov", FakeFile::video(4));
    load({videoClip(1, inside, 4)});
    const FileURL broken = library().appending("Broken.kelvane");
    std::ofstream(broken.path()) << "{";
    EXPECT_FALSE(load(broken));
    EXPECT_FALSE(load(library().appending("Absent.kelvane")));
    EXPECT_EQ(editor->projectURL(), projectFile());
    EXPECT_EQ(ids(editor->clips()), std::vector{uuid(1)});
}

TEST_F(Load, ALoadForgetsHistoryGestureAndPlayhead) {
    const FileURL file = makeManaged("a.mov", FakeFile::video(4));
    load({videoClip(1, file, 4)});
    editor->commit({videoClip(1, file, 4), videoClip(2, file, 4)});
    editor->commit({videoClip(2, file, 4)});
    editor->undo();
    editor->seekPreview(3);
    editor->beginInteraction();
    ASSERT_TRUE(load(projectFile()));
    EXPECT_THAT(editor->undoStack(), IsEmpty());
    EXPECT_THAT(editor->redoStack(), IsEmpty());
    EXPECT_EQ(editor->interactionSnapshot(), std::nullopt);
    EXPECT_EQ(editor->playhead(), 0);
    EXPECT_FALSE(editor->isDirty());
}

TEST_F(Load, OutsideTheLibraryFilesStayWhereTheyAre) {
    makeEditor(false);
    const FileURL file = makeSource("a.mov", FakeFile::video(4));
    write({1, {videoClip(1, file, 4)}, Clips{}, std::nullopt});
    const ino_t before = inode(projectFile());
    ASSERT_TRUE(load(projectFile()));
    EXPECT_EQ(editor->clips()[0].url, file);
    EXPECT_EQ(inode(projectFile()), before);
    EXPECT_EQ(editor->title(), "Project");
}

TEST_F(Load, ThumbnailsComeOneByOneAndAFailureIsPassedOver) {
    const FileURL a = makeManaged("a.mov", FakeFile::video(4));
    const FileURL b = makeManaged("b.mov", FakeFile::video(4));
    const FileURL c = makeManaged("c.mov", FakeFile::video(4));
    const FileURL d = makeManaged("d.wav", FakeFile::audio(4));
    media.failOn("openAsset b.mov", "gone");
    load({}, Clips{videoClip(1, a, 4), videoClip(2, b, 4), videoClip(3, c, 4), audioClip(4, d, 4)});
    EXPECT_TRUE(editor->isLoadingThumbnails());
    ASSERT_TRUE(context.stepBackground());
    context.runPosted();
    EXPECT_EQ(editor->thumbnails().size(), 1U);
    EXPECT_TRUE(editor->isLoadingThumbnails());
    context.settle();
    EXPECT_FALSE(editor->isLoadingThumbnails());
    EXPECT_EQ(editor->thumbnails().size(), 2U);
    EXPECT_TRUE(editor->thumbnails().contains(a));
    EXPECT_TRUE(editor->thumbnails().contains(c));
    EXPECT_EQ(editor->error(), std::nullopt);
}

TEST_F(Load, AProjectWithoutAssetsHasItsThumbnailsAtOnce) {
    load({}, Clips{});
    EXPECT_FALSE(editor->isLoadingThumbnails());
}

TEST_F(Load, AClosedEditorLoadsNoMoreThumbnails) {
    const FileURL a = makeManaged("a.mov", FakeFile::video(4));
    const FileURL b = makeManaged("b.mov", FakeFile::video(4));
    load({}, Clips{videoClip(1, a, 4), videoClip(2, b, 4)});
    ASSERT_TRUE(context.stepBackground());
    editor.reset();
    context.settle();
    EXPECT_EQ(media.count("openAsset a.mov"), 1U);
    EXPECT_EQ(media.count("openAsset b.mov"), 0U);
}

TEST_F(Load, TheNextLoadTakesTheThumbnailsOver) {
    const FileURL a = makeManaged("a.mov", FakeFile::video(4));
    const FileURL b = makeManaged("b.mov", FakeFile::video(4));
    load({}, Clips{videoClip(1, a, 4)});
    ASSERT_TRUE(context.stepBackground());
    load({}, Clips{videoClip(2, b, 4)});
    context.runPosted();
    EXPECT_THAT(editor->thumbnails(), IsEmpty()) << "the first load's late picture is dropped";
    EXPECT_TRUE(editor->isLoadingThumbnails());
    context.settle();
    EXPECT_FALSE(editor->isLoadingThumbnails());
    EXPECT_EQ(editor->thumbnails().size(), 1U);
    EXPECT_TRUE(editor->thumbnails().contains(b));
}

class Save : public EditorFixture {
protected:
    /// A project outside the library with one imported file on its timeline.
    void makeFileProject() {
        makeEditor(false);
        source = makeSource("a.mov", FakeFile::video(4));
        editor->importURLs({source});
        context.settle();
        editor->addAssets({editor->assets()[0].id}, {});
    }
    /// A library project with one file on its timeline, dirty.
    void makeLibraryProject() {
        source = makeManaged("a.mov", FakeFile::video(4));
        load({videoClip(1, source, 4)}, Clips{videoClip(9, source, 4)});
        editor->commit({videoClip(1, source, 4), videoClip(2, source, 4)});
    }
    [[nodiscard]] FileURL place(const std::string& name) const { return folder().appending(name); }

    FileURL source;
};

TEST_F(Save, ANewProjectAsksForItsPlaceOnce) {
    makeFileProject();
    panels.destinations.push_back(place("A.kelvane"));
    save(false);
    EXPECT_THAT(panels.askedDestinations,
                ElementsAre(FakePanels::DestinationQuestion{PanelContent::project, "Untitled.kelvane", ""}));
    EXPECT_EQ(editor->projectURL(), place("A.kelvane"));
    EXPECT_FALSE(editor->isDirty());
    EXPECT_THAT(panels.recentDocuments, ElementsAre(place("A.kelvane")));
    editor->commit({});
    save(false);
    EXPECT_THAT(panels.askedDestinations, SizeIs(1));
    EXPECT_THAT(read(place("A.kelvane")).clips, IsEmpty());
    EXPECT_FALSE(editor->isDirty());
    EXPECT_THAT(panels.recentDocuments, SizeIs(2));
}

TEST_F(Save, SaveAsOfAFileProjectTakesItsMediaAlong) {
    makeFileProject();
    panels.destinations = {place("A.kelvane"), place("B.kelvane")};
    save(false);
    save(true);
    EXPECT_EQ(panels.askedDestinations[1].proposedName, "A.kelvane");
    EXPECT_EQ(editor->projectURL(), place("B.kelvane"));
    EXPECT_EQ(editor->clips()[0].url, source);
    const Project saved = read(place("B.kelvane"));
    EXPECT_TRUE(saved.clips[0].url.path().starts_with(place("B.media").path() + "/"));
    EXPECT_EQ(saved.clips[0].originalURL, source);
    EXPECT_TRUE(exists(saved.clips[0].url));
    EXPECT_EQ(saved.mediaRoot->path(), place("B.media").path());
}

TEST_F(Save, OnlyALoadTurnsToTheCopies) {
    makeFileProject();
    panels.destinations = {place("B.kelvane")};
    save(true);
    ASSERT_EQ(editor->clips()[0].url, source);
    ASSERT_TRUE(load(place("B.kelvane")));
    EXPECT_TRUE(editor->clips()[0].url.path().starts_with(place("B.media").path() + "/"));
    EXPECT_EQ(editor->clips()[0].originalURL, source);
}

TEST_F(Save, APlainSaveAfterItWritesTheEditorsOwnPlaces) {
    makeFileProject();
    panels.destinations = {place("B.kelvane")};
    save(true);
    save(false);
    Project saved = read(place("B.kelvane"));
    EXPECT_EQ(saved.clips[0].url, source);
    EXPECT_EQ(saved.mediaRoot, std::nullopt);
    EXPECT_EQ(saved.version, 1);
}

TEST_F(Save, SaveAsOfALibraryProjectWritesACopyAndStays) {
    makeLibraryProject();
    ASSERT_TRUE(editor->isDirty());
    panels.destinations = {place("Copy.kelvane")};
    save(true);
    EXPECT_EQ(panels.askedDestinations[0].proposedName, "Trailer.kelvane");
    EXPECT_TRUE(exists(place("Copy.media")));
    EXPECT_THAT(read(place("Copy.kelvane")).clips, SizeIs(2));
    EXPECT_EQ(editor->projectURL(), projectFile());
    EXPECT_TRUE(editor->isDirty());
    EXPECT_THAT(panels.recentDocuments, ElementsAre(place("Copy.kelvane")));
}

TEST_F(Save, APlainSaveOfALibraryProjectIsNoRecentDocument) {
    makeLibraryProject();
    save(false);
    EXPECT_FALSE(editor->isDirty());
    EXPECT_THAT(panels.askedDestinations, IsEmpty());
    EXPECT_THAT(panels.recentDocuments, IsEmpty());
    EXPECT_THAT(read(projectFile()).clips, SizeIs(2));
    EXPECT_THAT(editor->undoStack(), SizeIs(1)) << "a save leaves the history alone";
}

TEST_F(Save, ACancelledPanelDoesNothing) {
    makeFileProject();
    save(false);
    EXPECT_THAT(panels.askedDestinations, SizeIs(1));
    EXPECT_EQ(editor->projectURL(), std::nullopt);
    EXPECT_TRUE(editor->isDirty());
    EXPECT_EQ(editor->error(), std::nullopt);
    EXPECT_THAT(entries(folder()), ElementsAre("Library", "Sources"));
}

TEST_F(Save, AnEditDuringThePanelIsSavedAlong) {
    makeFileProject();
    panels.hold = true;
    save(false);
    editor->commit({});
    panels.destinations.push_back(place("A.kelvane"));
    panels.release();
    context.settle();
    EXPECT_THAT(read(place("A.kelvane")).clips, IsEmpty());
    EXPECT_FALSE(editor->isDirty());
}

TEST_F(Save, APanelThatOutlivesTheEditorSavesNothing) {
    makeFileProject();
    panels.hold = true;
    panels.destinations.push_back(place("A.kelvane"));
    save(false);
    editor.reset();
    context.settle();
    panels.release();
    context.settle();
    EXPECT_FALSE(exists(place("A.kelvane")));
}

TEST_F(Save, AProjectThatAnotherWindowHasOpenIsNotOverwritten) {
    makeFileProject();
    std::vector<FileURL> asked;
    editor->canSaveToURL = [&asked](FileURL url) {
        asked.push_back(std::move(url));
        return refused();
    };
    panels.destinations.push_back(place("A.kelvane"));
    save(false);
    EXPECT_THAT(asked, ElementsAre(place("A.kelvane")));
    EXPECT_EQ(editor->error(),
              "This project is already open in another window. Choose a different name with Save Project As.");
    EXPECT_TRUE(editor->isDirty());
    EXPECT_FALSE(exists(place("A.kelvane")));
    EXPECT_THAT(panels.recentDocuments, IsEmpty());
}

TEST_F(Save, AFailedSaveIsToldAndLeavesEverything) {
    makeFileProject();
    panels.destinations.push_back(place("Gone").appending("A.kelvane"));
    // The media folder can't be made where a file stands in the way.
    std::ofstream(place("Gone").path()) << "no folder";
    save(false);
    ASSERT_TRUE(editor->error());
    EXPECT_FALSE(editor->error()->empty());
    EXPECT_TRUE(editor->isDirty());
    EXPECT_EQ(editor->projectURL(), std::nullopt);
    EXPECT_THAT(panels.recentDocuments, IsEmpty());
}

TEST_F(Save, AFailedWriteRemovesTheMediaThatWasCopied) {
    makeFileProject();
    // A folder of the file's own name can't be replaced by a file.
    std::filesystem::create_directories(place("A.kelvane").appending("inside").path());
    panels.destinations.push_back(place("A.kelvane"));
    save(false);
    EXPECT_TRUE(editor->error());
    EXPECT_TRUE(editor->isDirty());
    EXPECT_THAT(entries(folder()), ElementsAre("A.kelvane", "Library", "Sources"));
}

TEST_F(Save, NothingIsSavedWhileBusy) {
    makeFileProject();
    beBusy();
    testing::finish(context, editor->saveProject(false));
    testing::finish(context, editor->saveProject(true));
    EXPECT_THAT(panels.askedDestinations, IsEmpty());
}

TEST_F(Save, AManagedWriteMarksSavedWhenAsked) {
    makeLibraryProject();
    editor->setSaveFailed(true);
    const FileURL other = library().appending("Other.kelvane");
    ASSERT_TRUE(writeManaged(other, false));
    EXPECT_EQ(editor->projectURL(), other);
    EXPECT_TRUE(editor->isDirty());
    EXPECT_TRUE(editor->saveFailed());
    ASSERT_TRUE(writeManaged(other, true));
    EXPECT_FALSE(editor->isDirty());
    EXPECT_FALSE(editor->saveFailed());
    const Project saved = read(other);
    EXPECT_EQ(saved.clips, editor->clips());
    EXPECT_EQ(saved.mediaRoot->path(), mediaFolder().path());
}

TEST_F(Save, AFailedManagedWriteIsAnswered) {
    makeLibraryProject();
    const Result<void> written = writeManaged(place("Gone").appending("A.kelvane"), true);
    ASSERT_FALSE(written);
    EXPECT_EQ(editor->projectURL(), projectFile());
    EXPECT_TRUE(editor->isDirty());
    EXPECT_EQ(editor->error(), std::nullopt);
}

TEST_F(Save, ASavedProjectCanBeUndoneIntoADirtyOne) {
    makeLibraryProject();
    save(false);
    editor->undo();
    EXPECT_TRUE(editor->isDirty());
    editor->redo();
    EXPECT_FALSE(editor->isDirty());
}

}  // namespace
}  // namespace kelvane::testing
