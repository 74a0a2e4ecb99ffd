#pragma once

#include <map>

#include "SourceFile.h"

/// How long the tracks of a file are, by its packets rather than by its word.
namespace kelvane::FFmpegMeasure {

/// What the packets of one stream say. Time stamps are the stream's own, in its time base.
struct StreamSpan {
    /// Presentation time of the first sample that is shown or heard, and the end of the last one. AV_NOPTS_VALUE when
    /// the stream has no packet.
    std::int64_t first = AV_NOPTS_VALUE;
    std::int64_t end = AV_NOPTS_VALUE;
    /// The end if the last packet were as long as its neighbours; some demuxers cut it short.
    std::int64_t reach = AV_NOPTS_VALUE;
    /// Length of the last packet.
    std::int64_t lastDuration = 0;
    /// Average frames a second; 0 when unknown. Of the whole stream where its frames could be counted, else of its
    /// head.
    double frameRate = 0;
    /// The packets are encrypted.
    bool encrypted = false;

    [[nodiscard]] bool isEmpty() const { return first == AV_NOPTS_VALUE || end <= first; }
};

/// Measures the given streams of a file that was just opened and probed; the position and the streams' discard flags
/// are its own to change. Costs the head and the tail of the file where it has an index, one pass over its packets
/// where it hasn't. When the file's time limit passes, it fails in words: what was found by
/// then could be a part only.
Result<std::map<int, StreamSpan>> measure(SourceFile& file, const std::vector<int>& streams);

}  // namespace kelvane::FFmpegMeasure
