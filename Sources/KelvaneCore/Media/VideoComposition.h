#pragma once

#include <vector>

#include "Composition.h"

namespace kelvane {

/// How a track's picture lies on the canvas from `from` on: the map from natural-size pixels to canvas pixels.
struct VideoLayerInstruction {
    CompositionTrackID track = 0;
    MediaTime from;
    AffineTransform transform;
    bool operator==(const VideoLayerInstruction&) const = default;
};

/// What shows during a stretch of time; without layers, black.
struct VideoInstruction {
    MediaTimeRange timeRange;
    std::vector<VideoLayerInstruction> layers;
    bool operator==(const VideoInstruction&) const = default;
};

/// Colour of the output. Rec. 709 is the only one that the program makes (ITU-R BT.709-6).
enum class ColorTag { unspecified, rec709 };

/// The render settings of a timeline. A plain value.
struct VideoComposition {
    /// Canvas, pixels.
    Size renderSize;
    MediaTime frameDuration;
    /// In order of time, without holes.
    std::vector<VideoInstruction> instructions;
    ColorTag colorPrimaries = ColorTag::unspecified;
    ColorTag colorTransferFunction = ColorTag::unspecified;
    ColorTag colorYCbCrMatrix = ColorTag::unspecified;

    /// The instruction in force at `time`, or nullptr. Logarithmic.
    [[nodiscard]] const VideoInstruction* instructionAt(MediaTime time) const;
    bool operator==(const VideoComposition&) const = default;
};

}  // namespace kelvane
