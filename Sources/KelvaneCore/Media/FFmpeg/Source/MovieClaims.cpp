#include "MovieClaims.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <span>
#include <utility>
#include <vector>

namespace kelvane::MovieClaims {

namespace {

/// Bytes by which a table may exceed the file: one that was cut off.
constexpr std::int64_t cutOff = 1 << 20;
/// The demuxer looks no deeper either.
constexpr int deepest = 12;
/// Samples of a chunk of plain sound that become one entry of the index, unless its description tells of frames with
/// this many samples or more.
constexpr std::int64_t fewestInFrame = 160;
constexpr std::int64_t chunkShare = 1024;
/// As that, for frames of fewer samples: the largest share that is whole frames, for the worst length of a frame.
constexpr std::int64_t wholeFramesShare = 882;
/// Sample descriptions that are looked into in a file; behind so many, the worst is taken for granted.
constexpr int mostDescriptions = 1024;
/// Samples that a byte of sound can hold: a bit each.
constexpr std::int64_t samplesInByte = 8;
/// Larger claims are all one: far more than any limit, and no sum of them overflows.
constexpr std::int64_t countless = std::int64_t{1} << 56;
/// Bytes of a sample description that are looked through; real ones have some hundred.
constexpr std::int64_t longestDescription = 1 << 20;

constexpr std::uint32_t code(const char (&name)[5]) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(name[i]);
    return value;
}

/// The part of a file that a box fills, without its size and name.
struct Range {
    std::int64_t begin = 0;
    std::int64_t end = 0;
    [[nodiscard]] std::int64_t length() const { return end - begin; }
};

std::int64_t capped(__int128 count) { return static_cast<std::int64_t>(std::min<__int128>(count, countless)); }

/// What the boxes of one track claim; of several boxes of a kind, the most.
struct Track {
    std::int64_t listed = 0;
    std::int64_t unlisted = 0;
    std::int64_t chunks = 0;
    /// Samples of a chunk at the most, and of all chunks before the last run of chunks of one size.
    std::int64_t chunkSamples = 0;
    std::int64_t samplesInRuns = 0;
    /// The last run's first chunk, from 1 on, and the samples of each chunk in it.
    std::int64_t runBegin = 0;
    std::int64_t runSamples = 0;
    bool runsInOrder = true;
    /// Samples of plain sound that become one entry of the index, at the fewest.
    std::int64_t entryShare = chunkShare;
    std::int64_t edits = 0;
    bool isSound = false;
    bool isOther = false;
    /// Every sample lasts one tick, as plain sound's do.
    bool evenTicks = true;

    /// Samples of all chunks.
    [[nodiscard]] std::int64_t samplesInChunks() const {
        if (!runsInOrder) return capped(__int128{chunks} * chunkSamples);
        return capped(__int128{std::max<std::int64_t>(chunks - runBegin + 1, 0)} * runSamples + samplesInRuns);
    }
};

class Walk {
public:
    Walk(int descriptor, std::int64_t size, const std::function<bool()>& interrupted)
        : descriptor_(descriptor), size_(size), interrupted_(interrupted) {}

    bool run() {
        boxes({0, size_}, 0);
        return bounded_ && listed_ + unlisted_ <= mostSamples && unlisted_ <= mostUnlisted;
    }

private:
    void boxes(Range range, int depth);
    void box(std::uint32_t name, Range inside, int depth);
    bool table(std::uint32_t name, Range inside);
    void trackTable(std::uint32_t name, Range inside);
    void fragmentTable(std::uint32_t name, Range inside);
    void track(Range inside, int depth);
    void metadata(Range inside, int depth);
    void descriptions(Range inside);
    void soundDescriptions(Range inside);
    void sizes(Range inside);
    void edits(Range inside);
    void chunkSizes(Range inside);
    /// `count` entries of `bytes` each from `at` on must lie in the file.
    void mustFit(std::int64_t at, std::int64_t count, std::int64_t bytes) {
        bounded_ = bounded_ && count * bytes <= size_ - at + cutOff;
    }
    std::int64_t read(std::int64_t at, std::span<std::uint8_t> bytes);
    /// Big-endian; 0 behind the file's end.
    std::uint32_t number(std::int64_t at);
    [[nodiscard]] bool ended() const { return !bounded_ || failed_ || interrupted_(); }

