#include <algorithm>
#include <memory>
#include <utility>

#include "AIAssistantSession.h"
#include "Assistant/AIDesktopAssistant.h"
#include "CLI/CLIError.h"
#include "CLIEditing.h"
#include "Editor/Editor.h"
#include "Inspection/CLIMediaInspection.h"
#include "InspectionPlan.h"

namespace kelvane {

namespace {

Error inspectingClosed() { return CLIError("The Kelvane session closed while inspecting media."); }
Error renderingClosed() { return CLIError("The Kelvane session closed while rendering the preview."); }

}  // namespace

QCoro::Task<Result<JSONObject>> AIAssistantSession::inspect(CLIRequest request, UUID epoch, std::stop_token stop) {
    const auto self = shared_from_this();
    auto editor = editor_.lock();
    if (!editor || !editor->projectURL()) co_return fail(CLIError("Save the project before inspecting media."));
    const auto folder = AIDesktopAssistant::sessionFolder(*editor->projectURL(), editor->title());
    auto planned = planInspection(*media_, *editor, request, folder);
    // Held no longer than this: a request must not keep a closed project alive.
    editor.reset();
    if (!planned) co_return fail(planned.error());

    const InspectionPlan plan = *std::move(planned);
    auto work = [work = plan.work, stop] { return work(stop); };
    auto background = inBackground(*context_, std::move(work));
    auto document = co_await background;
    if (!document && !document.error().isCancelled()) co_return document;
    if (epoch != generation_ || editor_.expired())
        co_return fail(plan.ofTimeline ? renderingClosed() : inspectingClosed());
    if (!document) co_return document;
    if (plan.revision) {
        document->set("revision", std::string_view(*plan.revision));
        document->set("stale", !checkSnapshot(*plan.revision, epoch).has_value());
    }
    co_return document;
}

QCoro::Task<Result<JSONObject>> AIAssistantSession::previewOf(Applied edit) {
    const auto self = shared_from_this();
    if (auto valid = requireVideo(*edit.clips); !valid) co_return fail(valid.error());
    auto editor = editor_.lock();
    if (edit.epoch != generation_ || !editor)
        co_return fail(CLIError("The Kelvane session closed after applying the edit."));
    if (!editor->projectURL()) co_return fail(CLIError("Save the project before rendering a preview."));
    const std::string name = editor->title();
    const auto folder = AIDesktopAssistant::sessionFolder(*editor->projectURL(), name).appending("Previews");
    editor.reset();

    auto work = [platform = media_, edit, name, folder] {
        return CLIMediaInspection::preview(*platform, *edit.clips, name, CLIMediaInspection::previewTimes(*edit.clips),
                                           folder, edit.compact, edit.media, edit.stop);
    };
    auto background = inBackground(*context_, std::move(work));
    auto document = co_await background;
    const bool isTold = !document && !document.error().isCancelled();
    if (!isTold && edit.epoch != generation_) co_return fail(renderingClosed());
    co_return document;
}

QCoro::Task<JSONObject> AIAssistantSession::editingResponse(Applied edit, JSONObject state) {
    const auto self = shared_from_this();
    if (!edit.wantsPreview) co_return state;
    state.set("applied", true);
    state.set("changed", edit.changed);
    // From here on the edit stands, whatever happens.
    auto task = previewOf(edit);
    auto rendered = co_await task;
    JSONObject preview;
    if (rendered)
        preview = *std::move(rendered);
    else
        preview.set("error", std::string_view(rendered.error().message));
    preview.set("revision", std::string_view(edit.revision));
    preview.set("stale", !checkSnapshot(edit.revision, edit.epoch).has_value());
    state.set("preview", preview);
    co_return state;
}

}  // namespace kelvane
