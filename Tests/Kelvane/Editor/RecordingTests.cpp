#include <gmock/gmock.h>

#include <cmath>

#include "RecordingFixture.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::FloatEq;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using namespace std::chrono_literals;

constexpr auto noAccess =
    "Microphone access is required to record a voice over. Allow Kelvane in System Settings → Privacy & Security → "
    "Microphone.";
constexpr auto noStart = "The microphone could not start recording. Check your audio input in System Settings.";

TEST_F(Recording, IsCountedInForThreeSeconds) {
    editor->toggleVoiceOverRecording();
    EXPECT_TRUE(editor->isPreparingRecording());
    context.settle();
    for (const int count : {3, 2, 1}) {
        EXPECT_EQ(editor->recordingCountdown(), count);
        EXPECT_FALSE(editor->isRecording());
        context.advance(999ms);
        EXPECT_EQ(editor->recordingCountdown(), count);
        context.advance(1ms);
    }
    EXPECT_EQ(editor->recordingCountdown(), std::nullopt);
    context.settle();
    EXPECT_TRUE(editor->isRecording());
    EXPECT_FALSE(editor->isPreparingRecording());
}

TEST_F(Recording, RunsBesideTheMutedTimeline) {
    begin();
    EXPECT_TRUE(player->isMuted());
    EXPECT_EQ(player->rate(), 1);
    EXPECT_TRUE(editor->isPlaying());
    ASSERT_TRUE(editor->recordingClip());
    const Clip& live = *editor->recordingClip();
    EXPECT_TRUE(live.isAudio());
    EXPECT_EQ(live.timelineStart, 1);
    EXPECT_DOUBLE_EQ(live.end, 1.0 / 30);
    EXPECT_TRUE(live.isValid());
    EXPECT_EQ(live.url.parentFolder(), *editor->mediaDirectory());
    EXPECT_THAT(live.url.fileName(), MatchesRegex("Voice Over ....-..-.. ..\\...\\... [0-9A-F]{6}\\.m4a"));
}

TEST_F(Recording, GrowsWithTheTake) {
    begin();
    recordTo(0.02, -20);
    EXPECT_DOUBLE_EQ(editor->recordingClip()->end, 1.0 / 30) << "never shorter than a frame";
    recordTo(0.5, -6);
    EXPECT_EQ(editor->recordingElapsed(), 0.5);
    EXPECT_EQ(editor->playhead(), 1.5);
    EXPECT_EQ(editor->recordingClip()->end, 0.5);
    EXPECT_EQ(editor->recordingClip()->sourceDuration, 0.5);
    ASSERT_EQ(editor->recordingPeaks().size(), 16U);
    EXPECT_FLOAT_EQ(editor->recordingPeaks()[0], 0.1F);
    EXPECT_FLOAT_EQ(editor->recordingPeaks()[1], std::pow(10.0F, -0.3F)) << "a stall leaves a flat stretch";
    EXPECT_FLOAT_EQ(editor->recordingPeaks()[15], std::pow(10.0F, -0.3F));
}

TEST_F(Recording, TwoLooksInOneSlotKeepTheLouder) {
    begin();
    recordTo(0.01, -20);
    recordTo(0.02, -40);
    EXPECT_THAT(editor->recordingPeaks(), ElementsAre(FloatEq(0.1F)));
    recordTo(0.03, 0);
    EXPECT_THAT(editor->recordingPeaks(), ElementsAre(FloatEq(1)));
}

