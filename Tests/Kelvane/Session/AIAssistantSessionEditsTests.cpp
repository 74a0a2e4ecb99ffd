#include <filesystem>

#include "SessionFixture.h"
#include "Timeline/TimelineLayout.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;

constexpr const char* splitText = "Require a known clipID and --at leaving at least 1/30s on each side.";
constexpr const char* unknownText = "Unknown clipID. Read project for the current timeline IDs.";

class AIAssistantSessionEdits : public SessionFixture {
protected:
    /// The present timeline as a request, without what a caller may leave out.
    [[nodiscard]] json entries(bool withIDs = true) const {
        json timeline = state()["timeline"];
        if (!withIDs)
            for (auto& entry : timeline) entry.erase("clipID");
        return timeline;
    }
    /// One entry: the film's first seconds.
    [[nodiscard]] std::string filmEntry(double end) const {
        return json::array({{{"assetID", assetID(0)}, {"start", 0}, {"end", end}}}).dump();
    }
    /// A timeline that is being composed, its sources having been found.
    Reply startBuild(const std::string& entries) {
        const auto reply = startWrite("timeline", {{"json", entries}});
        EXPECT_TRUE(context.stepBackground());
        context.runPosted();
        EXPECT_EQ(context.waitingInBackground(Lane::longWork), 1U);
        return reply;
    }
    [[nodiscard]] std::size_t undoSteps() const { return editor->undoStack().size(); }
};

TEST_F(AIAssistantSessionEdits, TimelineReplacesTheWholeInOneStep) {
    const auto before = editor->clips();
    const json reply = document(write("timeline", {{"json", filmEntry(3)}}));
    EXPECT_EQ(reply, state());
    EXPECT_EQ(reply["duration"], 3);
    EXPECT_EQ(reply["canUndo"], true);
    EXPECT_FALSE(reply.contains("applied"));
    ASSERT_EQ(undoSteps(), 1U);
    EXPECT_EQ(*editor->undoStack().front().clips, before);
    EXPECT_TRUE(editor->isDirty());
}

TEST_F(AIAssistantSessionEdits, TimelineIsComposedOnThePreviewCanvasBeforeItIsCommitted) {
    const auto reply = startWrite("timeline", {{"json", filmEntry(3)}});
    EXPECT_EQ(undoSteps(), 0U);
    while (media.count("openAsset") == 0) {
        ASSERT_TRUE(context.stepBackground());
        EXPECT_EQ(undoSteps(), 0U);
        if (media.count("openAsset") == 0) context.runPosted();
    }
    EXPECT_EQ(media.count("openAsset film.mov"), 1U);
    EXPECT_EQ(refusal(finish(reply)), "done");
    EXPECT_EQ(undoSteps(), 1U);
}

TEST_F(AIAssistantSessionEdits, ATimelineThatCannotBeComposedChangesNothing) {
    const auto before = editor->clips();
    media.failOn("openAsset film.mov", "The film is broken.");
    EXPECT_NE(refusal(write("timeline", {{"json", filmEntry(3)}})), "done");
    EXPECT_EQ(editor->clips(), before);
    EXPECT_EQ(undoSteps(), 0U);
    EXPECT_FALSE(editor->isDirty());
}

TEST_F(AIAssistantSessionEdits, TimelineFailsInTheWordsOfItsText) {
    EXPECT_EQ(refusal(write("timeline", {{"json", "[1]"}})),
              "timeline requires an array of up to 1,000 clips, at most 1 MiB.");
    EXPECT_EQ(refusal(write("timeline", {{"json", "[{}]"}})), "Clip 1: assetID is missing.");
    EXPECT_EQ(undoSteps(), 0U);
}

