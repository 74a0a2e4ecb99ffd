#include <gmock/gmock.h>

#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using Ids = std::vector<UUID>;
using Answer = Result<Ids>;

class Import : public EditorFixture {
protected:
    Import() {
        a = makeSource("a.mov", FakeFile::video(4));
        b = makeSource("b.wav", FakeFile::audio(2));
        c = makeSource("c.mov", FakeFile::video(3));
        text = makeSource("text.txt", FakeFile::neither());
    }
    Answer import(std::vector<FileURL> urls, std::function<Result<void>()> validate = nullptr,
                  std::stop_token stop = {}) {
        return finish(editor->importMedia(std::move(urls), std::move(validate), std::move(stop)));
    }
    void importFromWindow(std::vector<FileURL> urls) {
        editor->importURLs(std::move(urls));
        context.settle();
    }
    [[nodiscard]] std::vector<std::string> assetNames() const {
        std::vector<std::string> names;
        for (const Clip& asset : editor->assets()) names.push_back(asset.url.fileName());
        return names;
    }
    /// Expects what a refused import leaves.
    void expectUntouched() {
        EXPECT_THAT(editor->assets(), IsEmpty());
        EXPECT_THAT(editor->undoStack(), IsEmpty());
        EXPECT_THAT(editor->thumbnails(), IsEmpty());
        EXPECT_THAT(mediaFiles(), IsEmpty());
        EXPECT_FALSE(editor->busy());
        EXPECT_FALSE(editor->isDirty());
    }

    FileURL a, b, c, text;
};

TEST_F(Import, TheChooserOffersMedia) {
    panels.files.push_back({a, b});
    editor->importFiles();
    EXPECT_THAT(panels.askedFiles,
                ElementsAre(FakePanels::FilesQuestion{PanelContent::media, "Choose videos or audio files."}));
    context.settle();
    EXPECT_THAT(assetNames(), ElementsAre("a.mov", "b.wav"));
}

TEST_F(Import, ACancelledChooserDoesNothing) {
    editor->importFiles();
    EXPECT_FALSE(editor->busy());
    EXPECT_EQ(context.waitingInBackground(), 0U);
}

TEST_F(Import, WhileBusyNothingIsImported) {
    editor->importURLs({a});
    editor->importFiles();
    EXPECT_THAT(panels.askedFiles, IsEmpty());
    editor->importURLs({c});
    context.settle();
    EXPECT_THAT(assetNames(), ElementsAre("a.mov"));
    editor->importURLs({});
    EXPECT_FALSE(editor->busy());
}

TEST_F(Import, AnImportBringsCopiesIntoThePoolAndNothingOntoTheTimeline) {
    editor->importURLs({a, b});
    EXPECT_TRUE(editor->isImporting());
    EXPECT_THAT(editor->assets(), IsEmpty());
    context.settle();
    EXPECT_FALSE(editor->isImporting());
    ASSERT_THAT(editor->assets(), SizeIs(2));
    const Clip& movie = editor->assets()[0];
    EXPECT_EQ(movie.originalURL, a);
    EXPECT_TRUE(movie.url.path().starts_with(mediaFolder().path() + "/"));
    EXPECT_EQ(movie.sourceDuration, 4);
    EXPECT_FALSE(movie.isAudio());
    EXPECT_EQ(editor->assets()[1].audioOnly, true);
    EXPECT_THAT(editor->clips(), IsEmpty());
    EXPECT_EQ(editor->thumbnails().size(), 1U);
    EXPECT_TRUE(editor->thumbnails().contains(movie.url));
    EXPECT_THAT(mediaFiles(), SizeIs(4)) << "a folder and a file each";
    EXPECT_TRUE(editor->isDirty());
    EXPECT_EQ(projectChanges, 1);
    EXPECT_EQ(editor->error(), std::nullopt);
}

TEST_F(Import, AnImportFromTheWindowIsNoStepAndKeepsRedo) {
    editor->commit({videoClip(1)});
    editor->undo();
    importFromWindow({a});
    EXPECT_THAT(editor->undoStack(), IsEmpty());
    EXPECT_THAT(editor->redoStack(), SizeIs(1));
}

TEST_F(Import, TheSameFileTwiceIsImportedOnce) {
    importFromWindow({a, a});
    EXPECT_THAT(assetNames(), ElementsAre("a.mov"));
    EXPECT_THAT(mediaFiles(), SizeIs(2));
}

