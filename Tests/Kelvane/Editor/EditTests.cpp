#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <thread>

#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"
#include "Timeline/TimelineLayout.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Clips = std::vector<Clip>;
using Ids = std::vector<UUID>;

class Edits : public EditorFixture {
protected:
    /// Three videos of 4 seconds, 1 to 3.
    void threeVideos() { editor->commit({video(1), video(2), video(3)}); }
    static Clip video(std::uint64_t id) { return videoClip(id, "/media/a.mov", 4); }
    /// A project whose pool is a video 91 and a sound 92, each of 4 seconds, and whose timeline is `clips`.
    void loadPool(Clips clips = {}) {
        movie = makeManaged("a.mov", FakeFile::video(4));
        sound = makeManaged("b.wav", FakeFile::audio(4));
        load(std::move(clips), Clips{videoClip(91, movie, 4), audioClip(92, sound, 4)});
    }
    /// Expects that the timeline, the pool and the history stay as they are.
    template <class Act>
    void expectNothing(Act act) {
        const ClipArray clips = editor->clipArray();
        const ClipArray assets = editor->assetArray();
        const std::size_t steps = editor->undoStack().size();
        act();
        EXPECT_EQ(editor->clipArray(), clips);
        EXPECT_EQ(editor->assetArray(), assets);
        EXPECT_EQ(editor->undoStack().size(), steps);
    }

    FileURL movie;
    FileURL sound;
};

TEST_F(Edits, ASplitNeedsThePlayheadInsideTheSelectedClip) {
    threeVideos();
    editor->setSelection(uuid(2));
    struct Row {
        double playhead;
        bool can;
    };
    for (const Row& row : {Row{4, false}, Row{4 + 1.0 / 60, false}, Row{4.1, true}, Row{6, true}, Row{7.9, true},
                           Row{7.99, false}, Row{8, false}, Row{2, false}}) {
        editor->seekPreview(row.playhead);
        EXPECT_EQ(editor->canSplit(), row.can) << row.playhead;
    }
    editor->seekPreview(6);
    editor->selectTimelineClips({uuid(1), uuid(2)});
    EXPECT_FALSE(editor->canSplit());
    editor->selectTimelineClips({});
    EXPECT_FALSE(editor->canSplit());
}

TEST_F(Edits, ASplitNeverMakesAnInvalidHalf) {
    for (const double start : {0.0, 0.1, 0.5, 1.0, 2.0, 5.0}) {
        editor->commit({videoClip(1, "/media/a.mov", 60).stretch(start, start + 4)});
        editor->setSelection(uuid(1));
        editor->seekPreview(1.0 / 30);
        editor->split();
        for (const Clip& half : editor->clips()) EXPECT_TRUE(half.isValid()) << start;
    }
}

TEST_F(Edits, ARefusedSplitDoesNothing) {
    threeVideos();
    editor->select(uuid(2));
    expectNothing([this] { editor->split(); });
    EXPECT_EQ(editor->selection(), uuid(2));
}

TEST_F(Edits, ASplitSelectsTheHalfBehindThePlayhead) {
    threeVideos();
    editor->setSelection(uuid(2));
    editor->seekPreview(5);
    editor->split();
    ASSERT_EQ(editor->clips().size(), 4U);
    const Clip& third = editor->clips()[2];
    EXPECT_EQ(ids(editor->clips()), (Ids{uuid(1), uuid(2), third.id, uuid(3)}));
    EXPECT_EQ(editor->clips()[1].duration(), 1);
    EXPECT_EQ(third.start, 1);
    EXPECT_EQ(third.end, 4);
    EXPECT_EQ(editor->selection(), third.id);
    EXPECT_EQ(editor->selectedClipIDs(), std::set{third.id});
    editor->undo();
    EXPECT_EQ(editor->clips(), (Clips{video(1), video(2), video(3)}));
}

TEST_F(Edits, TheHalvesOfASplitSoundShareALane) {
    editor->commit({video(1), audioClip(2, "/media/b.wav", 3).at(2)});
    editor->setSelection(uuid(2));
    editor->seekPreview(3);
    editor->split();
    ASSERT_EQ(editor->clips().size(), 3U);
    const Clip& first = editor->clips()[1];
    const Clip& second = editor->clips()[2];
    EXPECT_EQ(first.id, uuid(2));
    EXPECT_EQ(first.lane(), uuid(2));
    EXPECT_EQ(second.lane(), uuid(2));
    EXPECT_EQ(second.audioPosition(), 3);
    EXPECT_EQ(editor->selection(), second.id);
}

TEST_F(Edits, ASplitWhileBusyLeavesTheSelectionAlone) {
    threeVideos();
    editor->setSelection(uuid(2));
    editor->seekPreview(5);
    beBusy();
    ASSERT_TRUE(editor->canSplit());
    expectNothing([this] { editor->split(); });
    EXPECT_EQ(editor->selection(), uuid(2));
}