TEST_F(AIAssistantSessionEdits, TheSameTimelineTwiceIsOneStep) {
    const json first = document(write("timeline", {{"json", filmEntry(3)}, {"compact", "true"}}));
    media.clearCalls();
    const json second = document(write("timeline", {{"json", filmEntry(3)}, {"compact", "true"}, {"preview", "true"}}));
    EXPECT_EQ(second["revision"], first["revision"]);
    EXPECT_EQ(second["timeline"], first["timeline"]);
    EXPECT_EQ(second["applied"], true);
    EXPECT_EQ(second["changed"], false);
    EXPECT_FALSE(second["preview"].contains("error"));
    EXPECT_EQ(second["preview"]["revision"], first["revision"]);
    EXPECT_EQ(second["preview"]["stale"], false);
    EXPECT_EQ(undoSteps(), 1U);
}

TEST_F(AIAssistantSessionEdits, TheStatesOwnTimelineChangesNothing) {
    const auto before = revision();
    for (const bool withIDs : {true, false})
        EXPECT_EQ(document(write("timeline", {{"json", entries(withIDs).dump()}}))["revision"], before);
    EXPECT_EQ(media.count("openAsset"), 0U);
    EXPECT_EQ(undoSteps(), 0U);
    json swapped = entries();
    std::swap(swapped[0], swapped[2]);
    EXPECT_NE(document(write("timeline", {{"json", swapped.dump()}}))["revision"], before);
    EXPECT_EQ(undoSteps(), 1U);
}

TEST_F(AIAssistantSessionEdits, AnEmptyTimelineIsOneStepAndComposesNothing) {
    const auto reply = startWrite("timeline", {{"json", "[]"}});
    ASSERT_TRUE(reply->has_value()) << "nothing is to be waited for";
    EXPECT_EQ(document(reply->value())["timeline"], json::array());
    EXPECT_EQ(undoSteps(), 1U);
    const auto again = document(write("timeline", {{"json", "[]"}, {"preview", "true"}}));
    EXPECT_EQ(again["changed"], false);
    EXPECT_EQ(again["preview"]["error"], "No video in timeline; use waveform to inspect audio.");
    EXPECT_EQ(undoSteps(), 1U);
}

TEST_F(AIAssistantSessionEdits, AMissingSourceStopsEveryEditUntilItIsBackOrGone) {
    constexpr const char* missing = "Source missing: sound. Restore the original video.";
    const auto elsewhere = sound.path() + ".moved";
    std::filesystem::rename(sound.path(), elsewhere);
    EXPECT_EQ(refusal(write("timeline", {{"json", entries().dump()}})), missing);
    EXPECT_EQ(refusal(write("clip", {{"id", clipID(0)}, {"volume", "0.5"}})), missing);
    EXPECT_EQ(refusal(write("split", {{"id", clipID(0)}, {"at", "1"}})), missing);
    EXPECT_EQ(refusal(write("remove", {{"id", clipID(0)}})), missing);
    EXPECT_EQ(undoSteps(), 0U);

    std::filesystem::rename(elsewhere, sound.path());
    EXPECT_EQ(refusal(write("clip", {{"id", clipID(0)}, {"volume", "0.5"}})), "done");
    std::filesystem::rename(sound.path(), elsewhere);
    EXPECT_EQ(refusal(write("remove", {{"id", clipID(1)}})), "done");
}

TEST_F(AIAssistantSessionEdits, OfTwoTimelinesInBuildTheFirstToReturnCommits) {
    const auto first = startWrite("timeline", {{"json", filmEntry(3)}});
    const auto second = startWrite("timeline", {{"json", filmEntry(4)}});
    context.drain();
    context.runPosted();
    ASSERT_EQ(context.waitingInBackground(Lane::longWork), 2U);
    EXPECT_EQ(refusal(finish(first)), "done");
    EXPECT_EQ(refusal(finish(second)), changedText);
    EXPECT_EQ(clip(0).end, 3);
    EXPECT_EQ(undoSteps(), 1U);
}

