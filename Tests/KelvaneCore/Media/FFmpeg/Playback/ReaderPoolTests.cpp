#include "Media/FFmpeg/Source/PictureDecoder.h"
#include "Media/MediaError.h"
#include "PlaybackFixture.h"

namespace kelvane::testing {
namespace {

class Readers : public Playback {
protected:
    using Track = std::shared_ptr<const FFmpegTrack>;
    Track track(const std::string& name, const std::string& parameters = "keyint=30:bframes=0") {
        return firstTrack(movie(name, parameters), MediaType::video);
    }
    /// Borrows a reader and brings it to a frame.
    static void bring(ReaderPool& pool, const Track& track, int frame, ReaderRole role, std::uint64_t user) {
        auto lease = pool.lease(track, {frame, 30}, role, user, {});
        ASSERT_TRUE(lease) << lease.error().message;
        EXPECT_EQ(numberAt(**lease, {frame, 30}), frame);
    }
};

TEST_F(Readers, AreAtMostAsManyAsTheLimit) {
    const auto pool = ReaderPool::make({.readers = 3, .bytes = 1'000'000'000});
    const std::uint64_t user = pool->newUser();
    std::vector<Track> tracks;
    for (int i = 0; i < 5; ++i) tracks.push_back(track("a" + std::to_string(i) + ".mp4"));
    for (const Track& one : tracks) {
        bring(*pool, one, 3, ReaderRole::showing, user);
        EXPECT_LE(pool->count(), 3U);
    }
    EXPECT_EQ(pool->openedCount(), 5);
    bring(*pool, tracks[4], 4, ReaderRole::showing, user);
    bring(*pool, tracks[2], 4, ReaderRole::showing, user);
    EXPECT_EQ(pool->openedCount(), 5) << "the ones used last are still open";
    bring(*pool, tracks[0], 4, ReaderRole::showing, user);
    EXPECT_EQ(pool->openedCount(), 6);
}

TEST_F(Readers, TakeAtMostTheBytesOfTheLimitButForTheTwoUsedLast) {
    const Track a = track("a.mp4");
    const Track b = track("b.mp4");
    const Track c = track("c.mp4");
    const auto pool = ReaderPool::make({.readers = 9, .bytes = 10'000'000});
    const std::uint64_t user = pool->newUser();
    bring(*pool, a, 3, ReaderRole::showing, user);
    const std::int64_t each = pool->bytes();
    ASSERT_GT(each, pictureDecoderBytes(a->facts().pictureBytes, 1));
    ASSERT_GT(2 * each, 10'000'000 - each) << "room for two at the most";
    bring(*pool, b, 3, ReaderRole::showing, user);
    bring(*pool, c, 3, ReaderRole::showing, user);
    EXPECT_LE(pool->bytes(), 10'000'000);

    const auto narrow = ReaderPool::make({.readers = 9, .bytes = 1});
    bring(*narrow, a, 3, ReaderRole::showing, user);
    bring(*narrow, b, 3, ReaderRole::preparing, user);
    EXPECT_EQ(narrow->count(), 2U) << "the one that shows and the one that stands ready";
    bring(*narrow, a, 4, ReaderRole::showing, user);
    bring(*narrow, b, 4, ReaderRole::showing, user);
    EXPECT_EQ(narrow->openedCount(), 2);
}

TEST_F(Readers, OnLoanAreNeverClosed) {
    const auto pool = ReaderPool::make({.readers = 1, .bytes = 1});
    const Track a = track("a.mp4");
    auto first = pool->lease(a, {}, ReaderRole::showing, 1, {});
    auto second = pool->lease(a, {}, ReaderRole::showing, 1, {});
    ASSERT_TRUE(first && second);
    EXPECT_EQ(pool->count(), 2U);
    EXPECT_EQ(numberAt(**first, {5, 30}), 5);
    EXPECT_EQ(numberAt(**second, {7, 30}), 7);
}

TEST_F(Readers, AreTheNearestBeforeTheTime) {
    const auto pool = ReaderPool::make();
    const Track a = track("a.mp4", "keyint=120:bframes=0");
    const std::uint64_t user = pool->newUser();
    bring(*pool, a, 10, ReaderRole::showing, user);
    bring(*pool, a, 80, ReaderRole::preparing, user);
    EXPECT_EQ(pool->openedCount(), 2);
    const std::int64_t before = pool->packetsDecoded();
    bring(*pool, a, 12, ReaderRole::showing, user);
    bring(*pool, a, 82, ReaderRole::showing, user);
    bring(*pool, a, 14, ReaderRole::showing, user);
    EXPECT_LE(pool->packetsDecoded() - before, 6);
    EXPECT_EQ(pool->openedCount(), 2);
}

TEST_F(Readers, ThatStandReadyForLaterAreNotMovedToAnEarlierTime) {
    const auto pool = ReaderPool::make();
    const Track a = track("a.mp4", "keyint=120:bframes=0");
    bring(*pool, a, 80, ReaderRole::preparing, 1);
    bring(*pool, a, 10, ReaderRole::showing, 1);
    EXPECT_EQ(pool->openedCount(), 2);
    const std::int64_t before = pool->packetsDecoded();
    bring(*pool, a, 80, ReaderRole::showing, 1);
    EXPECT_EQ(pool->packetsDecoded(), before);
}

TEST_F(Readers, OfAFileThatChangedAreClosed) {
    const auto pool = ReaderPool::make();
    const Track a = track("Beach.mp4");
    bring(*pool, a, 10, ReaderRole::showing, 1);
    truncateSample(a->url(), 5000);
    const auto refused = pool->lease(a, {}, ReaderRole::showing, 1, {});
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), MediaError::invalidClip("Beach"));
    EXPECT_EQ(pool->count(), 0U);
    EXPECT_EQ(pool->bytes(), 0);
}

TEST_F(Readers, ThatAreDiscardedAreOpenedAnew) {
    const auto pool = ReaderPool::make();
    const Track a = track("a.mp4");
    auto lease = pool->lease(a, {}, ReaderRole::showing, 1, {});
    ASSERT_TRUE(lease);
    lease->discard();
    EXPECT_EQ(pool->count(), 0U);
    bring(*pool, a, 1, ReaderRole::showing, 1);
    EXPECT_EQ(pool->openedCount(), 2);
}

}  // namespace
}  // namespace kelvane::testing
