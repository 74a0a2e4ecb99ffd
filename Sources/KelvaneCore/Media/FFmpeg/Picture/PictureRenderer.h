#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>

#include "Media/EditedMedia.h"
#include "PicturePainter.h"

namespace kelvane {

struct PictureRendererOptions {
    /// Decoder threads for each source; 0 lets the decoder use all cores.
    int decoderThreads = 0;
    /// As VideoFrameReaderOptions::bytesAhead; none for what that has by default.
    std::optional<std::int64_t> bytesAhead;
    /// Sources kept open at once; the one used longest ago closes first.
    int openSources = 2;
    /// Don't decode what nothing refers to unless it is asked for: on the way from a key frame, and between the
    /// pictures of a slower frame rate.
    bool skipUnneeded = false;
    /// Pixels to draw on instead of the render size; the pictures are scaled to fit.
    std::optional<Size> canvas;
};

/// The pictures of a timeline with decoders of its own, for export and stills; a player's stream paints what shared
/// decoders give. One thread at a time.
class PictureRenderer {
public:
    PictureRenderer(EditedMediaPtr media, PictureRendererOptions options = {});
    ~PictureRenderer();

    /// Where the picture at `time` comes from, by `picturedTime`; nothing where it is black.
    static std::optional<PictureOrigin> originOf(const EditedMedia& media, MediaTime time);

    /// The picture at `time`: 8-bit 4:2:0 limited-range Rec. 709 at the render size. Times in order cost one pass over
    /// each source. The same pointer comes back while nothing changed. A source that can't be opened any more, or
    /// changes while it is read, fails with MediaError::invalidClip and its base name; one of which no picture decodes
    /// fails in words with its name.
    Result<SharedFrame> picture(MediaTime time, std::stop_token stop);
    /// As VideoFrameReader::decodingStart, of the source shown at `time`; fails as `picture` does.
    Result<std::optional<std::int64_t>> decodingStart(MediaTime time, std::stop_token stop);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace kelvane
