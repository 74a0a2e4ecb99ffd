#include <gtest/gtest.h>

#include <QMimeData>
#include <QUrl>
#include <thread>

#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"
#include "Views/Timeline/TimelineAssetDrop.h"

namespace kelvane::testing {
namespace {

using Target = TimelineAssetDropTarget;
using IDs = std::vector<UUID>;

std::string payload(const std::string& prefix, const IDs& ids) {
    std::string text = prefix;
    for (std::size_t i = 0; i < ids.size(); ++i) text += (i == 0 ? "" : ",") + ids[i].upper();
    return text;
}

TEST(TimelineAssetDropPayloads, AreReadOrRefusedAsAWhole) {
    const UUID a = uuid(0xA);
    const UUID b = uuid(0xB);
    const struct {
        std::string text;
        std::optional<IDs> ids;
    } rows[] = {
        {"asset:" + a.upper(), IDs{a}},
        {"asset:" + a.lower(), IDs{a}},
        {"assets:" + a.upper() + "," + b.upper(), IDs{a, b}},
        {"assets:" + b.upper() + "," + a.upper(), IDs{b, a}},
        {"asset:" + a.upper() + "," + b.upper(), IDs{a, b}},
        {"assets:" + a.upper() + ",," + b.upper(), std::nullopt},
        {"assets:" + a.upper() + ",", std::nullopt},
        {"assets:," + a.upper(), std::nullopt},
        {"assets:" + a.upper() + ", " + b.upper(), std::nullopt},
        {"assets:" + a.upper() + ",sunset", std::nullopt},
        {"asset:", std::nullopt},
        {"assets:", std::nullopt},
        {"asset", std::nullopt},
        {"", std::nullopt},
        {a.upper(), std::nullopt},
        {"Asset:" + a.upper(), std::nullopt},
        {" asset:" + a.upper(), std::nullopt},
        {"asset:" + a.upper() + "\n", std::nullopt},
        {std::string("asset:\xff\xfe\0", 9), std::nullopt},
    };
    for (const auto& row : rows) EXPECT_EQ(Target::assetIDs(row.text), row.ids) << row.text;
}

TEST(TimelineAssetDropPayloads, NameAssetsInTheirOwnOrderOrNone) {
    const std::vector<Clip> known{videoClip(1), videoClip(2), audioClip(3)};
    EXPECT_EQ(Target::assets(IDs{uuid(3), uuid(1)}, known), (std::vector<Clip>{known[2], known[0]}));
    EXPECT_EQ(Target::assets(IDs{uuid(1), uuid(4)}, known), std::nullopt);
    EXPECT_EQ(Target::assets(IDs{}, known), std::vector<Clip>());
}

TEST(TimelineDrags, AreThoseOfPlainText) {
    QMimeData text;
    text.setText("asset:x");
    const TimelineDrag drag = TimelineDrag::of(text, {3, 4});
    EXPECT_EQ(drag.location, QPointF(3, 4));
    ASSERT_EQ(drag.texts.size(), 1U);
    std::optional<std::string> read;
    drag.texts.front()([&](const std::optional<std::string>& found) { read = found; });
    EXPECT_EQ(read, "asset:x");

    QMimeData file;
    file.setUrls({QUrl("file:///media/a.mov")});
    file.setData("text/plain", "file:///media/a.mov");
    EXPECT_TRUE(TimelineDrag::of(file, {}).texts.empty()) << "files are dropped elsewhere";
    QMimeData image;
    image.setData("image/png", "x");
    EXPECT_TRUE(TimelineDrag::of(image, {}).texts.empty());
}

TEST(TimelineDrags, HaveNoTextAnyMoreWhenTheirEventIsOver) {
    auto text = std::make_unique<QMimeData>();
    text->setText("asset:x");
    const TimelineDrag drag = TimelineDrag::of(*text, {});
    text.reset();
    std::optional<std::string> read = "unread";
    drag.texts.front()([&](const std::optional<std::string>& found) { read = found; });
    EXPECT_EQ(read, std::nullopt);
}

/// A timeline of three clips of 4 s, drawn at 32 points a second behind an inset of 500, with a drag over it whose
/// payload comes when the test says so.
class TimelineAssetDropTests : public EditorFixture {
protected:
    TimelineAssetDropTests() {
        const auto file = [this](const std::string& name, double seconds) {
            return makeManaged(name, FakeFile::video(seconds));
        };
        assets = {video(file("a.mov", 4), 4), video(file("b.mov", 4), 4), video(file("new.mov", 2), 2),
                  video(file("other.mov", 3), 3), audio(makeManaged("sound.wav", FakeFile::audio(5)), 5)};
        std::vector<Clip> clips{assets[0], assets[1], assets[0]};
        for (Clip& clip : clips) clip.id = UUID::random();
        load(clips, assets);
        settlePreview();
        before = editor->clips();
        steps = editor->undoStack().size();
    }

