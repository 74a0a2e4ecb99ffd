#include <gmock/gmock.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "ExportFixture.h"
#include "Support/UnprivilegedUser.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace std::chrono_literals;

/// How many of the process's descriptors hold a file that had the name `file` and has none any more.
std::size_t holdsOfTheReplaced(const FileURL& file) {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        count += std::filesystem::read_symlink(entry.path(), gone) == file.path() + " (deleted)" ? 1 : 0;
    }
    return count;
}

const Result<void> done;

TEST_F(Export, AFinishedMovieTakesItsNameAtTheEnd) {
    std::vector<std::string> during;
    media.exports.onFileWritten = [&](const FileURL&) { during = entries(output()); };
    EXPECT_EQ(run(place("Film.mp4")), done);
    ASSERT_THAT(during, SizeIs(1));
    EXPECT_THAT(during[0], ::testing::MatchesRegex("\\.kelvane-[0-9A-F-]{36}\\.mp4"));
    EXPECT_EQ(contents(place("Film.mp4")), media.exports.contents);
    EXPECT_EQ(editor->exportedURL(), place("Film.mp4"));
    EXPECT_EQ(editor->exportProgress(), 1);
    EXPECT_EQ(editor->exportFormat(), "1080 × 1920 · 30 fps · MP4");
    expectCleanedUp({"Film.mp4"});
    ASSERT_THAT(media.exportRecords(), SizeIs(1));
    EXPECT_EQ(media.exportRecords()[0].container, ExportContainer::mp4);
}

TEST_F(Export, TheExportingStateBeginsAtOnce) {
    editor->setShowExportOptions(true);
    const int pauses = player->pauses;
    start(place("Film.mov"));
    const auto expectTheNextRefused = [this] {
        EXPECT_TRUE(editor->busy());
        std::optional<Result<void>> second;
        const auto refused = keep(editor->exportMedia(place("Other.mov"), true, ExportResolution::automatic,
                                                      ExportFrameRate::automatic, nullptr),
                                  &second);
        EXPECT_EQ(second, Result<void>(fail("Kelvane is busy or the timeline is empty.")));
    };
    expectTheNextRefused();
    step();
    EXPECT_TRUE(editor->isExporting());
    EXPECT_FALSE(editor->showExportOptions());
    EXPECT_EQ(editor->exportFormat(), "Determining export settings… · MOV");
    EXPECT_EQ(editor->exportProgress(), 0);
    EXPECT_EQ(player->pauses, pauses + 1);
    expectTheNextRefused();
    context.settle();
    EXPECT_EQ(answer, done);
}

TEST_F(Export, TheExtensionChoosesTheContainerInAnyCase) {
    EXPECT_EQ(run(place("Film.MOV")), done);
    EXPECT_TRUE(std::filesystem::exists(place("Film.MOV").path()));
    EXPECT_EQ(media.exportRecords()[0].container, ExportContainer::mov);
    EXPECT_EQ(media.exportRecords()[0].file->extension(), "mov");
    EXPECT_EQ(run(place("Film.avi")), Result<void>(fail("Export requires a .mp4 or .mov path.")));
}

TEST_F(Export, NothingIsExportedWithoutClipsOrInAGesture) {
    const Result<void> refused = fail("Kelvane is busy or the timeline is empty.");
    editor->beginInteraction();
    EXPECT_EQ(run(place("Film.avi")), refused) << "asked before the extension";
    editor->endInteraction();
    expectUntouched();
    editor->commit({});
    EXPECT_EQ(run(place("Film.mp4")), refused);
    EXPECT_THAT(entries(output()), IsEmpty());
}

TEST_F(Export, AnExistingFileNeedsOverwrite) {
    std::ofstream(place("Film.mp4").path()) << "old";
    EXPECT_EQ(run(place("Film.mp4")), Result<void>(fail("Output exists; use --overwrite.")));
    expectUntouched();
    EXPECT_EQ(contents(place("Film.mp4")), "old");
    EXPECT_EQ(run(place("Film.mp4"), true), done);
    EXPECT_EQ(contents(place("Film.mp4")), media.exports.contents);
}

