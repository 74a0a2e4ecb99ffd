#include <algorithm>
#include <cmath>
#include <filesystem>
#include <random>

#include "Media/FFmpeg/Sound/Limiter.h"
#include "Media/FFmpeg/Sound/SoundRenderer.h"
#include "Media/MediaError.h"
#include "PlaybackFixture.h"

namespace kelvane::testing {
namespace {

class SoundStreams : public Playback {
protected:
    Clip overlay(const FileURL& file, double start, double end, double at, double volume = 1) {
        Clip made = clip(file, start, end);
        made.timelineStart = at;
        made.volume = volume;
        return made;
    }
    /// Seven seconds, at three places louder than full scale.
    EditedMediaPtr loud() {
        const FileURL wav = makeSampleSound(folder_.path(), "a.wav", 4);
        // Without noise substitution, of which a decoder makes something else each time.
        const FileURL m4a =
            makeSampleSound(folder_.path(), "b.m4a", 6, 44100, {"-c:a", "aac", "-b:a", "160k", "-aac_pns", "0"});
        return edit({overlay(m4a, 0, 6, 1), overlay(m4a, 0, 6, 1, 0.9), overlay(wav, 0, 1, 1.5), overlay(wav, 1, 2, 3),
                     overlay(wav, 0, 0.2, 5), overlay(wav, 0.5, 4, 0)});
    }
    /// What the encoder of an export gets.
    static std::vector<float> exported(const EditedMediaPtr& media, std::size_t samples) {
        SoundRenderer renderer(media);
        std::vector<float> mix(samples * 2);
        EXPECT_TRUE(renderer.render(0, mix, {}));
        Limiter limiter;
        std::vector<float> out;
        limiter.process(mix, out);
        limiter.finish(out);
        return out;
    }
    static std::vector<float> read(SoundStream& stream, std::int64_t first, std::size_t samples) {
        std::vector<float> out(samples * 2, 7.0F);
        const auto done = stream.read(first, out, {});
        EXPECT_TRUE(done) << done.error().message;
        return out;
    }
};

TEST_F(SoundStreams, InOrderAreAnExportsSamplesWhateverTheRangesLengths) {
    const auto media = loud();
    const auto whole = exported(media, 7 * 48000);
    ASSERT_GT(std::ranges::count_if(whole, [](float value) { return std::fabs(value) > 0.98F; }), 10) << "limited";
    const auto stream = platform_.makeSoundStream(media);
    std::mt19937 random(1);
    for (std::int64_t at = 0; at < 7 * 48000;) {
        const auto count = std::min<std::int64_t>(static_cast<std::int64_t>(random() % 9000), 7 * 48000 - at);
        const auto part = read(*stream, at, static_cast<std::size_t>(count));
        ASSERT_TRUE(std::equal(part.begin(), part.end(), whole.begin() + at * 2)) << at;
        at += count;
    }
}

TEST_F(SoundStreams, FromAnywhereAreAnExportsSamples) {
    const auto media = loud();
    const auto whole = exported(media, 7 * 48000);
    const auto stream = platform_.makeSoundStream(media);
    std::mt19937 random(2);
    for (int i = 0; i < 40; ++i) {
        const auto at = static_cast<std::int64_t>(random() % (6 * 48000));
        const auto part = read(*stream, at, 2000);
        for (std::size_t n = 0; n < part.size(); ++n) {
            // The limiter's sums are rounded by what went before.
            ASSERT_NEAR(part[n], whole[static_cast<std::size_t>(at) * 2 + n], 1e-6F) << at << " + " << n / 2;
        }
    }
}

TEST_F(SoundStreams, AreSilentBehindTheEndAndBeforeTheBeginning) {
    const auto stream = platform_.makeSoundStream(loud());
    const auto isSilent = [](const std::vector<float>& sound) {
        return std::ranges::all_of(sound, [](float value) { return value == 0; });
    };
    EXPECT_TRUE(isSilent(read(*stream, 8 * 48000, 5000)));
    EXPECT_TRUE(isSilent(read(*stream, 100 * 48000, 5000)));
    EXPECT_TRUE(isSilent(read(*stream, -5000, 5000)));
    EXPECT_TRUE(isSilent(read(*platform_.makeSoundStream(edit({})), 0, 100)));
}

TEST_F(SoundStreams, EndAsCancelledOnAStopAndGoOnAfterwards) {
    const auto media = loud();
    const auto stream = platform_.makeSoundStream(media);
    std::stop_source stopped;
    stopped.request_stop();
    std::vector<float> out(200);
    const auto refused = stream->read(48000, out, stopped.get_token());
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().isCancelled());
    const auto whole = exported(media, 2 * 48000);
    const auto part = read(*stream, 0, 48000);
    EXPECT_TRUE(std::equal(part.begin(), part.end(), whole.begin()));
}

TEST_F(SoundStreams, OfAnEditGoOnWithTheReadersOfTheOneBefore) {
    const auto before = loud();
    auto stream = platform_.makeSoundStream(before);
    read(*stream, 0, 7 * 48000);
    EXPECT_EQ(platform_.sounds().count(), 0U) << "all on loan";
    stream.reset();
    const std::int64_t opened = platform_.sounds().openedCount();
    const std::size_t waiting = platform_.sounds().count();
    EXPECT_GT(waiting, 0U);
    const int probes = platform_.probeCount();
    for (int edits = 0; edits < 5; ++edits) {
        const auto after = edit({overlay(folder_.url("b.m4a"), 0.5, 4, 0.25), overlay(folder_.url("a.wav"), 1, 3, 1)});
        const auto whole = exported(after, 4 * 48000);
        stream = platform_.makeSoundStream(after);
        const auto sound = read(*stream, 0, 3 * 48000);
        ASSERT_TRUE(std::equal(sound.begin(), sound.end(), whole.begin())) << "whoever read with them before";
        stream.reset();
    }
    EXPECT_EQ(platform_.sounds().openedCount(), opened);
    EXPECT_EQ(platform_.sounds().count(), waiting);
    EXPECT_EQ(platform_.probeCount(), probes);
}

TEST_F(SoundStreams, LeaveNoMoreReadersThanTheLimit) {
    std::vector<Clip> clips;
    for (std::size_t i = 0; i < SoundReaderPool::most + 3; ++i) {
        const auto at = static_cast<double>(i) / 10;
        clips.push_back(overlay(makeSampleSound(folder_.path(), "s" + std::to_string(i) + ".wav", 2), 0, 2, at));
    }
    for (int i = 0; i < 3; ++i) {
        read(*platform_.makeSoundStream(edit(clips)), 0, 3 * 48000);
        EXPECT_EQ(platform_.sounds().count(), SoundReaderPool::most);
    }
    EXPECT_EQ(platform_.sounds().openedCount(), static_cast<std::int64_t>(clips.size()) + 2 * 3);
}

/// A voice from 0 to 4 s and music from 1 to 5 s, of which the voice goes in the midst of it, and comes back.
TEST_F(SoundStreams, AreSilentWhereASourceHasGoneAndGoOnWithTheOthers) {
    const FileURL voice = makeSampleSound(folder_.path(), "Voice.wav", 4);
    const FileURL music = makeSampleSound(folder_.path(), "Music.wav", 4);
    const auto both = exported(edit({overlay(voice, 0, 4, 0), overlay(music, 0, 4, 1, 0.25)}), 5 * 48000);
    const auto alone = exported(edit({overlay(music, 0, 4, 1, 0.25)}), 5 * 48000);
    const auto stream = platform_.makeSoundStream(edit({overlay(voice, 0, 4, 0), overlay(music, 0, 4, 1, 0.25)}));
    const auto expectPart = [&](const std::vector<float>& whole, std::int64_t first, const char* what) {
        const auto part = read(*stream, first, 24000);
        for (std::size_t n = 0; n < part.size(); ++n)
            ASSERT_NEAR(part[n], whole[static_cast<std::size_t>(first) * 2 + n], 1e-6F) << what << " + " << n / 2;
    };
    expectPart(both, 48000, "both");
    const std::string away = voice.path() + ".away";
    std::filesystem::rename(voice.path(), away);
    // What was rendered already is still heard: the limiter's look ahead.
    read(*stream, 72000, 24000);
    expectPart(alone, 96000, "gone");
    makeSampleSound(folder_.path(), "Voice.wav", 3);
    expectPart(alone, 120000, "replaced");
    std::filesystem::remove(voice.path());
    std::filesystem::rename(away, voice.path());
    read(*stream, 144000, 24000);
    expectPart(both, 168000, "back");
}

TEST_F(SoundStreams, OfAnExportFailWithTheNameOfASourceThatHasGone) {
    const FileURL wav = makeSampleSound(folder_.path(), "Voice.wav", 4);
    const auto media = edit({overlay(wav, 0, 4, 0)});
    std::filesystem::remove(wav.path());
    std::vector<float> out(200, 7.0F);
    const auto failed = SoundRenderer(media).render(0, out, {});
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error(), MediaError::invalidClip("Voice"));
    const auto played = read(*platform_.makeSoundStream(media), 0, 100);
    EXPECT_TRUE(std::ranges::all_of(played, [](float value) { return value == 0; })) << "a player goes on";
}

}  // namespace
}  // namespace kelvane::testing