TEST_F(AIAssistantSessionEdits, AnEditOfTheUserDuringABuildStandsAlone) {
    const auto reply = startBuild(filmEntry(3));
    editor->update(clip(0).id, [](Clip& changed) { changed.volume = 0.5; });
    const auto clips = editor->clips();
    EXPECT_EQ(refusal(finish(reply)), changedText);
    EXPECT_EQ(editor->clips(), clips);
    EXPECT_EQ(undoSteps(), 1U);
}

TEST_F(AIAssistantSessionEdits, AnEditThatTheUserTookBackDuringABuildDoesNotCount) {
    const auto reply = startBuild(filmEntry(3));
    editor->update(clip(0).id, [](Clip& changed) { changed.volume = 0.5; });
    editor->undo();
    EXPECT_EQ(refusal(finish(reply)), "done");
    EXPECT_EQ(clip(0).end, 3);
}

TEST_F(AIAssistantSessionEdits, AGestureDuringABuildRefusesTheCommit) {
    const auto reply = startBuild(filmEntry(3));
    editor->beginInteraction();
    EXPECT_EQ(refusal(finish(reply)), busyText);
    editor->endInteraction();
    EXPECT_EQ(undoSteps(), 0U);
}

TEST_F(AIAssistantSessionEdits, TheEndOfTheSessionDuringABuildRefusesTheCommit) {
    const auto before = editor->clips();
    const auto reply = startBuild(filmEntry(3));
    session().suspend();
    EXPECT_EQ(refusal(finish(reply)), sessionClosedText);
    EXPECT_EQ(editor->clips(), before);
}

TEST_F(AIAssistantSessionEdits, TheEndOfTheProjectDuringABuildRefusesTheCommit) {
    const auto reply = startBuild(filmEntry(3));
    std::weak_ptr<Editor> closed = editor;
    editor.reset();
    EXPECT_TRUE(closed.expired()) << "a request keeps no project alive";
    EXPECT_EQ(refusal(finish(reply)), sessionClosedText);
}

TEST_F(AIAssistantSessionEdits, SourcesAreLookedForOnThePool) {
    // Whether the edit changes anything or not.
    const std::string same = entries().dump();
    for (const std::string& timeline : {filmEntry(3), same}) {
        const auto reply = startWrite("timeline", {{"json", timeline}});
        EXPECT_EQ(context.waitingInBackground(Lane::shortWork), 1U);
        const auto elsewhere = film.path() + ".moved";
        std::filesystem::rename(film.path(), elsewhere);
        EXPECT_EQ(refusal(finish(reply)), "Source missing: film. Restore the original video.");
        std::filesystem::rename(elsewhere, film.path());
    }
    EXPECT_EQ(undoSteps(), 0U);
    EXPECT_EQ(media.count("openAsset"), 0U);
}

TEST_F(AIAssistantSessionEdits, WhatHappensWhileSourcesAreLookedForCountsAsInABuild) {
    auto reply = startWrite("timeline", {{"json", filmEntry(3)}});
    editor->update(clip(0).id, [](Clip& changed) { changed.volume = 0.5; });
    EXPECT_EQ(refusal(finish(reply)), changedText);
    reply = startWrite("timeline", {{"json", filmEntry(3)}});
    editor->beginInteraction();
    EXPECT_EQ(refusal(finish(reply)), busyText);
    editor->endInteraction();
    reply = startWrite("timeline", {{"json", filmEntry(3)}});
    session().suspend();
    EXPECT_EQ(refusal(finish(reply)), sessionClosedText);
    reply = startWrite("timeline", {{"json", filmEntry(3)}});
    const std::weak_ptr<Editor> closed = editor;
    editor.reset();
    EXPECT_TRUE(closed.expired()) << "a request keeps no project alive";
    EXPECT_EQ(refusal(finish(reply)), sessionClosedText);
}

