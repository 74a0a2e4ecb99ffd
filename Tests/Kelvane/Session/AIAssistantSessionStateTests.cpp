#include <fstream>
#include <limits>
#include <sstream>

#include "SessionFixture.h"
#include "Support/TestData.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;

class AIAssistantSessionState : public SessionFixture {
protected:
    /// A file of Tests/Data without its last line feed, with the project's identity and file name in place.
    [[nodiscard]] std::string golden(const std::string& name) const {
        std::string out = testData(name);
        while (out.ends_with('\n')) out.pop_back();
        const std::string mark = "PROJECT-ID";
        for (auto at = out.find(mark); at != std::string::npos; at = out.find(mark))
            out.replace(at, mark.size(), editor->id().upper());
        return out;
    }
};

TEST_F(AIAssistantSessionState, OfAnEmptyProjectIsTheGoldenDocument) {
    makeUnsaved();
    EXPECT_EQ(session().projectState(false).value().text(), golden("state-empty.json"));
    EXPECT_EQ(session().projectState(true).value().text(), golden("state-empty-compact.json"));
}

TEST_F(AIAssistantSessionState, ListsEveryClipAndAssetInOrder) {
    editor->setLibraryName("Trailer / \"cut\"");
    const json full = state();
    EXPECT_EQ(full["timeline"], json::array({{{"clipID", clipID(0)},
                                              {"assetID", assetID(0)},
                                              {"start", 1},
                                              {"end", 4},
                                              {"zoom", 1},
                                              {"horizontal", 0},
                                              {"vertical", 0},
                                              {"volume", 1}},
                                             {{"clipID", clipID(1)},
                                              {"assetID", assetID(1)},
                                              {"start", 0},
                                              {"end", 5},
                                              {"zoom", 1},
                                              {"horizontal", 0},
                                              {"vertical", 0},
                                              {"volume", 1},
                                              {"timelineStart", 2},
                                              {"audioTrackID", clipID(1)}},
                                             {{"clipID", clipID(2)},
                                              {"assetID", assetID(0)},
                                              {"start", 0},
                                              {"end", 10},
                                              {"zoom", 1},
                                              {"horizontal", 0},
                                              {"vertical", 0},
                                              {"volume", 1}}}));
    EXPECT_EQ(full["assets"],
              json::array({{{"assetID", assetID(0)}, {"name", "film"}, {"duration", 10}, {"mediaType", "video"}},
                           {{"assetID", assetID(1)}, {"name", "sound"}, {"duration", 20}, {"mediaType", "audio"}}}));
    EXPECT_EQ(full["audioTracks"], json::array({clipID(1)}));
    EXPECT_EQ(full["duration"], 13);
    EXPECT_EQ(full["playhead"], 0);
    EXPECT_EQ(full["revision"], revision());
    EXPECT_EQ(full["name"], "Trailer / \"cut\"");
    EXPECT_EQ(full["projectID"], editor->id().upper());
    EXPECT_EQ(full["busy"], false);
    EXPECT_EQ(full["interacting"], false);
    EXPECT_EQ(full["canUndo"], false);
    EXPECT_EQ(full["canRedo"], false);
}

TEST_F(AIAssistantSessionState, HasItsKeysSortedAndItsSlashesPlainAtEveryDepth) {
    editor->setLibraryName("a/b");
    const auto text = session().projectState(false).value().text();
    // This parser keeps keys sorted, so that what it writes is what a sorted text reads like.
    EXPECT_EQ(text, json::parse(text).dump());
}

TEST_F(AIAssistantSessionState, CompactLeavesOutAssetsIdentityAndHistory) {
    json expected = state();
    for (const char* key : {"projectID", "name", "busy", "interacting", "assets", "canUndo", "canRedo"})
        EXPECT_EQ(expected.erase(key), 1U) << key;
    EXPECT_EQ(state(true), expected);
    EXPECT_EQ(expected.size(), 8U);
}

