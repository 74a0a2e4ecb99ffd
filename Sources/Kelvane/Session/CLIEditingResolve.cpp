#include <cmath>
#include <nlohmann/json.hpp>
#include <unordered_map>
#include <unordered_set>

#include "CLI/CLIError.h"
#include "CLI/CLILimits.h"
#include "CLIEditing.h"
#include "Support/JSON.h"

namespace kelvane::CLIEditing {

namespace {

/// One entry of a timeline request.
struct CLIClip {
    UUID assetID;
    std::optional<UUID> clipID;
    double start = 0;
    double end = 0;
    std::optional<double> zoom;
    std::optional<double> horizontal;
    std::optional<double> vertical;
    std::optional<double> volume;
    std::optional<double> timelineStart;
    std::optional<UUID> audioTrackID;
};

constexpr std::string_view fieldNames[] = {"assetID",    "clipID",   "start",  "end",           "zoom",
                                           "horizontal", "vertical", "volume", "timelineStart", "audioTrackID"};

bool isFieldName(std::string_view name) { return std::ranges::find(fieldNames, name) != std::end(fieldNames); }

std::string entryName(std::size_t index) { return "Clip " + std::to_string(index + 1); }

/// Reads the fields of one entry, keeping the first failure.
class EntryReader {
public:
    EntryReader(const nlohmann::json& object, std::size_t index) : object_(object), index_(index) {}

    /// A member that must be there.
    template <class Value>
    void read(const char* name, Value& value) {
        std::optional<Value> found;
        read(name, found);
        if (found)
            value = *found;
        else
            refuse(std::string(name) + " is missing.");
    }
    void read(const char* name, std::optional<UUID>& value) {
        const auto member = object_.find(name);
        if (member == object_.end()) return;
        const auto* text = member->get_ptr<const nlohmann::json::string_t*>();
        if (text != nullptr) value = UUID::parse(*text);
        if (!value) refuse(std::string(name) + " must be a UUID.");
    }
    void read(const char* name, std::optional<double>& value) {
        const auto member = object_.find(name);
        if (member == object_.end()) return;
        if (!member->is_number()) return refuse(std::string(name) + " must be a number.");
        const double number = member->get<double>();
        if (!std::isfinite(number)) return refuse(std::string(name) + " must be a finite number.");
        value = number;
    }

    [[nodiscard]] const std::optional<Error>& failure() const { return failure_; }

private:
    void refuse(const std::string& words) {
        if (!failure_) failure_ = CLIError(entryName(index_) + ": " + words);
    }

    const nlohmann::json& object_;
    std::size_t index_;
    std::optional<Error> failure_;
};

Result<CLIClip> decodeEntry(const nlohmann::json& object, std::size_t index) {
    CLIClip entry;
    EntryReader reader(object, index);
    reader.read("assetID", entry.assetID);
    reader.read("clipID", entry.clipID);
    reader.read("start", entry.start);
    reader.read("end", entry.end);
    reader.read("zoom", entry.zoom);
    reader.read("horizontal", entry.horizontal);
    reader.read("vertical", entry.vertical);
    reader.read("volume", entry.volume);
    reader.read("timelineStart", entry.timelineStart);
    reader.read("audioTrackID", entry.audioTrackID);
    if (reader.failure()) return fail(*reader.failure());
    return entry;
}

/// Goes through an array of entries and stops at a member that no entry may have. Works on the text's events, since
/// among the values a second member of one name has taken the place of the first.
class FieldCheck : public nlohmann::json_sax<nlohmann::json> {
public:
    bool null() override { return depth_ != entryDepth; }
    bool boolean(bool) override { return true; }
    bool number_integer(number_integer_t) override { return true; }
    bool number_unsigned(number_unsigned_t) override { return true; }
    bool number_float(number_float_t, const string_t&) override { return true; }
    bool string(string_t&) override { return true; }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return open(); }
    bool start_array(std::size_t) override { return open(); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool key(string_t& name) override { return depth_ != entryDepth || isFieldName(name); }
    bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) override { return false; }

private:
    /// The containers that are open inside of an entry: the array and the entry itself.
    static constexpr int entryDepth = 2;

    bool open() {
        ++depth_;
        return true;
    }
    bool close() {
        --depth_;
        return true;
    }