    [[nodiscard]] TimelineAssetDropDelegate delegate() {
        return {.editor = editor,
                .target = &target,
                .isEnabled = !editor->busy(),
                .timelineInset = 500,
                .pointsPerSecond = 32,
                .animation = {}};
    }
    /// A drag with text over a time of the timeline.
    static TimelineDrag over(double seconds) {
        return {{500 + seconds * 32, 60}, {[](const TextReceiver&) {}}};
    }
    /// What the load of this number brings.
    void deliver(const Target::AssetIDs& ids, std::size_t load = 0) { loads.at(load)(ids); }
    void enter(double seconds) { delegate().dropEntered(over(seconds)); }
    void dragIn(double seconds, const IDs& ids) {
        enter(seconds);
        deliver(ids, loads.size() - 1);
    }
    bool drop(double seconds) { return delegate().performDrop(over(seconds)); }
    [[nodiscard]] DropProposal move(double seconds) { return delegate().dropUpdated(over(seconds)); }
    [[nodiscard]] const UUID& id(std::size_t asset) const { return assets[asset].id; }
    /// The files of the timeline's clips, by name.
    [[nodiscard]] std::vector<std::string> timeline() const {
        std::vector<std::string> names;
        for (const Clip& clip : editor->clips()) names.push_back(clip.name());
        return names;
    }
    void expectNothingChanged() const {
        EXPECT_EQ(editor->clips(), before);
        EXPECT_EQ(editor->undoStack().size(), steps);
    }
    void expectIdle() const {
        EXPECT_EQ(target.location(), std::nullopt);
        EXPECT_EQ(target.assetIDs(), std::nullopt);
        EXPECT_EQ(target.requestID(), std::nullopt);
        EXPECT_FALSE(target.pendingDrop());
    }

