#pragma once

#include <cstdint>
#include <span>
#include <stop_token>

#include "MediaTime.h"
#include "Support/Error.h"
#include "Support/Geometry.h"
#include "VideoPicture.h"

namespace kelvane {

/// Rate of all sound that the program makes and records, samples a second; 80 samples to a unit of the composition's
/// timescale.
inline constexpr int soundSampleRate = 48000;

/// What a picture stream answers.
struct StreamPicture {
    /// The same pointer as long as the picture stays the same. None when the call was overtaken before it came to one.
    VideoPicturePtr picture;
    /// A moment at which this picture shows: the one asked for, or, of a call that was overtaken, one before it.
    MediaTime time;
    /// Whether it is the picture of the moment that was asked for.
    bool isExact = false;
};

/// The pictures of one EditedMedia for a screen, drawn by the renderer of exports. Calls of `picture` come one at a
/// time; everything else may be called beside one, from any thread. Readers of sources outlive the stream, for the next
/// one of the same sources.
class PictureStream {
public:
    virtual ~PictureStream() = default;
    /// Pixels to draw on from now on; the canvas is scaled to fit.
    virtual void setCanvas(Size pixels) = 0;
    /// The picture at `time`. Blocks: times in order cost one pass, others a seek, and pictures near the last ones are
    /// kept. A call whose `number` is lower than the last one given to `overtake` ends before its next packet, with the
    /// nearest picture before `time` that it came to. Fails as cancelled on a stop, with MediaError::invalidClip and
    /// its base name for a source that can't be read any more, and in words for one that has no picture.
    virtual Result<StreamPicture> picture(MediaTime time, std::uint64_t number, std::stop_token stop) = 0;
    /// Calls with a lower number aren't wanted any more.
    virtual void overtake(std::uint64_t number) = 0;
    /// Opens what shows at the first cut behind `from` and at most `ahead` later, and decodes up to its first picture,
    /// so that `picture` finds it there. Blocks; one call at a time. Failures come to light in `picture`.
    virtual void prepareCut(MediaTime from, MediaTime ahead, std::stop_token stop) = 0;
};

/// The sound of one EditedMedia as exports hold it: mixed and limited. One thread at a time.
class SoundStream {
public:
    virtual ~SoundStream() = default;
    /// Fills `out` with interleaved stereo in -1…1 at `soundSampleRate`, from sample `first` of the timeline on;
    /// behind the end, silence. `out.size()` is twice the number of samples. Ranges in order cost one pass. Blocks. A
    /// source whose sound can't be decoded is silent, and one that was replaced or has gone is until it is there again:
    /// what else sounds goes on, and the picture tells of it. Fails as cancelled, and in words when the disk does.
    virtual Result<void> read(std::int64_t first, std::span<float> out, std::stop_token stop) = 0;
};

/// Writes one take of a voice as AAC in M4A, 48 kHz mono, as it comes: whatever ends the program, all but the last
/// second is in the file and opens. One thread at a time; blocks.
class TakeWriter {
public:
    virtual ~TakeWriter() = default;
    /// Samples at `soundSampleRate`, full scale 1. Fails in words when the disk does.
    virtual Result<void> write(std::span<const float> samples) = 0;
    /// Writes what is left and syncs. Nothing is written afterwards.
    virtual Result<void> finish() = 0;
};

}  // namespace kelvane