TEST_F(Export, WhetherThePlaceIsFreeIsAskedOnThePool) {
    EXPECT_EQ(run(place("First.mp4")), done);
    media.clearCalls();
    editor->setShowExportOptions(true);
    const int pauses = player->pauses;
    start(place("Film.mp4"));
    EXPECT_TRUE(editor->busy());
    EXPECT_FALSE(editor->isExporting());
    EXPECT_EQ(context.waitingInBackground(Lane::shortWork), 1U);
    std::ofstream(place("Film.mp4").path()) << "theirs";
    context.settle();
    EXPECT_EQ(answer, Result<void>(fail("Output exists; use --overwrite.")));
    // A refusal touches nothing.
    EXPECT_FALSE(editor->busy());
    EXPECT_TRUE(editor->showExportOptions());
    EXPECT_EQ(editor->exportProgress(), 1);
    EXPECT_EQ(editor->exportedURL(), place("First.mp4"));
    EXPECT_EQ(player->pauses, pauses);
    EXPECT_EQ(media.calls(), std::vector<std::string>());
}

TEST_F(Export, ThePlaceIsAskedForAgainWhereTheProjectChangedMeanwhile) {
    const FileURL late = makeManaged("late.mov", FakeFile::video(1));
    const FileURL link = place("link.mov");
    ASSERT_EQ(::symlink(late.path().c_str(), link.path().c_str()), 0);
    start(link, true);
    // A load that was under way ends, newest work first.
    load({videoClip(1, movie, 4)}, std::vector<Clip>{videoClip(92, late, 1)});
    EXPECT_FALSE(answer);
    context.settle();
    EXPECT_EQ(answer, Result<void>(fail("Output cannot replace project or source media.")));
    EXPECT_EQ(contents(late), "media of late.mov");
}

TEST_F(Export, NothingBeginsWhereTheProjectBecameBusyMeanwhile) {
    start(place("Film.mp4"));
    editor->beginCopying();
    context.settle();
    EXPECT_EQ(answer, Result<void>(fail("Kelvane is busy or the timeline is empty.")));
    expectUntouched();
    editor->endCopying();
    EXPECT_EQ(run(place("Film.mp4")), done);
}

TEST_F(Export, ACancelBeforeItBeganEndsIt) {
    start(place("Film.mp4"));
    editor->cancelExport();
    context.settle();
    ASSERT_TRUE(answer && !*answer);
    EXPECT_TRUE(answer->error().isCancelled());
    expectUntouched();
    expectCleanedUp({});
    EXPECT_EQ(run(place("Film.mp4")), done) << "the request ends with the export";
}

TEST_F(Export, TheReplacedFileIsFreedOnThePool) {
    std::ofstream(place("Film.mp4").path()) << "old";
    start(place("Film.mp4"), true);
    stepUntilPublished(place("Film.mp4"));
    EXPECT_EQ(holdsOfTheReplaced(place("Film.mp4")), 1U) << "its blocks are not freed by the rename";
    while (context.hasWork()) {
        context.runPosted();
        EXPECT_EQ(holdsOfTheReplaced(place("Film.mp4")), context.hasWork() ? 1U : 0U) << "nor on the main thread";
        context.stepBackground();
    }
    EXPECT_EQ(answer, done);
    EXPECT_EQ(holdsOfTheReplaced(place("Film.mp4")), 0U);
}

TEST_F(Export, SourcesAndTheProjectAreNeverReplaced) {
    const Result<void> refused = fail("Output cannot replace project or source media.");
    const FileURL unused = makeManaged("unused.mov", FakeFile::video(1));
    load({videoClip(1, movie, 4)}, std::vector<Clip>{videoClip(92, unused, 1)});
    const FileURL link = place("link.mov");
    ASSERT_EQ(::symlink(movie.path().c_str(), link.path().c_str()), 0);
    const FileURL detour = FileURL::fromPath(library().path() + "/../Library/Media/../" +
                                             movie.path().substr(library().path().size() + 1));
    for (const FileURL& file : {movie, unused, link, detour}) {
        EXPECT_EQ(run(file, true), refused) << file.path();
        EXPECT_EQ(run(file, false), Result<void>(fail("Output exists; use --overwrite."))) << file.path();
    }
    EXPECT_EQ(contents(movie), "media of a.mov");
    const FileURL project = place("Project.mov");
    ASSERT_TRUE(writeManaged(project, true));
    EXPECT_EQ(run(project, true), refused);
    EXPECT_EQ(run(mediaFolder().appending("Film.mov"), false), done) << "a new name in the project's folder is allowed";
}