TEST_F(AIAssistantSessionState, NumbersAreTheShortestThatReadBack) {
    auto clips = editor->clips();
    clips[0].start = 0.1;
    clips[0].end = 1.0 / 3.0;
    clips[0].volume = 0.03;
    editor->commit(clips);
    const auto text = session().projectState(true).value().raw("timeline");
    EXPECT_NE(text.find(R"("end":0.3333333333333333,"horizontal":0,"start":0.1,"vertical":0,"volume":0.03,"zoom":1})"),
              std::string::npos)
        << text;
}

TEST_F(AIAssistantSessionState, AnExplicitLaneIsShownAndAnAbsentPositionIsZero) {
    auto clips = editor->clips();
    clips[1].audioTrackID = UUID::random();
    clips[1].timelineStart.reset();
    editor->commit(clips);
    const json full = state();
    EXPECT_EQ(full["timeline"][1]["audioTrackID"], clips[1].audioTrackID->upper());
    EXPECT_EQ(full["timeline"][1]["timelineStart"], 0);
    EXPECT_EQ(full["audioTracks"], json::array({clips[1].audioTrackID->upper()}));
}

TEST_F(AIAssistantSessionState, OnlyWhatIsHashedChangesTheRevision) {
    const auto before = state()["revision"];
    editor->seekPreview(1.5);
    settlePreview();
    editor->setLibraryName("Other");
    EXPECT_EQ(state()["revision"], before);
    EXPECT_EQ(state()["name"], "Other");
    EXPECT_EQ(state()["playhead"], 1.5);

    auto clips = editor->clips();
    clips[0].volume = 0.5;
    editor->commit(clips);
    EXPECT_NE(state()["revision"], before);
    EXPECT_EQ(state()["canUndo"], true);
    editor->undo();
    EXPECT_EQ(state()["revision"], before);
    EXPECT_EQ(state()["canRedo"], true);
}

TEST_F(AIAssistantSessionState, TellsOfARunningGesture) {
    editor->beginInteraction();
    EXPECT_EQ(state()["interacting"], true);
    editor->endInteraction();
    EXPECT_EQ(state()["interacting"], false);
}

TEST_F(AIAssistantSessionState, AClipWithoutAnAssetFailsTheWholeDocument) {
    auto clips = editor->clips();
    clips.push_back(video(makeManaged("other.mov", FakeFile::video(3)), 3));
    editor->commit(clips);
    EXPECT_EQ(refusal(session().projectState(false)), "A timeline source is missing from the asset library.");
    EXPECT_EQ(refusal(session().projectState(true)), "A timeline source is missing from the asset library.");
}

TEST_F(AIAssistantSessionState, ANumberThatIsNotFiniteFailsTheDocument) {
    auto clips = editor->clips();
    clips[0].zoom = std::numeric_limits<double>::quiet_NaN();
    editor->commit(clips);
    EXPECT_EQ(refusal(session().projectState(true)), "The project holds a number that is not finite.");
}

TEST_F(AIAssistantSessionState, FiniteClipsWhoseSumIsInfiniteFailTheDocument) {
    Clip longest = video(film, 1.7e308);
    ASSERT_TRUE(longest.isValid());
    editor->commit({longest, video(film, 1.7e308)});
    EXPECT_EQ(refusal(session().projectState(true)), "The project holds a number that is not finite.");
    EXPECT_EQ(refusal(session().projectState(false)), "The project holds a number that is not finite.");
    Clip overlay = audio(sound, 1.7e308, 1.7e308);
    ASSERT_TRUE(overlay.isValid());
    editor->commit({overlay});
    EXPECT_EQ(refusal(perform("project")), "The project holds a number that is not finite.");
    // One such clip alone can be said.
    longest.sourceDuration = longest.end = 1e308;
    editor->commit({longest});
    EXPECT_EQ(state()["duration"], 1e308);
}

TEST_F(AIAssistantSessionState, AClosedProjectHasNone) {
    const auto kept = session().shared_from_this();
    editor.reset();
    context.settle();
    EXPECT_EQ(refusal(kept->projectState(false)), "The Kelvane project is closed.");
}

}  // namespace
}  // namespace kelvane::testing
