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
#include "Timeline/TimelineLayout.h"

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

Result<std::string> timelineText(const std::vector<Clip>& clips, const std::vector<Clip>& assets) {
    AssetIDs ids;
    ids.reserve(assets.size());
    for (const Clip& asset : assets) ids.emplace(asset.url.absoluteString(), &asset.id);

    std::string out;
    out.reserve(timelineEntryBytes * clips.size() + 2);
    out += '[';
    for (const Clip& clip : clips) {
        const auto asset = ids.find(clip.url.absoluteString());
        if (asset == ids.end()) return fail(CLIError("A timeline source is missing from the asset library."));
        if (!isWritable(clip)) return fail(unwritable());
        if (out.size() > 1) out += ',';
        appendTimelineEntry(out, clip, *asset->second);
    }
    out += ']';
    return out;
}

Result<std::string> assetsText(const std::vector<Clip>& assets) {
    std::string out;
    out.reserve(assetEntryBytes * assets.size() + 2);
    out += '[';
    for (const Clip& asset : assets) {
        if (!std::isfinite(asset.sourceDuration)) return fail(unwritable());
        if (out.size() > 1) out += ',';
        appendUUID(out, R"({"assetID":)", asset.id);
        appendNumber(out, R"(,"duration":)", asset.sourceDuration);
        out += asset.isAudio() ? R"(,"mediaType":"audio")" : R"(,"mediaType":"video")";
        out += R"(,"name":)";
        appendJSONString(out, asset.name(), Slashes::plain);
        out += '}';
    }
    out += ']';
    return out;
}

std::string lanesText(const std::vector<Clip>& clips) {
    std::string out = "[";
    for (const UUID& lane : TimelineLayout::audioTracks(clips)) appendUUID(out, out.size() > 1 ? "," : "", lane);
    out += ']';
    return out;
}

/// A JSON array of what `text` makes of each choice.
template <class Choices, class Text>
std::string listText(const Choices& choices, Text text) {
    std::string out = "[";
    for (const auto& choice : choices) {
        const std::string element = text(choice);
        if (element.empty()) continue;
        if (out.size() > 1) out += ',';
        out += element;
    }
    out += ']';
    return out;
}

/// What an export can be: the same for every project.
const JSONObject& exportSummary() {
    static const JSONObject summary = [] {
        JSONObject out;
        out.setRaw("formats", listText(allExportContainers, [](auto format) { return jsonString(rawValue(format)); }));
        out.set("resolution", rawValue(ExportResolution::automatic));
        out.set("maxWidth", Framing::ultraHDSize.width);
        out.set("maxHeight", Framing::ultraHDSize.height);
        out.set("fallbackWidth", Framing::size.width);
        out.set("fallbackHeight", Framing::size.height);
        out.set("fps", "automatic");
        out.set("maxFPS", maximumAutomaticRate);
        out.set("fpsPolicy", "Slowest video source rate, up to 60 fps; 30 when unavailable");
        out.setRaw("resolutions", listText(allExportResolutions, [](auto resolution) -> std::string {
                       const auto pixels = size(resolution);
                       if (!pixels) return {};
                       JSONObject sides;
                       sides.set("width", pixels->width);
                       sides.set("height", pixels->height);
                       return sides.text();
                   }));
        out.setRaw("resolutionOptions", listText(allExportResolutions, [](auto resolution) {
                       return jsonString(commandLineWord(resolution));
                   }));
        out.setRaw("fpsOptions",
                   listText(allExportFrameRates, [](auto rate) { return jsonString(commandLineWord(rate)); }));
        out.set("policy",
                "Auto uses 4K or 1440p when every video clip supports it after crop and zoom; otherwise 1080p. 720p is "
                "selectable.");
        return out;
    }();
    return summary;
}

Result<void> addProject(JSONObject& state, const Editor& editor) {
    auto assets = assetsText(editor.assets());
    if (!assets) return fail(std::move(assets.error()));
    state.set("projectID", std::string_view(editor.id().upper()));
    state.set("name", std::string_view(editor.title()));
    state.set("busy", editor.busy());
    state.set("interacting", editor.interactionSnapshot().has_value());
    state.setRaw("assets", *std::move(assets));
    state.set("canUndo", !editor.undoStack().empty());
    state.set("canRedo", !editor.redoStack().empty());
    return {};
}

}  // namespace

Result<JSONObject> AIAssistantSession::projectState(bool compact) const {
    const auto editor = editor_.lock();
    if (!editor) return fail(CLIError("The Kelvane project is closed."));
    const auto& clips = editor->clips();
    auto timeline = timelineText(clips, editor->assets());
    if (!timeline) return fail(std::move(timeline.error()));
    // The sum of finite clips can be infinite.
    const double duration = TimelineLayout::duration(clips);
    if (!std::isfinite(duration) || !std::isfinite(editor->playhead())) return fail(unwritable());

    JSONObject state;
    state.setRaw("timeline", *std::move(timeline));
    state.set("revision", std::string_view(CLIEditing::revision(clips, editor->assets())));
    state.set("duration", duration);
    state.set("playhead", editor->playhead());
    state.setRaw("audioTracks", lanesText(clips));
    state.set("openURL", std::string_view(KelvaneProjectLink::url(editor->id()).absoluteString()));
    state.set("openCommand",
              std::string_view(KelvaneProjectLink::openCommand(editor->id(), KelvaneProjectLink::runningExecutable())));
    state.set("output", exportSummary());
    if (!compact) {
        if (auto added = addProject(state, *editor); !added) return fail(std::move(added.error()));
    }
    return state;
}

}  // namespace kelvane
