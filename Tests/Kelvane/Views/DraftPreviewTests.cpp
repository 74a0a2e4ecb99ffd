#include <gmock/gmock.h>

#include <QSignalSpy>

#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"
#include "Views/Preview/DraftPreview.h"

namespace kelvane::testing {
namespace {

/// A project with clips of the stretches from 2 to 6 s and from 4 to 8 s of footage, and a sound beyond them; the
/// playhead stands at 5 s, a second into the second clip, and a gesture is under way. The player that `hoverPlayer`
/// names is the draft's, once it has one.
class DraftPreviewTests : public EditorFixture {
protected:
    DraftPreviewTests() {
        const FileURL footage = makeManaged("video.mov", FakeFile::video(10));
        const FileURL tune = makeManaged("sound.wav", FakeFile::audio(10));
        load({videoClip(1, footage, 10).stretch(2, 6), videoClip(2, footage, 10).stretch(4, 8),
              audioClip(3, tune, 10).at(6)});
        settlePreview();
        editor->seekPreview(5);
        editor->beginInteraction();
        hovers = hoverPlayer;
    }
    ~DraftPreviewTests() override { draft.end(); }

    void edit(std::uint64_t clip, double zoom) {
        editor->update(uuid(clip), [zoom](Clip& changed) { changed.zoom = zoom; });
        draft.show(editor);
    }
    [[nodiscard]] bool hasPlayer() const { return hoverPlayer != hovers; }
    /// A picture of a grey point.
    static VideoPicturePtr grey() {
        const auto picture = std::make_shared<VideoPicture>();
        picture->width = picture->height = 1;
        return picture;
    }
    /// The draft's player comes to its first picture.
    void comeToPicture() {
        context.settle();
        ASSERT_TRUE(hasPlayer());
        draft.setSurfaceSize({90, 160});
        hoverPlayer->feed.show(grey());
    }

    FakePlayer* hovers = nullptr;
    DraftPreview draft;
};

TEST_F(DraftPreviewTests, ItShowsTheFrameAtThePlayheadAsTheClipsAreNow) {
    edit(2, 2);
    EXPECT_EQ(draft.feed(), nullptr) << "until a picture is there";
    QSignalSpy changed(&draft, &DraftPreview::changed);
    comeToPicture();
    EXPECT_EQ(draft.feed(), &hoverPlayer->feed);
    EXPECT_GE(changed.size(), 1);
    EXPECT_TRUE(hoverPlayer->isMuted());
    EXPECT_EQ(hoverPlayer->position(), 5);
    ASSERT_TRUE(hoverPlayer->item());
    EXPECT_TRUE(editor->isBuilding()) << "the preview waits for the hand to pause";
}

TEST_F(DraftPreviewTests, StepsThatComeFasterThanPicturesAreTakenTogether) {
    edit(2, 1.1);
    edit(2, 1.2);
    edit(2, 1.3);
    EXPECT_EQ(context.waitingInBackground(Lane::playback), 1U);
    context.drain();
    context.runPosted();
    ASSERT_TRUE(hasPlayer());
    EXPECT_EQ(hoverPlayer->replacements, 1);
    EXPECT_EQ(context.waitingInBackground(Lane::playback), 1U);
    context.settle();
    EXPECT_EQ(hoverPlayer->replacements, 2);
    EXPECT_FALSE(context.hasWork());
}

TEST_F(DraftPreviewTests, APictureOnItsWayIsNotGivenUpForANewerOne) {
    edit(2, 1.1);
    context.settle();
    hoverPlayer->feed.awaited = true;
    edit(2, 1.2);
    context.settle();
    context.advance(std::chrono::milliseconds(20));
    context.settle();
    EXPECT_EQ(hoverPlayer->replacements, 1);
    hoverPlayer->feed.awaited = false;
    context.advance(std::chrono::milliseconds(8));
    context.settle();
    EXPECT_EQ(hoverPlayer->replacements, 2);
}

TEST_F(DraftPreviewTests, ATrimGoesToAnotherPlaceOfWhatIsThere) {
    const auto trim = [this](double start) {
        editor->update(uuid(2), [start](Clip& changed) { changed.start = start; });
        draft.show(editor);
    };
    trim(4.5);
    context.settle();
    trim(5);
    trim(5.5);
    EXPECT_FALSE(context.hasWork() && context.waitingInBackground(Lane::playback) > 0);
    EXPECT_EQ(hoverPlayer->replacements, 1);
    EXPECT_THAT(hoverPlayer->seeks, ::testing::ElementsAre(5.5, 6, 6.5));
}

TEST_F(DraftPreviewTests, ItGivesWayOnceThePlayerShowsTheSame) {
    edit(2, 2);
    comeToPicture();
    draft.endWhenBuilt();
    EXPECT_TRUE(draft.feed()) << "in the middle of the gesture";
    editor->endInteraction();
    draft.endWhenBuilt();
    EXPECT_TRUE(draft.feed()) << "while the preview is built";
    context.advance(std::chrono::milliseconds(180));
    context.settle();
    ASSERT_FALSE(editor->isBuilding());
    player->feed.awaited = true;
    draft.endWhenBuilt();
    EXPECT_TRUE(draft.feed()) << "until the player has its picture";
    player->feed.awaited = false;
    QSignalSpy changed(&draft, &DraftPreview::changed);
    draft.endWhenBuilt();
    EXPECT_FALSE(draft.feed());
    EXPECT_EQ(changed.size(), 1);
}

TEST_F(DraftPreviewTests, ItGivesWayWhereSomethingElseIsToBeSeen) {
    edit(2, 2);
    comeToPicture();
    editor->endInteraction();
    editor->seekPreview(1);
    draft.endWhenBuilt();
    EXPECT_FALSE(draft.feed());
}

TEST_F(DraftPreviewTests, NothingIsShownOffTheClipsWhileBusyAndOfAnotherProject) {
    editor->seekPreview(12);
    edit(2, 2);
    EXPECT_EQ(context.waitingInBackground(Lane::playback), 0U);
    editor->seekPreview(5);
    editor->beginCopying();
    draft.show(editor);
    EXPECT_EQ(context.waitingInBackground(Lane::playback), 0U);
    editor->endCopying();
    draft.show(nullptr);
    EXPECT_EQ(context.waitingInBackground(Lane::playback), 0U);
    EXPECT_FALSE(hasPlayer());
}

TEST_F(DraftPreviewTests, ABuildThatFailsShowsNothingAndSaysNothing) {
    edit(2, 2);
    media.addFileNamed("video.mov", FakeFile::neither());
    context.settle();
    EXPECT_FALSE(hasPlayer());
    EXPECT_FALSE(editor->error());
}

}  // namespace
}  // namespace kelvane::testing
