#pragma once

#include <memory>
#include <vector>

#include "MediaTime.h"
#include "Support/Error.h"
#include "Support/FileURL.h"
#include "Support/Geometry.h"

namespace kelvane {

enum class MediaType { video, audio };

/// One track of an opened source file: a description that decoders are later opened from. Immutable, any thread. Times
/// are seconds from the asset's beginning.
class MediaTrack {
public:
    virtual ~MediaTrack() = default;

    [[nodiscard]] virtual MediaType type() const = 0;
    /// The source file, as it was given to `openAsset`.
    [[nodiscard]] virtual const FileURL& url() const = 0;

    /// Displayed size before the orientation is applied, pixels: stored height, and stored width times the pixel
    /// aspect.
    virtual Result<Size> loadNaturalSize() const = 0;
    /// Display orientation: a map of the natural-size rectangle (quarter turns, mirrors, scale, y growing downward).
    virtual Result<AffineTransform> loadOrientation() const = 0;
    /// Frames a second; 0 when unknown.
    virtual Result<float> loadNominalFrameRate() const = 0;
    /// The stretch of the asset that the track covers.
    virtual Result<MediaTimeRange> loadTimeRange() const = 0;
};
using MediaTrackPtr = std::shared_ptr<const MediaTrack>;

/// An opened source file. Immutable, any thread.
class MediaAsset {
public:
    virtual ~MediaAsset() = default;
    /// Decodable tracks of one type in file order; attached pictures don't count. May be empty.
    virtual Result<std::vector<MediaTrackPtr>> loadTracks(MediaType type) const = 0;
    /// The asset's length, seconds.
    virtual Result<double> loadDuration() const = 0;
    /// Whether the file holds a cover or another attached picture, such as a music file's; `loadTracks` leaves it out.
    [[nodiscard]] virtual bool hasCoverPicture() const { return false; }
};
using MediaAssetPtr = std::shared_ptr<const MediaAsset>;

}  // namespace kelvane
