#pragma once

#include <QImage>
#include <chrono>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "Editor/Editor.h"
#include "Views/Theme.h"
#include "Views/Timeline/TimelineTiles.h"

namespace kelvane {

/// The tiles of video clips as they are drawn: the picture of a tile's own time, else the clip's thumbnail, cut and
/// scaled to the device's pixels. Those that were drawn last are kept. The main thread.
class ClipStills {
public:
    /// Bytes of pixels that are kept: the tiles of a window of 3,840 × 2,160 pixels.
    static constexpr std::size_t limit = std::size_t{16} << 20;

    /// What is drawn of a tile.
    struct Tile {
        /// As it would be with the tile's whole width; a null one where there is none.
        QImage image;
        /// What it comes up over, and how far it has, 0 to 1. With 1 there is none below.
        QImage former;
        double shown = 1;
    };
    /// How long a picture takes to come up over what stood in its place.
    static constexpr std::chrono::milliseconds fade{Theme::thumbnailFade};

    /// Begins a drawing for `editor` at that many pixels to a point. What comes fades in by the time `now`, which
    /// goes on; without it what comes stands at once.
    void begin(const Editor* editor, const TimelineTiles* tiles, double ratio,
               std::optional<std::chrono::nanoseconds> now = {});
    /// The tile that begins `left` points behind the clip's beginning. `middle` is how far it is from the viewport's
    /// middle.
    Tile tile(const Clip& clip, double left, double pointsPerSecond, double middle);
    /// Whether no picture of the file can be had.
    [[nodiscard]] bool hasFailed(const FileURL& file) const { return tiles_ == nullptr || tiles_->hasFailed(file); }
    /// Ends the drawing; the tiles that were in sight.
    std::vector<TileRequest> end();
    /// Whether a picture was on its way up in the last drawing.
    [[nodiscard]] bool isFading() const { return isFading_; }
    [[nodiscard]] std::size_t bytes() const { return bytes_; }

private:
    /// A picture, and how the clip frames it.
    using Key = std::tuple<const StillImage*, double, double, double>;
    struct Kept {
        Key key;
        /// Says whether the key's address is still the picture that it was, and keeps no pixels.
        std::weak_ptr<const StillImage> source;
        QImage image;
    };
    /// What stood at a tile's place in a drawing.
    struct Standing {
        /// Null for a placeholder.
        StillImagePtr source;
        bool isOwn = false;
        /// Below it while it comes up, and since when that goes on.
        StillImagePtr former;
        std::chrono::nanoseconds since{0};
        bool fades = false;
    };
    struct Place {
        UUID clip;
        int index = 0;
        bool operator==(const Place&) const = default;
    };
    struct PlaceHash {
        std::size_t operator()(const Place& place) const {
            return std::hash<UUID>()(place.clip) ^ static_cast<std::size_t>(place.index) * 0x9e3779b97f4a7c15U;
        }
    };
    using Standings = std::unordered_map<Place, Standing, PlaceHash>;
    /// The same tile as in the drawing before, with what has come since.
    Standing stand(const Place& place, const StillImagePtr& source, bool isOwn);
    QImage drawn(const StillImagePtr& source, const Clip& clip);

    const Editor* editor_ = nullptr;
    const TimelineTiles* tiles_ = nullptr;
    double ratio_ = 1;
    std::optional<std::chrono::nanoseconds> now_;
    bool isFading_ = false;
    Standings before_;
    Standings present_;
    std::vector<TileRequest> wanted_;
    /// Drawn last first.
    std::list<Kept> kept_;
    std::map<Key, std::list<Kept>::iterator> places_;
    std::size_t bytes_ = 0;
};

}  // namespace kelvane