TEST_F(Export, TheChoicesAreResolvedAndAnnounced) {
    const FileURL large = makeManaged("large.mov", FakeFile::video(4, {2160, 3840}, {}, 29.97F));
    load({videoClip(1, large, 4)});
    struct Row {
        ExportResolution resolution;
        ExportFrameRate rate;
        const char* name;
        std::string line;
        Size size;
        MediaTime frame;
    };
    using Resolution = ExportResolution;
    using Rate = ExportFrameRate;
    for (const Row& row :
         {Row{Resolution::automatic,
              Rate::automatic,
              "1.mp4",
              "2160 × 3840 · 29.97 fps · MP4",
              {2160, 3840},
              {1001, 30000}},
          Row{Resolution::fullHD, Rate::fps25, "2.mov", "1080 × 1920 · 25 fps · MOV", {1080, 1920}, {1, 25}},
          Row{Resolution::hd720, Rate::fps60, "3.mp4", "720 × 1280 · 60 fps · MP4", {720, 1280}, {1, 60}},
          Row{Resolution::quadHD,
              Rate::automatic,
              "4.mp4",
              "1440 × 2560 · 29.97 fps · MP4",
              {1440, 2560},
              {1001, 30000}}}) {
        SCOPED_TRACE(row.line);
        EXPECT_EQ(run(place(row.name), false, row.resolution, row.rate), done);
        EXPECT_EQ(editor->exportFormat(), row.line);
        const FakeExportRecord record = media.exportRecords().back();
        ASSERT_TRUE(record.media);
        EXPECT_EQ(record.media->video.renderSize, row.size);
        EXPECT_EQ(record.media->video.frameDuration, row.frame);
    }
}

TEST_F(Export, ASizeThatTheSourcesCanNotFillIsRefused) {
    EXPECT_EQ(run(place("Film.mp4"), false, ExportResolution::ultraHD),
              Result<void>(fail("4K requires enough source resolution in every video clip after crop and zoom.")));
    EXPECT_EQ(run(place("Film.mp4"), false, ExportResolution::quadHD),
              Result<void>(fail("1440p requires enough source resolution in every video clip after crop and zoom.")));
    EXPECT_EQ(editor->exportFormat(), "Determining export settings… · MP4");
    expectCleanedUp({});
}

TEST_F(Export, ATimelineOfSoundHasASizeInItsLineAndNoPictures) {
    load({audioClip(1, sound, 2).at(0)});
    EXPECT_EQ(run(place("Song.mp4")), done);
    EXPECT_EQ(editor->exportFormat(), "1080 × 1920 · 30 fps · MP4");
    EXPECT_EQ(media.exportRecords()[0].videoComposition, std::nullopt);
}

TEST_F(Export, ProgressIsReadEveryFifthOfASecond) {
    media.setProgress(0.25);
    start(place("Film.mp4"));
    for (int steps = 0; steps < 4; ++steps) step();
    ASSERT_EQ(editor->exportFormat(), "1080 × 1920 · 30 fps · MP4");
    EXPECT_EQ(editor->exportProgress(), 0.25F);
    media.setProgress(0.5);
    context.advance(199ms);
    EXPECT_EQ(editor->exportProgress(), 0.25F);
    context.advance(1ms);
    EXPECT_EQ(editor->exportProgress(), 0.5F);
    media.setProgress(0.75);
    context.advance(200ms);
    EXPECT_EQ(editor->exportProgress(), 0.75F);
    context.settle();
    EXPECT_EQ(editor->exportProgress(), 1);
    expectCleanedUp({"Film.mp4"});
}

TEST_F(Export, TheSnapshotOfTheStartIsExported) {
    start(place("Film.mp4"));
    editor->commit({});
    EXPECT_THAT(editor->clips(), SizeIs(1)) << "an export keeps edits out";
    context.settle();
    EXPECT_EQ(answer, done);
    EXPECT_THAT(media.exportRecords(), SizeIs(1));
}

TEST_F(Export, ACancelWhileTheSettingsAreDetermined) {
    start(place("Film.mp4"));
    step();
    editor->cancelExport();
    context.settle();
    ASSERT_TRUE(answer && !*answer);
    EXPECT_TRUE(answer->error().isCancelled());
    EXPECT_EQ(editor->exportFormat(), "Determining export settings… · MP4");
    EXPECT_TRUE(editor->exportCancellationRequested());
    EXPECT_THAT(media.exportRecords(), IsEmpty());
    expectCleanedUp({});
    EXPECT_EQ(run(place("Film.mp4")), done) << "the request ends with the export";
    EXPECT_FALSE(editor->exportCancellationRequested());
}