TEST_F(Recording, LandsAsASoundWhereItBeganInOneStepOfHistory) {
    const auto steps = editor->undoStack().size();
    begin();
    recordTo(2);
    describeTake(FakeFile::audio(2));
    const UUID live = editor->recordingClip()->id;
    editor->toggleVoiceOverRecording();
    EXPECT_FALSE(editor->isRecording());
    EXPECT_TRUE(editor->isPreparingRecording()) << "until it is imported";
    EXPECT_TRUE(editor->recordingClip()) << "shown until it is imported";
    EXPECT_EQ(player->rate(), 0);
    EXPECT_FALSE(player->isMuted());
    context.settle();
    expectIdle();
    ASSERT_EQ(editor->clips().size(), 2U);
    const Clip& take = editor->clips()[1];
    EXPECT_EQ(take.id, live);
    EXPECT_TRUE(take.isAudio());
    EXPECT_EQ(take.timelineStart, 1);
    EXPECT_EQ(take.duration(), 2);
    EXPECT_EQ(take.audioTrackID, std::nullopt);
    ASSERT_EQ(editor->assets().size(), 2U);
    EXPECT_EQ(editor->assets()[1].url, take.url);
    EXPECT_EQ(editor->selectedClipIDs(), std::set<UUID>{live});
    EXPECT_EQ(editor->playhead(), 1);
    EXPECT_EQ(editor->error(), std::nullopt);
    EXPECT_EQ(editor->undoStack().size(), steps + 1);
    editor->undo();
    EXPECT_EQ(editor->clips().size(), 1U);
    EXPECT_EQ(editor->assets().size(), 2U);
}

TEST_F(Recording, AToggleDuringTheCountdownLeavesNothing) {
    for (int seconds = 0; seconds < 3; ++seconds) {
        editor->toggleVoiceOverRecording();
        context.settle();
        context.advance(std::chrono::seconds(seconds));
        ASSERT_NE(editor->recordingCountdown(), std::nullopt);
        editor->toggleVoiceOverRecording();
        expectIdle();
        context.advance(10s);
        context.settle();
        expectIdle();
    }
    EXPECT_EQ(editor->clips().size(), 1U);
    expectNoTakes();
    EXPECT_EQ(editor->error(), std::nullopt);
}

TEST_F(Recording, SpaceEndsATake) {
    begin();
    recordTo(1);
    describeTake(FakeFile::audio(1));
    editor->togglePlayback();
    EXPECT_FALSE(editor->isRecording());
    context.settle();
    EXPECT_EQ(editor->clips().size(), 2U);
}

TEST_F(Recording, WithoutAccessNothingIsCounted) {
    recording.allowed = false;
    editor->toggleVoiceOverRecording();
    context.settle();
    expectIdle();
    EXPECT_EQ(editor->error(), noAccess);
    EXPECT_EQ(context.pendingTimers(), 0U);
}

TEST_F(Recording, AMicrophoneThatDoesNotStartLeavesNoFile) {
    for (const bool prepares : {false, true}) {
        recording.prepares = prepares;
        recording.records = !prepares;
        begin();
        expectIdle();
        EXPECT_EQ(editor->error(), noStart);
        expectNoTakes();
        EXPECT_FALSE(player->isMuted());
        EXPECT_EQ(player->rate(), 0);
        editor->setError(std::nullopt);
    }
}

TEST_F(Recording, AFolderThatCannotBeMadeIsTold) {
    makeEditor(false);
    editor->commit({videoClip(1, movie, 4)});
    settlePreview();
    const TempFolder data;
    data.write("Kelvane", "a file in the way");
    const std::string before = std::getenv("XDG_DATA_HOME") != nullptr ? std::getenv("XDG_DATA_HOME") : "";
    ::setenv("XDG_DATA_HOME", data.url().path().c_str(), 1);
    begin();
    before.empty() ? ::unsetenv("XDG_DATA_HOME") : ::setenv("XDG_DATA_HOME", before.c_str(), 1);
    expectIdle();
    EXPECT_NE(editor->error(), std::nullopt);
}

TEST_F(Recording, AFailedTakeLeavesTheTimelineAsItWas) {
    struct Row {
        bool encoding;
        const char* words;
    };
    for (const Row& row : {Row{false, "Voice-over recording failed. Please try again."},
                           Row{true, "The voice-over audio could not be recorded."}}) {
        begin();
        recordTo(1);
        if (row.encoding)
            recording.recorder->onEncodeError(Error("No space left on device"));
        else
            recording.recorder->onFinish(false);
        EXPECT_FALSE(editor->isRecording());
        EXPECT_EQ(player->rate(), 0);
        EXPECT_FALSE(player->isMuted());
        context.settle();
        expectIdle();
        EXPECT_EQ(editor->error(), row.words);
        EXPECT_EQ(editor->clips().size(), 1U);
        EXPECT_EQ(editor->assets().size(), 1U);
        expectNoTakes();
        editor->setError(std::nullopt);
        editor->seekPreview(1);
    }
}

