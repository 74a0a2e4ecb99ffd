#include <initializer_list>

#include "CLILimits.h"
#include "KelvaneCLI.h"
#include "Media/ExportSettings.h"
#include "Support/JSON.h"

namespace kelvane::KelvaneCLI {

namespace {

JSONArray array(std::initializer_list<std::string_view> texts) { return jsonArray(texts); }

JSONArray commandsArray() {
    JSONArray rows;
    for (const Command& command : commands()) {
        JSONObject row;
        row.set("name", command.name);
        row.set("options", jsonArray(command.options));
        row.set("flags", jsonArray(command.flags));
        row.set("required", jsonArray(command.required));
        row.set("description", command.description);
        rows.add(row);
    }
    return rows;
}

JSONObject clipFields() {
    JSONObject defaults;
    defaults.set("zoom", 1.0);
    defaults.set("horizontal", 0.0);
    defaults.set("vertical", 0.0);
    defaults.set("volume", 1.0);
    JSONObject fields;
    fields.set("required", array({"assetID", "start", "end"}));
    fields.set("optional",
               array({"clipID", "zoom", "horizontal", "vertical", "volume", "timelineStart", "audioTrackID"}));
    fields.set("defaults", defaults);
    return fields;
}

JSONObject exportChoices() {
    JSONObject defaults;
    defaults.set("resolution", commandLineWord(ExportResolution::automatic));
    defaults.set("fps", commandLineWord(ExportFrameRate::automatic));
    JSONObject choices;
    choices.set("resolutions",
                jsonArray(allExportResolutions, [](ExportResolution value) { return commandLineWord(value); }));
    choices.set("fps", jsonArray(allExportFrameRates, [](ExportFrameRate value) { return commandLineWord(value); }));
    choices.set("defaults", defaults);
    choices.set("formats", jsonArray(allExportContainers, [](ExportContainer value) { return rawValue(value); }));
    return choices;
}

JSONObject ranges() {
    JSONObject ranges;
    ranges.set("trim", "0 <= start < end <= source duration (+0.001 s tolerance); minimum duration 1/30 s");
    ranges.setRaw("zoom", "[1,3]");
    ranges.setRaw("horizontal", "[-1,1]");
    ranges.setRaw("vertical", "[-1,1]");
    ranges.setRaw("volume", "[0,1]");
    ranges.set("timelineStart", "Audio only; finite >=0 timeline seconds");
    ranges.set("audioTrackID", "Audio only; UUID identifying an existing or new lane");
    ranges.set("framing",
               "Positive horizontal moves the picture left; positive vertical moves it up. Finite numbers only.");
    return ranges;
}

JSONObject limits() {
    JSONObject limits;
    limits.set("clips", static_cast<double>(CLILimits::clips));
    limits.set("durationSeconds", CLILimits::durationSeconds);
    limits.set("messageBytes", static_cast<double>(CLILimits::messageBytes));
    limits.set("batchAssets", static_cast<double>(CLILimits::batchAssets));
    return limits;
}

std::string document() {
    JSONObject document;
    document.set("version", 3.0);
    document.set("commands", commandsArray());
    document.set("clipFields", clipFields());
    document.set("audio",
                 "mediaType=audio overlays video at timelineStart (finite, >=0). New default 0; retained clipID "
                 "preserves placement. Video order ignores audio entries. Duration includes audio tails.");
    document.set("projectName",
                 "rename --revision R --name NAME matches inline editing in the editor header and Projects cards. "
                 "Saved immediately; names do not affect the timeline revision or Undo history. State includes name "
                 "and playhead (timeline seconds).");
    document.set("audioTracks",
                 "Audio entries include effective audioTrackID; audioTracks lists lane UUIDs in display order. Reuse a "
                 "lane UUID to group occurrences or provide a new UUID for a new lane. Omitted audioTrackID preserves "
                 "a retained clipID's lane; new occurrences get independent lanes. clip moves preserve surviving lane "
                 "order, with new lanes last; timeline array order determines lane order.");
    document.set("export", exportChoices());
    document.set("volume",
                 "Linear gain per occurrence: 0=mute, 0.03=3%, 0.30=30%, 1=100%/reset. Mute on video omits its source "
                 "audio from playback/export; independent audio overlays retain their own volume. waveform --clip "
                 "reports trimmed peaks after gain; --asset reports original source peaks.");
    document.set("ranges", ranges());
    document.set("limits", limits());
    document.set("responses",
                 "Editing commands return updated state; reuse revision and clipIDs. --compact omits unchanged assets "
                 "but preserves the complete timeline, duration and output. On stale writes reread project. --preview "
                 "returns applied=true even if preview.error is present: retry preview, not the edit.");
    return document.text();
}

}  // namespace

const std::string& capabilities() {
    static const std::string text = document();
    return text;
}

}  // namespace kelvane::KelvaneCLI
