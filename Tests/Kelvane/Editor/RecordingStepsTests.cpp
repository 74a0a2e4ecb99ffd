#include <functional>
#include <string_view>

#include "RecordingFixture.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

constexpr auto noStart = "The microphone could not start recording. Check your audio input in System Settings.";

/// A recording whose every step waits until the test lets it go on.
class RecordingSteps : public Recording {
protected:
    RecordingSteps() {
        recording.lateAccess.emplace();
        recording.latePreparation.emplace();
        recording.lateStart.emplace();
        recording.endsAtOnce = false;
    }
    /// Calls `atStep` at each step of a recording that lands, with its name: all in which the button does nothing, and
    /// those of the countdown and the take, in which it would end them.
    void record(const std::function<void(const char*)>& atStep, const std::function<void(const char*)>& atOwnStep) {
        editor->toggleVoiceOverRecording();
        atStep("while access is asked for");
        recording.lateAccess->give(true);
        for (const char* step : {"at three", "at two", "at one"}) {
            atOwnStep(step);
            context.advance(1s);
        }
        atStep("while the folder is made");
        context.settle();
        atStep("while the device opens");
        recording.latePreparation->give(true);
        atStep("while the device starts");
        recording.lateStart->give(true);
        ASSERT_TRUE(editor->isRecording());
        atOwnStep("at the beginning of the take");
        recordTo(2);
        atOwnStep("amid the take");
        describeTake(FakeFile::audio(2));
        editor->toggleVoiceOverRecording();
        atStep("while the take is finished");
        recording.recorder->onFinish(true);
        atStep("while the take is imported");
        context.settle();
    }
    void expectTheTakeAlone() const {
        ASSERT_EQ(editor->clips().size(), 2U);
        EXPECT_EQ(editor->clips()[1].timelineStart, 1);
        EXPECT_EQ(editor->clips()[1].duration(), 2);
        EXPECT_EQ(editor->assets().size(), 2U);
        EXPECT_EQ(editor->undoStack().size(), 1U);
        EXPECT_EQ(recording.requests, 1);
        EXPECT_EQ(editor->error(), std::nullopt);
        expectIdle();
    }
};

TEST_F(RecordingSteps, AToggleWhereNothingCanBeEndedDoesNothing) {
    const auto toggle = [this](const char* step) {
        const bool prepares = editor->isPreparingRecording();
        editor->toggleVoiceOverRecording();
        editor->togglePlayback();
        EXPECT_EQ(editor->isPreparingRecording(), prepares) << step;
        EXPECT_FALSE(editor->isRecording()) << step;
        EXPECT_FALSE(editor->isPlaying()) << step;
        EXPECT_EQ(editor->recordingCountdown(), std::nullopt) << step;
        if (recording.recorder != nullptr)
            EXPECT_EQ(recording.recorder->stops, editor->recordingClip() ? 1 : 0) << step;
    };
    record(toggle, [](const char*) {});
    expectTheTakeAlone();
}

TEST_F(RecordingSteps, NothingElseChangesTheTimelineMeanwhile) {
    const auto tryAll = [this](const char* step) {
        const auto clips = editor->clips();
        const auto undo = editor->undoStack().size();
        editor->commit({});
        editor->update(uuid(1), [](Clip& clip) { clip.volume = 0.5; });
        editor->addAssets({uuid(91)}, std::nullopt);
        editor->deleteAssets({uuid(91)});
        editor->split();
        editor->undo();
        editor->redo();
        editor->beginInteraction();
        editor->showAssetPreview(uuid(91));
        editor->previewAssetHover(uuid(91), 0.5);
        editor->importURLs({makeSource("late.mov", FakeFile::video(1))});
        editor->exportVideo();
        EXPECT_FALSE(editor->rewindTimeline()) << step;
        EXPECT_EQ(editor->clips(), clips) << step;
        EXPECT_EQ(editor->assets().size(), 1U) << step;
        EXPECT_EQ(editor->undoStack().size(), undo) << step;
        EXPECT_EQ(editor->interactionSnapshot(), std::nullopt) << step;
        EXPECT_EQ(editor->previewAssetID(), std::nullopt) << step;
        EXPECT_EQ(editor->hoverPreview(), std::nullopt) << step;
        EXPECT_FALSE(editor->isImporting()) << step;
        EXPECT_FALSE(editor->showExportOptions()) << step;
        EXPECT_FALSE(editor->isBuilding()) << step;
    };
    record(tryAll, tryAll);
    expectTheTakeAlone();
}

