#include <cmath>
#include <span>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "AIAssistantSession.h"
#include "Assistant/KelvaneProjectLink.h"
#include "CLI/CLIError.h"
#include "CLIEditing.h"
#include "Editor/Editor.h"
#include "Media/ExportSettings.h"
#include "Timeline/Framing.h"

namespace kelvane {

namespace {

/// Generous sizes of one record in the document, so that an array is allocated once.
constexpr std::size_t timelineEntryBytes = 384;
constexpr std::size_t assetEntryBytes = 256;
/// Frames a second that an automatic rate never exceeds.
constexpr double maximumAutomaticRate = 60;

/// Ids of assets by the file they stand for; the first asset of a file stands.
using AssetIDs = std::unordered_map<std::string_view, const UUID*>;

void appendUUID(std::string& out, std::string_view key, const UUID& id) {
    out.append(key) += '"';
    id.appendUpper(out);
    out += '"';
}

void appendNumber(std::string& out, std::string_view key, double value) {
    out += key;
    appendJSONNumber(out, value);
}

bool isWritable(const Clip& clip) {
    for (const double value : {clip.sourceDuration, clip.start, clip.end, clip.zoom, clip.horizontal, clip.vertical,
                               clip.volume, clip.audioPosition()}) {
        if (!std::isfinite(value)) return false;
    }
    return true;
}

/// Keys in the order of their bytes, as everywhere in a reply.
void appendTimelineEntry(std::string& out, const Clip& clip, const UUID& assetID) {
    appendUUID(out, R"({"assetID":)", assetID);
    if (clip.isAudio()) appendUUID(out, R"(,"audioTrackID":)", clip.lane());
    appendUUID(out, R"(,"clipID":)", clip.id);
    appendNumber(out, R"(,"end":)", clip.end);
    appendNumber(out, R"(,"horizontal":)", clip.horizontal);
    appendNumber(out, R"(,"start":)", clip.start);
    if (clip.isAudio()) appendNumber(out, R"(,"timelineStart":)", clip.audioPosition());
    appendNumber(out, R"(,"vertical":)", clip.vertical);
    appendNumber(out, R"(,"volume":)", clip.volume);
    appendNumber(out, R"(,"zoom":)", clip.zoom);
    out += '}';
}

Error unwritable() { return CLIError("The project holds a number that is not finite."); }

Result<JSONArray> timelineArray(const std::vector<Clip>& clips, const std::vector<Clip>& assets) {
    AssetIDs ids;
    ids.reserve(assets.size());
    for (const Clip& asset : assets) ids.emplace(asset.url.absoluteString(), &asset.id);

    JSONArray out(timelineEntryBytes * clips.size() + 2);
    for (const Clip& clip : clips) {
        const auto asset = ids.find(clip.url.absoluteString());
        if (asset == ids.end()) return fail(CLIError("A timeline source is missing from the asset library."));
        if (!isWritable(clip)) return fail(unwritable());
        appendTimelineEntry(out.next(), clip, *asset->second);
    }
    return out;
}

Result<JSONArray> assetsArray(const std::vector<Clip>& assets) {
    JSONArray array(assetEntryBytes * assets.size() + 2);
    for (const Clip& asset : assets) {
        if (!std::isfinite(asset.sourceDuration)) return fail(unwritable());
        std::string& out = array.next();
        appendUUID(out, R"({"assetID":)", asset.id);
        appendNumber(out, R"(,"duration":)", asset.sourceDuration);
        out += asset.isAudio() ? R"(,"mediaType":"audio")" : R"(,"mediaType":"video")";
        out += R"(,"name":)";
        appendJSONString(out, asset.name(), Slashes::plain);
        out += '}';
    }
    return array;
}

/// The sizes in pixels of the resolutions that have one of their own.
JSONArray sizes() {
    JSONArray out;
    for (const ExportResolution resolution : allExportResolutions) {
        const auto pixels = size(resolution);
        if (!pixels) continue;
        JSONObject sides;
        sides.set("width", pixels->width);
        sides.set("height", pixels->height);
        out.add(sides);
    }
    return out;
}

/// What an export can be: the same for every project.
const JSONObject& exportSummary() {
    static const JSONObject summary = [] {
        JSONObject out;
        out.set("formats", jsonArray(allExportContainers, [](auto format) { return rawValue(format); }));
        out.set("resolution", rawValue(ExportResolution::automatic));
        out.set("maxWidth", Framing::ultraHDSize.width);
        out.set("maxHeight", Framing::ultraHDSize.height);
        out.set("fallbackWidth", Framing::size.width);
        out.set("fallbackHeight", Framing::size.height);
        out.set("fps", "automatic");
        out.set("maxFPS", maximumAutomaticRate);
        out.set("fpsPolicy", "Slowest video source rate, up to 60 fps; 30 when unavailable");
        out.set("resolutions", sizes());
        out.set("resolutionOptions",
                jsonArray(allExportResolutions, [](auto choice) { return commandLineWord(choice); }));
        out.set("fpsOptions", jsonArray(allExportFrameRates, [](auto rate) { return commandLineWord(rate); }));
        out.set("policy",
                "Auto uses 4K or 1440p when every video clip supports it after crop and zoom; otherwise 1080p. 720p is "
                "selectable.");
        return out;
    }();
    return summary;
}

Result<void> addProject(JSONObject& state, const Editor& editor) {
    auto assets = assetsArray(editor.assets());
    if (!assets) return fail(assets.error());
    state.set("projectID", std::string_view(editor.id().upper()));
    state.set("name", std::string_view(editor.title()));
    state.set("busy", editor.busy());
    state.set("interacting", editor.interactionSnapshot().has_value());
    state.set("assets", *assets);
    state.set("canUndo", !editor.undoStack().empty());
    state.set("canRedo", !editor.redoStack().empty());
    return {};
}

}  // namespace

Result<JSONObject> AIAssistantSession::projectState(bool compact) const {
    const auto editor = editor_.lock();
    if (!editor) return fail(projectClosed());
    const auto& clips = editor->clips();
    auto timeline = timelineArray(clips, editor->assets());
    if (!timeline) return fail(timeline.error());
    // The sum of finite clips can be infinite.
    const double duration = editor->placement().duration();
    if (!std::isfinite(duration) || !std::isfinite(editor->playhead())) return fail(unwritable());

    JSONObject state;
    state.set("timeline", *timeline);
    state.set("revision", std::string_view(CLIEditing::revision(clips, editor->assets())));
    state.set("duration", duration);
    state.set("playhead", editor->playhead());
    state.set("audioTracks", jsonArray(editor->placement().lanes(), &UUID::upper));
    state.set("openURL", std::string_view(KelvaneProjectLink::url(editor->id()).absoluteString()));
    state.set("openCommand",
              std::string_view(KelvaneProjectLink::openCommand(editor->id(), KelvaneProjectLink::runningExecutable())));
    state.set("output", exportSummary());
    if (!compact) {
        if (auto added = addProject(state, *editor); !added) return fail(added.error());
    }
    return state;
}

}  // namespace kelvane
