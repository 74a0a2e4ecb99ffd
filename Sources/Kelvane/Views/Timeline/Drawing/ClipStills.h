#pragma once

#include <QImage>
#include <list>
#include <map>
#include <memory>
#include <tuple>
#include <vector>

#include "Editor/Editor.h"
#include "Views/Timeline/TimelineTiles.h"

namespace kelvane {

/// The tiles of video clips as they are drawn: the picture of a tile's own time, else the clip's thumbnail, cut and
/// scaled to the device's pixels. Those that were drawn last are kept. The main thread.
class ClipStills {
public:
    /// Bytes of pixels that are kept: the tiles of a window of 3,840 × 2,160 pixels.
    static constexpr std::size_t limit = std::size_t{16} << 20;

    /// Begins a drawing for `editor` at that many pixels to a point.
    void begin(const Editor* editor, const TimelineTiles* tiles, double ratio);
    /// The picture of the tile that begins `left` points behind the clip's beginning, as it would be with its whole
    /// width; a null one where there is none. `middle` is how far it is from the viewport's middle.
    QImage tile(const Clip& clip, double left, double pointsPerSecond, double middle);
    /// Ends the drawing; the tiles that were in sight.
    std::vector<TileRequest> end() { return std::move(wanted_); }
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
    QImage drawn(const StillImagePtr& source, const Clip& clip);

    const Editor* editor_ = nullptr;
    const TimelineTiles* tiles_ = nullptr;
    double ratio_ = 1;
    std::vector<TileRequest> wanted_;
    /// Drawn last first.
    std::list<Kept> kept_;
    std::map<Key, std::list<Kept>::iterator> places_;
    std::size_t bytes_ = 0;
};

}  // namespace kelvane