TEST_F(Export, ACancelEndsEachStep) {
    struct Row {
        const char* when;
        int steps;
        std::size_t sessions;
    };
    for (const Row& row :
         {Row{"the settings are determined and the edit is to be built", 2, 0},
          Row{"the edit is built and the session is to be made", 3, 1}, Row{"the session is to be run", 4, 1}}) {
        SCOPED_TRACE(row.when);
        const std::size_t before = media.exportRecords().size();
        start(place("Film.mp4"));
        for (int left = row.steps; left > 0; --left) step();
        editor->cancelExport();
        context.settle();
        ASSERT_TRUE(answer && !*answer);
        EXPECT_TRUE(answer->error().isCancelled());
        EXPECT_EQ(media.exportRecords().size() - before, row.sessions);
        EXPECT_EQ(editor->exportedURL(), std::nullopt);
        EXPECT_EQ(editor->exportFormat(), "1080 × 1920 · 30 fps · MP4") << "the line stays as it was";
        expectCleanedUp({});
    }
}

TEST_F(Export, AFailureOfTheHiddenFileTellsOfTheMovieThatWasAskedFor) {
    // The folder goes while the movie is being written.
    std::filesystem::create_directory(place("Movies").path());
    whenCalled("exportTo", [this] { std::filesystem::remove_all(place("Movies").path()); });
    const Result<void> ended = run(place("Movies").appending("Film.mp4"));
    ASSERT_FALSE(ended);
    EXPECT_EQ(ended.error().message, "“Film.mp4” could not be written: No such file or directory.");
}

TEST_F(Export, ACancelDuringTheEncodeRemovesTheHalfFile) {
    whenCalled("exportTo", [this] { editor->cancelExport(); });
    const Result<void> ended = run(place("Film.mp4"));
    ASSERT_FALSE(ended);
    EXPECT_TRUE(ended.error().isCancelled());
    EXPECT_EQ(media.count("cancelExport"), 1U);
    EXPECT_TRUE(media.exportRecords()[0].cancelled);
    expectCleanedUp({});
}

TEST_F(Export, ACancelAfterTheLastFramePublishesNothing) {
    media.exports.onFileWritten = [this](const FileURL&) { editor->cancelExport(); };
    const Result<void> ended = run(place("Film.mp4"));
    ASSERT_FALSE(ended);
    EXPECT_TRUE(ended.error().isCancelled());
    expectCleanedUp({});
}

TEST_F(Export, WhatComesAfterTheMovieHasItsNameTakesNothingFromIt) {
    std::stop_source stop;
    for (const bool byCaller : {false, true}) {
        start(place("Film.mp4"), true, ExportResolution::automatic, ExportFrameRate::automatic, nullptr,
              stop.get_token());
        stepUntilPublished(place("Film.mp4"));
        ASSERT_FALSE(answer) << "the folder is still to be synced";
        if (byCaller)
            stop.request_stop();
        else
            editor->cancelExport();
        context.settle();
        EXPECT_EQ(answer, done);
        EXPECT_EQ(editor->exportedURL(), place("Film.mp4"));
        EXPECT_EQ(editor->exportProgress(), 1);
        expectCleanedUp({"Film.mp4"});
        std::filesystem::remove(place("Film.mp4").path());
    }
}

TEST_F(Export, TheCallersStopReachesEveryStep) {
    for (const char* line : {"loadNominalFrameRate", "insertTimeRange", "makeExportSession", "exportTo"}) {
        SCOPED_TRACE(line);
        std::stop_source stop;
        whenCalled(line, [&stop] { stop.request_stop(); });
        const Result<void> ended = run(place("Film.mp4"), false, ExportResolution::automatic,
                                       ExportFrameRate::automatic, nullptr, stop.get_token());
        EXPECT_TRUE(stop.stop_requested());
        ASSERT_FALSE(ended);
        EXPECT_TRUE(ended.error().isCancelled());
        EXPECT_FALSE(editor->exportCancellationRequested());
        expectCleanedUp({});
    }
}