TEST_F(RecordingSteps, ASeekUntilTheDeviceHasStartedMovesTheTake) {
    const auto seek = [this](std::string_view step) {
        if (step == "while the device starts") editor->seekPreview(3);
    };
    record(seek, seek);
    ASSERT_EQ(editor->clips().size(), 2U);
    EXPECT_EQ(editor->clips()[1].timelineStart, 3);
    EXPECT_EQ(editor->playhead(), 3);
}

TEST_F(RecordingSteps, ARefusalAtAnyStepLeavesNothing) {
    for (const bool opens : {false, true}) {
        recording.lateAccess.emplace();
        recording.latePreparation.emplace();
        recording.lateStart.emplace();
        editor->toggleVoiceOverRecording();
        recording.lateAccess->give(true);
        context.advance(3s);
        context.settle();
        recording.latePreparation->give(opens);
        recording.lateStart->give(false);
        context.settle();
        expectIdle();
        expectNoTakes();
        EXPECT_EQ(editor->error(), noStart);
        EXPECT_FALSE(player->isMuted());
        editor->setError(std::nullopt);
    }
}

/// A recording whose device and files answer at once.
using RecordingEnds = Recording;

TEST_F(RecordingEnds, ADeviceThatVanishesKeepsWhatWasHeard) {
    begin();
    recordTo(1.5);
    describeTake(FakeFile::audio(1.5));
    recording.recorder->onFinish(true);
    EXPECT_FALSE(editor->isRecording());
    EXPECT_TRUE(editor->isPreparingRecording());
    EXPECT_EQ(player->rate(), 0);
    EXPECT_FALSE(player->isMuted());
    context.settle();
    expectIdle();
    ASSERT_EQ(editor->clips().size(), 2U);
    EXPECT_EQ(editor->clips()[1].duration(), 1.5);
    EXPECT_EQ(editor->playhead(), 1);
}

TEST_F(RecordingEnds, ATakeLandsAlthoughTheProjectIsBeingCopied) {
    begin();
    recordTo(1);
    describeTake(FakeFile::audio(1));
    editor->beginCopying();
    editor->toggleVoiceOverRecording();
    context.settle();
    ASSERT_EQ(editor->clips().size(), 2U);
    EXPECT_EQ(editor->undoStack().size(), 1U);
    EXPECT_TRUE(editor->isDirty());
    editor->endCopying();
}

TEST_F(RecordingEnds, OnePeakStandsForEachThirtiethOfASecond) {
    begin();
    for (int tick = 1; tick <= 1000; ++tick) recordTo(tick * 0.03, static_cast<float>(-tick % 7));
    EXPECT_NEAR(static_cast<double>(editor->recordingPeaks().size()), 900, 1);
    EXPECT_EQ(recording.recorder->meterUpdates, 1000);
}

TEST_F(RecordingEnds, ATimelineThatIsBuiltLatePlaysBesideTheTakeFromThere) {
    editor->showAssetPreview(uuid(91));
    settlePreview();
    editor->toggleVoiceOverRecording();
    // The timeline is built for longer than the countdown lasts.
    context.runPosted();
    context.advance(3s);
    ASSERT_TRUE(context.stepNewestBackground());
    context.runPosted();
    ASSERT_TRUE(editor->isRecording());
    ASSERT_TRUE(editor->isBuilding());
    EXPECT_EQ(player->rate(), 0) << "the asset doesn't play";
    recordTo(2);
    context.settle();
    EXPECT_FALSE(editor->isBuilding());
    EXPECT_EQ(player->rate(), 1);
    EXPECT_TRUE(editor->isPlaying());
    EXPECT_TRUE(player->isMuted());
    EXPECT_EQ(player->position(), 3);
    EXPECT_EQ(editor->playhead(), 3);
}

TEST_F(RecordingEnds, ATimelineThatIsBuiltAgainAmidATakeGoesOnBesideIt) {
    begin();
    recordTo(1);
    editor->rebuildPreview();
    recordTo(2);
    settlePreview();
    EXPECT_EQ(player->rate(), 1);
    EXPECT_EQ(player->position(), 3);
    EXPECT_TRUE(editor->isPlaying());
    EXPECT_TRUE(player->isMuted());
}

}  // namespace
}  // namespace kelvane::testing
