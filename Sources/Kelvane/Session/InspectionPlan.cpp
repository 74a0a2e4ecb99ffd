#include "InspectionPlan.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <utility>

#include "AIAssistantSession.h"
#include "CLI/CLIError.h"
#include "CLI/CLILimits.h"
#include "CLIEditing.h"
#include "Editor/Editor.h"
#include "Inspection/CLIMediaInspection.h"
#include "Inspection/CLIWaveform.h"
#include "Inspection/InspectionSheet.h"
#include "Support/Text.h"

namespace kelvane {

namespace {

using Clips = std::vector<Clip>;
using Times = std::vector<double>;

constexpr int defaultFrames = 6;
constexpr int maximumFrames = 12;
constexpr int defaultSheetFrames = 12;
constexpr int defaultBins = 120;

constexpr const char* framesContext =
    "Sparse source stills only. Original audio and continuous motion have not been analyzed.";

/// A decimal integer with an optional sign, from `least` to `most`.
std::optional<int> integer(std::string_view text, int least, int most) {
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < least || value > most) return std::nullopt;
    return value;
}

Result<double> number(const CLIRequest& request, const char* name, double absent) {
    const auto text = request.option(name);
    if (!text) return absent;
    const auto value = finiteNumber(*text);
    if (!value) return fail(CLIError(std::string("--") + name + " must be finite."));
    return *value;
}

/// The record of `clips` that a text names by its id, or nullptr.
const Clip* named(const Clips& clips, const std::string& text) {
    const auto id = UUID::parse(text);
    if (!id) return nullptr;
    const auto found = std::ranges::find(clips, *id, &Clip::id);
    return found == clips.end() ? nullptr : &*found;
}

Result<InspectionPlan> planFrames(MediaPlatform& platform, const Editor& editor, const CLIRequest& request,
                                  const FileURL& folder) {
    const auto id = requiredOption(request, "asset");
    if (!id) return fail(id.error());
    const Clip* asset = named(editor.assets(), *id);
    if (asset == nullptr) return fail(CLIError("Unknown assetID. Read project for imported assets."));
    if (asset->isAudio()) return fail(CLIError("Audio-only asset; use waveform."));
    auto times =
        CLIMediaInspection::times(request.option("times"), asset->sourceDuration, defaultFrames, maximumFrames);
    if (!times) return fail(times.error());
    auto work = [&platform, asset = *asset, times = *std::move(times),
                 folder](std::stop_token stop) -> Result<JSONObject> {
        // The stop is the session's end, at which the pictures stay that somebody may be looking at.
        auto frames = CLIMediaInspection::frames(platform, asset, times, folder, std::move(stop),
                                                 CLIMediaInspection::WhenStopped::keeps);
        if (!frames) return fail(frames.error());
        JSONObject document;
        document.set("assetID", std::string_view(asset.id.upper()));
        document.set("frames", jsonArray(*frames));
        document.set("context", framesContext);
        return document;
    };
    return InspectionPlan{std::move(work), std::nullopt, false};
}

/// One sheet of an asset: the whole of a single sheet's work, and a part of a batch's.
Result<JSONObject> sheet(MediaPlatform& platform, const Clip& asset, const std::optional<std::string>& text, int count,
                         const FileURL& folder, bool compact, std::stop_token stop) {
    auto times = CLIMediaInspection::times(text, asset.sourceDuration, count, CLIMediaInspection::maximumSheetFrames);
    if (!times) return fail(times.error());
    return CLIMediaInspection::contactSheet(platform, asset, *times, folder, compact, std::move(stop));
}

Result<InspectionPlan> planContactSheet(MediaPlatform& platform, const Editor& editor, const CLIRequest& request,
                                        const FileURL& folder) {
    const auto text = request.option("times");
    const auto countText = request.option("count");
    if (text && countText) return fail(CLIError("Use either --count or --times, not both."));
    const auto count = countText ? integer(*countText, 1, CLIMediaInspection::maximumSheetFrames) : defaultSheetFrames;
    if (!count) return fail(CLIError("--count must be an integer from 1 to 24."));
    auto selected = sheetAssets(request, editor.assets());
    if (!selected) return fail(selected.error());

    Clips videos;
    std::vector<JSONObject> skipped;
    for (const Clip& asset : *selected) {
        if (!asset.isAudio()) {
            videos.push_back(asset);
            continue;
        }
        JSONObject& entry = skipped.emplace_back();
        entry.set("assetID", std::string_view(asset.id.upper()));
        entry.set("reason", "Audio-only; use waveform.");
    }
    auto render = [&platform, text, count = *count, folder, compact = request.hasFlag("compact")](
                      const Clip& asset, std::stop_token stop) {
        return sheet(platform, asset, text, count, folder, compact, std::move(stop));
    };
    if (request.option("asset") && !videos.empty())
        return InspectionPlan{std::bind_front(render, videos.front()), std::nullopt, false};
    auto work = [render, videos, skipped = jsonArray(skipped)](const std::stop_token& stop) -> Result<JSONObject> {
        const auto one = [&](const Clip& asset) { return render(asset, stop); };
        JSONObject document = CLIMediaInspection::contactSheets(videos, one, stop);
        document.set("skipped", skipped);
        return document;
    };
    return InspectionPlan{std::move(work), std::nullopt, false};
}

Result<InspectionPlan> planPreview(MediaPlatform& platform, const Editor& editor, const CLIRequest& request,
                                   const FileURL& folder) {
    const Clips& clips = editor.clips();
    if (auto valid = requireVideo(clips); !valid) return fail(valid.error());
    Result<Times> times = CLIMediaInspection::previewTimes(clips);
    if (const auto text = request.option("times")) {
        times =
            CLIMediaInspection::times(text, editor.placement().duration(), 0, CLIMediaInspection::maximumSheetFrames);
        if (!times) return fail(times.error());
    }
    auto work = [&platform, clips, name = editor.title(), times = *std::move(times), folder,
                 compact = request.hasFlag("compact")](std::stop_token stop) {
        return CLIMediaInspection::preview(platform, clips, name, times, folder, compact, nullptr, std::move(stop));
    };
    return InspectionPlan{std::move(work), CLIEditing::revision(clips, editor.assets()), true};
}

Result<InspectionPlan> planWaveform(MediaPlatform& platform, const Editor& editor, const CLIRequest& request,
                                    const FileURL& folder) {
    const Clip* clip = nullptr;
    const Clip* asset = nullptr;
    if (const auto id = request.option("clip")) {
        clip = named(editor.clips(), *id);
        const auto same = [&](const Clip& other) { return other.url == clip->url; };
        const auto found = clip ? std::ranges::find_if(editor.assets(), same) : editor.assets().end();
        if (found == editor.assets().end()) return fail(CLIError("Unknown clipID."));
        asset = &*found;
    } else {
        const auto assetID = requiredOption(request, "asset");
        if (!assetID) return fail(assetID.error());
        asset = named(editor.assets(), *assetID);
        if (asset == nullptr) return fail(CLIError("Unknown assetID."));
    }
    const auto countText = request.option("count");
    const auto count = countText ? integer(*countText, 1, CLIWaveform::maximumBins) : defaultBins;
    if (!count) return fail(CLIError("--count must be 1...1000."));
    const auto start = number(request, "start", clip ? clip->start : 0);
    if (!start) return fail(start.error());
    const auto end = number(request, "end", clip ? clip->end : asset->sourceDuration);
    if (!end) return fail(end.error());
    if (clip && (*start < clip->start || *end > clip->end))
        return fail(CLIError("Clip waveform ranges must stay within its source trim."));
    InspectionPlan plan;
    if (clip) plan.revision = CLIEditing::revision(editor.clips(), editor.assets());
    plan.work = [&platform, asset = *asset, start = *start, end = *end, count = *count, folder,
                 gain = clip ? clip->volume : 1.0,
                 id = clip ? std::optional(clip->id) : std::nullopt](std::stop_token stop) {
        return CLIWaveform::inspect(platform, asset, start, end, count, folder, gain, id, std::move(stop));
    };
    return plan;
}

std::vector<std::string> pieces(std::string_view text) {
    std::vector<std::string> found(1);
    for (const char c : text)
        if (c == ',')
            found.emplace_back();
        else
            found.back() += c;
    return found;
}

}  // namespace

