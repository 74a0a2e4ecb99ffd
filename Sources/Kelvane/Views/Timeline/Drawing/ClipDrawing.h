#pragma once

#include <QString>
#include <chrono>
#include <optional>
#include <unordered_map>

#include "ClipRim.h"
#include "ClipSounds.h"
#include "ClipStills.h"
#include "TimelineDrawing.h"

namespace kelvane {

/// How one clip is drawn.
struct ClipLook {
    bool isSelected = false;
    /// Under the pointer, or worked on by it: grips and length are shown.
    bool isHovered = false;
    bool hasGrips = false;
    /// A hand is on the volume line, or near it.
    bool showsVolume = false;
    /// The keyboard acts on it.
    bool isFocused = false;
    /// The clip of a running take, whose sound this is; else null.
    const std::vector<float>* take = nullptr;
    /// Its pictures are still being loaded.
    bool isLoading = false;
    /// Where the length stands: at the clip's end while that is trimmed.
    bool hasLengthAtEnd = false;
    /// How far an assistant's mark has come up, 0 to 1.
    double highlight = 0;
    /// How far a new clip has come up, 0 to 1.
    double arrived = 1;
    /// How far the length has come up, 0 to 1.
    double length = 0;
};

/// Draws clips, with what they show at rest and under a hand. The main thread.
class ClipDrawing {
public:
    explicit ClipDrawing(std::function<void()> changed);

    /// Where the length of a clip stands of which `seen` is in sight: at its beginning or its end. Nothing where there
    /// is no room for it.
    static std::optional<QRectF> lengthPlace(const Clip& clip, const QRectF& seen, bool isAtEnd);

    /// Pictures that come fade in by the time `now`; without it they stand at once.
    void begin(const Editor* editor, const TimelineTiles* tiles, AudioWaveformCache* cache, double pointsPerSecond,
               double ratio, std::optional<std::chrono::nanoseconds> now);
    /// Draws the clip at `frame` of the viewport, whose edges lie on whole pixels, on its row.
    void paint(const TimelineDrawing& drawing, const Clip& clip, const QRectF& frame, const ClipLook& look);
    /// The same over other clips, with the shadow of what is lifted.
    void paintLifted(const TimelineDrawing& drawing, const Clip& clip, const QRectF& frame, const ClipLook& look);
    /// What a trim cuts off.
    void paintGhost(const TimelineDrawing& drawing, const Clip& clip, const QRectF& frame);
    /// Ends the drawing; the tiles that were in sight.
    std::vector<TileRequest> end();
    /// Whether a picture was still on its way up.
    [[nodiscard]] bool isFading() const { return stills_.isFading(); }

private:
    void paintBody(const TimelineDrawing& drawing, const Clip& clip, const QRectF& frame, const QRectF& seen,
                   const ClipLook& look);
    void paintTiles(const TimelineDrawing& drawing, const Clip& clip, const QRectF& frame, const QRectF& seen,
                    const ClipLook& look);
    void paintMissing(const TimelineDrawing& drawing, const Clip& clip, const QRectF& seen, const ClipLook& look);
    void paintName(QPainter& painter, const QString& name, const QRectF& place, const QColor& color);
    void paintOver(const TimelineDrawing& drawing, const Clip& clip, const QRectF& frame, const QRectF& seen,
                   const ClipLook& look);
    void paintLength(QPainter& painter, const Clip& clip, const QRectF& seen, const ClipLook& look) const;
    /// The body with its corners cut off, for what lies over others.
    QImage cutOut(const TimelineDrawing& drawing, const Clip& clip, const QRectF& frame, const QRectF& seen,
                  const ClipLook& look);

    ClipStills stills_;
    ClipSounds sounds_;
    ClipRim rim_;
    ClipRim selectedRim_;
    double pointsPerSecond_ = 1;
    double ratio_ = 1;
    /// Names cut to a width, points.
    std::map<std::pair<QString, int>, QString> names_;
};

}  // namespace kelvane
