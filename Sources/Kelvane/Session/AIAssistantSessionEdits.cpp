#include <algorithm>
#include <utility>

#include "AIAssistantSession.h"
#include "CLI/CLIError.h"
#include "CLIEditing.h"
#include "Editor/Editor.h"
#include "Support/Text.h"
#include "Timeline/Framing.h"
#include "Timeline/TimelineLayout.h"

namespace kelvane {

namespace {

using Clips = std::vector<Clip>;

/// Index of the clip that a text names by its id; nothing for other texts.
std::optional<std::size_t> clipNamed(const Editor& editor, const std::string& text) {
    const auto id = UUID::parse(text);
    return id ? editor.placement().index(*id) : std::nullopt;
}

Result<Clips> timelineTarget(const Editor& editor, const CLIRequest& request) {
    const auto json = requiredOption(request, "json");
    if (!json) return fail(json.error());
    return CLIEditing::resolve(*json, editor.assets(), editor.clips());
}

Result<Clips> splitTarget(const Editor& editor, const CLIRequest& request) {
    const auto refusal = [] {
        return CLIError("Require a known clipID and --at leaving at least 1/30s on each side.");
    };
    const auto id = requiredOption(request, "id");
    if (!id) return fail(id.error());
    const auto index = clipNamed(editor, *id);
    if (!index) return fail(refusal());
    const auto at = requiredOption(request, "at");
    if (!at) return fail(at.error());
    const auto position = finiteNumber(*at);
    if (!position) return fail(refusal());
    Clips target = editor.clips();
    auto halves = target[*index].split(*position - editor.placement().span(*index).start);
    if (!halves) return fail(refusal());

    const auto place = target.begin() + static_cast<std::ptrdiff_t>(*index);
    *place = std::move(halves->first);
    target.insert(place + 1, std::move(halves->second));
    return target;
}

struct NumberField {
    const char* name;
    void (*store)(Clip& clip, double value);
};

constexpr NumberField numberFields[] = {
    {"start", [](Clip& clip, double value) { clip.start = value; }},
    {"end", [](Clip& clip, double value) { clip.end = value; }},
    {"zoom", [](Clip& clip, double value) { clip.zoom = value; }},
    {"horizontal", [](Clip& clip, double value) { clip.horizontal = value; }},
    {"vertical", [](Clip& clip, double value) { clip.vertical = value; }},
    {"volume", [](Clip& clip, double value) { clip.volume = value; }},
    {"timelineStart", [](Clip& clip, double value) { clip.timelineStart = value; }},
};

Result<void> storeNumbers(Clip& clip, const CLIRequest& request) {
    for (const auto& [name, store] : numberFields) {
        const auto option = request.option(name);
        if (!option) continue;
        const auto value = finiteNumber(*option);
        if (!value) return fail(CLIError(std::string("--") + name + " must be a finite number."));
        if (std::string_view(name) == "timelineStart" && !clip.isAudio())
            return fail(CLIError("timelineStart applies to audio clips only."));
        store(clip, *value);
    }
    return {};
}

/// The timeline with the clip at `index` changed as the request says.
Result<Clips> clipTarget(const Editor& editor, std::size_t index, const CLIRequest& request) {
    const auto lane = request.option("audioTrackID");
    const bool hasNumber = std::ranges::any_of(
        numberFields, [&](const NumberField& field) { return request.options.contains(field.name); });
    if (!hasNumber && !lane) return fail(CLIError("Specify at least one clip field to update."));

    Clips target = editor.clips();
    Clip& clip = target[index];
    if (auto stored = storeNumbers(clip, request); !stored) return fail(stored.error());
    if (!lane) return target;
    const auto id = UUID::parse(*lane);
    if (!clip.isAudio() || !id) return fail(CLIError("--audioTrackID requires an audio clip and a lane UUID."));
    if (*id == clip.lane()) return target;
    clip.audioTrackID = *id;
    return TimelineLayout::preservingAudioTrackOrder(std::move(target), editor.placement().lanes());
}

Result<Clips> clipOrRemoveTarget(const Editor& editor, const CLIRequest& request) {
    const auto id = requiredOption(request, "id");
    if (!id) return fail(id.error());
    const auto index = clipNamed(editor, *id);
    if (!index) return fail(CLIError("Unknown clipID. Read project for the current timeline IDs."));
    if (request.command == "clip") return clipTarget(editor, *index, request);
    Clips target = editor.clips();
    target.erase(target.begin() + static_cast<std::ptrdiff_t>(*index));
    return target;
}

Result<Clips> editTarget(const Editor& editor, const CLIRequest& request) {
    if (request.command == "timeline") return timelineTarget(editor, request);
    if (request.command == "split") return splitTarget(editor, request);
    return clipOrRemoveTarget(editor, request);
}

}  // namespace

QCoro::Task<Result<JSONObject>> AIAssistantSession::editTimeline(Write write) {
    const auto self = shared_from_this();
    auto editor = editor_.lock();
    if (!editor) co_return fail(projectClosed());
    auto computed = editTarget(*editor, write.request);
    if (!computed) co_return fail(computed.error());
    const Target target = std::make_shared<const Clips>(*std::move(computed));
    if (auto valid = CLIEditing::validate(*target); !valid) co_return fail(valid.error());
    editor.reset();
    if (!target->empty()) {
        auto look = [target] { return CLIEditing::checkSources(*target); };
        auto looking = inBackground(*context_, std::move(look), Lane::shortWork);
        const auto sourced = co_await looking;
        if (!sourced) co_return fail(sourced.error());
        if (auto allowed = checkWrite(write.revision, write.epoch); !allowed) co_return fail(allowed.error());
    }

    editor = editor_.lock();
    const bool changed = !CLIEditing::identical(editor->clips(), *target);
    // Entries without an id have fresh ones in the target, which nobody could find where nothing is committed.
    const Target standing = changed ? target : std::make_shared<const Clips>(editor->clips());
    editor.reset();
    EditedMediaPtr media;
    if (changed) {
        if (!target->empty()) {
            // Whether the timeline can be composed is found out before anything changes.
            auto build = [media = media_, target, stop = write.stop] {
                return MediaEngine::build(*media, *target, Framing::size, MediaEngine::previewFrame, stop);
            };
            auto background = inBackground(*context_, std::move(build));
            auto built = co_await background;
            if (!built) co_return fail(failureOf(std::move(built.error()), write));
            media = *std::move(built);
        }
        if (auto allowed = checkWrite(write.revision, write.epoch); !allowed) co_return fail(allowed.error());
        editor = editor_.lock();
        const ClipArray before = editor->clipArray();
        editor->commit(*target);
        editor->noteAssistantEdit(before);
        editor.reset();
    }

    auto state = projectState(write.compact);
    if (!state) co_return state;
    editor = editor_.lock();
    if (!editor) co_return state;
    Applied edit{.clips = standing,
                 .media = std::move(media),
                 .revision = CLIEditing::revision(editor->clips(), editor->assets()),
                 .epoch = write.epoch,
                 .stop = write.stop,
                 .changed = changed,
                 .compact = write.compact,
                 .wantsPreview = write.request.hasFlag("preview")};
    editor.reset();
    auto task = editingResponse(std::move(edit), *std::move(state));
    co_return co_await task;
}

Result<JSONObject> AIAssistantSession::travelHistory(const Write& write) {
    if (const auto editor = editor_.lock()) {
        const ClipArray before = editor->clipArray();
        if (write.request.command == "undo")
            editor->undo();
        else
            editor->redo();
        editor->noteAssistantEdit(before);
    }
    return projectState(write.compact);
}

}  // namespace kelvane
