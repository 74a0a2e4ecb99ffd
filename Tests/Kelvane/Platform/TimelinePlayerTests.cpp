#include <gtest/gtest.h>

#include <algorithm>

#include "PlayerRig.h"

namespace kelvane::testing {
namespace {

class Playing : public ::testing::Test, public PlayerRig {};

TEST_F(Playing, EachFrameOfTheGridIsShownOnceAndInOrder) {
    show(itemOf(3));
    player->play();
    run(4s);
    EXPECT_EQ(frames(), framesFrom(1, 89));
    EXPECT_EQ(player->statistics().shown, 89);
    EXPECT_EQ(player->statistics().late, 0);
    EXPECT_EQ(player->statistics().dropped, 0);
    EXPECT_EQ(player->statistics().underruns, 0);
}

TEST_F(Playing, APictureShowsWhenItsSoundIsHeard) {
    show(itemOf(20));
    player->play();
    run(15s);
    EXPECT_GT(distances, 400);
    EXPECT_LT(greatestDistance, 0.005);
    EXPECT_LT(player->statistics().greatestDistance, 5ms);
}

TEST_F(Playing, TheFirstSoundIsHeardWithinTheLatencyOfTheDevice) {
    show(itemOf(3));
    sources->rendering = 5ms;
    player->play();
    const auto begun = context.now();
    ASSERT_TRUE(threads.runUntil([&] { return heard().has_value(); }, 1s));
    EXPECT_LE(context.now() - begun, output->latency + 11ms);
}

TEST_F(Playing, SourcesThatTakeLongToOpenAreNotWaitedForWhereThePositionStayed) {
    show(itemOf(10));
    sources->rendering = 200ms;
    player->seek(3);
    run(50ms);
    EXPECT_EQ(sources->soundReads, 6);
    player->seek(4);
    run(3s);
    EXPECT_EQ(sources->soundReads, 12);
    sources->rendering = 5ms;
    for (const auto rest : {0ms, 3000ms}) {
        player->play();
        EXPECT_EQ(output->starts, rest == 0ms ? 1 : 2);
        run(500ms);
        EXPECT_NEAR(*heard(), player->position(), 0.005);
        player->pause();
        run(3s);
    }
}

TEST_F(Playing, APauseIsStillAtOnce) {
    show(itemOf(3));
    player->play();
    run(1s);
    player->pause();
    EXPECT_FALSE(output->isPlaying());
    EXPECT_EQ(player->rate(), 0);
    const auto position = player->position();
    const auto pictures = shown.size();
    run(2s);
    EXPECT_EQ(player->position(), position);
    EXPECT_EQ(shown.size(), pictures);
}

TEST_F(Playing, AtRestNothingWakesTheProgram) {
    show(itemOf(3));
    player->play();
    run(1s);
    player->pause();
    run(1s);
    EXPECT_EQ(context.pendingTimers(), 0U);
    EXPECT_FALSE(context.hasWork());
}

TEST_F(Playing, AfterAPauseTheFrameOfThePositionStays) {
    show(itemOf(3));
    for (int i = 0; i < 20; ++i) {
        player->play();
        run(std::chrono::milliseconds(90 + i));
        player->pause();
        run(100ms);
        EXPECT_EQ(shownTime()->floored(30).value, static_cast<int>(player->position() * 30 + 1e-5));
    }
}

TEST_F(Playing, APauseStandsAtAMomentThatRoundsToItsOwnFrame) {
    show(itemOf(3));
    for (int i = 0; i < 40; ++i) {
        player->play();
        run(50ms + i * 1001us);
        player->pause();
        run(100ms);
        const auto moment = MediaTime::fromSeconds(player->position());
        EXPECT_NEAR(moment.seconds(), player->position(), 1e-9);
        EXPECT_EQ(shownTime()->floored(30), moment.floored(30)) << player->position();
        player->seek(0);
        run(100ms);
    }
}

TEST_F(Playing, ItGoesOnFromWhereItWasPausedAndAsksForNothingTwice) {
    show(itemOf(3));
    player->play();
    run(1s);
    player->pause();
    run(1s);
    const auto position = player->position();
    player->play();
    EXPECT_EQ(player->position(), position);
    run(4s);
    EXPECT_EQ(frames(), framesFrom(1, 89));
    EXPECT_TRUE(std::ranges::adjacent_find(sources->asked) == sources->asked.end());
}

TEST_F(Playing, AtTheEndItStandsOnTheLastFrameAndSaysSoOnce) {
    const auto item = itemOf(MediaTime(1010));
    show(item);
    player->play();
    run(3s);
    EXPECT_EQ(player->rate(), 0);
    EXPECT_EQ(player->position(), 1010 / 600.0);
    EXPECT_EQ(shownTime(), MediaTime(1000));
    EXPECT_EQ(ended, std::vector{item});
    EXPECT_FALSE(output->isPlaying());
    EXPECT_EQ(told.back(), 1010 / 600.0);
}

TEST_F(Playing, TheEndIsHeardToTheLastSample) {
    show(itemOf(1));
    player->play();
    std::optional<double> last;
    (void)threads.runUntil(
        [&] {
            if (const auto sound = heard()) last = sound;
            return player->rate() == 0;
        },
        3s);
    ASSERT_TRUE(last.has_value());
    EXPECT_GT(*last, 0.985);
}

TEST_F(Playing, PlayAtTheEndEndsAtOnce) {
    const auto item = itemOf(1);
    show(item);
    player->seek(1);
    run(1s);
    player->play();
    EXPECT_EQ(player->rate(), 0);
    context.runPosted();
    EXPECT_EQ(ended, std::vector{item});
    EXPECT_FALSE(output->isPlaying());
}

TEST_F(Playing, NothingPlaysWithoutAnItem) {
    player->play();
    player->seek(2);
    player->pause();
    run(1s);
    EXPECT_EQ(player->rate(), 0);
    EXPECT_EQ(player->position(), 0);
    EXPECT_TRUE(ended.empty());
    EXPECT_EQ(feed().picture(), nullptr);
}

TEST_F(Playing, WithoutAnItemItIsToldThatNothingPlays) {
    player->play();
    EXPECT_TRUE(told.empty());
    run(0ms);
    EXPECT_EQ(told, std::vector<double>{0});
    EXPECT_EQ(player->rate(), 0);
}

TEST_F(Playing, AnItemWithoutLengthEndsAtOnce) {
    player->replaceItem(std::make_shared<EditedMedia>());
    player->seek(1);
    player->play();
    run(1s);
    EXPECT_EQ(ended.size(), 1U);
    EXPECT_EQ(player->position(), 0);
}

TEST_F(Playing, TheTimeIsToldEachIntervalOfTheItem) {
    show(itemOf(3));
    player->setTimeObserver(100ms, [this](double seconds) { told.push_back(seconds); });
    player->play();
    run(2s);
    player->pause();
    run(1s);
    ASSERT_EQ(told.size(), 21U);
    EXPECT_EQ(told.front(), 0);
    EXPECT_EQ(told.back(), player->position());
    for (std::size_t i = 1; i + 1 < told.size(); ++i) EXPECT_NEAR(told[i], 0.1 * static_cast<double>(i), 0.002);
}

TEST_F(Playing, ASeekIsToldOnceAlsoWhenItPauses) {
    show(itemOf(3));
    player->play();
    run(500ms);
    told.clear();
    player->pause();
    player->seek(2);
    run(1s);
    EXPECT_EQ(told, std::vector{2.0});
}

TEST_F(Playing, ADroppedObserverIsNotCalled) {
    show(itemOf(1));
    player->setTimeObserver(100ms, {});
    player->setEndObserver({});
    feed().setPictureObserver({});
    player->play();
    run(2s);
    EXPECT_EQ(player->position(), 1);
    EXPECT_TRUE(told.empty());
    EXPECT_TRUE(shown.empty());
}

TEST_F(Playing, MutedSoundIsSilentAndNotWaitedFor) {
    show(itemOf(3));
    output->latency = 120ms;
    player->setMuted(true);
    player->play();
    run(100ms);
    EXPECT_NEAR(player->position(), 0.1, 0.001);
    run(900ms);
    EXPECT_NEAR(player->position(), 1, 0.001);
    EXPECT_TRUE(player->isMuted());
    EXPECT_FALSE(heard().has_value());
    EXPECT_TRUE(output->moment().has_value());
    player->setMuted(false);
    run(1s);
    EXPECT_NEAR(*heard(), player->position(), 0.005);
}

TEST_F(Playing, MutingOutlivesTheItem) {
    player->setMuted(true);
    show(itemOf(3));
    EXPECT_TRUE(player->isMuted());
    player->play();
    run(1s);
    EXPECT_FALSE(heard().has_value());
}

TEST_F(Playing, ANewItemStopsAndKeepsTheFormerPictureUntilItsOwn) {
    show(itemOf(3));
    player->play();
    run(1s);
    const auto former = feed().picture();
    player->replaceItem(itemOf(5));
    EXPECT_EQ(player->rate(), 0);
    EXPECT_EQ(player->position(), 0);
    EXPECT_FALSE(output->isPlaying());
    run(1s);
    EXPECT_EQ(feed().picture(), former);
    player->seek(4);
    run(1s);
    EXPECT_EQ(shownTime(), MediaTime(2400));
    EXPECT_TRUE(ended.empty());
}

TEST_F(Playing, ANewItemThatIsPlayedShowsItsBeginning) {
    show(itemOf(3));
    player->replaceItem(itemOf(5));
    player->play();
    run(1s);
    const auto seen = frames();
    EXPECT_EQ(seen.front(), 0);
    EXPECT_EQ(seen, framesFrom(0, seen.back()));
}

TEST_F(Playing, NoItemShowsNothing) {
    show(itemOf(3));
    player->replaceItem(nullptr);
    EXPECT_EQ(feed().picture(), nullptr);
    run(1s);
    EXPECT_EQ(sources->alive, 0);
}

TEST_F(Playing, LateAnswersOfAFormerItemAreDropped) {
    show(itemOf(3));
    sources->decoding = 50ms;
    player->seek(2);
    run(10ms);
    player->replaceItem(nullptr);
    run(2s);
    EXPECT_EQ(feed().picture(), nullptr);
}

TEST_F(Playing, APlayerEndsInAnyStateWithoutWaiting) {
    sources->decoding = 10ms;
    sources->rendering = 10ms;
    for (int milliseconds = 0; milliseconds < 120; milliseconds += 7) {
        show(itemOf(3));
        player->seek(1);
        if (milliseconds % 2 == 0) player->play();
        run(std::chrono::milliseconds(milliseconds));
        const auto now = context.now();
        player = nullptr;
        EXPECT_EQ(context.now(), now);
        EXPECT_FALSE(output->isPlaying());
        EXPECT_FALSE(output->isObserved());
        run(2s);
        EXPECT_EQ(sources->alive, 0);
        player = std::make_unique<TimelinePlayer>(services());
        feed().setSurfaceSize({400, 711});
    }
}

TEST_F(Playing, AnObserverMayEndThePlayer) {
    auto end = [this](auto&&...) { player = nullptr; };
    for (int observer = 0; observer < 3; ++observer) {
        player = std::make_unique<TimelinePlayer>(services());
        feed().setSurfaceSize({400, 711});
        player->replaceItem(itemOf(1));
        player->seek(0.5);
        run(1s);
        player->play();
        if (observer == 0) feed().setPictureObserver(end);
        if (observer == 1) player->setTimeObserver(200ms, end);
        if (observer == 2) player->setEndObserver(end);
        run(2s);
        EXPECT_EQ(player, nullptr);
    }
}

TEST_F(Playing, AnObserverMaySeekAndPlay) {
    show(itemOf(1));
    player->setEndObserver([this](const EditedMediaPtr& item) {
        ended.push_back(item);
        if (ended.size() > 2) return;
        player->seek(0);
        player->play();
    });
    player->play();
    run(5s);
    EXPECT_EQ(ended.size(), 3U);
    EXPECT_EQ(player->position(), 1);
}

TEST_F(Playing, SoundIsRenderedOnThePlaybackLaneAndLittleAhead) {
    show(itemOf(30));
    player->play();
    context.runPosted();
    EXPECT_EQ(context.waitingInBackground(Lane::playback), context.waitingInBackground());
    run(5s);
    // 50 ms a read: five seconds, what waits to be taken, and what is on its way to the ear.
    EXPECT_LE(sources->soundReads, 100 + 6 + 1);
    EXPECT_GE(sources->soundReads, 100);
}

TEST_F(Playing, FramesAreAskedForAFewAhead) {
    show(itemOf(30));
    player->play();
    run(5s);
    const auto ahead = sources->asked.back().floored(30).value - shown.back().floored(30).value;
    EXPECT_GE(ahead, 7);
    EXPECT_LE(ahead, 9);
}

TEST_F(Playing, CutsArePreparedBeforeTheyAreAskedFor) {
    for (int i = 1; i < 10; ++i) sources->cuts.emplace_back(600 * i + 10);
    sources->opening = 180ms;
    show(itemOf(MediaTime(6000), sources->cuts));
    player->play();
    run(11s);
    EXPECT_EQ(sources->prepared, sources->cuts);
    EXPECT_EQ(player->statistics().late, 0);
    EXPECT_EQ(player->statistics().dropped, 0);
}

TEST_F(Playing, WithoutASurfaceNothingIsDrawnAndTheSoundPlays) {
    player = std::make_unique<TimelinePlayer>(services());
    player->replaceItem(itemOf(3));
    player->play();
    run(1s);
    EXPECT_TRUE(sources->asked.empty());
    EXPECT_NEAR(*heard(), player->position(), 0.005);
    feed().setSurfaceSize({400, 711});
    run(500ms);
    EXPECT_EQ(shownTime()->floored(30).value, static_cast<int>(player->position() * 30));
}

TEST_F(Playing, APlayerWithoutStreamsComesToTheEnd) {
    auto bare = services();
    bare.makePictureStream = [](const EditedMediaPtr&, Size) { return nullptr; };
    bare.makeSoundStream = [](const EditedMediaPtr&) { return nullptr; };
    player = std::make_unique<TimelinePlayer>(bare);
    feed().setSurfaceSize({400, 711});
    player->replaceItem(itemOf(1));
    player->seek(0.5);
    player->play();
    run(2s);
    EXPECT_EQ(player->position(), 1);
    EXPECT_EQ(player->rate(), 0);
}

}  // namespace
}  // namespace kelvane::testing