    int depth_ = 0;
};

Error shapeError() { return CLIError("timeline requires an array of up to 1,000 clips, at most 1 MiB."); }

/// Size, syntax, shape, fields and types.
Result<std::vector<CLIClip>> decodeEntries(std::string_view json) {
    if (json.size() > CLILimits::messageBytes) return fail(shapeError());
    const auto document = parseJSON(json);
    if (!document) return fail(document.error());
    if (!document->is_array() || document->size() > CLILimits::clips ||
        !std::ranges::all_of(*document, [](const auto& entry) { return entry.is_object(); })) {
        return fail(shapeError());
    }
    FieldCheck fields;
    if (!nlohmann::json::sax_parse(json.begin(), json.end(), &fields))
        return fail(CLIError("Unsupported clip field or null value. Run cli help for the accepted fields."));
    std::vector<CLIClip> entries;
    entries.reserve(document->size());
    for (const auto& object : *document) {
        auto entry = decodeEntry(object, entries.size());
        if (!entry) return fail(entry.error());
        entries.push_back(*entry);
    }
    return entries;
}

/// The clips of one array by id; the first of an id stands.
using ClipsByID = std::unordered_map<UUID, const Clip*>;

ClipsByID clipsByID(std::span<const Clip> clips) {
    ClipsByID found;
    found.reserve(clips.size());
    for (const Clip& clip : clips) found.emplace(clip.id, &clip);
    return found;
}

const Clip* find(const ClipsByID& clips, const std::optional<UUID>& id) {
    if (!id) return nullptr;
    const auto found = clips.find(*id);
    return found == clips.end() ? nullptr : found->second;
}

/// Turns entries into clips, one after the other.
class Resolver {
public:
    Resolver(std::span<const Clip> assets, std::span<const Clip> current)
        : assets_(clipsByID(assets)), current_(clipsByID(current)) {}

    Result<Clip> resolve(const CLIClip& entry, std::size_t index) {
        const Clip* asset = find(assets_, entry.assetID);
        if (asset == nullptr) return fail(CLIError(entryName(index) + ": unknown assetID."));
        if (!asset->isAudio() && (entry.timelineStart || entry.audioTrackID))
            return fail(CLIError("timelineStart and audioTrackID apply to audio clips only."));
        const Clip* retained = find(current_, entry.clipID);
        Clip clip = fresh(entry, *asset, retained);
        if (entry.clipID) {
            if (retained == nullptr || retained->url != asset->url || !used_.insert(*entry.clipID).second) {
                return fail(
                    CLIError("clipID must identify a unique existing occurrence of the same asset. Omit it for a new "
                             "occurrence."));
            }
            clip.id = *entry.clipID;
            clip.audioTrackID = retained->audioTrackID;
        }
        if (entry.audioTrackID) clip.audioTrackID = entry.audioTrackID;
        if (!clip.isValid())
            return fail(CLIError(entryName(index) + ": invalid trim, framing or volume. Run cli help for ranges."));
        return clip;
    }

private:
    static Clip fresh(const CLIClip& entry, const Clip& asset, const Clip* retained) {
        Clip clip;
        if (!entry.clipID) clip.id = UUID::random();
        clip.url = asset.url;
        clip.sourceDuration = asset.sourceDuration;
        clip.audioOnly = asset.audioOnly;
        clip.start = entry.start;
        clip.end = entry.end;
        clip.zoom = entry.zoom.value_or(1);
        clip.horizontal = entry.horizontal.value_or(0);
        clip.vertical = entry.vertical.value_or(0);
        clip.volume = entry.volume.value_or(1);
        if (asset.isAudio())
            clip.timelineStart = entry.timelineStart.value_or(retained == nullptr ? 0 : retained->audioPosition());
        return clip;
    }

    ClipsByID assets_;
    ClipsByID current_;
    std::unordered_set<UUID> used_;
};

}  // namespace

Result<std::vector<Clip>> resolve(std::string_view json, std::span<const Clip> assets, std::span<const Clip> current) {
    const auto entries = decodeEntries(json);
    if (!entries) return fail(entries.error());
    Resolver resolver(assets, current);
    std::vector<Clip> clips;
    clips.reserve(entries->size());
    for (const CLIClip& entry : *entries) {
        auto clip = resolver.resolve(entry, clips.size());
        if (!clip) return fail(clip.error());
        clips.push_back(*std::move(clip));
    }
    if (auto valid = validate(clips); !valid) return fail(valid.error());
    return clips;
}

}  // namespace kelvane::CLIEditing
