#pragma once

#include <memory>
#include <stop_token>

#include "Handles.h"
#include "Media/EditedMedia.h"

namespace kelvane {

struct PictureRendererOptions {
    /// Decoder threads for each source; 0 lets the decoder use all cores.
    int decoderThreads = 0;
    /// Sources kept open at once; the one used longest ago closes first.
    int openSources = 2;
    /// Skip frames that nothing refers to: for stills, where few of the frames are asked for.
    bool skipUnneeded = false;
};

/// The pictures of a timeline: the one renderer behind export, stills and player. One thread at a time.
class PictureRenderer {
public:
    PictureRenderer(EditedMediaPtr media, PictureRendererOptions options = {});
    ~PictureRenderer();

    /// The picture at `time`: 8-bit 4:2:0 limited-range Rec. 709 at the render size. Times in order cost one pass over
    /// each source. The same pointer comes back while nothing changed. A source that can't be opened any more, or
    /// changes while it is read, fails with MediaError::invalidClip and its base name.
    Result<SharedFrame> picture(MediaTime time, std::stop_token stop);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace kelvane
