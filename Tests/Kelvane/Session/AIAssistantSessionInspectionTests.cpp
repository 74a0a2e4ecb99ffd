#include <filesystem>
#include <fstream>

#include "Assistant/AIDesktopAssistant.h"
#include "SessionFixture.h"

namespace kelvane::testing {

namespace {

using nlohmann::json;

constexpr const char* noVideoText = "No video in timeline; use waveform to inspect audio.";
constexpr const char* inspectingClosedText = "The Kelvane session closed while inspecting media.";
constexpr const char* renderingClosedText = "The Kelvane session closed while rendering the preview.";
constexpr const char* framesCountText = "Request 12 frames at a time.";
constexpr const char* timesText = "Frame times must be finite timestamps within the video duration.";

}  // namespace

/// What an assistant sees and hears, over a fake engine with real files.
class AIAssistantSessionInspection : public SessionFixture {
protected:
    [[nodiscard]] FileURL sessionFolder() const {
        return AIDesktopAssistant::sessionFolder(projectFile(), editor->title());
    }
    /// How many images lie in a subfolder of the session folder.
    [[nodiscard]] std::size_t images(const std::string& subfolder) const {
        const FileURL folder = sessionFolder().appending(subfolder);
        return std::filesystem::exists(folder.path()) ? entries(folder).size() : 0;
    }
    /// Whether `path` names an existing file of the session folder's subfolder.
    [[nodiscard]] bool isImage(const json& path, const std::string& subfolder) const {
        const std::filesystem::path file = path.get<std::string>();
        return std::filesystem::is_regular_file(file) &&
               file.parent_path() == sessionFolder().appending(subfolder).path();
    }
    /// A timeline that holds the overlay alone.
    void keepSoundOnly() {
        editor->commit({clip(1)});
        settlePreview();
    }
    void addAssets(std::size_t count) {
        auto assets = editor->assets();
        for (std::size_t i = 0; i < count; ++i) assets.push_back(video(film, 10));
        load(editor->clips(), assets);
        settlePreview();
    }
};

TEST_F(AIAssistantSessionInspection, FramesAreSixStillsByDefault) {
    const json document = this->document(perform("frames", {{"asset", assetID(0)}}));
    EXPECT_EQ(document["assetID"], assetID(0));
    EXPECT_EQ(document["context"],
              "Sparse source stills only. Original audio and continuous motion have not been analyzed.");
    ASSERT_EQ(document["frames"].size(), 6U);
    for (const auto& frame : document["frames"]) EXPECT_TRUE(isImage(frame["path"], "Frames")) << frame;
    EXPECT_NEAR(document["frames"][0]["timestamp"].get<double>(), 10.0 / 12, 1.0 / 600);
    EXPECT_EQ(document.size(), 3U);
    EXPECT_EQ(images("Frames"), 6U);
}

TEST_F(AIAssistantSessionInspection, FramesRefuseInOrder) {
    const struct {
        Options options;
        const char* sentence;
    } rows[] = {
        {{{"asset", "x"}}, "Unknown assetID. Read project for imported assets."},
        {{{"asset", clipID(1)}}, "Unknown assetID. Read project for imported assets."},
        {{{"asset", assetID(1)}}, "Audio-only asset; use waveform."},
        {{{"asset", assetID(1)}, {"times", "x"}}, "Audio-only asset; use waveform."},
        {{{"asset", assetID(0)}, {"times", "0,1,2,3,4,5,6,7,8,9,1,2,3"}}, framesCountText},
        {{{"asset", assetID(0)}, {"times", "10"}}, timesText},
        {{{"asset", assetID(0)}, {"times", "1,,2"}}, timesText},
    };
    for (const auto& row : rows) EXPECT_EQ(refusal(perform("frames", row.options)), row.sentence);
    EXPECT_EQ(images("Frames"), 0U);
    EXPECT_EQ(media.count("sourceStill"), 0U);
}

TEST_F(AIAssistantSessionInspection, ASessionThatEndsAmidFramesSaysSoAndLeavesTheFiles) {
    const auto reply = start("frames", {{"asset", assetID(0)}});
    context.drain();
    session().suspend();
    EXPECT_EQ(refusal(finish(reply)), inspectingClosedText);
    EXPECT_EQ(images("Frames"), 6U);
}

TEST_F(AIAssistantSessionInspection, AStillThatFailsFailsTheFramesAndLeavesNone) {
    media.failOn("sourceStill", Error("“film.mov” has no picture that can be decoded."), 1, 3);
    EXPECT_EQ(refusal(perform("frames", {{"asset", assetID(0)}})), "“film.mov” has no picture that can be decoded.");
    EXPECT_EQ(images("Frames"), 0U);
}

TEST_F(AIAssistantSessionInspection, OneAssetGivesOneSheet) {
    const json full = document(perform("contact-sheet", {{"asset", assetID(0)}, {"count", "+7"}}));
    EXPECT_EQ(full["assetID"], assetID(0));
    EXPECT_EQ(full["frames"].size(), 7U);
    EXPECT_TRUE(isImage(full["path"], "Contact Sheets"));
    EXPECT_FALSE(full.contains("skipped"));
    const json compact =
        document(perform("contact-sheet", {{"asset", assetID(0)}, {"times", "3,1"}, {"compact", "true"}}));
    EXPECT_EQ(compact["timestamps"], (json{3, 1}));
    EXPECT_FALSE(compact.contains("frames"));
}

TEST_F(AIAssistantSessionInspection, AllAssetsGiveABatchThatSkipsSound) {
    const json document = this->document(perform("contact-sheet", {{"all", "true"}}));
    ASSERT_EQ(document["sheets"].size(), 1U);
    EXPECT_EQ(document["sheets"][0]["frames"].size(), 12U);
    EXPECT_EQ(document["errors"], json::array());
    EXPECT_EQ(document["complete"], true);
    EXPECT_EQ(document["skipped"], json::array({{{"assetID", assetID(1)}, {"reason", "Audio-only; use waveform."}}}));
}

TEST_F(AIAssistantSessionInspection, AnAudioAssetAloneIsAnEmptyBatch) {
    const json document = this->document(perform("contact-sheet", {{"asset", assetID(1)}}));
    EXPECT_EQ(document["sheets"], json::array());
    EXPECT_EQ(document["complete"], true);
    EXPECT_EQ(document["skipped"].size(), 1U);
}

TEST_F(AIAssistantSessionInspection, AFailingAssetIsTheBatchesBusiness) {
    media.failOn("sourceStill", "“film.mov” could not be read: Input/output error.");
    const json document = this->document(perform("contact-sheet", {{"assets", assetID(1) + "," + assetID(0)}}));
    EXPECT_EQ(document["sheets"], json::array());
    EXPECT_EQ(document["complete"], false);
    EXPECT_EQ(document["errors"],
              json::array({{{"assetID", assetID(0)}, {"error", "“film.mov” could not be read: Input/output error."}}}));
    // Times that don't fit one asset are its own failure too, but fail a single sheet.
    media.clearFailures();
    EXPECT_EQ(this->document(perform("contact-sheet", {{"all", "true"}, {"times", "10"}}))["errors"][0]["error"],
              timesText);
    EXPECT_EQ(refusal(perform("contact-sheet", {{"asset", assetID(0)}, {"times", "10"}})), timesText);
}

TEST_F(AIAssistantSessionInspection, ContactSheetRefusesInOrder) {
    constexpr const char* chooseText = "Choose exactly one of --asset, --assets or --all.";
    constexpr const char* countText = "--count must be an integer from 1 to 24.";
    constexpr const char* selectText = "Select up to 64 asset IDs. Use --assets for a comma-separated list.";
    const auto unknown = [](const std::string& piece) {
        return "Unknown or duplicate assetID: " + piece + ". Read project for imported assets.";
    };
    const std::string a = assetID(0);
    std::string many = a;
    for (int i = 0; i < 64; ++i) many += "," + a;
    const struct {
        Options options;
        std::string sentence;
    } rows[] = {
        {{{"count", "x"}, {"times", "1"}}, "Use either --count or --times, not both."},
        {{{"count", "0"}}, countText},
        {{{"count", "25"}}, countText},
        {{{"count", "x"}}, countText},
        {{{"count", ""}}, countText},
        {{{"count", "+-7"}}, countText},
        {{{"count", "7.0"}}, countText},
        {{{"count", " 7"}}, countText},
        {{{"count", "99999999999999999999"}}, countText},
        {{}, chooseText},
        {{{"all", "true"}, {"asset", a}}, chooseText},
        {{{"asset", a}, {"assets", a}}, chooseText},
        {{{"assets", many}}, selectText},
        {{{"asset", a + "," + assetID(1)}}, selectText},
        {{{"assets", a + ",," + assetID(1)}}, unknown("")},
        {{{"assets", a + ","}}, unknown("")},
        {{{"assets", a + "," + a}}, unknown(a)},
        {{{"assets", "x," + a}}, unknown("x")},
        {{{"asset", clipID(0)}}, unknown(clipID(0))},
    };
    for (const auto& row : rows) EXPECT_EQ(refusal(perform("contact-sheet", row.options)), row.sentence);
    EXPECT_EQ(images("Contact Sheets"), 0U);
}

TEST_F(AIAssistantSessionInspection, ABatchTakesSixtyFourAssets) {
    addAssets(62);
    EXPECT_EQ(document(perform("contact-sheet", {{"all", "true"}, {"count", "1"}}))["sheets"].size(), 63U);
    addAssets(1);
    EXPECT_EQ(refusal(perform("contact-sheet", {{"all", "true"}})),
              "A batch supports up to 64 assets. Use --assets to select a smaller group.");
}

TEST_F(AIAssistantSessionInspection, ASessionThatEndsAmidASheetSaysSo) {
    for (const char* selector : {"asset", "assets"}) {
        const auto reply = start("contact-sheet", {{selector, assetID(0)}});
        context.drain();
        session().suspend();
        EXPECT_EQ(refusal(finish(reply)), inspectingClosedText);
    }
    EXPECT_EQ(images("Contact Sheets"), 2U);
}

TEST_F(AIAssistantSessionInspection, APreviewShowsTheTimelineOfItsRevision) {
    const json document = this->document(perform("preview"));
    EXPECT_TRUE(isImage(document["path"], "Previews"));
    EXPECT_EQ(document["duration"], 13);
    EXPECT_EQ(document["revision"], revision());
    EXPECT_EQ(document["stale"], false);
    // The ends, both middles, and both sides of the cut.
    ASSERT_EQ(document["frames"].size(), 6U);
    EXPECT_EQ(document["frames"][0]["clipID"], clipID(0));
    EXPECT_EQ(document["frames"][0]["sourceTime"], 1);
    EXPECT_EQ(document["frames"][5]["clipIndex"], 3);
    const json compact = this->document(perform("preview", {{"times", "12,0"}, {"compact", "true"}}));
    EXPECT_EQ(compact["timestamps"], (json{12, 0}));
    EXPECT_EQ(compact["stale"], false);
}

TEST_F(AIAssistantSessionInspection, APreviewRefusesInOrder) {
    EXPECT_EQ(refusal(perform("preview", {{"times", ""}})), timesText);
    EXPECT_EQ(refusal(perform("preview", {{"times", "13"}})), timesText);
    std::string many = "0";
    for (int i = 0; i < 24; ++i) many += ",0";
    EXPECT_EQ(refusal(perform("preview", {{"times", many}})), "Request 24 frames at a time.");
    keepSoundOnly();
    EXPECT_EQ(refusal(perform("preview", {{"times", many}})), noVideoText);
    editor->commit({});
    settlePreview();
    EXPECT_EQ(refusal(perform("preview")), noVideoText);
}

TEST_F(AIAssistantSessionInspection, AnEditAmidAPreviewMakesItStale) {
    const auto before = revision();
    const auto reply = start("preview");
    editor->commit({clip(0)});
    const json document = this->document(finish(reply));
    EXPECT_EQ(document["revision"], before);
    EXPECT_EQ(document["stale"], true);
    EXPECT_TRUE(isImage(document["path"], "Previews"));
    EXPECT_EQ(document["frames"].size(), 6U);
}

TEST_F(AIAssistantSessionInspection, AnUndoAmidAPreviewMakesItStale) {
    editor->commit({clip(0)});
    const auto before = revision();
    const auto reply = start("preview");
    editor->undo();
    const json document = this->document(finish(reply));
    EXPECT_EQ(document["revision"], before);
    EXPECT_EQ(document["stale"], true);
    EXPECT_NE(revision(), before);
}

TEST_F(AIAssistantSessionInspection, ASessionThatEndsAmidAPreviewSaysSo) {
    const auto reply = start("preview");
    context.drain();
    session().suspend();
    EXPECT_EQ(refusal(finish(reply)), renderingClosedText);
}

TEST_F(AIAssistantSessionInspection, AWaveformIsOfTheSourceOrOfAClip) {
    const json source = document(perform("waveform", {{"asset", assetID(1)}}));
    EXPECT_EQ(source["scope"], "source");
    EXPECT_EQ(source["peaks"].size(), 120U);
    EXPECT_EQ(source["end"], 20);
    EXPECT_TRUE(isImage(source["path"], "Waveforms"));
    EXPECT_FALSE(source.contains("revision"));
    EXPECT_FALSE(source.contains("stale"));

    Clip quiet = clip(1);
    quiet.volume = 0.5;
    editor->commit({clip(0), quiet});
    settlePreview();
    const json heard = document(perform("waveform", {{"clip", clipID(1)}, {"count", "1000"}, {"start", "1"}}));
    EXPECT_EQ(heard["scope"], "clip");
    EXPECT_EQ(heard["clipID"], clipID(1));
    EXPECT_EQ(heard["assetID"], assetID(1));
    EXPECT_EQ(heard["volume"], 0.5);
    EXPECT_EQ(heard["peaks"].size(), 1000U);
    EXPECT_EQ(heard["start"], 1);
    EXPECT_EQ(heard["end"], 5);
    EXPECT_EQ(heard["revision"], revision());
    EXPECT_EQ(heard["stale"], false);
}

TEST_F(AIAssistantSessionInspection, AWaveformRefusesInOrder) {
    constexpr const char* countText = "--count must be 1...1000.";
    constexpr const char* trimText = "Clip waveform ranges must stay within its source trim.";
    constexpr const char* rangeText = "Require 0 <= start < end <= source duration and count 1...1000.";
    const std::string a = assetID(1);
    const std::string c = clipID(1);
    const struct {
        Options options;
        const char* sentence;
    } rows[] = {
        {{{"clip", a}}, "Unknown clipID."},
        {{{"clip", "x"}, {"count", "0"}}, "Unknown clipID."},
        {{{"asset", c}}, "Unknown assetID."},
        {{{"asset", a}, {"count", "0"}, {"start", "x"}}, countText},
        {{{"asset", a}, {"count", "1001"}}, countText},
        {{{"asset", a}, {"count", ""}}, countText},
        {{{"asset", a}, {"start", "inf"}}, "--start must be finite."},
        {{{"asset", a}, {"start", "x"}, {"end", "x"}}, "--start must be finite."},
        {{{"asset", a}, {"end", "nan"}}, "--end must be finite."},
        {{{"clip", c}, {"start", "-1"}}, trimText},
        {{{"clip", c}, {"end", "5.5"}}, trimText},
        {{{"asset", a}, {"start", "-1"}}, rangeText},
        {{{"clip", c}, {"start", "2"}, {"end", "2"}}, rangeText},
    };
    for (const auto& row : rows) EXPECT_EQ(refusal(perform("waveform", row.options)), row.sentence);
    EXPECT_EQ(images("Waveforms"), 0U);
}

TEST_F(AIAssistantSessionInspection, AClipWhoseSourceIsNoAssetHasNoWaveform) {
    load(editor->clips(), std::vector<Clip>{editor->assets()[0]});
    settlePreview();
    EXPECT_EQ(refusal(perform("waveform", {{"clip", clipID(1)}})), "Unknown clipID.");
}

TEST_F(AIAssistantSessionInspection, AnEditAmidAClipsWaveformMakesItStale) {
    const auto reply = start("waveform", {{"clip", clipID(1)}});
    editor->commit({clip(0)});
    EXPECT_EQ(document(finish(reply))["stale"], true);
    const auto closed = start("waveform", {{"asset", assetID(1)}});
    context.drain();
    session().suspend();
    EXPECT_EQ(refusal(finish(closed)), inspectingClosedText);
}

TEST_F(AIAssistantSessionInspection, AProjectWithoutAFileIsToBeSaved) {
    const std::map<std::string, Options> requests{{"frames", {{"asset", assetID(0)}}},
                                                  {"contact-sheet", {}},
                                                  {"preview", {}},
                                                  {"waveform", {{"clip", clipID(1)}}}};
    makeUnsaved();
    for (const auto& [command, options] : requests)
        EXPECT_EQ(refusal(perform(command, options)), "Save the project before inspecting media.") << command;
    EXPECT_EQ(refusal(perform("project")), "done");
}

TEST_F(AIAssistantSessionInspection, EightInspectionsRunAtOnceAmidAnImport) {
    beBusy();
    std::vector<Reply> replies;
    for (int i = 0; i < 2; ++i) {
        replies.push_back(start("frames", {{"asset", assetID(0)}}));
        replies.push_back(start("contact-sheet", {{"all", "true"}}));
        replies.push_back(start("preview"));
        replies.push_back(start("waveform", {{"clip", clipID(1)}}));
    }
    for (const auto& reply : replies) EXPECT_EQ(refusal(finish(reply)), "done");
    EXPECT_EQ(images("Frames"), 12U);
    EXPECT_EQ(images("Contact Sheets"), 2U);
    EXPECT_EQ(images("Previews"), 2U);
    EXPECT_EQ(images("Waveforms"), 2U);
}

TEST_F(AIAssistantSessionInspection, AFolderThatCannotBeMadeIsToldInWords) {
    std::ofstream(library().appending("AI").path()) << "in the way";
    EXPECT_EQ(refusal(perform("frames", {{"asset", assetID(0)}})),
              "The folder “Frames” could not be made: Not a directory.");
    EXPECT_EQ(refusal(perform("preview")), "The folder “Previews” could not be made: Not a directory.");
    EXPECT_EQ(refusal(perform("waveform", {{"clip", clipID(1)}})),
              "The folder “Waveforms” could not be made: Not a directory.");
}

TEST_F(AIAssistantSessionInspection, AnEditWithPreviewComesBackWithItsPicture) {
    media.clearCalls();
    json reply = document(write("clip", {{"id", clipID(0)}, {"volume", "0.5"}, {"preview", "true"}}));
    EXPECT_EQ(reply["applied"], true);
    EXPECT_EQ(reply["changed"], true);
    const json preview = reply["preview"];
    EXPECT_TRUE(isImage(preview["path"], "Previews"));
    EXPECT_EQ(preview["frames"].size(), 6U);
    EXPECT_EQ(preview["revision"], revision());
    EXPECT_EQ(preview["stale"], false);
    for (const char* key : {"applied", "changed", "preview"}) reply.erase(key);
    EXPECT_EQ(reply, state());
}

TEST_F(AIAssistantSessionInspection, AnEditWithACompactPreviewTellsTimesAlone) {
    const json reply =
        document(write("split", {{"id", clipID(0)}, {"at", "1"}, {"compact", "true"}, {"preview", "true"}}));
    EXPECT_EQ(reply["preview"]["timestamps"].size(), 9U);
    EXPECT_FALSE(reply["preview"].contains("frames"));
}

TEST_F(AIAssistantSessionInspection, AnUnchangedTimelineIsStillPreviewed) {
    const json reply =
        document(write("clip", {{"id", clipID(0)}, {"volume", "1"}, {"compact", "true"}, {"preview", "true"}}));
    EXPECT_EQ(reply["applied"], true);
    EXPECT_EQ(reply["changed"], false);
    EXPECT_TRUE(isImage(reply["preview"]["path"], "Previews"));
    EXPECT_TRUE(editor->undoStack().empty());
}

TEST_F(AIAssistantSessionInspection, AnUnchangedTimelinesPreviewNamesTheClipsThatStand) {
    json entries = state()["timeline"];
    for (auto& entry : entries) entry.erase("clipID");
    const json reply = document(write("timeline", {{"json", entries.dump()}, {"preview", "true"}}));
    EXPECT_EQ(reply["changed"], false);
    EXPECT_EQ(reply["preview"]["frames"].front()["clipID"], clipID(0));
    EXPECT_EQ(reply["preview"]["frames"].back()["clipID"], clipID(2));
}

TEST_F(AIAssistantSessionInspection, APreviewThatFailsLeavesTheEditStanding) {
    media.failOn("timelineStill", "“film” has an invalid trim range or could not be read.");
    const json reply = document(write("clip", {{"id", clipID(0)}, {"volume", "0.5"}, {"preview", "true"}}));
    EXPECT_EQ(reply["applied"], true);
    EXPECT_EQ(reply["changed"], true);
    EXPECT_EQ(reply["preview"], (json{{"error", "“film” has an invalid trim range or could not be read."},
                                      {"revision", revision()},
                                      {"stale", false}}));
    EXPECT_EQ(clip(0).volume, 0.5);
    EXPECT_EQ(images("Previews"), 0U);
}

TEST_F(AIAssistantSessionInspection, AnEditOfThePersonAmidAPreviewMakesItStale) {
    const auto reply = startWrite("clip", {{"id", clipID(0)}, {"volume", "0.5"}, {"preview", "true"}});
    // The look for sources, the build with the commit behind it, and the preview's own work.
    for (int steps = 0; steps < 2; ++steps) {
        context.stepBackground();
        context.runPosted();
    }
    ASSERT_EQ(clip(0).volume, 0.5);
    const auto applied = revision();
    editor->undo();
    const json document = this->document(finish(reply));
    EXPECT_EQ(document["preview"]["revision"], applied);
    EXPECT_EQ(document["preview"]["stale"], true);
    EXPECT_TRUE(isImage(document["preview"]["path"], "Previews"));
}

TEST_F(AIAssistantSessionInspection, ASessionThatEndsAmidAnEditsPreviewTellsThatTheEditStands) {
    const auto reply = startWrite("clip", {{"id", clipID(0)}, {"volume", "0.5"}, {"preview", "true"}});
    for (int steps = 0; steps < 2; ++steps) {
        context.stepBackground();
        context.runPosted();
    }
    ASSERT_EQ(clip(0).volume, 0.5);
    const auto applied = revision();
    session().suspend();
    const json document = this->document(finish(reply));
    EXPECT_EQ(document["applied"], true);
    EXPECT_EQ(document["preview"], (json{{"error", renderingClosedText}, {"revision", applied}, {"stale", true}}));
}

}  // namespace kelvane::testing
