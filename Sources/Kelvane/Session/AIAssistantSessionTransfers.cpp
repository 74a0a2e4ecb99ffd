#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "AIAssistantSession.h"
#include "CLI/CLIError.h"
#include "CLI/CLILimits.h"
#include "CLIEditing.h"
#include "Editor/Editor.h"

namespace kelvane {

namespace {

/// An absolute path that the system can be asked for.
bool isAbsolutePath(const std::string& path) { return path.starts_with('/') && path.find('\0') == std::string::npos; }

/// The files that the JSON array of an import names.
Result<std::vector<FileURL>> importPaths(const std::string& json) {
    const auto refusal = [] { return CLIError("--json requires 1...64 absolute file paths (max 1 MiB)."); };
    if (json.size() > CLILimits::messageBytes) return fail(refusal());
    const auto document = parseJSON(json);
    if (!document || !document->is_array() || document->empty() || document->size() > CLILimits::batchAssets)
        return fail(refusal());
    std::vector<FileURL> files;
    for (const auto& element : *document) {
        const auto* path = element.get_ptr<const nlohmann::json::string_t*>();
        if (path == nullptr || !isAbsolutePath(*path)) return fail(refusal());
        files.push_back(FileURL::fromPath(*path));
    }
    return files;
}

/// The file that an export's path names.
Result<FileURL> exportDestination(const std::string& path) {
    if (isAbsolutePath(path)) {
        auto file = FileURL::fromPath(path);
        if (exportContainerForDestination(file)) return file;
    }
    return fail(CLIError("--path requires an absolute .mp4 or .mov path."));
}

}  // namespace

QCoro::Task<Result<JSONObject>> AIAssistantSession::importFiles(Write write) {
    const auto self = shared_from_this();
    const auto json = requiredOption(write.request, "json");
    if (!json) co_return fail(json.error());
    auto files = importPaths(*json);
    if (!files) co_return fail(files.error());

    auto editor = editor_.lock();
    if (!editor) co_return fail(projectClosed());
    auto task = editor->importMedia(*std::move(files), snapshotCheck(write), write.stop);
    editor.reset();
    auto imported = co_await task;
    if (!imported) co_return fail(failureOf(std::move(imported.error()), write));

    auto state = projectState(false);
    if (!state) co_return state;
    state->set("imported", jsonArray(*imported, &UUID::upper));
    co_return state;
}

QCoro::Task<Result<JSONObject>> AIAssistantSession::exportMovie(Write write) {
    const auto self = shared_from_this();
    const auto path = requiredOption(write.request, "path");
    if (!path) co_return fail(path.error());
    const auto destination = exportDestination(*path);
    if (!destination) co_return fail(destination.error());
    const auto resolution = exportResolutionFromCommandLine(write.request.option("resolution").value_or("auto"));
    if (!resolution) co_return fail(resolution.error());
    const auto frameRate = exportFrameRateFromCommandLine(write.request.option("fps").value_or("auto"));
    if (!frameRate) co_return fail(frameRate.error());

    auto editor = editor_.lock();
    if (!editor) co_return fail(projectClosed());
    // A movie of an ended period would be refused at its publishing, so that encoding the rest of it is in vain.
    auto task = editor->exportMedia(*destination, write.request.hasFlag("overwrite"), *resolution, *frameRate,
                                    snapshotCheck(write), write.stop);
    editor.reset();
    auto exported = co_await task;
    if (!exported) co_return fail(failureOf(std::move(exported.error()), write));

    JSONObject document;
    document.set("path", std::string_view(destination->path()));
    document.set("revision", std::string_view(write.revision));
    // The revision held at the moment of publishing, or the export had failed.
    document.set("stale", false);
    co_return document;
}

}  // namespace kelvane