TEST_F(Recording, ATakeThatCannotBeImportedIsDropped) {
    for (const bool isVideo : {false, true}) {
        begin();
        recordTo(0.01);
        describeTake(isVideo ? FakeFile::video(2) : FakeFile::audio(0.01));
        const std::string name = recording.recorder->url().baseName();
        const std::string fileName = recording.recorder->url().fileName();
        editor->toggleVoiceOverRecording();
        context.settle();
        expectIdle();
        EXPECT_EQ(editor->error(),
                  "“" + (isVideo ? name : fileName) + "” has an invalid trim range or could not be read.");
        EXPECT_EQ(editor->clips().size(), 1U);
        EXPECT_EQ(editor->assets().size(), 1U);
        expectNoTakes();
        editor->setError(std::nullopt);
        editor->seekPreview(1);
    }
}

TEST_F(Recording, ASecondEndDoesNothing) {
    begin();
    recordTo(1);
    describeTake(FakeFile::audio(1));
    FakeRecorder* recorder = recording.recorder;
    editor->toggleVoiceOverRecording();
    recorder->onFinish(false);
    context.settle();
    EXPECT_EQ(editor->clips().size(), 2U);
    EXPECT_EQ(editor->error(), std::nullopt);
}

TEST_F(Recording, AtTheEndOfTheTimelineNothingPlaysAndThePlayheadGoesOn) {
    editor->seekPreview(4);
    begin();
    EXPECT_TRUE(editor->isRecording());
    EXPECT_EQ(player->plays, 0);
    EXPECT_FALSE(editor->isPlaying());
    recordTo(2.5);
    EXPECT_EQ(editor->playhead(), 6.5);
    describeTake(FakeFile::audio(2.5));
    editor->toggleVoiceOverRecording();
    context.settle();
    EXPECT_EQ(editor->clips().back().timelineStart, 4);
}

TEST_F(Recording, APlayerThatWasMutedStaysSo) {
    player->setMuted(true);
    begin();
    recording.recorder->onFinish(false);
    context.settle();
    EXPECT_TRUE(player->isMuted());
}

TEST_F(Recording, LeavesThePreviewOfAnAssetAndKeepsThePlace) {
    editor->showAssetPreview(uuid(91));
    settlePreview();
    begin();
    settlePreview();
    EXPECT_EQ(editor->previewAssetID(), std::nullopt);
    EXPECT_THAT(editor->selectedAssetIDs(), IsEmpty());
    EXPECT_TRUE(editor->isRecording());
    EXPECT_EQ(editor->recordingClip()->timelineStart, 1);
}

TEST_F(Recording, KeepsEditsAndSeeksOut) {
    begin();
    editor->commit({});
    editor->seekPreview(3);
    editor->undo();
    EXPECT_EQ(editor->clips().size(), 1U);
    EXPECT_EQ(editor->playhead(), 1);
    EXPECT_TRUE(editor->busy());
}

TEST_F(Recording, DoesNotBeginWhileBusyWhileAPreviewIsBuiltAndDuringAGesture) {
    editor->commit({videoClip(1, movie, 3)});
    editor->toggleVoiceOverRecording();
    EXPECT_FALSE(editor->isPreparingRecording());
    settlePreview();
    editor->beginInteraction();
    editor->toggleVoiceOverRecording();
    EXPECT_FALSE(editor->isPreparingRecording());
    editor->endInteraction();
    beBusy();
    editor->toggleVoiceOverRecording();
    EXPECT_FALSE(editor->isPreparingRecording());
    context.settle();
    EXPECT_EQ(recording.requests, 0);
}

TEST_F(Recording, AnEditorThatGoesAmidATakeEndsIt) {
    begin();
    recordTo(1);
    ASSERT_NE(recording.recorder, nullptr);
    editor.reset();
    context.settle();
    EXPECT_EQ(recording.recorder, nullptr);
    EXPECT_EQ(context.pendingTimers(), 0U);
}

}  // namespace
}  // namespace kelvane::testing
