#include <filesystem>

#include "Assistant/AIDesktopAssistant.h"
#include "SessionFixture.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;

constexpr const char* inspectingClosedText = "The Kelvane session closed while inspecting media.";
constexpr const char* renderingClosedText = "The Kelvane session closed while rendering the preview.";

/// Long work whose period of serving ends while it runs. The work runs on the test's thread, which is the main one, so
/// that the end comes at a call of the engine that the test chooses.
class AIAssistantSessionStop : public SessionFixture {
protected:
    /// Ends the session at the first call of the engine that begins with `prefix`.
    void suspendAt(const std::string& prefix) {
        media.clearCalls();
        media.setObserver([this, prefix](const std::string& line) {
            if (!line.starts_with(prefix)) return;
            media.setObserver(nullptr);
            session().suspend();
        });
    }
    /// Files that inspections left.
    [[nodiscard]] std::size_t images() const {
        const auto root = AIDesktopAssistant::sessionFolder(projectFile(), editor->title()).path();
        std::size_t count = 0;
        if (!std::filesystem::exists(root)) return 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) count += entry.is_regular_file();
        return count;
    }
    [[nodiscard]] std::string movie() const { return folder().appending("out.mp4").path(); }
};

TEST_F(AIAssistantSessionStop, EndsInspectionsWhereTheyAre) {
    const struct {
        const char* command;
        Options options;
        const char* at;
        const char* sentence;
    } rows[] = {
        {"frames", {{"asset", assetID(0)}}, "sourceStill", inspectingClosedText},
        {"contact-sheet", {{"asset", assetID(0)}}, "sourceStill", inspectingClosedText},
        {"contact-sheet", {{"all", "true"}}, "sourceStill", inspectingClosedText},
        {"preview", {}, "openAsset", renderingClosedText},
        {"preview", {}, "timelineStill", renderingClosedText},
        {"waveform", {{"asset", assetID(1)}}, "readSamples", inspectingClosedText},
        {"waveform", {{"clip", clipID(1)}}, "readSamples", inspectingClosedText},
    };
    for (const auto& row : rows) {
        suspendAt(row.at);
        EXPECT_EQ(refusal(perform(row.command, row.options)), row.sentence) << row.command << " at " << row.at;
        EXPECT_EQ(media.count(row.at), 1U) << row.command;
        EXPECT_EQ(images(), 0U) << row.command << " at " << row.at;
    }
}

TEST_F(AIAssistantSessionStop, LeavesTheFramesThatWereWritten) {
    media.setObserver([this](const std::string& line) {
        if (line.starts_with("sourceStill") && media.count("sourceStill") == 3) session().suspend();
    });
    EXPECT_EQ(refusal(perform("frames", {{"asset", assetID(0)}})), inspectingClosedText);
    EXPECT_EQ(media.count("sourceStill"), 3U);
    EXPECT_EQ(images(), 2U);
}

TEST_F(AIAssistantSessionStop, LeavesInspectionsOfTheNextPeriodAlone) {
    const auto early = start("frames", {{"asset", assetID(0)}});
    session().suspend();
    const auto late = start("frames", {{"asset", assetID(0)}});
    EXPECT_EQ(refusal(finish(early)), inspectingClosedText);
    EXPECT_EQ(refusal(finish(late)), "done");
    EXPECT_EQ(images(), 6U);
}

TEST_F(AIAssistantSessionStop, AFailureOfItsOwnIsStillToldInItsWords) {
    media.failOn("sourceStill", Error("“film.mov” has no picture that can be decoded."));
    suspendAt("sourceStill");
    EXPECT_EQ(refusal(perform("frames", {{"asset", assetID(0)}})), "“film.mov” has no picture that can be decoded.");
}

TEST_F(AIAssistantSessionStop, EndsTheTrialBuildOfAnEdit) {
    const auto whole = [&] {
        media.clearCalls();
        EXPECT_EQ(refusal(write("clip", {{"id", clipID(0)}, {"volume", "0.5"}})), "done");
        return media.count("insertTimeRange");
    }();
    settlePreview();
    suspendAt("insertTimeRange");
    const auto reply = startWrite("clip", {{"id", clipID(0)}, {"volume", "0.25"}});
    while (media.count("insertTimeRange") == 0) {
        ASSERT_TRUE(context.stepBackground());
        if (media.count("insertTimeRange") == 0) context.runPosted();
    }
    EXPECT_LT(media.count("insertTimeRange"), whole);
    EXPECT_EQ(refusal(finish(reply)), sessionClosedText);
    EXPECT_EQ(clip(0).volume, 0.5);
}

TEST_F(AIAssistantSessionStop, EndsThePreviewOfAnEditThatStands) {
    suspendAt("timelineStill");
    const json reply = document(write("clip", {{"id", clipID(0)}, {"volume", "0.5"}, {"preview", "true"}}));
    EXPECT_EQ(reply["applied"], true);
    EXPECT_EQ(reply["preview"], (json{{"error", renderingClosedText}, {"revision", revision()}, {"stale", true}}));
    EXPECT_EQ(clip(0).volume, 0.5);
    EXPECT_EQ(images(), 0U);
}

TEST_F(AIAssistantSessionStop, EndsAnImportAmongItsFiles) {
    const auto first = makeSource("first.mov", FakeFile::video(5));
    const auto second = makeSource("second.mov", FakeFile::video(5));
    const auto files = mediaFiles();
    suspendAt("openAsset first.mov");
    const auto reply = write("import", {{"json", json::array({first.path(), second.path()}).dump()}});
    EXPECT_EQ(refusal(reply), sessionClosedText);
    EXPECT_EQ(media.count("openAsset second.mov"), 0U);
    EXPECT_EQ(mediaFiles(), files);
    EXPECT_EQ(editor->assets().size(), 2U);
    EXPECT_FALSE(editor->busy());
}

TEST_F(AIAssistantSessionStop, EndsAnExportThatCouldNotBePublished) {
    suspendAt("exportTo");
    EXPECT_EQ(refusal(write("export", {{"path", movie()}})), sessionClosedText);
    ASSERT_EQ(media.exportRecords().size(), 1U);
    EXPECT_FALSE(media.exportRecords()[0].finished);
    EXPECT_EQ(entries(folder()), (std::vector<std::string>{"Library", "Sources"}));
    EXPECT_FALSE(editor->busy());
}

TEST_F(AIAssistantSessionStop, LeavesTheShortLaneToOthers) {
    const auto reply = start("frames", {{"asset", assetID(0)}});
    EXPECT_EQ(context.waitingInBackground(Lane::longWork), 1U);
    EXPECT_EQ(context.waitingInBackground(Lane::shortWork), 0U);
    EXPECT_EQ(refusal(finish(reply)), "done");
}

}  // namespace
}  // namespace kelvane::testing
