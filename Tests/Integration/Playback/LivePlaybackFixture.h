#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Integration/LiveApplication.h"
#include "LiveWindow.h"
#include "NumberedFootage.h"
#include "PictureEye.h"
#include "PlaybackWitness.h"
#include "PrivateDisplay.h"
#include "Support/App/SoundEar.h"
#include "Support/SoundServer.h"

namespace kelvane::testing {

/// The real application in a window on a private display, with a private sound server and numbered footage. An eye
/// looks at the picture, an ear listens at the monitor of the sink, which is the microphone, too.
class LivePlayback : public ::testing::Test {
protected:
    /// What was seen and heard while it played.
    struct Play {
        std::vector<Sight> sights;
        SoundEar::Heard heard;
    };

    void SetUp() override;

    /// Two movies of 96 frames and an overlay of 1.6 s become the edit's; waits until its first frame is seen, which
    /// must be of the second file and of an even number.
    void open(NumberedTimeline edit);
    /// Lays another edit of the same files, and remembers it.
    void lay(NumberedTimeline edit);
    nlohmann::json state() const { return app->result({"project"}); }
    [[nodiscard]] double playhead() const { return state().value("playhead", -1.0); }

    static std::chrono::nanoseconds now() { return std::chrono::steady_clock::now().time_since_epoch(); }
    /// Presses Space until it is taken. None is while the preview of an edit is built, which nothing outside tells.
    void pressToPlay();
    /// Begins to play, waits until the playhead is at the end and all is silent, and expects what then is at rest: the
    /// last frame, unless the edit has sound alone and the playhead is where its pictures are over.
    Play playToTheEnd();
    /// Waits until a frame of the timeline has come that is no earlier than this, and not the last.
    bool sees(int atLeast, std::chrono::nanoseconds begun) const;
    /// Waits for silence after a sound later than `since`.
    bool fallsSilent(std::chrono::nanoseconds since) const;
    /// Waits until no other picture has come for a while.
    [[nodiscard]] bool picturesEnd() const;
    /// What was seen and heard since then.
    [[nodiscard]] Play since(std::chrono::nanoseconds begun) const;
    /// Waits until the playhead stands still and what stands there is seen, and expects that nothing else follows. The
    /// playhead.
    double expectRest();
    /// The code of the frame that an assistant is shown of a time of the timeline.
    [[nodiscard]] int codeInspectedAt(double seconds);
    /// Where the head of the playhead is, in the timeline's ruler, in points of the screen.
    [[nodiscard]] std::optional<ScreenRect> findPlayhead() const;

    TempFolder folder;
    SoundServer sound;
    PrivateDisplay display;
    std::unique_ptr<SoundEar> ear;
    std::unique_ptr<LiveApplication> app;
    std::unique_ptr<LiveWindow> window;
    std::unique_ptr<PictureEye> eye;
    NumberedTimeline timeline;
    std::vector<std::string> assets;

private:
    void start();
    [[nodiscard]] std::optional<ScreenRect> findPicture() const;
    /// The picture of a sheet with one tile.
    [[nodiscard]] ScreenImage sheetOf(double seconds) const;

    ScreenRect picture_;
    /// Where a sheet has its tile.
    std::optional<ScreenRect> tile_;
};

}  // namespace kelvane::testing
