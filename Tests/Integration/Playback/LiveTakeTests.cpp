#include <signal.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "LivePlaybackFixture.h"
#include "Storage/ProjectFile.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

/// Above all tones of the footage, Hz.
constexpr int voice = 8000;
/// Seconds: an ear's steps, and what a coder's windows smear.
constexpr double earshot = 0.005;
/// A voice comes to lie no further than a frame from what it spoke to, as far as an eye that looks each 5 ms and that
/// ear can tell.
constexpr double nearness = 1.0 / 30 + 0.005 + 2 * earshot;
/// A machine that keeps the eye from looking for longer, by a frame, is too busy to tell what is near in time.
constexpr auto tooLong = 33ms;
/// The timeline has all the rows that it shows at once, so that a take's makes it no higher and the picture keeps its
/// place in the window.
const NumberedTimeline film{.pieces = {{1, 20, 80}, {0, 3, 63}}, .mutedLanes = 3};
const std::string busy = "Kelvane is busy. Finish importing, exporting or the current timeline interaction.";
const std::string stays = "kelvane: Not quitting: “First Film” is recording.\n";

double secondsOf(std::chrono::nanoseconds time) { return std::chrono::duration<double>(time).count(); }

class LiveTake : public LivePlayback {
protected:
    /// The takes' files.
    [[nodiscard]] std::vector<std::string> takes() const {
        std::vector<std::string> found;
        for (const auto& entry : folder.entries())
            if (entry.ends_with(".m4a")) found.push_back(folder.path(entry));
        return found;
    }
    [[nodiscard]] static SoundEar::Heard decode(const std::string& path) {
        const auto decoded =
            runProcess({"ffmpeg", "-v", "error", "-i", path, "-f", "f32le", "-ac", "1", "-ar", "48000", "-"});
        EXPECT_EQ(decoded.status, 0) << decoded.errors;
        SoundEar::Heard heard;
        heard.samples.resize(decoded.output.size() / sizeof(float));
        std::memcpy(heard.samples.data(), decoded.output.data(), heard.samples.size() * sizeof(float));
        return heard;
    }
    /// Plays up to about this frame and stops there; where that is, seconds.
    double stopAt(int index) {
        const auto begun = now();
        window->press(' ');
        EXPECT_TRUE(sees(index, begun));
        window->press(' ');
        EXPECT_TRUE(fallsSilent(begun));
        return expectRest();
    }
    /// Presses R, which does nothing as long as it isn't known whether the microphone may be used. Whether the editor
    /// was free within a second.
    [[nodiscard]] bool cancelCountdown() const {
        window->press('r');
        const auto end = now() + 1s;
        while (isBusy())
            if (now() > end) return false;
        return true;
    }
    [[nodiscard]] bool isBusy() const { return state().value("busy", false); }
    /// Where the timeline's zero was by what was seen, seconds of the play: by those that came soonest, as a busy
    /// machine shows others late.
    [[nodiscard]] double zeroSeen(const Play& play) const {
        std::vector<double> zeros;
        for (const Sight& sight : play.sights)
            if (const auto index = timeline.indexOf(sight.code))
                zeros.push_back(secondsOf((sight.notBefore + sight.notAfter) / 2 - play.heard.from) - *index / 30.0);
        return zeros.empty() ? 0 : quantile(zeros, 0.1);
    }
    /// The film's tones from a time on.
    [[nodiscard]] std::vector<ExpectedTone> tonesFrom(double seconds) const {
        auto tones = timeline.tones();
        std::erase_if(tones, [seconds](const ExpectedTone& tone) { return tone.from < seconds; });
        return tones;
    }
    /// Refuses to quit, once more, and stays.
    void expectStay(int times) {
        app->signal(SIGTERM);
        EXPECT_TRUE(eventually([&] {
            const auto told = folder.read("application.log");
            int found = 0;
            for (auto at = told.find(stays); at != std::string::npos; at = told.find(stays, at + 1)) ++found;
            return found == times;
        })) << folder.read("application.log");
        EXPECT_TRUE(app->isRunning());
    }
};