TEST_F(Import, FromTheWindowTellsWhichOfHowManyFilesIsBroughtIn) {
    EXPECT_EQ(editor->importProgress(), Editor::ImportProgress());
    editor->importURLs({a, a, text, c});
    std::vector<std::size_t> files;
    while (editor->isImporting()) {
        EXPECT_EQ(editor->importProgress().count, 4U);
        files.push_back(editor->importProgress().file);
        ASSERT_TRUE(context.stepBackground());
        context.runPosted();
    }
    EXPECT_THAT(files, ElementsAre(1, 3, 3, 4)) << "the copy of what failed is removed before the next";
    EXPECT_EQ(editor->importProgress(), Editor::ImportProgress());
    auto commanded = editor->importMedia({b}, nullptr, {});
    EXPECT_EQ(editor->importProgress(), Editor::ImportProgress()) << "an assistant's import isn't a person's";
    context.settle();
}

TEST_F(Import, FromTheWindowStopsAtTheFileUnderWayAndKeepsThoseBeforeIt) {
    editor->importURLs({a, text, b, c});
    // The first one, and the failure with its removal.
    for (int step = 0; step < 3; ++step) {
        ASSERT_TRUE(context.stepBackground());
        context.runPosted();
    }
    ASSERT_EQ(editor->importProgress().file, 3U);
    editor->cancelImport();
    EXPECT_TRUE(editor->isImporting()) << "until the file under way is put away";
    context.settle();
    EXPECT_FALSE(editor->isImporting());
    EXPECT_THAT(assetNames(), ElementsAre("a.mov"));
    EXPECT_THAT(mediaFiles(), SizeIs(2)) << "no copy of the second";
    EXPECT_EQ(editor->error(), std::nullopt) << "nothing is said";
    EXPECT_EQ(projectChanges, 1);
    editor->cancelImport();
    importFromWindow({b});
    EXPECT_THAT(assetNames(), ElementsAre("a.mov", "b.wav")) << "a stop is for the import that it came in";
}

TEST_F(Import, FromTheWindowKeepsAFileThatWasDoneWhenTheStopCame) {
    editor->importURLs({a, c});
    ASSERT_TRUE(context.stepBackground());
    editor->cancelImport();
    context.settle();
    EXPECT_THAT(assetNames(), ElementsAre("a.mov"));
    EXPECT_THAT(mediaFiles(), SizeIs(2));
    EXPECT_EQ(editor->error(), std::nullopt);
}

TEST_F(Import, FilesThatFailFromTheWindowAreListedOnce) {
    const auto other = makeSource("other.txt", FakeFile::neither());
    importFromWindow({text});
    const auto first = editor->error().value_or("");
    editor->setError(std::nullopt);
    importFromWindow({other});
    const auto second = editor->error().value_or("");
    editor->setError(std::nullopt);
    importFromWindow({text, other, a, text});
    EXPECT_EQ(editor->error(), first == second ? first : first + "\n" + second);
    EXPECT_THAT(assetNames(), ElementsAre("a.mov"));
}

TEST_F(Import, AFileIsKnownByThePlaceItCameFrom) {
    importFromWindow({a});
    const FileURL inside = editor->assets()[0].url;
    media.clearCalls();
    importFromWindow({a, inside});
    EXPECT_THAT(assetNames(), ElementsAre("a.mov"));
    EXPECT_EQ(media.count("openAsset"), 0U);
    EXPECT_EQ(editor->error(), std::nullopt);
}

TEST_F(Import, TheSameFileByAnotherPathIsAnotherFile) {
    const FileURL link = sources().appending("link.mov");
    ASSERT_EQ(::symlink(a.path().c_str(), link.path().c_str()), 0);
    media.addFileNamed("link.mov", FakeFile::video(4));
    importFromWindow({a, link});
    EXPECT_THAT(editor->assets(), SizeIs(2));
}

TEST_F(Import, TwoPathsOfOneFileInOneCommandAreOneAsset) {
    const FileURL link = sources().appending("link.mov");
    ASSERT_EQ(::symlink(a.path().c_str(), link.path().c_str()), 0);
    media.addFileNamed("link.mov", FakeFile::video(4));
    const Answer answer = import({a, link, a});
    ASSERT_TRUE(answer) << answer.error().message;
    ASSERT_THAT(editor->assets(), SizeIs(1));
    EXPECT_EQ(*answer, Ids(3, editor->assets()[0].id));
}

TEST_F(Import, OutsideTheLibraryACommandLeavesFilesWhereTheyAre) {
    makeEditor(false);
    const Answer answer = import({a, b});
    ASSERT_TRUE(answer) << answer.error().message;
    ASSERT_THAT(editor->assets(), SizeIs(2));
    EXPECT_EQ(editor->assets()[0].url, a);
    EXPECT_EQ(editor->assets()[1].url, b);
    EXPECT_EQ(*answer, (Ids{editor->assets()[0].id, editor->assets()[1].id}));
}