Result<void> requireVideo(std::span<const Clip> clips) {
    if (std::ranges::all_of(clips, &Clip::isAudio))
        return fail(CLIError("No video in timeline; use waveform to inspect audio."));
    return {};
}

Result<Clips> sheetAssets(const CLIRequest& request, const Clips& assets) {
    const auto one = request.option("asset");
    const auto several = request.option("assets");
    const auto all = request.option("all");
    if (one.has_value() + several.has_value() + all.has_value() != 1)
        return fail(CLIError("Choose exactly one of --asset, --assets or --all."));
    if (all == "true") {
        if (assets.size() > CLILimits::batchAssets)
            return fail(CLIError("A batch supports up to 64 assets. Use --assets to select a smaller group."));
        return assets;
    }
    const auto ids = pieces(one ? *one : several.value_or(""));
    if (ids.size() > CLILimits::batchAssets || (one && ids.size() != 1))
        return fail(CLIError("Select up to 64 asset IDs. Use --assets for a comma-separated list."));
    Clips selected;
    std::set<UUID> seen;
    for (const auto& id : ids) {
        const Clip* asset = named(assets, id);
        if (asset == nullptr || !seen.insert(asset->id).second)
            return fail(CLIError("Unknown or duplicate assetID: " + id + ". Read project for imported assets."));
        selected.push_back(*asset);
    }
    return selected;
}

Result<InspectionPlan> planInspection(MediaPlatform& platform, const Editor& editor, const CLIRequest& request,
                                      const FileURL& sessionFolder) {
    if (request.command == "preview")
        return planPreview(platform, editor, request, sessionFolder.appending("Previews"));
    if (request.command == "waveform")
        return planWaveform(platform, editor, request, sessionFolder.appending("Waveforms"));
    if (request.command == "contact-sheet")
        return planContactSheet(platform, editor, request, sessionFolder.appending("Contact Sheets"));
    return planFrames(platform, editor, request, sessionFolder.appending("Frames"));
}

}  // namespace kelvane
