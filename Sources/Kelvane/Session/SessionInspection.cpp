#include <algorithm>

#include "AIAssistantSession.h"
#include "CLI/CLIError.h"
#include "CLIEditing.h"
#include "Editor/Editor.h"

namespace kelvane {

Result<JSONObject> AIAssistantSession::inspect(const Editor& editor, const CLIRequest& request) const {
    if (!editor.projectURL()) return fail(CLIError("Save the project before inspecting media."));
    return fail(CLIError("The command " + request.command + " is not available in this version of Kelvane."));
}

Error AIAssistantSession::previewFailure(const std::vector<Clip>& clips, const UUID& epoch) const {
    if (std::ranges::all_of(clips, &Clip::isAudio)) {
        return CLIError("No video in timeline; use waveform to inspect audio.");
    }
    const auto editor = editor_.lock();
    if (epoch != generation_ || !editor) return CLIError("The Kelvane session closed after applying the edit.");
    if (!editor->projectURL()) return CLIError("Save the project before rendering a preview.");
    return CLIError("Preview sheets are not available in this version of Kelvane.");
}

Result<JSONObject> AIAssistantSession::editingResponse(const Write& write, JSONObject state,
                                                       const std::vector<Clip>& clips, bool changed) const {
    const auto editor = editor_.lock();
    if (!hasFlag(write.request, "preview") || !editor) return state;
    const auto revision = CLIEditing::revision(editor->clips(), editor->assets());
    state.set("applied", true);
    state.set("changed", changed);
    JSONObject preview;
    preview.set("error", std::string_view(previewFailure(clips, write.epoch).message));
    preview.set("revision", std::string_view(revision));
    preview.set("stale", !checkSnapshot(revision, write.epoch).has_value());
    state.set("preview", preview);
    return state;
}

}  // namespace kelvane
