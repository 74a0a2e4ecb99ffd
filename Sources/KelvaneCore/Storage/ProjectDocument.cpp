#include "ProjectDocument.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <span>

#include "Support/JSON.h"
#include "Support/JSONMembers.h"
#include "Support/PrettyJSON.h"

namespace kelvane {

namespace {

/// Bytes that a clip takes in the document, a little more than usual.
constexpr std::size_t typicalClipSize = 640;

void writeClip(PrettyJSONWriter& writer, const Clip& clip) {
    writer.openObject();
    if (clip.audioOnly) writer.member("audioOnly", *clip.audioOnly);
    if (clip.audioTrackID) writer.member("audioTrackID", clip.audioTrackID->upper());
    writer.member("end", clip.end);
    writer.member("horizontal", clip.horizontal);
    writer.member("id", clip.id.upper());
    if (clip.originalURL) writer.member("originalURL", clip.originalURL->absoluteString());
    writer.member("sourceDuration", clip.sourceDuration);
    writer.member("start", clip.start);
    if (clip.timelineStart) writer.member("timelineStart", *clip.timelineStart);
    writer.member("url", clip.url.absoluteString());
    writer.member("vertical", clip.vertical);
    writer.member("volume", clip.volume);
    writer.member("zoom", clip.zoom);
    writer.closeObject();
}

Result<void> writeClips(PrettyJSONWriter& writer, const char* key, std::span<const Clip> clips) {
    writer.openArray(key);
    for (std::size_t i = 0; i < clips.size(); ++i) {
        writeClip(writer, clips[i]);
        if (!writer.unwritableKey().empty())
            return fail(fmt::format("{}[{}].{} must be a finite number.", key, i, writer.unwritableKey()));
    }
    writer.closeArray();
    return {};
}

Result<Clip> readClip(const nlohmann::json& object) {
    JSONMembers members(object);
    Clip clip;
    clip.id = members.uuid("id");
    clip.url = members.url("url");
    clip.sourceDuration = members.number("sourceDuration");
    clip.start = members.number("start");
    clip.end = members.number("end");
    clip.zoom = members.number("zoom");
    clip.horizontal = members.number("horizontal");
    clip.vertical = members.number("vertical");
    clip.volume = members.number("volume");
    clip.audioOnly = members.optionalBoolean("audioOnly");
    clip.timelineStart = members.optionalNumber("timelineStart");
    clip.audioTrackID = members.optionalUUID("audioTrackID");
    clip.originalURL = members.optionalURL("originalURL");
    if (members.failure()) return fail(*members.failure());
    return clip;
}

Result<std::vector<Clip>> readClips(const nlohmann::json& array, const char* key) {
    if (!array.is_array()) return fail(std::string(key) + " must be an array.");
    std::vector<Clip> clips;
    clips.reserve(array.size());
    for (const nlohmann::json& element : array) {
        const std::string place = fmt::format("{}[{}]", key, clips.size());
        if (const auto object = json::object(element, place); !object) return fail(object.error());
        auto clip = readClip(element);
        if (!clip) return fail(place + "." + clip.error().message);
        clips.push_back(*std::move(clip));
    }
    return clips;
}

}  // namespace

Result<std::string> encodeProject(const Project& project) {
    PrettyJSONWriter writer;
    writer.reserve((project.clips.size() + (project.assets ? project.assets->size() : 0)) * typicalClipSize + 256);
    writer.openObject();
    if (project.assets) {
        if (auto written = writeClips(writer, "assets", *project.assets); !written) return fail(written.error());
    }
    if (auto written = writeClips(writer, "clips", project.clips); !written) return fail(written.error());
    if (project.mediaRoot) writer.member("mediaRoot", project.mediaRoot->absoluteString());
    writer.member("version", project.version);
    writer.closeObject();
    return writer.take();
}

Result<Project> decodeProject(std::string_view text) {
    const auto document = parseJSON(text);
    if (!document) return fail(document.error());
    if (const auto object = json::object(*document, "The project"); !object) return fail(object.error());

    Project project;
    JSONMembers members(*document);
    project.version = members.integer("version");
    project.mediaRoot = members.optionalURL("mediaRoot");
    if (members.failure()) return fail(*members.failure());

    if (!document->contains("clips")) return fail("clips is missing.");
    auto clips = readClips(document->at("clips"), "clips");
    if (!clips) return fail(clips.error());
    project.clips = *std::move(clips);
    if (const nlohmann::json* array = json::find(*document, "assets")) {
        auto assets = readClips(*array, "assets");
        if (!assets) return fail(assets.error());
        project.assets = *std::move(assets);
    }
    return project;
}

}  // namespace kelvane