TEST_F(Import, AnImportWithoutAPictureForgetsAnOlderOne) {
    makeEditor(false);
    ASSERT_TRUE(import({a}));
    editor->undo();
    ASSERT_TRUE(editor->thumbnails().contains(a));
    media.failOn("image a.mov", "no picture");
    ASSERT_TRUE(import({a}));
    EXPECT_FALSE(editor->thumbnails().contains(a));
}

TEST_F(Import, ABadFileIsToldAndTheOthersArrive) {
    importFromWindow({a, text, c});
    EXPECT_THAT(assetNames(), ElementsAre("a.mov", "c.mov"));
    EXPECT_EQ(editor->error(), "“text.txt” has an invalid trim range or could not be read.");
    EXPECT_THAT(mediaFiles(), SizeIs(4));
}

TEST_F(Import, FailuresAreJoinedWithLineBreaks) {
    const FileURL other = makeSource("other.txt", FakeFile::neither());
    importFromWindow({text, other});
    EXPECT_EQ(editor->error(),
              "“text.txt” has an invalid trim range or could not be read.\n"
              "“other.txt” has an invalid trim range or could not be read.");
}

TEST_F(Import, AFailingCopyIsToldAndLeavesNothing) {
    const FileURL gone = sources().appending("gone.mov");
    media.addFileNamed("gone.mov", FakeFile::video(1));
    importFromWindow({gone, a});
    EXPECT_THAT(assetNames(), ElementsAre("a.mov"));
    ASSERT_TRUE(editor->error());
    EXPECT_THAT(*editor->error(), ::testing::HasSubstr("gone.mov"));
    EXPECT_THAT(mediaFiles(), SizeIs(2));
}

TEST_F(Import, AnImportThatBringsNothingNewLeavesDirtyAlone) {
    importFromWindow({a});
    editor->setDirty(false);
    projectChanges = 0;
    importFromWindow({a, text});
    EXPECT_FALSE(editor->isDirty());
    EXPECT_EQ(projectChanges, 0);
}

TEST_F(Import, OutsideTheLibraryFilesStayWhereTheyAre) {
    makeEditor(false);
    importFromWindow({a});
    ASSERT_THAT(editor->assets(), SizeIs(1));
    EXPECT_EQ(editor->assets()[0].url, a);
    EXPECT_EQ(editor->assets()[0].originalURL, std::nullopt);
    EXPECT_TRUE(editor->thumbnails().contains(a));
}

TEST_F(Import, FilesAreProbedOneAtATime) {
    editor->importURLs({a, c});
    for (int file = 0; file < 2; ++file) {
        context.runPosted();
        EXPECT_EQ(context.waitingInBackground(), 1U);
        ASSERT_TRUE(context.stepBackground());
    }
    context.settle();
    EXPECT_THAT(editor->assets(), SizeIs(2));
}

TEST_F(Import, AnEditorThatIsLetGoFinishesItsImport) {
    editor->importURLs({a, c});
    const std::weak_ptr<Editor> weak = editor;
    editor.reset();
    context.settle();
    EXPECT_TRUE(weak.expired());
    EXPECT_THAT(mediaFiles(), SizeIs(4));
}

TEST_F(Import, ACommandsImportIsOneStep) {
    editor->commit({videoClip(1)});
    editor->undo();
    const Answer answer = import({a, b});
    ASSERT_TRUE(answer) << answer.error().message;
    EXPECT_EQ(*answer, ids(editor->assets()));
    EXPECT_THAT(assetNames(), ElementsAre("a.mov", "b.wav"));
    EXPECT_THAT(editor->undoStack(), SizeIs(1));
    EXPECT_THAT(editor->redoStack(), IsEmpty());
    EXPECT_EQ(editor->thumbnails().size(), 1U);
    EXPECT_TRUE(editor->isDirty());
    editor->undo();
    EXPECT_THAT(editor->assets(), IsEmpty());
    EXPECT_THAT(mediaFiles(), SizeIs(4)) << "the files stay for a redo";
}

TEST_F(Import, TheSameFileTwiceInOneCommandGivesOneIdTwice) {
    const Answer answer = import({a, a});
    ASSERT_TRUE(answer);
    ASSERT_THAT(*answer, SizeIs(2));
    EXPECT_EQ((*answer)[0], (*answer)[1]);
    EXPECT_THAT(editor->assets(), SizeIs(1));
    EXPECT_THAT(editor->undoStack(), SizeIs(1));
    EXPECT_THAT(mediaFiles(), SizeIs(2));
}

