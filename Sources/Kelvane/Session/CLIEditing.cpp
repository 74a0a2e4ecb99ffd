#include "CLIEditing.h"

#include <openssl/evp.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdint>
#include <unordered_set>

#include "CLI/CLIError.h"
#include "CLI/CLILimits.h"
#include "Support/AtomicFile.h"
#include "Timeline/TimelineLayout.h"

namespace kelvane::CLIEditing {

namespace {

/// Version of the hashed text; another text is another scheme.
constexpr std::string_view revisionScheme = "Kelvane editing revision 2";
/// Generous sizes of one record in the hashed text, so that it is allocated once.
constexpr std::size_t hashedClipBytes = 384;
constexpr std::size_t hashedAssetBytes = 192;
constexpr std::size_t uuidCharacters = 36;

/// The text that a revision hashes: lines joined by line feeds, with none after the last.
class RevisionText {
public:
    explicit RevisionText(std::size_t capacity) {
        text_.reserve(capacity);
        text_ = revisionScheme;
    }
    [[nodiscard]] const std::string& text() const { return text_; }

    /// A value behind its length in bytes, so that no value can pass for two.
    void field(std::string_view value) {
        beginField(value.size());
        text_ += value;
    }
    void field(const UUID& id) {
        beginField(uuidCharacters);
        id.appendLower(text_);
    }
    void count(std::size_t value) {
        char digits[20];
        field(std::string_view(digits, std::to_chars(digits, std::end(digits), value).ptr));
    }
    void bits(double value) {
        // Adding zero makes one zero of two.
        char digits[17];
        digits[0] = '\n';
        const auto pattern = std::bit_cast<std::uint64_t>(value + 0.0);
        text_.append(digits, std::to_chars(digits + 1, std::end(digits), pattern, 16).ptr);
    }

private:
    void beginField(std::size_t length) {
        char digits[22];
        digits[0] = '\n';
        char* end = std::to_chars(digits + 1, std::end(digits), length).ptr;
        *end++ = ':';
        text_.append(digits, end);
    }

    std::string text_;
};

std::string sha256(std::string_view text) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    check(EVP_Digest(text.data(), text.size(), digest, &length, EVP_sha256(), nullptr) == 1, "no SHA-256");
    constexpr char digits[] = "0123456789abcdef";
    std::string out = "sha256:";
    for (unsigned i = 0; i < length; ++i) {
        out += digits[digest[i] >> 4];
        out += digits[digest[i] & 15];
    }
    return out;
}

void append(RevisionText& text, const Clip& clip) {
    text.field(clip.id);
    text.field(clip.url.absoluteString());
    if (clip.isAudio()) {
        text.field("audio");
        text.bits(clip.audioPosition());
        text.field(clip.lane());
    }
    for (const double value :
         {clip.sourceDuration, clip.start, clip.end, clip.zoom, clip.horizontal, clip.vertical, clip.volume}) {
        text.bits(value);
    }
}

bool isSamePlacement(const Clip& a, const Clip& b) {
    return a.url == b.url && a.sourceDuration == b.sourceDuration && a.start == b.start && a.end == b.end &&
           a.audioOnly == b.audioOnly && a.timelineStart == b.timelineStart && a.zoom == b.zoom &&
           a.horizontal == b.horizontal && a.vertical == b.vertical && a.volume == b.volume;
}

}  // namespace

std::string revision(std::span<const Clip> clips, std::span<const Clip> assets) {
    RevisionText text(hashedClipBytes * clips.size() + hashedAssetBytes * assets.size() + 128);
    text.field("timeline");
    text.count(clips.size());
    for (const Clip& clip : clips) append(text, clip);
    text.field("assets");
    text.count(assets.size());
    for (const Clip& asset : assets) {
        text.field(asset.id);
        text.field(asset.url.absoluteString());
        text.bits(asset.sourceDuration);
    }
    return sha256(text.text());
}

Result<void> validate(std::span<const Clip> clips) {
    if (clips.size() > CLILimits::clips || !std::ranges::all_of(clips, &Clip::isValid) ||
        TimelineLayout::duration(clips) > CLILimits::durationSeconds) {
        return fail(CLIError("Require valid clips, at most 1,000 occurrences and 24 hours total."));
    }
    return {};
}

Result<void> checkSources(std::span<const Clip> clips) {
    std::unordered_set<std::string_view> present;
    for (const Clip& clip : clips) {
        if (!present.insert(clip.url.absoluteString()).second) continue;
        if (!fileExists(clip.url.path()))
            return fail(CLIError("Source missing: " + clip.name() + ". Restore the original video."));
    }
    return {};
}

bool identical(std::span<const Clip> current, std::span<const Clip> target) {
    if (current.size() != target.size()) return false;
    std::unordered_set<UUID> kept;
    kept.reserve(current.size());
    for (const Clip& clip : current) kept.insert(clip.id);

    for (std::size_t i = 0; i < current.size(); ++i) {
        const Clip& a = current[i];
        const Clip& b = target[i];
        const bool isKept = kept.contains(b.id);
        if (isKept && b.id != a.id) return false;
        // A fresh clip without a lane of its own stands in for the clip whose place it takes.
        if (a.isAudio() && b.audioTrackID.value_or(isKept ? b.id : a.id) != a.lane()) return false;
        if (!isSamePlacement(a, b)) return false;
    }
    return true;
}

}  // namespace kelvane::CLIEditing
