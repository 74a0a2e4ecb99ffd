#include "TakeBoxes.h"

#include <string_view>
#include <utility>

#include "Media/MediaStreams.h"

namespace kelvane::TakeBoxes {

namespace {

constexpr std::uint32_t trackNumber = 1;
/// "und" by ISO 639-2, packed.
constexpr std::uint64_t languageUnknown = 0x55C4;
/// An audio packet stands for itself: depends on no other, and decoding can begin with it.
constexpr std::uint64_t packetFlags = 0x02000000;

/// Bytes, most significant first.
class Bytes {
public:
    Bytes& number(std::uint64_t value, int count) {
        for (int shift = (count - 1) * 8; shift >= 0; shift -= 8) bytes_.push_back(static_cast<char>(value >> shift));
        return *this;
    }
    Bytes& u8(std::uint64_t value) { return number(value, 1); }
    Bytes& u16(std::uint64_t value) { return number(value, 2); }
    Bytes& u32(std::uint64_t value) { return number(value, 4); }
    Bytes& u64(std::uint64_t value) { return number(value, 8); }
    Bytes& zeros(std::size_t count) {
        bytes_.append(count, '\0');
        return *this;
    }
    Bytes& add(std::string_view bytes) {
        bytes_.append(bytes);
        return *this;
    }
    [[nodiscard]] std::string take() { return std::move(bytes_); }

private:
    std::string bytes_;
};

std::string box(std::string_view type, std::string_view content) {
    return Bytes().u32(8 + content.size()).add(type).add(content).take();
}

std::string fullBox(std::string_view type, int version, std::uint64_t flags, std::string_view content) {
    return box(type, Bytes().u8(static_cast<std::uint64_t>(version)).number(flags, 3).add(content).take());
}

/// A descriptor of ISO/IEC 14496-1 of less than 128 bytes.
std::string descriptor(int tag, std::string_view content) {
    return Bytes().u8(static_cast<std::uint64_t>(tag)).u8(content.size()).add(content).take();
}

std::string unitMatrix() {
    Bytes matrix;
    for (const std::uint64_t value : {0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000}) matrix.u32(value);
    return matrix.take();
}

std::string movieHeader(std::int64_t length) {
    Bytes content;
    content.zeros(16).u32(soundSampleRate).u64(static_cast<std::uint64_t>(length));
    // Rate and volume 1.
    content.u32(0x10000).u16(0x100).zeros(10).add(unitMatrix()).zeros(24).u32(trackNumber + 1);
    return fullBox("mvhd", 1, 0, content.take());
}

std::string trackHeader(std::int64_t length) {
    constexpr std::uint64_t enabledInMovie = 3;
    Bytes content;
    content.zeros(16).u32(trackNumber).zeros(4).u64(static_cast<std::uint64_t>(length)).zeros(12);
    content.u16(0x100).zeros(2).add(unitMatrix()).zeros(8);
    return fullBox("tkhd", 1, enabledInMovie, content.take());
}

/// The track begins behind the encoder's delay. A length of 0 is all that the fragments bring.
std::string edit(const TakeTrack& track, std::int64_t length) {
    Bytes content;
    content.u32(1).u64(static_cast<std::uint64_t>(length)).u64(static_cast<std::uint64_t>(track.delay));
    return box("edts", fullBox("elst", 1, 0, content.u16(1).u16(0).take()));
}

std::string mediaHeader(std::int64_t length) {
    Bytes content;
    content.zeros(16).u32(soundSampleRate).u64(static_cast<std::uint64_t>(length));
    return fullBox("mdhd", 1, 0, content.u16(languageUnknown).zeros(2).take());
}

std::string handler() {
    return fullBox("hdlr", 0, 0, Bytes().zeros(4).add("soun").zeros(12).add("SoundHandler").zeros(1).take());
}

/// The track's decoder, one entry.
std::string sampleDescription(const TakeTrack& track) {
    constexpr int elementaryStream = 3;
    constexpr int decoderSetup = 4;
    constexpr int decoderOwnSetup = 5;
    constexpr int syncLayer = 6;
    constexpr std::uint64_t aac = 0x40;
    constexpr std::uint64_t soundStream = 0x15;
    const auto rate = static_cast<std::uint64_t>(track.bitRate);
    Bytes setup;
    setup.u8(aac).u8(soundStream).number(0, 3).u32(rate).u32(rate);
    setup.add(descriptor(decoderOwnSetup, track.configuration));
    Bytes stream;
    stream.u16(0).u8(0).add(descriptor(decoderSetup, setup.take()));
    stream.add(descriptor(syncLayer, Bytes().u8(2).take()));
    Bytes entry;
    entry.zeros(6).u16(1).zeros(8).u16(1).u16(16).zeros(4).u32(std::uint64_t{soundSampleRate} << 16);
    entry.add(fullBox("esds", 0, 0, descriptor(elementaryStream, stream.take())));
    return fullBox("stsd", 0, 0, Bytes().u32(1).add(box("mp4a", entry.take())).take());
}

std::size_t packetCount(std::span<const TakeChunk> chunks) {
    std::size_t count = 0;
    for (const TakeChunk& chunk : chunks) count += chunk.sizes.size();
    return count;
}

/// How long packets are: all whole but the last.
std::string times(std::size_t packets, std::int64_t mediaLength) {
    Bytes entries;
    std::uint64_t count = 0;
    const auto run = [&](std::uint64_t number, std::int64_t length) {
        if (number == 0) return;
        entries.u32(number).u32(static_cast<std::uint64_t>(length));
        ++count;
    };
    if (packets > 0) {
        run(packets - 1, packetLength);
        run(1, mediaLength - static_cast<std::int64_t>(packets - 1) * packetLength);
    }
    return fullBox("stts", 0, 0, Bytes().u32(count).add(entries.take()).take());
}

/// How many packets the chunks hold, where that changes.
std::string chunkLengths(std::span<const TakeChunk> chunks) {
    Bytes entries;
    std::uint64_t count = 0;
    for (std::size_t i = 0; i < chunks.size(); ++i) {
        if (i > 0 && chunks[i].sizes.size() == chunks[i - 1].sizes.size()) continue;
        entries.u32(i + 1).u32(chunks[i].sizes.size()).u32(1);
        ++count;
    }
    return fullBox("stsc", 0, 0, Bytes().u32(count).add(entries.take()).take());
}

std::string sampleTable(const TakeTrack& track, std::span<const TakeChunk> chunks, std::int64_t mediaLength) {
    const std::size_t packets = packetCount(chunks);
    Bytes sizes;
    Bytes offsets;
    sizes.u32(0).u32(packets);
    offsets.u32(chunks.size());
    for (const TakeChunk& chunk : chunks) {
        for (const std::uint32_t size : chunk.sizes) sizes.u32(size);
        offsets.u64(static_cast<std::uint64_t>(chunk.offset));
    }
    Bytes table;
    table.add(sampleDescription(track)).add(times(packets, mediaLength)).add(chunkLengths(chunks));
    table.add(fullBox("stsz", 0, 0, sizes.take())).add(fullBox("co64", 0, 0, offsets.take()));
    return box("stbl", table.take());
}

/// `length` 0: fragments follow.
std::string movie(const TakeTrack& track, std::span<const TakeChunk> chunks, std::int64_t length,
                  const std::string& extension) {
    constexpr std::uint64_t inThisFile = 1;
    const std::int64_t mediaLength = chunks.empty() ? 0 : track.delay + length;
    const std::string places = box(
        "dinf", fullBox("dref", 0, 0, Bytes().u32(1).add(fullBox("url ", 0, inThisFile, std::string_view())).take()));
    const std::string information = box("minf", Bytes()
                                                    .add(fullBox("smhd", 0, 0, Bytes().zeros(4).take()))
                                                    .add(places)
                                                    .add(sampleTable(track, chunks, mediaLength))
                                                    .take());
    const std::string media = box("mdia", Bytes().add(mediaHeader(mediaLength)).add(handler()).add(information).take());
    const std::string whole = box("trak", Bytes().add(trackHeader(length)).add(edit(track, length)).add(media).take());
    return box("moov", Bytes().add(movieHeader(length)).add(whole).add(extension).take());
}

}  // namespace

std::string head(const TakeTrack& track) {
    // "M4A " names the kind; "iso5" allows fragments to count from their own beginning.
    const std::string brands = box("ftyp", Bytes().add("M4A ").u32(0).add("M4A mp42isomiso5").take());
    Bytes defaults;
    defaults.u32(trackNumber).u32(1).u32(packetLength).u32(0).u32(packetFlags);
    const std::string fragmentsFollow = box("mvex", fullBox("trex", 0, 0, defaults.take()));
    return brands + box("free", Bytes().zeros(8).take()) + movie(track, {}, 0, fragmentsFollow);
}

std::string fragmentHead(std::uint32_t number, std::int64_t packetsBefore, std::span<const std::uint32_t> sizes,
                         std::int64_t lastLength) {
    constexpr std::uint64_t countsFromItself = 0x020000;
    constexpr std::uint64_t hasOffsetLengthsSizes = 0x000301;
    const auto moof = [&](std::uint64_t dataOffset) {
        Bytes run;
        run.u32(sizes.size()).u32(dataOffset);
        for (std::size_t i = 0; i < sizes.size(); ++i)
            run.u32(static_cast<std::uint64_t>(i + 1 < sizes.size() ? packetLength : lastLength)).u32(sizes[i]);
        const auto time = static_cast<std::uint64_t>(packetsBefore * packetLength);
        Bytes track;
        track.add(fullBox("tfhd", 0, countsFromItself, Bytes().u32(trackNumber).take()));
        track.add(fullBox("tfdt", 1, 0, Bytes().u64(time).take()));
        track.add(fullBox("trun", 0, hasOffsetLengthsSizes, run.take()));
        const std::string order = fullBox("mfhd", 0, 0, Bytes().u32(number).take());
        return box("moof", order + box("traf", track.take()));
    };
    constexpr std::size_t dataHeader = 8;
    std::uint64_t bytes = dataHeader;
    for (const std::uint32_t size : sizes) bytes += size;
    const std::string whole = moof(moof(0).size() + dataHeader);
    return whole + Bytes().u32(bytes).add("mdat").take();
}

std::string index(const TakeTrack& track, std::span<const TakeChunk> chunks, std::int64_t length) {
    return movie(track, chunks, length, {});
}

std::string cover(std::int64_t end) {
    // 1 in the place of the size: the size follows the type, in 64 bits.
    return Bytes().u32(1).add("mdat").u64(static_cast<std::uint64_t>(end - coverOffset)).take();
}

}  // namespace kelvane::TakeBoxes