TEST_F(AIAssistantSessionEdits, AWriteDuringAGestureIsBusyAndWorksAfterIt) {
    const auto quoted = revision();
    editor->beginInteraction();
    EXPECT_EQ(refusal(perform("timeline", {{"revision", quoted}, {"json", "[]"}})), busyText);
    editor->endInteraction();
    EXPECT_EQ(refusal(perform("timeline", {{"revision", quoted}, {"json", "[]"}})), "done");
}

TEST_F(AIAssistantSessionEdits, ClipChangesItsFields) {
    const json reply = document(write("clip", {{"id", clipID(0)},
                                               {"start", "0.5"},
                                               {"end", "2"},
                                               {"zoom", "2"},
                                               {"horizontal", "-1"},
                                               {"vertical", "0.25"},
                                               {"volume", "0.3"},
                                               {"compact", "true"}}));
    EXPECT_EQ(reply, state(true));
    EXPECT_EQ(reply["timeline"][0], (json{{"clipID", clipID(0)},
                                          {"assetID", assetID(0)},
                                          {"start", 0.5},
                                          {"end", 2},
                                          {"zoom", 2},
                                          {"horizontal", -1},
                                          {"vertical", 0.25},
                                          {"volume", 0.3}}));
    EXPECT_EQ(undoSteps(), 1U);

    EXPECT_EQ(refusal(write("clip", {{"id", clipID(1)}, {"timelineStart", "6.5"}})), "done");
    EXPECT_EQ(clip(1).timelineStart, 6.5);
}

TEST_F(AIAssistantSessionEdits, ClipRefusesInOrder) {
    const std::string lane = UUID::random().upper();
    struct Row {
        Options options;
        std::string words;
    };
    for (const Row& row : {
             Row{{{"id", "x"}, {"start", "abc"}}, unknownText},
             Row{{{"id", lane}, {"start", "1"}}, unknownText},
             Row{{{"id", assetID(0)}, {"start", "1"}}, unknownText},
             Row{{{"id", clipID(0)}}, "Specify at least one clip field to update."},
             Row{{{"id", clipID(0)}, {"compact", "true"}}, "Specify at least one clip field to update."},
             Row{{{"id", clipID(0)}, {"start", "abc"}}, "--start must be a finite number."},
             Row{{{"id", clipID(0)}, {"start", ""}}, "--start must be a finite number."},
             Row{{{"id", clipID(0)}, {"end", "inf"}}, "--end must be a finite number."},
             Row{{{"id", clipID(0)}, {"volume", "nan"}, {"zoom", "x"}}, "--zoom must be a finite number."},
             Row{{{"id", clipID(0)}, {"timelineStart", "x"}, {"volume", "y"}}, "--volume must be a finite number."},
             Row{{{"id", clipID(0)}, {"timelineStart", "x"}}, "--timelineStart must be a finite number."},
             Row{{{"id", clipID(0)}, {"timelineStart", "1"}, {"start", "abc"}}, "--start must be a finite number."},
             Row{{{"id", clipID(0)}, {"timelineStart", "1"}, {"volume", "y"}}, "--volume must be a finite number."},
             Row{{{"id", clipID(1)}, {"timelineStart", "0x10"}}, "--timelineStart must be a finite number."},
             Row{{{"id", clipID(0)}, {"end", "0x3"}}, "--end must be a finite number."},
             Row{{{"id", clipID(0)}, {"timelineStart", "1"}}, "timelineStart applies to audio clips only."},
             Row{{{"id", clipID(0)}, {"timelineStart", "1"}, {"audioTrackID", lane}},
                 "timelineStart applies to audio clips only."},
             Row{{{"id", clipID(0)}, {"audioTrackID", lane}}, "--audioTrackID requires an audio clip and a lane UUID."},
             Row{{{"id", clipID(1)}, {"audioTrackID", "x"}}, "--audioTrackID requires an audio clip and a lane UUID."},
             Row{{{"id", clipID(1)}, {"audioTrackID", ""}}, "--audioTrackID requires an audio clip and a lane UUID."},
             Row{{{"id", clipID(0)}, {"start", "5"}}, limitsText},
             Row{{{"id", clipID(0)}, {"zoom", "3.5"}}, limitsText},
             Row{{{"id", clipID(1)}, {"timelineStart", "-1"}}, limitsText},
         }) {
        EXPECT_EQ(refusal(write("clip", row.options)), row.words) << json(row.options).dump();
    }
    EXPECT_EQ(undoSteps(), 0U);
    EXPECT_EQ(media.count("openAsset"), 0U);
}

