#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace kelvane {

/// What a take's file says of its one track: AAC, mono, `soundSampleRate`.
struct TakeTrack {
    /// The decoder's setup, AudioSpecificConfig of ISO/IEC 14496-3.
    std::string configuration;
    std::int64_t bitRate = 0;
    /// Samples that decoding gives before the first one that was recorded.
    std::int64_t delay = 0;
};

/// Packets that lie one behind the other in a take's file.
struct TakeChunk {
    /// Of the first packet's first byte in the file.
    std::int64_t offset = 0;
    /// Bytes of each packet.
    std::vector<std::uint32_t> sizes;
};

/// The layout of a take's file, after ISO/IEC 14496-12 (boxes) and -14 (esds), 64-bit times and offsets throughout.
///
/// While it grows it is a fragmented movie: head, then fragments, each of which is the index of some packets and the
/// packets. It ends as a plain movie: an index of all packets stands behind the last fragment, and the head's index and
/// the fragments' become part of the movie's data, by 16 bytes that are written over a place kept in the head. Up to
/// those bytes it is a whole fragmented movie, from them on a plain one.
namespace TakeBoxes {

/// Samples that a packet decodes to; the last one of a take may be shorter.
inline constexpr std::int64_t packetLength = 1024;
/// Where the head keeps a place for `cover`.
inline constexpr std::int64_t coverOffset = 32;

/// What stands at the file's beginning.
std::string head(const TakeTrack& track);
/// The bytes before a fragment's packets. `number` counts from 1; `packetsBefore` are those of all fragments before;
/// `lastLength` is the length of its last packet.
std::string fragmentHead(std::uint32_t number, std::int64_t packetsBefore, std::span<const std::uint32_t> sizes,
                         std::int64_t lastLength);
/// The index of a take of `length` samples, behind its last fragment.
std::string index(const TakeTrack& track, std::span<const TakeChunk> chunks, std::int64_t length);
/// What is written at `coverOffset` of a file whose last fragment ends at `end`.
std::string cover(std::int64_t end);

}  // namespace TakeBoxes

}  // namespace kelvane