TEST_F(Edits, ASplitIsRefusedWhileAnAssetIsShown) {
    loadPool({videoClip(1, makeManaged("a.mov", FakeFile::video(4)), 4)});
    editor->seekPreview(2);
    ASSERT_TRUE(editor->canSplit());
    editor->showAssetPreview(uuid(91));
    editor->setSelection(uuid(1));
    EXPECT_FALSE(editor->canSplit());
}

TEST_F(Edits, DeletingTheSelectionKeepsTheSoundWhereItLies) {
    editor->commit({video(1), video(2), audioClip(3).at(6)});
    editor->selectTimelineClips({uuid(1)});
    editor->deleteSelection();
    EXPECT_EQ(editor->clips(), (Clips{video(2), audioClip(3).at(6)}));
    editor->selectTimelineClips({uuid(2), uuid(3)});
    editor->deleteSelection();
    EXPECT_THAT(editor->clips(), IsEmpty());
}

TEST_F(Edits, DeletingNothingMakesNoHistory) {
    loadPool();
    expectNothing([this] { editor->deleteSelection(); });
    expectNothing([this] { editor->deleteAssets({}); });
    expectNothing([this] { editor->deleteAssets({uuid(7)}); });
}

TEST_F(Edits, DeletingAnAssetTakesItsThreeOccurrencesAlongInOneStep) {
    const FileURL file = makeManaged("c.mov", FakeFile::video(4));
    const FileURL other = makeManaged("d.mov", FakeFile::video(4));
    const Clips clips{videoClip(1, file, 4), videoClip(2, other, 4), videoClip(3, file, 4), videoClip(4, file, 4)};
    const Clips assets{videoClip(91, file, 4), videoClip(92, other, 4)};
    load(clips, assets);
    editor->selectAssets({uuid(91)});
    editor->deleteSelection();
    EXPECT_EQ(ids(editor->clips()), Ids{uuid(2)});
    EXPECT_EQ(ids(editor->assets()), Ids{uuid(92)});
    EXPECT_TRUE(std::filesystem::exists(file.path())) << "an undo must find the file";
    EXPECT_EQ(editor->undoStack().size(), 1U);
    editor->undo();
    EXPECT_EQ(editor->clips(), clips);
    EXPECT_EQ(editor->assets(), assets);
}

TEST_F(Edits, DeletingAnAssetEmptiesRedo) {
    loadPool();
    editor->addAssets({uuid(91)}, {});
    editor->undo();
    ASSERT_EQ(editor->redoStack().size(), 1U);
    editor->deleteAssets({uuid(92)});
    EXPECT_THAT(editor->redoStack(), IsEmpty());
}

TEST_F(Edits, AssetsAreNotDeletedDuringAGestureOrWhileBusy) {
    loadPool();
    editor->beginInteraction();
    expectNothing([this] { editor->deleteAssets({uuid(91)}); });
    editor->endInteraction();
    beBusy();
    expectNothing([this] { editor->deleteAssets({uuid(91)}); });
}

TEST_F(Edits, AMoveCountsInTheShortenedArrayAndIsHeldToIt) {
    struct Row {
        std::ptrdiff_t index;
        Ids order;
    };
    for (const Row& row :
         {Row{0, {uuid(2), uuid(1), uuid(3)}}, Row{1, {uuid(1), uuid(2), uuid(3)}}, Row{2, {uuid(1), uuid(3), uuid(2)}},
          Row{1000, {uuid(1), uuid(3), uuid(2)}}, Row{-3, {uuid(2), uuid(1), uuid(3)}}}) {
        makeEditor();
        threeVideos();
        editor->move(uuid(2), row.index);
        EXPECT_EQ(ids(editor->clips()), row.order) << row.index;
        EXPECT_EQ(editor->selection(), uuid(2));
    }
    expectNothing([this] { editor->move(uuid(9), 0); });
    beBusy();
    expectNothing([this] { editor->move(uuid(1), 0); });
}

TEST_F(Edits, MovingTheSelectionExchangesNeighbours) {
    editor->commit({video(1), audioClip(2), video(3)});
    editor->setSelection(uuid(1));
    editor->moveSelection(1);
    EXPECT_EQ(ids(editor->clips()), (Ids{uuid(2), uuid(1), uuid(3)}));
    editor->moveSelection(1);
    EXPECT_EQ(ids(editor->clips()), (Ids{uuid(2), uuid(3), uuid(1)}));
    EXPECT_EQ(editor->selection(), uuid(1));
    constexpr auto most = std::numeric_limits<std::ptrdiff_t>::max();
    for (const std::ptrdiff_t delta : {std::ptrdiff_t{1}, std::ptrdiff_t{-3}, most, -most - 1})
        expectNothing([&] { editor->moveSelection(delta); });
    editor->selectTimelineClips({uuid(1), uuid(2)});
    expectNothing([this] { editor->moveSelection(-1); });
}

