#include <gmock/gmock.h>

#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"

namespace kelvane::testing {
namespace {

using ::testing::IsEmpty;

using Set = std::set<UUID>;
constexpr SelectionModifiers plain{};
constexpr SelectionModifiers shift{.shift = true};
constexpr SelectionModifiers command{.command = true};
constexpr SelectionModifiers both{.shift = true, .command = true};

class Selection : public EditorFixture {
protected:
    /// Six clips, 1 to 6, of which 3 and 5 are sound.
    Selection() {
        editor->commit({videoClip(1), videoClip(2), audioClip(3), videoClip(4), audioClip(5), videoClip(6)});
    }
    void expectSelection(const Set& clips, std::optional<UUID> primary, std::optional<UUID> anchor) {
        EXPECT_EQ(editor->selectedClipIDs(), clips);
        EXPECT_EQ(editor->selection(), primary);
        EXPECT_EQ(editor->timelineSelectionAnchor(), anchor);
    }
};

TEST_F(Selection, AClickSelectsOneClipAndSetsTheAnchor) {
    editor->selectTimelineClip(uuid(4), plain);
    expectSelection({uuid(4)}, uuid(4), uuid(4));
    editor->selectTimelineClip(uuid(2), plain);
    expectSelection({uuid(2)}, uuid(2), uuid(2));
}

TEST_F(Selection, AClickOnAnUnknownClipDoesNothing) {
    editor->selectTimelineClip(uuid(4), plain);
    editor->selectTimelineClip(uuid(40), plain);
    expectSelection({uuid(4)}, uuid(4), uuid(4));
}

TEST_F(Selection, AShiftClickWithoutAnAnchorSelectsTheOneClip) {
    editor->setSelection(std::nullopt);
    ASSERT_EQ(editor->timelineSelectionAnchor(), std::nullopt);
    editor->selectTimelineClip(uuid(4), shift);
    expectSelection({uuid(4)}, uuid(4), uuid(4));
}

TEST_F(Selection, TheSecondShiftClickReplacesTheFirstRangeAndTheAnchorStays) {
    editor->selectTimelineClip(uuid(3), plain);
    editor->selectTimelineClip(uuid(5), shift);
    expectSelection({uuid(3), uuid(4), uuid(5)}, uuid(5), uuid(3));
    editor->selectTimelineClip(uuid(1), shift);
    expectSelection({uuid(1), uuid(2), uuid(3)}, uuid(1), uuid(3));
}

TEST_F(Selection, ACommandClickTogglesAClip) {
    editor->selectTimelineClip(uuid(2), plain);
    editor->selectTimelineClip(uuid(5), command);
    expectSelection({uuid(2), uuid(5)}, uuid(5), uuid(5));
    editor->selectTimelineClip(uuid(5), command);
    expectSelection({uuid(2)}, uuid(2), uuid(5));
}

TEST_F(Selection, ACommandClickOnTheOnlySelectedClipEmptiesTheSelection) {
    editor->selectTimelineClip(uuid(2), plain);
    editor->selectTimelineClip(uuid(2), command);
    expectSelection({}, std::nullopt, uuid(2));
}

TEST_F(Selection, ShiftAndCommandAddARangeToWhatIsSelected) {
    editor->selectTimelineClip(uuid(6), plain);
    editor->selectTimelineClip(uuid(2), command);
    ASSERT_EQ(editor->timelineSelectionAnchor(), uuid(2));
    editor->selectTimelineClip(uuid(4), both);
    expectSelection({uuid(2), uuid(3), uuid(4), uuid(6)}, uuid(4), uuid(2));
}

TEST_F(Selection, ShiftAndCommandWithoutAnAnchorToggle) {
    editor->setSelection(std::nullopt);
    editor->selectTimelineClip(uuid(4), both);
    expectSelection({uuid(4)}, uuid(4), uuid(4));
}

TEST_F(Selection, AClickSeeksNothing) {
    editor->seekPreview(3);
    editor->selectTimelineClip(uuid(6), plain);
    EXPECT_EQ(editor->playhead(), 3);
}

TEST_F(Selection, ARubberBandKeepsThePrimaryClipItHolds) {
    editor->selectTimelineClip(uuid(4), plain);
    editor->selectTimelineClips({uuid(2), uuid(4), uuid(6), uuid(60)});
    expectSelection({uuid(2), uuid(4), uuid(6)}, uuid(4), uuid(4));
    editor->selectTimelineClips({uuid(6), uuid(3)});
    expectSelection({uuid(3), uuid(6)}, uuid(3), uuid(3));
}

TEST_F(Selection, AnEmptyRubberBandClearsTheSelection) {
    editor->selectTimelineClips({});
    expectSelection({}, std::nullopt, std::nullopt);
}

TEST_F(Selection, SelectingAClipMovesThePlayheadThere) {
    editor->select(uuid(4));
    expectSelection({uuid(4)}, uuid(4), uuid(4));
    EXPECT_EQ(editor->playhead(), 20);
}

TEST_F(Selection, WhileBusyOnlyAPlainSelectWorks) {
    editor->selectTimelineClip(uuid(4), plain);
    beBusy();
    editor->selectTimelineClip(uuid(2), plain);
    editor->selectTimelineClips({uuid(2)});
    editor->selectAssets({});
    expectSelection({uuid(4)}, uuid(4), uuid(4));
    editor->select(uuid(2));
    expectSelection({uuid(2)}, uuid(2), uuid(2));
}

class AssetSelection : public EditorFixture {
protected:
    AssetSelection() {
        const FileURL a = makeManaged("a.mov", FakeFile::video(4));
        const FileURL b = makeManaged("b.mov", FakeFile::video(2));
        load({videoClip(1, a, 4), videoClip(2, b, 2)}, std::vector<Clip>{videoClip(91, a, 4), videoClip(92, b, 2)});
        settlePreview();
    }
};

TEST_F(AssetSelection, AssetsAndClipsAreNeverSelectedTogether) {
    editor->selectTimelineClip(uuid(2), plain);
    editor->selectAssets({uuid(91), uuid(90)});
    EXPECT_EQ(editor->selectedAssetIDs(), Set{uuid(91)});
    EXPECT_THAT(editor->selectedClipIDs(), IsEmpty());
    EXPECT_EQ(editor->selection(), std::nullopt);
    editor->selectTimelineClip(uuid(2), plain);
    EXPECT_THAT(editor->selectedAssetIDs(), IsEmpty());
    editor->selectAssets({uuid(91)});
    editor->selectTimelineClips({});
    EXPECT_THAT(editor->selectedAssetIDs(), IsEmpty());
}

TEST_F(AssetSelection, ShowingAnAssetSelectsIt) {
    editor->showAssetPreview(uuid(92));
    EXPECT_EQ(editor->previewAssetID(), uuid(92));
    EXPECT_EQ(editor->selectedAssetIDs(), Set{uuid(92)});
    EXPECT_EQ(editor->selection(), std::nullopt);
}

TEST_F(AssetSelection, SelectingAssetsEndsAHover) {
    editor->previewAssetHover(uuid(91), 0.5);
    ASSERT_TRUE(editor->hoverPreview());
    editor->selectAssets({uuid(92)});
    EXPECT_FALSE(editor->hoverPreview());
}

TEST_F(AssetSelection, SelectingOtherAssetsLeavesTheShownOne) {
    editor->showAssetPreview(uuid(92));
    editor->selectAssets({uuid(91), uuid(92)});
    EXPECT_EQ(editor->previewAssetID(), uuid(92));
    settlePreview();
    ASSERT_FALSE(editor->isBuilding());
    editor->selectAssets({uuid(91)});
    EXPECT_EQ(editor->previewAssetID(), std::nullopt);
    EXPECT_TRUE(editor->isBuilding());
}

TEST_F(AssetSelection, SelectingClipsReturnsToTheTimeline) {
    for (int way = 0; way < 3; ++way) {
        editor->showAssetPreview(uuid(92));
        settlePreview();
        ASSERT_EQ(editor->previewAssetID(), uuid(92));
        if (way == 0)
            editor->select(uuid(2));
        else if (way == 1)
            editor->selectTimelineClip(uuid(2), plain);
        else
            editor->selectTimelineClips({uuid(2)});
        EXPECT_EQ(editor->previewAssetID(), std::nullopt) << way;
        EXPECT_TRUE(editor->isBuilding()) << way;
    }
    EXPECT_EQ(editor->playhead(), 4);
}

}  // namespace
}  // namespace kelvane::testing
