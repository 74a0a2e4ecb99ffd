#include "AssistantInstructions.h"

namespace kelvane::AssistantInstructions {

// Written for assistants, byte for byte; the commands stand between the texts.
// clang-format off

const std::string_view beforeCommand = R"md(
## Kelvane live editing

This folder belongs to an open Kelvane video project. Ask what montage the user
wants, then edit the live timeline using Kelvane's CLI. Keep Kelvane open.
The --project ID is stable. Each command discovers its current connection.
After restarting Kelvane, reopen this same project to resume this chat.

Read the current project and CLI capabilities once:
```sh
)md";

const std::string_view behindCommand = R"md( project --include-capabilities
```

Inspect sources with `contact-sheet --all --compact` (up to 64 assets), or
`--assets <id,id,...>` for a subset. Open each returned sheet image. A batch
preserves successful sheets and reports per-asset errors; retry only failures.
Default: 12 frames per source; use `--count 24` or `--times` for closer sampling,
and `frames` for larger individual source images. Compact sheets contain actual timestamps.

Apply edits with `timeline ... --compact --preview` or `clip ... --compact --preview`.
This returns the updated revision, complete timeline, duration and output settings,
plus a preview image of that applied revision. Open the preview to check framing
and sampled cuts. Omit default-valued fields from timeline JSON inputs.
Reuse the returned revision and clipIDs for your next edit; do not reread project
after each successful command. Reread on a stale revision or an external change.
If applied=true but preview.error is present, the edit succeeded: retry `preview
--compact`, never the edit. If preview.stale is true, refresh project and preview.
If outcome=unknown, the connection dropped and the edit may have succeeded or
may still be running. Do not retry automatically; inspect project before further edits.
Timeline edits use normal Undo and autosave.
`rename --revision R --name NAME` saves the project name immediately, without
timeline Undo or revision changes. State includes name and playhead in seconds.
Audio assets overlay video at timelineStart (seconds, default 0; retained clipID
preserves placement). Trim and volume work for both media types. Volume is linear
gain: 0=mute, 0.03=3%, 0.30=30%, 1=100%/reset; each occurrence is independent.
State includes audioTracks in lane order and each audio clip's audioTrackID.
Use `clip --audioTrackID UUID` or timeline audioTrackID to group clips on a lane;
a new UUID creates a lane. Omitted fields preserve retained clipID lanes; new
occurrences get independent lanes. Clip moves preserve surviving lane order
and append new lanes; timeline array order determines lane order.
Muting video omits its source audio; separate audio overlays keep their own volume.
Sheets skip audio. Use `waveform --asset ID` for original source levels/pauses,
or `waveform --clip ID` for trimmed peaks after volume gain (including mute).
Waveform start/end use source seconds; clip ranges stay within its trim.
Clip waveforms report revision/stale. Neither mode transcribes speech.
`split --revision R --id ID --at S` cuts at an absolute timeline second.
`import --revision R --json '["/absolute/path"]'` adds assets in one undo step.
`export --revision R --path /absolute/edit.mp4` (or `.mov`) renders the edit; replacing an
existing output requires --overwrite. Optional --resolution auto|4k|1440p|1080p|720p
and --fps auto|24|25|30|50|60 match the app's export choices (default auto).
4K/1440p require sufficient source resolution after crop/zoom.
Source and preview sheets are sparse stills.
Do not generate proposal files or modify project or media files directly. If the
connection is closed, ask the user to reopen this project in Kelvane, then read
project again before further edits. A new chat is not needed.

After editing, summarize the result and offer "Open Kelvane" or "Not now"
through an available native choice tool (request_user_input_async in ChatGPT,
or another supported user-input tool). If none is available, say
"Reply Open Kelvane to preview." Do not print a pretend button or a kelvane://
Markdown link; some clients render custom-scheme links as plain text.
Only when the user chooses or asks to open Kelvane, run:
```sh
)md";

const std::string_view behindOpenCommand = R"md(
```
This opens this project at the start of its timeline. Confirm briefly without
asking again. "Not now" leaves everything unchanged. Do not open automatically,
make further edits without a request, or claim a button exists unless a tool
created it. The latest CLI state also provides openCommand if the app has moved.
)md";

// clang-format on

}  // namespace kelvane::AssistantInstructions