TEST_F(AIAssistantSessionEdits, ClipWithItsPresentLaneIsUnchanged) {
    const json implied = document(write("clip", {{"id", clipID(1)}, {"audioTrackID", clipID(1)}, {"preview", "true"}}));
    EXPECT_EQ(implied["changed"], false);
    EXPECT_EQ(clip(1).audioTrackID, std::nullopt);
    EXPECT_EQ(undoSteps(), 0U);
}

TEST_F(AIAssistantSessionEdits, ClipMovesBetweenLanesAndLanesKeepTheirOrder) {
    const UUID upper = UUID::random();
    const UUID lower = UUID::random();
    const UUID fresh = UUID::random();
    auto clips = editor->clips();
    clips[1].audioTrackID = upper;
    Clip second = audio(sound, 20, 8);
    second.audioTrackID = lower;
    Clip third = audio(sound, 20, 9);
    third.audioTrackID = upper;
    clips.push_back(second);
    clips.push_back(third);
    editor->commit(clips);
    settlePreview();

    // The first clip of the upper lane leaves it; the lane stays first.
    EXPECT_EQ(refusal(write("clip", {{"id", clips[1].id.upper()}, {"audioTrackID", lower.upper()}})), "done");
    EXPECT_EQ(TimelineLayout::audioTracks(editor->clips()), (std::vector<UUID>{upper, lower}));
    EXPECT_EQ(ids(editor->clips()), (std::vector<UUID>{clips[0].id, third.id, clips[2].id, clips[1].id, second.id}));

    const json reply = document(write("clip", {{"id", third.id.upper()}, {"audioTrackID", fresh.upper()}}));
    EXPECT_EQ(reply["audioTracks"], json::array({lower.upper(), fresh.upper()}));
}

TEST_F(AIAssistantSessionEdits, SplitCutsAtATimelineSecond) {
    const Clip whole = clip(2);
    const json reply = document(write("split", {{"id", whole.id.upper()}, {"at", "5.5"}, {"compact", "true"}}));
    EXPECT_EQ(reply, state(true));
    ASSERT_EQ(editor->clips().size(), 4U);
    Clip first = whole;
    first.end = 2.5;
    Clip second = whole;
    second.id = clip(3).id;
    second.start = 2.5;
    EXPECT_EQ(clip(2), first);
    EXPECT_EQ(clip(3), second);
    EXPECT_NE(second.id, whole.id);
    EXPECT_EQ(undoSteps(), 1U);
}

TEST_F(AIAssistantSessionEdits, SplitOfAnAudioClipKeepsItsPlaceAndLane) {
    const Clip whole = clip(1);
    EXPECT_EQ(refusal(write("split", {{"id", whole.id.upper()}, {"at", "3.5"}})), "done");
    EXPECT_EQ(clip(1).end, 1.5);
    EXPECT_EQ(clip(2).start, 1.5);
    EXPECT_EQ(clip(2).timelineStart, 3.5);
    EXPECT_EQ(clip(1).lane(), whole.id);
    EXPECT_EQ(clip(2).lane(), whole.id);
}