TEST_F(Edits, AMovedSoundChangesItsPlaceAndIsSelected) {
    editor->commit({video(1), audioClip(2).at(1), audioClip(3).at(2)});
    editor->moveAudio(uuid(3), uuid(3), 5);
    EXPECT_EQ(editor->clips(), (Clips{video(1), audioClip(2).at(1), audioClip(3).at(5)}));
    EXPECT_EQ(editor->selection(), uuid(3));
    editor->moveAudio(uuid(3), uuid(3), -2);
    EXPECT_EQ(editor->clips()[2], audioClip(3).at(0).clip());
}

TEST_F(Edits, AMoveOfSoundThatIsNoneOrImpossibleDoesNothing) {
    editor->commit({video(1), audioClip(2).at(0), audioClip(3).at(2)});
    struct Row {
        const char* what;
        UUID clip;
        UUID lane;
        double position;
    };
    for (const Row& row : {Row{"same place", uuid(3), uuid(3), 2}, Row{"same place, raised to 0", uuid(2), uuid(2), -1},
                           Row{"unknown lane", uuid(3), uuid(8), 4}, Row{"video", uuid(1), uuid(2), 4},
                           Row{"unknown clip", uuid(9), uuid(2), 4}, Row{"nan", uuid(3), uuid(2), std::nan("")},
                           Row{"infinite", uuid(3), uuid(2), std::numeric_limits<double>::infinity()}}) {
        SCOPED_TRACE(row.what);
        expectNothing([&] { editor->moveAudio(row.clip, row.lane, row.position); });
    }
    beBusy();
    expectNothing([&] { editor->moveAudio(uuid(3), uuid(2), 4); });
}

TEST_F(Edits, ALaneThatIsLeftEmptyGoesAndTheOthersKeepTheirOrder) {
    editor->commit({audioClip(1).at(0), audioClip(2).at(0), audioClip(3).at(0)});
    editor->moveAudio(uuid(1), uuid(3), 20);
    EXPECT_THAT(TimelineLayout::audioTracks(editor->clips()), ElementsAre(uuid(2), uuid(3)));
    const auto moved = std::ranges::find(editor->clips(), uuid(1), &Clip::id);
    ASSERT_NE(moved, editor->clips().end());
    EXPECT_EQ(moved->audioTrackID, uuid(3));
    EXPECT_EQ(moved->timelineStart, 20);
}

TEST_F(Edits, AnAddedSoundStartsAtThePlayheadInALaneOfItsOwn) {
    loadPool({videoClip(1, makeManaged("c.mov", FakeFile::video(9)), 9)});
    editor->seekPreview(4);
    editor->addAssets({uuid(92)}, {});
    ASSERT_EQ(editor->clips().size(), 2U);
    const Clip& added = editor->clips()[1];
    EXPECT_NE(added.id, uuid(92));
    EXPECT_EQ(added.url, sound);
    EXPECT_EQ(added.timelineStart, 4);
    EXPECT_EQ(added.audioTrackID, std::nullopt);
    EXPECT_EQ(added.end, 4);
    EXPECT_EQ(editor->selection(), added.id);
    EXPECT_EQ(editor->playhead(), 4);
}

TEST_F(Edits, AddedAssetsStandTogetherAtThePlaceGiven) {
    struct Row {
        std::optional<std::ptrdiff_t> index;
        std::size_t place;
    };
    for (const Row& row : {Row{std::nullopt, 2}, Row{0, 0}, Row{1, 1}, Row{50, 2}, Row{-4, 0}}) {
        makeEditor();
        loadPool({videoClip(1, makeManaged("c.mov", FakeFile::video(9)), 9),
                  videoClip(2, makeManaged("d.mov", FakeFile::video(9)), 9)});
        editor->addAssets({uuid(91), uuid(92), uuid(91)}, row.index);
        ASSERT_EQ(editor->clips().size(), 5U);
        EXPECT_EQ(editor->clips()[row.place].url, movie);
        EXPECT_EQ(editor->clips()[row.place + 1].url, sound);
        EXPECT_EQ(editor->clips()[row.place + 2].url, movie);
        EXPECT_EQ(editor->clips()[row.place].timelineStart, std::nullopt);
        EXPECT_EQ(editor->selection(), editor->clips()[row.place].id);
        EXPECT_EQ(editor->playhead(), editor->offset(editor->clips()[row.place].id));
        EXPECT_EQ(editor->undoStack().size(), 1U);
    }
}

TEST_F(Edits, AnUnknownAssetAddsNothing) {
    loadPool();
    expectNothing([this] { editor->addAssets({uuid(91), uuid(7)}, {}); });
    expectNothing([this] { editor->addAssets({}, {}); });
    beBusy();
    expectNothing([this] { editor->addAssets({uuid(91)}, {}); });
}

TEST_F(Edits, AChangeOffTheMainThreadEndsTheProgram) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    threeVideos();
    EXPECT_DEATH(std::thread([this] { editor->commit({}); }).join(), "internal fault: .* left the main thread");
}

}  // namespace
}  // namespace kelvane::testing
