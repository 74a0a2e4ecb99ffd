#include <algorithm>
#include <array>

#include "KelvaneCLI.h"

namespace kelvane::KelvaneCLI {

namespace {

using Name = std::string_view;
template <std::size_t count>
using Names = std::array<Name, count>;

constexpr Names<1> compact{"compact"};
constexpr Names<2> compactAndPreview{"compact", "preview"};
constexpr Names<1> revision{"revision"};
constexpr Names<2> revisionAndID{"revision", "id"};
constexpr Names<2> revisionAndJSON{"revision", "json"};

constexpr Names<10> clipOptions{"audioTrackID", "end",           "horizontal", "id",     "revision",
                                "start",        "timelineStart", "vertical",   "volume", "zoom"};
constexpr Names<4> contactSheetOptions{"asset", "assets", "count", "times"};
constexpr Names<2> contactSheetFlags{"all", "compact"};
constexpr Names<4> exportOptions{"fps", "path", "resolution", "revision"};
constexpr Names<1> exportFlags{"overwrite"};
constexpr Names<2> exportRequired{"revision", "path"};
constexpr Names<2> framesOptions{"asset", "times"};
constexpr Names<1> framesRequired{"asset"};
constexpr Names<2> importOptions{"json", "revision"};
constexpr Names<1> previewOptions{"times"};
constexpr Names<1> projectFlags{"include-capabilities"};
constexpr Names<2> removeOptions{"id", "revision"};
constexpr Names<2> renameOptions{"name", "revision"};
constexpr Names<2> renameRequired{"revision", "name"};
constexpr Names<3> splitOptions{"at", "id", "revision"};
constexpr Names<3> splitRequired{"revision", "id", "at"};
constexpr Names<5> waveformOptions{"asset", "clip", "count", "end", "start"};

constexpr std::array<Command, 14> table{{
    {"clip", clipOptions, compactAndPreview, revisionAndID,
     "Update fields of one occurrence in one undo step. audioTrackID: existing lane UUID or a new UUID for a new lane; "
     "audio only."},
    {"contact-sheet",
     contactSheetOptions,
     contactSheetFlags,
     {},
     "One selector; max 64 assets. Video JPEGs, audio skipped. Default 12; count 1...24 or times. Batches: "
     "sheets/skipped/errors/complete."},
    {"export", exportOptions, exportFlags, exportRequired,
     "Wait for snapshot MP4/MOV; extension selects format. See export schema for resolution/fps choices (default "
     "auto). Auto picks up to 4K after crop/zoom and slowest source fps up to 60. 4K/1440p require sufficient sources. "
     "Absolute path; overwrite explicit. Returns path/revision/stale; no timeline edit."},
    {"frames", framesOptions, {}, framesRequired, "Video source JPEGs; default 6, max 12; times in source seconds."},
    {"import",
     importOptions,
     {},
     revisionAndJSON,
     "Atomic undoable import of JSON array of 1...64 absolute file paths; stdin via -. Existing assets reused. Returns "
     "state + imported IDs."},
    {"preview",
     previewOptions,
     compact,
     {},
     "Timeline JPEG including black tail; max 24 times. Returns revision/stale; no motion/audio."},
    {"project", {}, projectFlags, {}, "State; include schema on first read."},
    {"redo", revision, compact, revision, "Redo."},
    {"remove", removeOptions, compact, revisionAndID, "Remove occurrence; one undo step."},
    {"rename",
     renameOptions,
     {},
     renameRequired,
     "Rename the library project. Trims whitespace; nonempty name required. Saves immediately, without timeline Undo "
     "or revision change; returns full state."},
    {"split", splitOptions, compactAndPreview, splitRequired,
     "Split at absolute timeline second; preserve settings/placement. First ID retained, second new; one undo step."},
    {"timeline", importOptions, compactAndPreview, revisionAndJSON,
     "Replace timeline in one undo step. JSON array or stdin via -; [] clears. --preview failure leaves edit applied."},
    {"undo", revision, compact, revision, "Undo."},
    {"waveform",
     waveformOptions,
     {},
     {},
     "Exactly one of --asset (original source) or --clip (trimmed occurrence after linear volume gain). Source-second "
     "ranges; clip ranges must stay within trim. PNG + peaks; 120 bins (1...1000). No transcription. Clip results "
     "include revision/stale."},
}};

constexpr bool isSorted() {
    for (const Command& command : table)
        if (!std::ranges::is_sorted(command.options) || !std::ranges::is_sorted(command.flags)) return false;
    return std::ranges::is_sorted(table, {}, &Command::name);
}
static_assert(isSorted(), "lookups search by halves, and the capabilities document lists names in this order");

constexpr std::string_view help =
    R"(Kelvane cli --project UUID <command> [options] → JSON
Keep the project open. Legacy: --socket PATH.

project [--include-capabilities]                 State + full schema
rename --revision R --name NAME                 Save project name (no Undo)
frames --asset ID [--times S,S]                 Source JPEGs
contact-sheet (--asset ID|--assets ID,ID|--all) [--count N|--times S,S] [--compact]
waveform (--asset ID|--clip ID) [--start S] [--end S] [--count N]
  Source or trimmed clip after volume; source seconds, 120 bins by default.
preview [--times S,S] [--compact]                Timeline JPEG
import --revision R --json '["/absolute/media.mov"]'
timeline --revision R --json '[{"assetID":"UUID","start":0,"end":3}]'
clip --revision R --id ID [--start S] [--end S] [--zoom N] [--horizontal N]
  [--vertical N] [--volume N] [--timelineStart S] [--audioTrackID UUID]
split --revision R --id ID --at S               Absolute timeline second
remove --revision R --id ID
undo|redo --revision R
export --revision R --path /absolute/edit.mp4 [--overwrite]
  [--resolution auto|4k|1440p|1080p|720p] [--fps auto|24|25|30|50|60]

Timeline edits use Undo + autosave; reuse returned revision/clipIDs. Reread if stale.
--compact: timeline/clip/split/remove/undo/redo; first three also accept --preview.
Volume 0...1: 0=mute, 0.03=3%, 0.30=30%, 1=reset. Each clip is independent.
Audio overlays at --timelineStart (seconds). Video plays in array order.
--json - reads stdin; timeline [] clears. Export defaults to Auto; .mp4/.mov selects format.
applied=true: edit succeeded even with preview.error; retry preview only.
outcome=unknown: inspect project before retrying. Use CLI; never edit media/project files.
Ranges, defaults and limits: project --include-capabilities.)";

}  // namespace

bool Command::takesValue(std::string_view option) const { return std::ranges::binary_search(options, option); }
bool Command::hasFlag(std::string_view option) const { return std::ranges::binary_search(flags, option); }

std::span<const Command> commands() { return table; }

const Command* findCommand(std::string_view name) {
    const auto found = std::ranges::lower_bound(table, name, {}, &Command::name);
    return found != table.end() && found->name == name ? &*found : nullptr;
}

std::string_view helpText() { return help; }

}  // namespace kelvane::KelvaneCLI