TEST_F(AIAssistantSessionEdits, SplitHasOneRefusal) {
    struct Row {
        std::string id;
        std::string at;
    };
    // The first clip lies on [0, 3), the sound on [2, 7), the last clip on [3, 13).
    for (const Row& row :
         {Row{"x", "1"}, Row{assetID(0), "1"}, Row{UUID::random().upper(), "1"}, Row{clipID(0), "x"},
          Row{clipID(0), "inf"}, Row{clipID(0), "0"}, Row{clipID(0), "0.03"}, Row{clipID(0), "2.97"},
          Row{clipID(0), "3"}, Row{clipID(0), "-1"}, Row{clipID(1), "1.9"}, Row{clipID(1), "2.03"},
          Row{clipID(1), "6.98"}, Row{clipID(2), "2"}, Row{clipID(2), "13"}, Row{clipID(2), "1e300"}}) {
        EXPECT_EQ(refusal(write("split", {{"id", row.id}, {"at", row.at}})), splitText) << row.id << " " << row.at;
    }
    EXPECT_EQ(undoSteps(), 0U);
}

TEST_F(AIAssistantSessionEdits, RemoveTakesOneClipOutAndMovesNothingElse) {
    EXPECT_EQ(refusal(write("remove", {{"id", UUID::random().upper()}})), unknownText);
    EXPECT_EQ(refusal(write("remove", {{"id", "x"}})), unknownText);
    const auto before = editor->clips();
    const json reply = document(write("remove", {{"id", clipID(0)}, {"compact", "true"}}));
    EXPECT_EQ(reply, state(true));
    EXPECT_EQ(editor->clips(), (std::vector<Clip>{before[1], before[2]}));
}

TEST_F(AIAssistantSessionEdits, RemovalOfTheLastClipComposesNothing) {
    EXPECT_EQ(refusal(write("timeline", {{"json", filmEntry(3)}})), "done");
    settlePreview();
    media.clearCalls();
    const auto reply = startWrite("remove", {{"id", clipID(0)}});
    ASSERT_TRUE(reply->has_value()) << "nothing is to be waited for";
    EXPECT_EQ(document(reply->value())["timeline"], json::array());
    EXPECT_EQ(media.count("openAsset"), 0U);
    EXPECT_EQ(undoSteps(), 2U);
}

TEST_F(AIAssistantSessionEdits, WithPreviewATimelineOfSoundSaysSo) {
    const std::string sounds = json::array({{{"assetID", assetID(1)}, {"start", 0}, {"end", 5}}}).dump();
    const json reply = document(write("timeline", {{"json", sounds}, {"preview", "true"}}));
    EXPECT_EQ(reply["applied"], true);
    EXPECT_EQ(reply["preview"], (json{{"error", "No video in timeline; use waveform to inspect audio."},
                                      {"revision", revision()},
                                      {"stale", false}}));
}

TEST_F(AIAssistantSessionEdits, WithPreviewAnUnsavedProjectIsToBeSaved) {
    makeUnsaved();
    const auto file = makeSource("new.mov", FakeFile::video(5));
    EXPECT_EQ(refusal(write("import", {{"json", json::array({file.path()}).dump()}})), "done");
    const json reply = document(write("timeline", {{"json", filmEntry(3)}, {"preview", "true"}}));
    EXPECT_EQ(reply["applied"], true);
    EXPECT_EQ(reply["changed"], true);
    EXPECT_EQ(
        reply["preview"],
        (json{{"error", "Save the project before rendering a preview."}, {"revision", revision()}, {"stale", false}}));
}

TEST_F(AIAssistantSessionEdits, AStateThatFailsAfterACommitFailsTheReplyAndTheEditStands) {
    auto clips = editor->clips();
    clips.push_back(video(makeManaged("other.mov", FakeFile::video(3)), 3));
    editor->commit(clips);
    settlePreview();
    EXPECT_EQ(refusal(write("clip", {{"id", clipID(0)}, {"volume", "0.5"}})),
              "A timeline source is missing from the asset library.");
    EXPECT_EQ(clip(0).volume, 0.5);
}

}  // namespace
}  // namespace kelvane::testing
