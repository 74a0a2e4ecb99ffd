#pragma once

#include <cstdint>
#include <functional>

namespace kelvane {

/// The headers of an MP4 or QuickTime file say in a few bytes how many samples, edits and chunks there are, and the
/// demuxer makes room for all of them, whether or not the file has any. These bound what it may be asked for.
namespace MovieClaims {

/// Samples of all tracks and fragments: 24 hours at 60 frames a second with sound. Room for one takes some 50 bytes.
inline constexpr std::int64_t mostSamples = 12'582'912;
/// Those among them that no table in the file lists one by one, and that aren't plain sound within the file: of that,
/// the demuxer makes room for one in some thousand.
inline constexpr std::int64_t mostUnlisted = 4'194'304;
/// Samples that the edits of a track show, were each edit to show all: the demuxer lists a sample once for each edit.
inline constexpr std::int64_t mostEdited = 16'777'216;

/// Whether the headers in the `size` bytes of an open file claim no more than this, and no table that is larger than
/// the file. Reads headers only. True as well when the disk fails or `interrupted` says so: the next read tells. Files
/// that end too early, have boxes of unknown kinds or make no sense are not this function's business; headers that are
/// compressed can't be looked into and count as too much.
bool areBounded(int descriptor, std::int64_t size, const std::function<bool()>& interrupted);

}  // namespace MovieClaims

}  // namespace kelvane
