#include "JourneyFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "Integration/Playback/NumberedFootage.h"

namespace kelvane::testing {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

constexpr double overlaySeconds = 1.6;
constexpr int filmFrames = 60;
/// By what a cut may lie beside a frame's edge, seconds: more than the composition rounds, and less than a frame.
constexpr double cutBlur = 0.004;

json entriesOf(const json& timeline, bool areSounds) {
    json found = json::array();
    for (const auto& entry : timeline)
        if (entry.contains("timelineStart") == areSounds) found.push_back(entry);
    return found;
}

/// The codes of a movie's frames, in their order.
std::vector<int> codesIn(const std::string& movie, int height) {
    const auto decoded = runProcess({"ffmpeg", "-v", "error", "-i", movie, "-map", "0:v", "-vf",
                                     "crop=2:ih:iw/2:0,format=bgra", "-f", "rawvideo", "-"});
    EXPECT_EQ(decoded.status, 0) << decoded.errors;
    const std::size_t bytes = 8 * static_cast<std::size_t>(height);
    std::vector<int> codes;
    for (std::size_t at = 0; at + bytes <= decoded.output.size(); at += bytes) {
        const auto begin = decoded.output.begin() + static_cast<std::ptrdiff_t>(at);
        codes.push_back(numbered::codeIn(
            {2, height, std::vector<std::uint8_t>(begin, begin + static_cast<std::ptrdiff_t>(bytes))}));
    }
    return codes;
}

}  // namespace

json soundsOf(const json& timeline) { return entriesOf(timeline, true); }
json picturesOf(const json& timeline) { return entriesOf(timeline, false); }

void Journey::SetUp() {
    LiveDesk::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    files = {numbered::makeMovie(folder, 0, filmFrames), numbered::makeMovie(folder, 1, filmFrames),
             numbered::makeSound(folder, overlaySeconds)};
    // Writes down what it is opened with, whole or not at all.
    folder.write("assistant", "#!/bin/sh\nprintf %s \"$1\" >'" + folder.path("asked.part") + "'\nmv '" +
                                  folder.path("asked.part") + "' '" + folder.path("asked") + "'\n");
    std::filesystem::permissions(folder.path("assistant"), std::filesystem::perms::owner_all);
    folder.write("applications/com.anthropic.claudefordesktop.desktop",
                 "[Desktop Entry]\nType=Application\nName=Claude\nExec=" + folder.path("assistant") +
                     " %u\nMimeType=x-scheme-handler/claude;\n");
}

void Journey::expectEmptyLibrary() {
    (void)node("label", "Create a video");
    (void)node("push button", "New Project…");
    (void)node("push button", "Import Project…");
    EXPECT_FALSE(isThere("list", "Projects"));
}

void Journey::expectEditor(const std::string& name) {
    (void)node("panel", "Timeline viewport");
    (void)node("push button", "Project name: " + name + ". Rename project");
    expectGone("push button", "New Project");
}

void Journey::expectProject() {
    if (!HasFailure()) EXPECT_TRUE(app->waitForProject()) << log();
}

void Journey::expectImported() {
    for (const char* name : {firstFilm, secondFilm, sound}) (void)node("list item", name);
    (void)node("label", "3 assets imported.");
    // The controls are there for who goes on.
    expectState(node("push button", "Import Assets"), "enabled");
}

std::vector<BusNode> Journey::videoClips(std::size_t count) {
    const auto track = node("list", "Video");
    std::vector<BusNode> clips;
    if (!HasFailure())
        EXPECT_TRUE(eventually([&] { return (clips = bus.children(track)).size() == count; })) << bus.tree();
    return clips;
}

json Journey::expectTimeline(const std::string& what, const std::function<bool(const json&)>& isSo) {
    json now;
    if (!HasFailure()) EXPECT_TRUE(eventually([&] { return isSo(now = state()["timeline"]); })) << what << now.dump(1);
    return now;
}