TEST_F(Import, KnownFilesAreAnsweredWithoutAStep) {
    importFromWindow({a, b});
    const Ids known = ids(editor->assets());
    projectChanges = 0;
    const Answer answer = import({b, a, editor->assets()[0].url});
    EXPECT_EQ(answer, (Ids{known[1], known[0], known[0]}));
    EXPECT_THAT(editor->undoStack(), IsEmpty());
    EXPECT_EQ(projectChanges, 0);
}

TEST_F(Import, OldAndNewFilesAreAnsweredInTheOrderAsked) {
    importFromWindow({b});
    const UUID old = editor->assets()[0].id;
    const Answer answer = import({c, b, a});
    ASSERT_TRUE(answer);
    EXPECT_THAT(assetNames(), ElementsAre("b.wav", "c.mov", "a.mov"));
    EXPECT_EQ(*answer, (Ids{editor->assets()[1].id, old, editor->assets()[2].id}));
}

TEST_F(Import, ACommandIsRefusedWhileBusyAndDuringAGesture) {
    editor->beginInteraction();
    EXPECT_EQ(import({a}), Answer(fail("Kelvane is busy.")));
    importFromWindow({b});
    EXPECT_THAT(assetNames(), ElementsAre("b.wav")) << "the window's import goes on in a gesture";
    editor->endInteraction();
    editor->importURLs({a});
    std::optional<Answer> refused;
    const auto task = keep(editor->importMedia({c}, nullptr), &refused);
    EXPECT_EQ(refused, Answer(fail("Kelvane is busy.")));
    EXPECT_TRUE(editor->busy()) << "the refusal leaves the other import's flag alone";
}

TEST_F(Import, OneBadFileFailsTheWholeCommand) {
    EXPECT_EQ(import({a, text, c}), Answer(fail("“text.txt” has an invalid trim range or could not be read.")));
    expectUntouched();
    EXPECT_EQ(editor->error(), std::nullopt);
}

TEST_F(Import, AVetoAtTheLastMomentRemovesTheCopies) {
    const Answer answer = import({a, b}, [this]() -> Result<void> {
        EXPECT_TRUE(editor->isImporting());
        EXPECT_THAT(mediaFiles(), SizeIs(4));
        return fail("Read project again and use its latest revision.");
    });
    EXPECT_EQ(answer, Answer(fail("Read project again and use its latest revision.")));
    expectUntouched();
}

TEST_F(Import, NoFilesAtAllStillAskForTheVeto) {
    int asked = 0;
    const Answer answer = import({}, [&asked]() -> Result<void> {
        ++asked;
        return {};
    });
    EXPECT_EQ(answer, Ids{});
    EXPECT_EQ(asked, 1);
    EXPECT_THAT(editor->undoStack(), IsEmpty());
}

TEST_F(Import, AStopAmidTheLastFileImportsNothing) {
    for (const bool inLibrary : {true, false}) {
        makeEditor(inLibrary);
        std::stop_source stop;
        media.setObserver([&stop](const std::string& line) {
            if (line.starts_with("image c.mov")) stop.request_stop();
        });
        int asked = 0;
        const Answer answer = import(
            {a, c},
            [&asked]() -> Result<void> {
                ++asked;
                return {};
            },
            stop.get_token());
        ASSERT_FALSE(answer) << inLibrary;
        EXPECT_TRUE(answer.error().isCancelled());
        EXPECT_EQ(asked, 0);
        expectUntouched();
    }
}

TEST_F(Import, AStoppedCommandEndsAtTheNextFile) {
    std::stop_source stop;
    media.setObserver([&stop](const std::string& line) {
        if (line.starts_with("image a.mov")) stop.request_stop();
    });
    int asked = 0;
    const Answer answer = import(
        {a, c},
        [&asked]() -> Result<void> {
            ++asked;
            return {};
        },
        stop.get_token());
    ASSERT_FALSE(answer);
    EXPECT_TRUE(answer.error().isCancelled());
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(media.count("openAsset c.mov"), 0U);
    expectUntouched();
}

TEST_F(Import, AnUndoOfAStepWithAssetsMayTakeLaterImportsAlong) {
    ASSERT_TRUE(import({a}));
    importFromWindow({c});
    EXPECT_THAT(assetNames(), ElementsAre("a.mov", "c.mov"));
    editor->undo();
    EXPECT_THAT(editor->assets(), IsEmpty());
    EXPECT_THAT(mediaFiles(), SizeIs(4));
    editor->redo();
    EXPECT_THAT(assetNames(), ElementsAre("a.mov", "c.mov"));
}

}  // namespace
}  // namespace kelvane::testing
