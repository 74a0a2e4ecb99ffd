#pragma once

#include <gmock/gmock.h>

#include <chrono>
#include <optional>

#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"

namespace kelvane::testing {

/// A timeline of one video of 4 s with the playhead at 1, and a microphone.
class Recording : public EditorFixture {
protected:
    Recording() {
        movie = makeManaged("a.mov", FakeFile::video(4));
        load({videoClip(1, movie, 4)}, std::vector<Clip>{videoClip(91, movie, 4)});
        settlePreview();
        editor->seekPreview(1);
    }
    /// The button, and the countdown to its end.
    void begin() {
        editor->toggleVoiceOverRecording();
        context.settle();
        for (int i = 0; i < 3; ++i) {
            context.advance(std::chrono::seconds(1));
            context.settle();
        }
    }
    /// What the take will be when it is imported.
    void describeTake(FakeFile file) { media.addFileNamed(recording.recorder->url().fileName(), std::move(file)); }
    /// Lets the take grow to `seconds`, and looks at it.
    void recordTo(double seconds, float power = -20) {
        recording.recorder->time = seconds;
        recording.recorder->power = power;
        context.advance(std::chrono::milliseconds(30));
    }
    void expectIdle() const {
        EXPECT_FALSE(editor->busy());
        EXPECT_FALSE(editor->isRecording());
        EXPECT_EQ(editor->recordingCountdown(), std::nullopt);
        EXPECT_EQ(editor->recordingClip(), std::nullopt);
        EXPECT_THAT(editor->recordingPeaks(), ::testing::IsEmpty());
        EXPECT_EQ(recording.recorder, nullptr);
    }
    void expectNoTakes() const {
        EXPECT_THAT(entries(mediaFolder()), ::testing::Each(::testing::Not(::testing::HasSubstr("Voice Over"))));
    }

    FileURL movie;
};

}  // namespace kelvane::testing