void Journey::expectForecast() {
    (void)node("dialog", "Export Video");
    expectState(node("push button", "Export…"), "enabled");
    // "1.2 MB" and the like.
    const auto isSize = [this] {
        bool found = false;
        bus.walk([&](const BusNode&, const NodeReport& report) {
            found = found || (report.role == "label" && !report.name.empty() &&
                              std::isdigit(static_cast<unsigned char>(report.name.front())) != 0 &&
                              (report.name.ends_with(" MB") || report.name.ends_with(" KB")));
            return !found;
        });
        return found;
    };
    (void)waitForWork(isSize, "no size is forecast");
}

void Journey::expectExported() {
    (void)waitForWork([this] { return isThere("alert", "Video Exported"); }, "no movie comes");
}

void Journey::expectMovie(const std::string& path, QSize size) {
    if (HasFailure()) return;
    const auto probed =
        runProcess({"ffprobe", "-v", "error", "-show_entries", "stream=codec_name,width,height", "-of", "json", path});
    const json streams = json::parse(probed.output, nullptr, false)["streams"];
    ASSERT_EQ(streams.size(), 2U) << probed.output << probed.errors;
    EXPECT_EQ(streams[0]["codec_name"], "h264");
    EXPECT_EQ(QSize(streams[0].value("width", 0), streams[0].value("height", 0)), size);
    EXPECT_EQ(streams[1]["codec_name"], "aac");

    const json edit = state();
    std::map<std::string, int> fileOf;
    for (const auto& asset : edit["assets"])
        if (asset["name"] == firstFilm || asset["name"] == secondFilm)
            fileOf[asset["assetID"]] = asset["name"] == firstFilm ? 0 : 1;
    const auto codes = codesIn(path, size.height());
    EXPECT_NEAR(static_cast<double>(codes.size()), edit.value("duration", 0.0) * numbered::framesPerSecond, 1);
    double begin = 0;
    std::size_t frame = 0;
    for (const auto& entry : picturesOf(edit["timeline"])) {
        const double from = entry["start"];
        const double end = begin + entry["end"].get<double>() - from;
        for (; frame < codes.size() && static_cast<double>(frame) / numbered::framesPerSecond < end - cutBlur;
             ++frame) {
            const double source = from + static_cast<double>(frame) / numbered::framesPerSecond - begin;
            const auto codeAt = [&](double time) {
                return numbered::codeOf(
                    fileOf[entry["assetID"]],
                    std::clamp(static_cast<int>(std::floor(time * numbered::framesPerSecond)), 0, filmFrames - 1));
            };
            EXPECT_TRUE(codes[frame] == codeAt(source - cutBlur) || codes[frame] == codeAt(source + cutBlur))
                << "frame " << frame << ": " << codes[frame] << " where " << source << " s of it is expected";
        }
        begin = end;
    }
}

void Journey::expectHandedOver(const std::string& name) {
    if (HasFailure()) return;
    EXPECT_TRUE(eventually([this] { return folder.exists("asked"); })) << bus.tree() << log();
    expectGone("dialog", "Edit with AI");
    const std::string project = app->project();
    const std::string work = "Kelvane/Projects/" + project + "/AI/Kelvane - " + name;
    EXPECT_THAT(folder.read("asked"), StartsWith("claude://code/new?folder=" + folder.path()));
    EXPECT_THAT(folder.read(work + "/CLAUDE.md"), HasSubstr(project));
}

void Journey::expectCard(const std::string& name) {
    const auto card = node("push button", "Open project", name);
    (void)node("push button", "Actions for " + name);
    (void)node("label", "1 project · Recently edited first");
    expectGone("panel", "Timeline viewport");
}

void Journey::reopenByLink(const std::string& name) {
    if (HasFailure()) return;
    launchAgain({"kelvane://project/" + app->project()});
    expectEditor(name);
    const auto seek = node("slider", "Seek");
    if (HasFailure()) return;
    EXPECT_TRUE(eventually([&] { return bus.value(seek) && bus.value(seek)->current == 0; }));
}

}  // namespace kelvane::testing
