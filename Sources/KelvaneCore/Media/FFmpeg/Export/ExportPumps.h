#pragma once

#include <memory>
#include <thread>
#include <vector>

#include "ExportPlan.h"
#include "ExportRun.h"
#include "Media/FFmpeg/Source/Handles.h"
#include "MovieEncoders.h"

namespace kelvane {

/// Consecutive numbers of pictures.
struct PictureStretch {
    std::int64_t first = 0;
    std::int64_t count = 0;
};

/// A thread that renders the pictures of a plan into a short queue. A failure is the run's. The thread ends with the
/// last picture or with the run; one of both must have come about before the pump goes.
class PicturePump {
public:
    PicturePump(const ExportPlan& plan, std::vector<PictureStretch> stretches, ExportRun& run);
    /// The next picture in order; none at the end and when the run ended.
    std::optional<SharedFrame> next() { return queue_.pop(run_.token()); }

private:
    void work(const ExportPlan& plan, const std::vector<PictureStretch>& stretches);

    ExportRun& run_;
    BoundedQueue<SharedFrame> queue_;
    std::jthread thread_;
};

/// A thread that renders, limits and encodes the sound of a plan into a short queue. Otherwise like PicturePump.
class SoundPump {
public:
    SoundPump(const ExportPlan& plan, std::unique_ptr<SoundEncoder> encoder, ExportRun& run);
    std::optional<PacketPtr> next() { return queue_.pop(run_.token()); }

private:
    Result<void> work(const ExportPlan& plan);

    ExportRun& run_;
    std::unique_ptr<SoundEncoder> encoder_;
    BoundedQueue<PacketPtr> queue_;
    std::jthread thread_;
};

}  // namespace kelvane
