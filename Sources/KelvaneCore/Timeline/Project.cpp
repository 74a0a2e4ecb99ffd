#include "Project.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <span>

#include "Support/JSON.h"
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
        if (!writer.unwritableKey().empty()) {
            return fail(fmt::format("{}[{}].{} must be a finite number.", key, i, writer.unwritableKey()));
        }
    }
    writer.closeArray();
    return {};
}

/// Reads the members of one object; the first failure stands, and reads after it give defaults.
class MemberReader {
public:
    explicit MemberReader(const nlohmann::json& object) : object_(object) {}

    double number(const char* key) { return take(json::number(object_, key), 0.0); }
    std::int64_t integer(const char* key) { return take(json::integer(object_, key), std::int64_t{0}); }

    UUID uuid(const char* key) {
        const std::string text = take(json::string(object_, key), std::string());
        return parsed(UUID::parse(text), key, "a UUID");
    }
    FileURL url(const char* key) {
        const std::string text = take(json::string(object_, key), std::string());
        return parsed(FileURL::parse(text), key, "a URL");
    }

    std::optional<bool> optionalBoolean(const char* key) {
        const nlohmann::json* value = json::find(object_, key);
        if (value == nullptr) return std::nullopt;
        if (!value->is_boolean()) {
            refuse(std::string(key) + " must be true or false.");
            return std::nullopt;
        }
        return value->get<bool>();
    }
    std::optional<double> optionalNumber(const char* key) {
        return has(key) ? std::optional(number(key)) : std::nullopt;
    }
    std::optional<UUID> optionalUUID(const char* key) { return has(key) ? std::optional(uuid(key)) : std::nullopt; }
    std::optional<FileURL> optionalURL(const char* key) { return has(key) ? std::optional(url(key)) : std::nullopt; }

    [[nodiscard]] const std::optional<Error>& failure() const { return failure_; }

private:
    [[nodiscard]] bool has(const char* key) const { return json::find(object_, key) != nullptr; }

    void refuse(std::string sentence) {
        if (!failure_) failure_ = Error(std::move(sentence));
    }

    template <class T>
    T take(Result<T> result, T otherwise) {
        if (result) return *std::move(result);
        refuse(std::move(result.error().message));
        return otherwise;
    }

    template <class T>
    T parsed(std::optional<T> value, const char* key, const char* kind) {
        if (value) return *std::move(value);
        refuse(std::string(key) + " must be " + kind + ".");
        return T();
    }

    const nlohmann::json& object_;
    std::optional<Error> failure_;
};

Result<Clip> readClip(const nlohmann::json& object) {
    MemberReader reader(object);
    Clip clip;
    clip.id = reader.uuid("id");
    clip.url = reader.url("url");
    clip.sourceDuration = reader.number("sourceDuration");
    clip.start = reader.number("start");
    clip.end = reader.number("end");
    clip.zoom = reader.number("zoom");
    clip.horizontal = reader.number("horizontal");
    clip.vertical = reader.number("vertical");
    clip.volume = reader.number("volume");
    clip.audioOnly = reader.optionalBoolean("audioOnly");
    clip.timelineStart = reader.optionalNumber("timelineStart");
    clip.audioTrackID = reader.optionalUUID("audioTrackID");
    clip.originalURL = reader.optionalURL("originalURL");
    if (reader.failure()) return fail(*reader.failure());
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
    MemberReader reader(*document);
    project.version = reader.integer("version");
    project.mediaRoot = reader.optionalURL("mediaRoot");
    if (reader.failure()) return fail(*reader.failure());

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
