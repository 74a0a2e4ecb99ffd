#pragma once

#include <cstdint>

#include "Media/EditedMedia.h"
#include "Media/MediaPlatform.h"

namespace kelvane {

/// What one run renders and encodes, worked out from a session's settings before anything is opened. A plain value.
struct ExportPlan {
    /// The composition with the settings of the run.
    EditedMediaPtr media;
    bool hasPicture = false;
    /// Pixels.
    int width = 0;
    int height = 0;
    MediaTime frameDuration;
    /// Time of the first picture in the composition; picture n is at `start` + n frame durations.
    MediaTime start;
    std::int64_t pictureCount = 0;
    bool hasSound = false;
    /// Samples at 48 kHz: the first one in the composition, and how many.
    std::int64_t soundFirst = 0;
    std::int64_t soundLength = 0;

    [[nodiscard]] MediaTime pictureTime(std::int64_t number) const {
        return start + MediaTime{frameDuration.value * number, frameDuration.timescale};
    }
    /// Fails with MediaError::exportUnavailable for a session that has neither pictures nor sound, or no length, or a
    /// size that H.264 can't hold.
    static Result<ExportPlan> make(const EditedMedia& media, const ExportSession& session);
};

}  // namespace kelvane
