#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <stop_token>

#include "Media/EditedMedia.h"
#include "Media/FFmpeg/Source/Handles.h"
#include "Media/MediaStreams.h"

namespace kelvane {

class SoundReaderPool;

/// The sound of a timeline: clip sound and overlays resampled, multiplied by their gains and added in float. One thread
/// at a time.
class SoundRenderer {
public:
    /// With `readers`, as players have them, readers come from there and go back, and a source that was replaced or has
    /// gone is silent; whether it is there again is asked time and again. Without, each is opened, and such a source
    /// fails.
    explicit SoundRenderer(EditedMediaPtr media, std::shared_ptr<SoundReaderPool> readers = nullptr);
    ~SoundRenderer();

    /// Fills `out` with interleaved stereo, samples in -1…1 and beyond where the mix is loud, from sample `first` of
    /// the timeline on. `out.size()` is twice the number of samples. Ranges asked in order cost one pass. A source
    /// whose sound can't be decoded is silent; one that was replaced or has gone fails with MediaError::invalidClip,
    /// but for players.
    Result<void> render(std::int64_t first, std::span<float> out, std::stop_token stop);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace kelvane