TEST_F(LiveTake, HoldsAVoiceWhereThePictureWasAsItSpoke) {
    open(film);
    if (HasFatalFailure()) return;
    const double start = stopAt(10);
    const auto before = state();
    const auto begun = now();
    window->press('r');
    const int first = static_cast<int>(start * 30);
    ASSERT_TRUE(sees(first + 8, begun));
    ASSERT_TRUE(sound.addVoice(voice));
    ASSERT_TRUE(sees(first + 30, begun));
    ASSERT_TRUE(sound.removeVoice());
    ASSERT_TRUE(sees(first + 40, begun));
    window->press(' ');
    ASSERT_TRUE(eventually([this] { return !isBusy(); }));
    const auto took = since(begun);

    // It stands where it began, and holds the voice at the frame that was shown.
    const auto after = state();
    ASSERT_EQ(after["timeline"].size(), before["timeline"].size() + 1);
    EXPECT_NEAR(after["timeline"].back().value("timelineStart", -1.0), start, 1e-9);
    EXPECT_NEAR(after.value("playhead", -1.0), start, 1e-9);
    ASSERT_EQ(takes().size(), 1U);
    const auto spoken = stretchOf(took.heard, voice);
    const auto kept = stretchOf(decode(takes().front()), voice);
    ASSERT_TRUE(spoken && kept);
    const double zero = zeroSeen(took);
    const double off = start + kept->first - (spoken->first - zero);
    RecordProperty("voiceAfterPictureMilliseconds", std::to_string(off * 1000));
    const bool wasHeldUp = eye->longestBlink(begun) > tooLong;
    if (!wasHeldUp) {
        EXPECT_NEAR(off, 0, nearness);
        EXPECT_NEAR(kept->second - kept->first, spoken->second - spoken->first, 2 * earshot);
    }
    // The film was silent beside it.
    const auto loud = ear->loudSince(begun, numbered::amplitude / 4);
    ASSERT_TRUE(loud);
    EXPECT_NEAR(secondsOf(*loud - took.heard.from), spoken->first, 2 * earshot);

    // It can be played at once, in its place.
    const auto played = now();
    const auto play = playToTheEnd();
    EXPECT_EQ(pictureFault(play.sights, timeline), "");
    const auto onset = ear->loudSince(played, numbered::amplitude / 4);
    ASSERT_TRUE(onset);
    const auto tones =
        measure(play.heard, tonesFrom(start), *onset - std::chrono::nanoseconds(std::llround(start * 1e9)));
    const auto replayed = stretchOf(play.heard, voice);
    ASSERT_TRUE(replayed);
    if (eye->longestBlink(played) <= tooLong)
        EXPECT_NEAR(replayed->first - secondsOf(tones.zero - play.heard.from), start + kept->first, 2 * earshot);

    // One step of the history.
    const auto undone = app->result({"undo", "--revision", app->revision()});
    EXPECT_EQ(undone["timeline"], before["timeline"]);
    EXPECT_EQ(app->result({"redo", "--revision", app->revision()})["timeline"], after["timeline"]);
    EXPECT_EQ(app->quit(), 0);
    if (wasHeldUp) GTEST_SKIP() << "the machine was too busy for what is near in time: " << off << " s";
}

TEST_F(LiveTake, KeepsEditsAndQuittingOutUntilItIsOver) {
    open(film);
    if (HasFatalFailure()) return;
    window->press('r');
    ASSERT_TRUE(eventually([this] { return isBusy(); }));
    ASSERT_TRUE(eventually([this] { return cancelCountdown(); }));
    EXPECT_TRUE(takes().empty()) << "a countdown that was cancelled left a file";

    const auto begun = now();
    window->press('r');
    ASSERT_TRUE(eventually([this] { return isBusy(); }));
    const auto revision = app->revision();
    expectStay(1);
    EXPECT_EQ(app->refusal({"undo", "--revision", revision}), busy);
    ASSERT_TRUE(sees(5, begun));
    expectStay(2);
    EXPECT_EQ(app->refusal({"undo", "--revision", revision}), busy);
    EXPECT_EQ(app->refusal({"timeline", "--revision", revision, "--json", "[]"}), busy);
    EXPECT_EQ(app->revision(), revision);
    window->press(' ');
    ASSERT_TRUE(eventually([this] { return !isBusy(); }));
    EXPECT_EQ(state()["timeline"].size(), film.pieces.size() + film.mutedLanes + 1);

    // What was kept is saved, and nothing else lies about.
    EXPECT_EQ(app->quit(), 0);
    const auto saved = ProjectFile::read(app->projectFile());
    ASSERT_TRUE(saved) << saved.error().message;
    ASSERT_EQ(saved->clips.size(), film.pieces.size() + film.mutedLanes + 1);
    ASSERT_EQ(takes().size(), 1U);
    EXPECT_EQ(saved->clips.back().url.path(), takes().front());
    EXPECT_GT(saved->clips.back().duration(), 5.0 / 30);
    EXPECT_TRUE(std::ranges::none_of(
        folder.entries(), [](const std::string& entry) { return entry.find("Unfinished/") != std::string::npos; }));
}

}  // namespace
}  // namespace kelvane::testing
