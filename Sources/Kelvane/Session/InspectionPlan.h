#pragma once

#include <functional>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

#include "CLI/CLIRequest.h"
#include "Media/MediaPlatform.h"
#include "Support/FileURL.h"
#include "Support/JSON.h"
#include "Timeline/Clip.h"

namespace kelvane {

class Editor;

/// An inspection's work, made from the words of its request: frames, contact-sheet, preview or waveform. What the work
/// reads is copied, so that what it shows is consistent, though the project may have moved on when it ends.
struct InspectionPlan {
    /// Blocks; for the pool. Gives the document of the reply, or the failure in words; ends as cancelled when a stop
    /// was requested.
    std::function<Result<JSONObject>(std::stop_token stop)> work;
    /// Revision of the timeline that is shown; none for inspections of sources, which depend on no timeline.
    std::optional<std::string> revision;
    /// The work renders the timeline.
    bool ofTimeline = false;
};

/// Makes all checks of a request that need no file, against the editor's assets and clips. Images go to subfolders of
/// `sessionFolder`. Fails with the sentence of the first fault found. Main thread.
Result<InspectionPlan> planInspection(MediaPlatform& platform, const Editor& editor, const CLIRequest& request,
                                      const FileURL& sessionFolder);

/// Refuses a timeline of sound alone with "No video in timeline; use waveform to inspect audio."
Result<void> requireVideo(std::span<const Clip> clips);

/// The assets that a contact-sheet's options select, in the order asked for.
Result<std::vector<Clip>> sheetAssets(const CLIRequest& request, const std::vector<Clip>& assets);

}  // namespace kelvane
