#include <gtest/gtest.h>

#include <functional>

#include "SessionFixture.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

/// An assistant that edits while a person plays and records. The timeline is built, with the playhead at 1 s.
class SessionBesidePlay : public SessionFixture {
protected:
    SessionBesidePlay() {
        recording.lateAccess.emplace();
        recording.latePreparation.emplace();
        recording.lateStart.emplace();
        recording.endsAtOnce = false;
        editor->seekPreview(1);
    }
    /// Records a take of 2 s, and calls `atStep` at each step with its name.
    void record(const std::function<void(const char*)>& atStep) {
        editor->toggleVoiceOverRecording();
        atStep("while access is asked for");
        recording.lateAccess->give(true);
        for (const char* step : {"at three", "at two", "at one"}) {
            atStep(step);
            context.advance(1s);
        }
        atStep("while the folder is made");
        context.settle();
        atStep("while the device opens");
        recording.latePreparation->give(true);
        atStep("while the device starts");
        recording.lateStart->give(true);
        atStep("at the beginning of the take");
        recording.recorder->time = 2;
        context.advance(30ms);
        atStep("amid the take");
        ASSERT_TRUE(editor->isRecording());
        media.addFileNamed(recording.recorder->url().fileName(), FakeFile::audio(2));
        editor->toggleVoiceOverRecording();
        atStep("while the take is finished");
        recording.recorder->onFinish(true);
    }
    [[nodiscard]] Reply quieter() { return startWrite("clip", {{"id", clipID(0)}, {"volume", "0.5"}}); }
};

TEST_F(SessionBesidePlay, AnEditWhileItPlaysPausesAndIsShown) {
    editor->togglePlayback();
    player->playTo(2);
    const auto steps = editor->undoStack().size();
    const Reply reply = quieter();
    EXPECT_TRUE(editor->isPlaying()) << "until the edit is made";
    EXPECT_EQ(refusal(finish(reply)), "done");
    EXPECT_EQ(clip(0).volume, 0.5);
    EXPECT_EQ(editor->undoStack().size(), steps + 1);
    EXPECT_FALSE(editor->isPlaying());
    EXPECT_EQ(player->rate(), 0);
    const auto before = player->item();
    settlePreview();
    EXPECT_NE(player->item(), before);
    EXPECT_EQ(player->position(), 2) << "where a person was";
    EXPECT_EQ(editor->playhead(), 2);
}

TEST_F(SessionBesidePlay, AnEditAtEachStepOfABuildIsTheOneShown) {
    const auto edit = [this](const char* volume) {
        EXPECT_EQ(refusal(write("clip", {{"id", clipID(0)}, {"volume", volume}})), "done");
    };
    edit("0.1");
    context.advance(100ms);
    const int before = player->replacements;
    edit("0.2");
    context.advance(100ms);
    EXPECT_EQ(context.waitingInBackground(), 0U) << "the build of the edit before isn't begun";
    const Reply last = startWrite("clip", {{"id", clipID(0)}, {"volume", "0.3"}});
    // The edit is composed when the build of the one before begins.
    context.advance(80ms);
    while (context.waitingInBackground() > 0) context.stepBackground();
    EXPECT_EQ(refusal(finish(last)), "done");
    EXPECT_TRUE(editor->isBuilding());
    settlePreview();
    EXPECT_LE(player->replacements, before + 2) << "each edit is built once at the most";
    EXPECT_FALSE(editor->isBuilding());
    EXPECT_EQ(player->item()->audio.tracks.front().points.front().gain, 0.3F);
    EXPECT_EQ(editor->undoStack().size(), 3U);
    EXPECT_EQ(editor->playhead(), 1);
}

TEST_F(SessionBesidePlay, EveryWriteIsRefusedAtEachStepOfARecording) {
    const FileURL other = makeSource("other.mov", FakeFile::video(1));
    const auto tryAll = [&](const char* step) {
        const auto refuse = [&](const char* command, Options options) {
            const Reply reply = startWrite(command, std::move(options));
            context.runPosted();
            ASSERT_TRUE(reply->has_value()) << command << " " << step;
            EXPECT_EQ(refusal(**reply), busyText) << command << " " << step;
        };
        refuse("clip", {{"id", clipID(0)}, {"volume", "0.5"}});
        refuse("split", {{"id", clipID(0)}, {"at", "1"}});
        refuse("remove", {{"id", clipID(0)}});
        refuse("undo", {});
        refuse("redo", {});
        refuse("rename", {{"name", "Other"}});
        refuse("timeline", {{"json", "[]"}});
        refuse("import", {{"json", "[\"" + other.path() + "\"]"}});
        refuse("export", {{"path", folder().path() + "/out.mp4"}});
        EXPECT_EQ(state().at("busy"), true) << step;
    };
    const auto before = editor->clips();
    const std::string quoted = revision();
    record(tryAll);
    tryAll("while the take is imported");
    EXPECT_EQ(editor->clips(), before);
    context.settle();
    ASSERT_EQ(editor->clips().size(), before.size() + 1) << "the take";
    EXPECT_EQ(refusal(perform("clip", {{"id", clipID(0)}, {"volume", "0.5"}, {"revision", quoted}})), changedText);
    EXPECT_EQ(refusal(finish(quieter())), "done");
}

TEST_F(SessionBesidePlay, AnEditUnderWayWhenARecordingBeginsIsRefused) {
    const Reply reply = quieter();
    ASSERT_FALSE(reply->has_value()) << "it is being composed";
    editor->toggleVoiceOverRecording();
    ASSERT_TRUE(editor->busy());
    EXPECT_EQ(refusal(finish(reply)), busyText);
    EXPECT_EQ(clip(0).volume, 1);
    recording.lateAccess->give(false);
    EXPECT_EQ(refusal(finish(quieter())), "done");
}

}  // namespace
}  // namespace kelvane::testing