    std::vector<Clip> assets;
    std::vector<Clip> before;
    std::size_t steps = 0;
    std::vector<Target::Completion> loads;
    Target target{[this](const TextProvider&, const Target::Completion& complete) { loads.push_back(complete); }};
};

using Names = std::vector<std::string>;

TEST_F(TimelineAssetDropTests, ADragIsIdleThenLoadingThenKnown) {
    expectIdle();
    enter(1);
    EXPECT_EQ(target.location(), QPointF(532, 60));
    EXPECT_EQ(target.assetIDs(), std::nullopt);
    EXPECT_TRUE(target.requestID());
    EXPECT_EQ(move(2), DropProposal::copy);
    EXPECT_EQ(target.location(), QPointF(564, 60));
    deliver(IDs{id(2)});
    EXPECT_EQ(target.location(), QPointF(564, 60));
    EXPECT_EQ(target.assetIDs(), IDs{id(2)});
    EXPECT_EQ(move(3), DropProposal::copy);
    EXPECT_EQ(target.location(), QPointF(596, 60));
    delegate().dropExited();
    expectIdle();
    expectNothingChanged();
}

TEST_F(TimelineAssetDropTests, AKnownDropLandsWhereItIsLetGoInOneStep) {
    const struct {
        double seconds;
        Names timeline;
    } rows[] = {
        {-9, {"new", "a", "b", "a"}}, {0, {"new", "a", "b", "a"}},    {1.99, {"new", "a", "b", "a"}},
        {2, {"a", "new", "b", "a"}},  {5.99, {"a", "new", "b", "a"}}, {6, {"a", "b", "new", "a"}},
        {10, {"a", "b", "a", "new"}}, {900, {"a", "b", "a", "new"}},
    };
    for (const auto& row : rows) {
        dragIn(1, {id(2)});
        EXPECT_TRUE(drop(row.seconds));
        EXPECT_EQ(timeline(), row.timeline) << row.seconds;
        EXPECT_EQ(editor->undoStack().size(), steps + 1);
        expectIdle();
        editor->undo();
        settlePreview();
        EXPECT_EQ(editor->clips(), before);
    }
}

TEST_F(TimelineAssetDropTests, SeveralAssetsLandTogetherInTheirOrder) {
    dragIn(4, {id(3), id(4), id(2)});
    EXPECT_TRUE(drop(4));
    EXPECT_EQ(timeline(), (Names{"a", "other", "sound", "new", "b", "a"}));
    EXPECT_EQ(editor->undoStack().size(), steps + 1);
}

TEST_F(TimelineAssetDropTests, ADropBeforeThePayloadInsertsWhereItHappened) {
    enter(1);
    EXPECT_TRUE(drop(4));
    EXPECT_EQ(target.location(), std::nullopt) << "the marker is gone";
    EXPECT_TRUE(target.pendingDrop());
    EXPECT_TRUE(target.requestID());
    EXPECT_EQ(loads.size(), 1U) << "the load under way serves";
    expectNothingChanged();
    // Events that come after the drop leave it alone.
    delegate().dropExited();
    EXPECT_EQ(move(9), DropProposal::copy);
    EXPECT_EQ(target.location(), std::nullopt);
    deliver(IDs{id(2)});
    EXPECT_EQ(timeline(), (Names{"a", "new", "b", "a"}));
    EXPECT_EQ(editor->undoStack().size(), steps + 1);
    expectIdle();
}

TEST_F(TimelineAssetDropTests, ADropThatTheTimelineChangedUnderInsertsNothing) {
    enter(1);
    EXPECT_TRUE(drop(4));
    editor->update(before[0].id, [](Clip& clip) { clip.volume = 0.5; });
    settlePreview();
    const auto changed = editor->clips();
    deliver(IDs{id(2)});
    EXPECT_EQ(editor->clips(), changed);
    expectIdle();
}

TEST_F(TimelineAssetDropTests, AChangeThatWasTakenBackDoesNotCount) {
    enter(1);
    EXPECT_TRUE(drop(4));
    editor->update(before[0].id, [](Clip& clip) { clip.volume = 0.5; });
    editor->update(before[0].id, [](Clip& clip) { clip.volume = 1; });
    settlePreview();
    deliver(IDs{id(2)});
    EXPECT_EQ(timeline(), (Names{"a", "new", "b", "a"}));
}

TEST_F(TimelineAssetDropTests, APayloadThatComesAfterTheDragLeftIsIgnored) {
    enter(1);
    delegate().dropExited();
    deliver(IDs{id(2)});
    expectIdle();
    expectNothingChanged();
}

TEST_F(TimelineAssetDropTests, ASecondDragReplacesTheLoadOfTheFirst) {
    enter(1);
    const auto first = target.requestID();
    enter(2);
    EXPECT_NE(target.requestID(), first);
    deliver(IDs{id(2)}, 0);
    EXPECT_EQ(target.assetIDs(), std::nullopt);
    deliver(IDs{id(3)}, 1);
    EXPECT_EQ(target.assetIDs(), IDs{id(3)});
    EXPECT_TRUE(drop(4));
    EXPECT_EQ(timeline(), (Names{"a", "other", "b", "a"}));
}

TEST_F(TimelineAssetDropTests, APayloadThatComesTwiceCountsOnce) {
    enter(1);
    deliver(IDs{id(2)});
    deliver(IDs{id(3)});
    EXPECT_EQ(target.assetIDs(), IDs{id(2)}) << "while the drag is in the air";
    EXPECT_TRUE(drop(4));
    deliver(IDs{id(3)});
    EXPECT_EQ(timeline(), (Names{"a", "new", "b", "a"})) << "behind its drop";
    settlePreview();

    enter(1);
    EXPECT_TRUE(drop(0));
    deliver(IDs{id(3)}, 1);
    settlePreview();
    deliver(IDs{id(3)}, 1);
    EXPECT_EQ(timeline(), (Names{"other", "a", "new", "b", "a"})) << "to a drop that waited";
    expectIdle();
}

TEST_F(TimelineAssetDropTests, APayloadThatNeverComesIsForgottenByTheNextDrag) {
    enter(1);
    EXPECT_TRUE(drop(4));
    dragIn(0, {id(3)});
    EXPECT_FALSE(target.pendingDrop());
    EXPECT_TRUE(drop(0));
    EXPECT_EQ(timeline(), (Names{"other", "a", "b", "a"}));
    deliver(IDs{id(2)}, 0);
    EXPECT_EQ(timeline(), (Names{"other", "a", "b", "a"}));
}

TEST_F(TimelineAssetDropTests, APayloadThatNeverComesKeepsNoProjectAlive) {
    enter(1);
    EXPECT_TRUE(drop(4));
    const std::weak_ptr<Editor> weak = editor;
    editor.reset();
    context.settle();
    EXPECT_TRUE(weak.expired());
    deliver(IDs{id(2)});
    expectIdle();
}

TEST_F(TimelineAssetDropTests, APayloadIsHarmlessWhenItsTimelineIsGone) {
    std::vector<Target::Completion> late;
    {
        Target gone([&](const TextProvider&, const Target::Completion& complete) { late.push_back(complete); });
        gone.load([](const TextReceiver&) {});
    }
    late.at(0)(IDs{id(2)});
    expectNothingChanged();
}

TEST_F(TimelineAssetDropTests, OtherTextShowsACopyAndInsertsNothing) {
    enter(1);
    EXPECT_EQ(move(1), DropProposal::copy) << "while it loads";
    deliver(std::nullopt);
    EXPECT_EQ(target.assetIDs(), IDs());
    EXPECT_EQ(move(1), DropProposal::copy);
    EXPECT_EQ(delegate().markedIndex(), std::nullopt);
    (void)drop(4);
    expectIdle();

    enter(1);
    (void)drop(4);
    deliver(std::nullopt, 1);
    expectIdle();
    expectNothingChanged();
}

TEST_F(TimelineAssetDropTests, AnAssetThatWasDeletedMeanwhileIsForbiddenAndInsertsNothing) {
    dragIn(1, {id(3), id(2)});
    EXPECT_EQ(move(1), DropProposal::copy);
    editor->deleteAssets({id(2)});
    settlePreview();
    EXPECT_EQ(move(1), DropProposal::forbidden);
    EXPECT_EQ(delegate().markedIndex(), std::nullopt);
    EXPECT_FALSE(drop(4));
    EXPECT_EQ(editor->clips(), before);
    expectIdle();
}

TEST_F(TimelineAssetDropTests, AnAssetThatIsDeletedWhileTheDropWaitsInsertsNothing) {
    enter(1);
    EXPECT_TRUE(drop(4));
    editor->deleteAssets({id(2)});
    settlePreview();
    deliver(IDs{id(2)});
    EXPECT_EQ(editor->clips(), before);
    expectIdle();
}

TEST_F(TimelineAssetDropTests, ABusyProjectForbidsEverything) {
    dragIn(1, {id(2)});
    beBusy();
    EXPECT_FALSE(delegate().validateDrop(over(1)));
    EXPECT_EQ(move(2), DropProposal::forbidden);
    EXPECT_EQ(target.location(), QPointF(532, 60));
    EXPECT_FALSE(drop(4));
    expectIdle();
    enter(1);
    expectIdle();
    EXPECT_EQ(loads.size(), 1U);
    expectNothingChanged();
}

TEST_F(TimelineAssetDropTests, ADragThatCameWhileBusyLoadsWithItsDrop) {
    beBusy();
    enter(1);
    context.settle();
    settlePreview();
    EXPECT_EQ(move(4), DropProposal::copy);
    EXPECT_TRUE(drop(4));
    ASSERT_EQ(loads.size(), 1U);
    deliver(IDs{id(2)});
    EXPECT_EQ(timeline(), (Names{"a", "new", "b", "a"}));
}

TEST_F(TimelineAssetDropTests, ADragWithoutTextIsForbidden) {
    const TimelineDrag none{{532, 60}, {}};
    EXPECT_FALSE(delegate().validateDrop(none));
    EXPECT_TRUE(delegate().validateDrop(over(1)));
    delegate().dropEntered(none);
    expectIdle();
    EXPECT_EQ(delegate().dropUpdated(none), DropProposal::forbidden);
    expectIdle();
    dragIn(1, {id(2)});
    EXPECT_FALSE(delegate().performDrop(none));
    expectIdle();
    expectNothingChanged();
}

TEST_F(TimelineAssetDropTests, ADropIsRefusedWhileTheProjectCantTakeIt) {
    const struct {
        const char* what;
        std::function<void()> begin;
        std::function<void()> end;
    } rows[] = {
        {"busy", [this] { editor->beginCopying(); }, [this] { editor->endCopying(); }},
        {"building", [this] { editor->rebuildPreview(); }, [this] { settlePreview(); }},
        {"in a gesture", [this] { editor->beginInteraction(); }, [this] { editor->endInteraction(); }},
    };
    for (const auto& row : rows) {
        // At the drop itself.
        dragIn(1, {id(2)});
        row.begin();
        EXPECT_FALSE(drop(4)) << row.what;
        row.end();
        settlePreview();
        expectIdle();
        // While it waits.
        enter(1);
        EXPECT_TRUE(drop(4)) << row.what;
        row.begin();
        deliver(IDs{id(2)}, loads.size() - 1);
        row.end();
        settlePreview();
        expectIdle();
        expectNothingChanged();
    }
}

TEST_F(TimelineAssetDropTests, EnteringEndsTheHoverOfAnAsset) {
    editor->previewAssetHover(id(0), 0.5);
    EXPECT_TRUE(editor->hoverPreview());
    enter(1);
    EXPECT_FALSE(editor->hoverPreview());
}

TEST_F(TimelineAssetDropTests, TheMarkerStandsWhereVideoWouldLand) {
    enter(4);
    EXPECT_EQ(delegate().markedIndex(), std::nullopt) << "before the assets are known";
    deliver(IDs{id(2)});
    EXPECT_EQ(delegate().markedIndex(), 1);
    (void)move(-3);
    EXPECT_EQ(delegate().markedIndex(), 0);
    (void)move(100);
    EXPECT_EQ(delegate().markedIndex(), 3);
    delegate().dropExited();
    EXPECT_EQ(delegate().markedIndex(), std::nullopt);

    dragIn(4, {id(4)});
    EXPECT_EQ(delegate().markedIndex(), std::nullopt) << "sound parts no clips";
    dragIn(4, {id(4), id(2)});
    EXPECT_EQ(delegate().markedIndex(), 1);
}

TEST_F(TimelineAssetDropTests, TheEditRunsInsideTheAnimation) {
    std::vector<std::size_t> counts;
    auto animated = delegate();
    animated.animation = [&](const std::function<void()>& edit) {
        counts.push_back(editor->clips().size());
        edit();
        counts.push_back(editor->clips().size());
    };
    dragIn(1, {id(2)});
    EXPECT_TRUE(animated.performDrop(over(4)));
    EXPECT_EQ(counts, (std::vector<std::size_t>{3, 4}));
}

TEST_F(TimelineAssetDropTests, WhatIsSeenOfADragIsAnnounced) {
    int changes = 0;
    QObject::connect(&target, &Target::changed, [&] { ++changes; });
    const auto count = [&] { return std::exchange(changes, 0); };
    target.reset();
    EXPECT_EQ(count(), 0);
    enter(1);
    EXPECT_EQ(count(), 1);
    (void)move(1);
    EXPECT_EQ(count(), 0);
    (void)move(2);
    EXPECT_EQ(count(), 1);
    deliver(IDs{id(2)});
    EXPECT_EQ(count(), 1);
    delegate().dropExited();
    EXPECT_EQ(count(), 1);
}

TEST_F(TimelineAssetDropTests, TheTextMayComeOnAnyThreadAndTakesEffectOnTheMainThread) {
    Target real(context);
    auto on = delegate();
    on.target = &real;
    TextReceiver receive;
    const TimelineDrag drag{{532, 60}, {[&](const TextReceiver& asked) { receive = asked; }}};
    on.dropEntered(drag);
    ASSERT_TRUE(receive);
    std::thread([&] { receive(payload("assets:", {id(3), id(2)})); }).join();
    EXPECT_EQ(real.assetIDs(), std::nullopt);
    context.runPosted();
    EXPECT_EQ(real.assetIDs(), (IDs{id(3), id(2)}));
    EXPECT_TRUE(on.performDrop(drag));
    EXPECT_EQ(timeline(), (Names{"other", "new", "a", "b", "a"}));
}

TEST_F(TimelineAssetDropTests, NoTextAtAllCountsAsAnUnreadablePayload) {
    Target real(context);
    real.load([](const TextReceiver& receive) { receive(std::nullopt); });
    EXPECT_EQ(real.assetIDs(), std::nullopt) << "not before a later turn";
    context.runPosted();
    EXPECT_EQ(real.assetIDs(), IDs());
}

}  // namespace
}  // namespace kelvane::testing