    int descriptor_;
    std::int64_t size_;
    const std::function<bool()>& interrupted_;
    bool bounded_ = true;
    bool failed_ = false;
    Track* track_ = nullptr;
    std::int64_t listed_ = 0;
    std::int64_t unlisted_ = 0;
    int descriptionsSeen_ = 0;
    /// The piece of the file that was read last: headers lie close together.
    std::vector<std::uint8_t> piece_ = std::vector<std::uint8_t>(4096);
    std::int64_t pieceBegin_ = 0;
    std::int64_t pieceEnd_ = 0;
};

std::int64_t Walk::read(std::int64_t at, std::span<std::uint8_t> bytes) {
    if (at < pieceBegin_ || at + std::ssize(bytes) > pieceEnd_) {
        const ssize_t count = ::pread(descriptor_, piece_.data(), piece_.size(), at);
        failed_ = failed_ || count < 0;
        pieceBegin_ = at;
        pieceEnd_ = at + std::max<ssize_t>(count, 0);
    }
    const std::int64_t count = std::clamp<std::int64_t>(pieceEnd_ - at, 0, std::ssize(bytes));
    std::copy_n(piece_.begin() + (at - pieceBegin_), count, bytes.begin());
    return count;
}

std::uint32_t Walk::number(std::int64_t at) {
    std::array<std::uint8_t, 4> bytes{};
    read(at, bytes);
    std::uint32_t value = 0;
    for (const std::uint8_t byte : bytes) value = value << 8 | byte;
    return value;
}

void Walk::boxes(Range range, int depth) {
    if (depth > deepest) return;
    for (std::int64_t at = range.begin; at + 8 <= range.end && !ended();) {
        std::int64_t length = number(at);
        std::int64_t header = 8;
        if (length == 1) {
            const std::uint64_t wide = std::uint64_t{number(at + 8)} << 32 | number(at + 12);
            length = static_cast<std::int64_t>(std::min<std::uint64_t>(wide, INT64_MAX / 2));
            header = 16;
        } else if (length == 0) {
            length = range.end - at;
        }
        if (length < header) return;
        // A box that is longer than the one around it ends with that.
        const std::int64_t end = std::min(at + length, range.end);
        box(number(at + 4), {std::min(at + header, end), end}, depth);
        at = end;
    }
}

void Walk::box(std::uint32_t name, Range inside, int depth) {
    switch (name) {
        case code("trak"):
            track(inside, depth);
            break;
        case code("moov"):
        case code("mdia"):
        case code("minf"):
        case code("stbl"):
        case code("edts"):
        case code("dinf"):
        case code("moof"):
        case code("traf"):
        case code("mvex"):
        case code("udta"):
        case code("tref"):
        case code("gmhd"):
        case code("sinf"):
        case code("schi"):
        case code("wave"):
        case code("ilst"):
            boxes(inside, depth + 1);
            break;
        case code("free"):
        case code("hoov"): {
            // A header that a program marked as not there yet is read when there is no other.
            const std::uint32_t first = number(inside.begin + 4);
            if (first == code("mvhd") || first == code("cmov")) boxes(inside, depth + 1);
            break;
        }
        case code("meta"):
            metadata(inside, depth);
            break;
        case code("stsd"):
            descriptions(inside);
            break;
        case code("cmov"):
            bounded_ = false;
            break;
        default:
            table(name, inside);
            break;
    }
}

/// The boxes begin where the handler does, behind a version or without one.
void Walk::metadata(Range inside, int depth) {
    for (std::int64_t at = inside.begin; at + 8 < inside.end && !ended(); at += 4)
        if (number(at) == code("hdlr")) return boxes({std::max(at - 4, inside.begin), inside.end}, depth + 1);
}

/// Boxes lie behind headers of many kinds in here, so every byte may begin one.
void Walk::descriptions(Range inside) {
    bounded_ = bounded_ && inside.length() <= longestDescription;
    soundDescriptions(inside);
    for (std::int64_t at = inside.begin; at + 4 <= inside.end && !ended(); ++at) {
        if (number(at) == code("stsd")) soundDescriptions({at + 4, inside.end});
        if (table(number(at), {at + 4, inside.end})) ++at;
    }
}

/// How many samples of plain sound become one entry of the index: the demuxer keeps frames together that the
/// description tells of.
void Walk::soundDescriptions(Range inside) {
    if (track_ == nullptr) return;
    for (std::int64_t at = inside.begin + 8; at + 36 <= inside.end && !ended();) {
        if (++descriptionsSeen_ > mostDescriptions) {
            track_->entryShare = fewestInFrame;
            return;
        }
        const std::uint32_t format = number(at + 4);
        const std::uint32_t version = number(at + 16) >> 16;
        std::int64_t frame = version == 1 ? number(at + 36) : version == 2 ? number(at + 68) : 1;
        // GSM's frames go without saying.
        if (format == code("agsm") || format >> 16 == code("ms\0\0") >> 16) frame = fewestInFrame;
        const std::int64_t share = frame <= 1 ? chunkShare : frame < fewestInFrame ? wholeFramesShare : frame;
        track_->entryShare = std::min(track_->entryShare, share);
        at += std::max<std::int64_t>(number(at), 8);
    }
}

void Walk::track(Range inside, int depth) {
    Track track;
    Track* outer = std::exchange(track_, &track);
    boxes(inside, depth + 1);
    track_ = outer;
    // Plain sound is indexed by chunks, everything else by samples.
    if (track.isSound && !track.isOther && track.evenTicks) {
        const std::int64_t samples = track.samplesInChunks();
        const bool isThere = samples / samplesInByte <= size_;
        track.listed = track.chunks + (isThere ? samples / track.entryShare : 0);
        track.unlisted = isThere ? 0 : samples / track.entryShare;
    }
    const std::int64_t samples = std::max(track.listed, track.unlisted);
    bounded_ = bounded_ && (track.edits <= 1 || samples <= mostEdited / track.edits);
    listed_ += track.listed;
    unlisted_ += track.unlisted;
}

/// False for boxes of no interest.
bool Walk::table(std::uint32_t name, Range inside) {
    switch (name) {
        case code("stsz"):
        case code("stz2"):
        case code("stsc"):
        case code("stco"):
        case code("co64"):
        case code("stts"):
        case code("ctts"):
        case code("stss"):
        case code("stps"):
        case code("elst"):
            // Outside of any track, they would count for the one before.
            bounded_ = bounded_ && track_ != nullptr;
            if (track_ != nullptr) trackTable(name, inside);
            return true;
        case code("hdlr"):
            if (track_ != nullptr && number(inside.begin + 8) == code("soun")) track_->isSound = true;
            if (track_ != nullptr && number(inside.begin + 8) == code("vide")) track_->isOther = true;
            return true;
        case code("trun"):
        case code("senc"):
        case code("saiz"):
        case code("sbgp"):
        case code("keys"):
            fragmentTable(name, inside);
            return true;
        default:
            return false;
    }
}

void Walk::trackTable(std::uint32_t name, Range inside) {
    const std::int64_t entries = inside.begin + 8;
    const std::int64_t count = number(inside.begin + 4);
    switch (name) {
        case code("stsz"):
        case code("stz2"):
            if (name == code("stsz") && number(inside.begin + 4) != 0)
                track_->unlisted = std::max<std::int64_t>(track_->unlisted, number(inside.begin + 8));
            else
                sizes(inside);
            break;
        case code("stsc"):
            mustFit(entries, count, 12);
            chunkSizes(inside);
            break;
        case code("stco"):
        case code("co64"):
            mustFit(entries, count, name == code("stco") ? 4 : 8);
            track_->chunks = std::max(track_->chunks, count);
            break;
        case code("stts"):
            mustFit(entries, count, 8);
            track_->evenTicks = track_->evenTicks && count == 1 && number(entries + 4) == 1;
            break;
        case code("elst"):
            edits(inside);
            break;
        default:
            mustFit(entries, count, name == code("ctts") ? 8 : 4);
            break;
    }
}

void Walk::sizes(Range inside) {
    const std::int64_t count = number(inside.begin + 8);
    // Nibbles at the least.
    mustFit(inside.begin + 12, (count + 1) / 2, 1);
    track_->listed = std::max(track_->listed, count);
}

void Walk::edits(Range inside) {
    const std::int64_t count = number(inside.begin + 4);
    const bool wide = number(inside.begin) >> 24 == 1;
    const std::int64_t bytes = wide ? 20 : 12;
    mustFit(inside.begin + 8, count, bytes);
    std::int64_t shown = 0;
    for (std::int64_t i = 0; i < count && !ended(); ++i) {
        // Empty edits, which show nothing, begin at -1.
        const std::int64_t at = inside.begin + 8 + i * bytes;
        if (at >= size_) break;
        shown += number(at + (wide ? 8 : 4)) != UINT32_MAX ? 1 : 0;
    }
    track_->edits = std::max(track_->edits, shown);
}

void Walk::chunkSizes(Range inside) {
    const std::int64_t count = number(inside.begin + 4);
    for (std::int64_t i = 0; i < count && !ended(); ++i) {
        const std::int64_t at = inside.begin + 8 + i * 12;
        if (at >= size_) break;
        const std::int64_t first = number(at);
        const std::int64_t samples = number(at + 4);
        track_->runsInOrder = track_->runsInOrder && first > track_->runBegin;
        track_->samplesInRuns = capped(__int128{first - track_->runBegin} * track_->runSamples + track_->samplesInRuns);
        track_->runBegin = first;
        track_->runSamples = samples;
        track_->chunkSamples = std::max(track_->chunkSamples, samples);
    }
}

void Walk::fragmentTable(std::uint32_t name, Range inside) {
    const std::uint32_t flags = number(inside.begin) & 0xffffff;
    std::int64_t count = number(inside.begin + 4);
    switch (name) {
        case code("trun"): {
            // Duration, size, flags and offset of each sample, as far as they aren't the fragment's own.
            const int fields = std::popcount(flags & 0xf00);
            mustFit(inside.begin + 8, count, std::int64_t{4} * fields);
            (fields > 0 ? listed_ : unlisted_) += count;
            break;
        }
        case code("senc"):
            // Of protected samples, room for a few times as much is made.
            unlisted_ += count * 4;
            break;
        case code("saiz"): {
            const std::int64_t skipped = (flags & 1) != 0 ? 8 : 0;
            count = (number(inside.begin + 4 + skipped) & 0xffffff) << 8 | number(inside.begin + 8 + skipped) >> 24;
            unlisted_ += count * 4;
            break;
        }
        default:
            mustFit(inside.begin + 8, name == code("sbgp") ? number(inside.begin + 8) : count, 8);
            break;
    }
}

}  // namespace

bool areBounded(int descriptor, std::int64_t size, const std::function<bool()>& interrupted) {
    return Walk(descriptor, size, interrupted).run();
}

}  // namespace kelvane::MovieClaims