TEST_F(Export, ARunWithoutAFileIsToldByItsContainer) {
    media.exports.onFileWritten = [](const FileURL& file) { std::filesystem::remove(file.path()); };
    EXPECT_EQ(run(place("Film.mov")), Result<void>(fail("Export did not produce a MOV file.")));
    EXPECT_EQ(run(place("Film.mp4")), Result<void>(fail("Export did not produce a MP4 file.")));
    expectCleanedUp({});
}

TEST_F(Export, AVetoStopsThePublication) {
    std::ofstream(place("Film.mp4").path()) << "old";
    std::size_t files = 0;
    const auto veto = [&]() -> Result<void> {
        files = entries(output()).size();
        return fail("Read project again and use its latest revision.");
    };
    EXPECT_EQ(run(place("Film.mp4"), true, ExportResolution::automatic, ExportFrameRate::automatic, veto),
              Result<void>(fail("Read project again and use its latest revision.")));
    EXPECT_EQ(files, 2U) << "asked when the movie is complete";
    EXPECT_EQ(contents(place("Film.mp4")), "old");
    EXPECT_EQ(editor->exportedURL(), std::nullopt);
    expectCleanedUp({"Film.mp4"});
}

TEST_F(Export, AFileThatAppearsMeanwhileSurvives) {
    media.exports.onFileWritten = [this](const FileURL&) { std::ofstream(place("Film.mp4").path()) << "theirs"; };
    const Result<void> ended = run(place("Film.mp4"));
    EXPECT_EQ(ended, Result<void>(fail(Error("“Film.mp4” could not be saved: File exists.", "POSIX", EEXIST))));
    EXPECT_EQ(contents(place("Film.mp4")), "theirs");
    expectCleanedUp({"Film.mp4"});
}

TEST_F(Export, AFolderInThePlaceOfTheFileIsLeft) {
    std::filesystem::create_directories(place("Film.mp4").path());
    const Result<void> ended = run(place("Film.mp4"), true);
    EXPECT_EQ(ended, Result<void>(fail(Error("“Film.mp4” could not be saved: Is a directory.", "POSIX", EISDIR))));
    expectCleanedUp({"Film.mp4"});
}

TEST_F(Export, AMissingFolderIsToldBeforeTheEncode) {
    const FileURL gone = folder().appending("Gone");
    EXPECT_EQ(run(gone.appending("Film.mp4")),
              Result<void>(fail(Error("“Film.mp4” could not be saved in the folder “Gone”: No such file or directory.",
                                      "POSIX", ENOENT))));
    EXPECT_EQ(media.count("exportTo"), 0U);
    EXPECT_FALSE(std::filesystem::exists(gone.path()));
    EXPECT_EQ(run(movie.appending("Film.mp4")),
              Result<void>(fail(
                  Error("“Film.mp4” could not be saved in the folder “a.mov”: Not a directory.", "POSIX", ENOTDIR))));
}

TEST_F(Export, AFolderWithoutPermissionIsToldBeforeTheEncode) {
    std::filesystem::permissions(folder().path(), std::filesystem::perms{0755});
    std::filesystem::permissions(output().path(), std::filesystem::perms{0555});
    std::optional<UnprivilegedUser> user(std::in_place);
    EXPECT_EQ(run(place("Film.mp4")),
              Result<void>(fail(
                  Error("“Film.mp4” could not be saved in the folder “Output”: Permission denied.", "POSIX", EACCES))));
    user.reset();
    std::filesystem::permissions(output().path(), std::filesystem::perms::owner_all);
    expectCleanedUp({});
}

TEST_F(Export, AFailingEncoderIsPassedOnAndItsFileRemoved) {
    media.exports.failure = Error("The disk is full.");
    EXPECT_EQ(run(place("Film.mp4")), Result<void>(fail("The disk is full.")));
    expectCleanedUp({});
}

TEST_F(Export, AMissingEncoderIsPassedOn) {
    media.exports.available = false;
    EXPECT_EQ(run(place("Film.mp4")),
              Result<void>(fail("This device could not create an export session for the selected format.")));
    expectCleanedUp({});
}

TEST_F(Export, AnEditorThatIsLetGoFinishesItsExport) {
    start(place("Film.mp4"));
    const std::weak_ptr<Editor> weak = editor;
    editor.reset();
    context.settle();
    EXPECT_EQ(answer, done);
    EXPECT_TRUE(weak.expired());
    EXPECT_THAT(entries(output()), ElementsAre("Film.mp4"));
}

}  // namespace
}  // namespace kelvane::testing
