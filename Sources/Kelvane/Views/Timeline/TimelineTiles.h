#pragma once

#include <QObject>
#include <QRectF>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <stop_token>
#include <unordered_map>
#include <vector>

#include "Editor/Editor.h"
#include "Media/StillImage.h"

namespace kelvane {

/// A tile that is in sight and has a picture of its own.
struct TileRequest {
    FileURL file;
    /// The frame's place in the file, as TimelineTiles::timeOf answers it.
    MediaTime time;
    /// From the viewport's middle to the tile's, points: the nearest come first.
    double distance = 0;
};

/// The pictures of the tiles along the video clips of one timeline: for each tile that is in sight the frame of its
/// file at the tile's own time. They are made by the engine's stills on the pool's long lane, one file at a time and
/// the times of a file in one pass, and kept within a fixed number of bytes. Draws nothing, and until a picture is
/// there the surface shows the clip's thumbnail. A file of which a picture can't be had is left alone until the
/// project's clips or assets change. The main thread.
class TimelineTiles final : public QObject {
    Q_OBJECT

public:
    /// Bytes of pixels that are kept. A window of 3,840 × 2,160 pixels at two pixels a point shows 28 tiles, which are
    /// 13 MB of landscape footage (456 × 256 pixels each) or 4 MB of upright one; at one pixel a point the same bytes
    /// hold seven rows of 1,280 points, so that scrolling to and fro finds what it left.
    static constexpr std::size_t defaultLimit = std::size_t{16} << 20;
    /// Most pictures of one pass: a row of tiles over 1,280 points has 19, so that it is one pass, and no longer than
    /// what is shown since needs to wait for.
    static constexpr std::size_t passLength = 24;

    explicit TimelineTiles(std::size_t limit = defaultLimit);
    ~TimelineTiles() override;

    /// The project whose clips are shown, or none. Another one's pictures are dropped.
    void setEditor(const std::shared_ptr<Editor>& editor);
    /// Pixels that a point has. Pictures for another ratio are dropped; above 2 none gains by more, and below 1 none
    /// is smaller.
    void setDevicePixelRatio(double ratio);

    /// What is in sight from now on, to be told whenever something is drawn; the order doesn't matter. What was asked
    /// for and isn't in sight any more is not made. Cheap where nothing has changed. Nothing while no window shows the
    /// project.
    void want(std::vector<TileRequest> tiles);
    /// The picture of a tile, upright and in the shape of its file; null while there is none.
    [[nodiscard]] StillImagePtr picture(const FileURL& file, MediaTime time) const;
    /// Whether the file was tried, and a picture of it can't be had.
    [[nodiscard]] bool hasFailed(const FileURL& file) const { return failed_.contains(file); }
    /// Of the pixels that are kept, at most the limit.
    [[nodiscard]] std::size_t bytes() const { return bytes_; }

    /// The time in its file that stands for the tile whose left edge lies `left` points behind the clip's beginning,
    /// in the clip as it is drawn at this scale. `left` is below the clip's width.
    ///
    /// Of the tile's own stretch, cut off at the clip's end, it is the roundest time within the middle three quarters:
    /// the multiple of the largest power of two in units of 1/600 s. Such times stay where they are in the file while
    /// tiles move along it and grow: a notch of zoom finds more than half of the pictures that were there, and a trim
    /// nearly all.
    static MediaTime timeOf(const Clip& clip, double left, double pointsPerSecond);
    /// The part of a picture that a whole tile shows, in the picture's own measures: the clip's framing as the export
    /// has it, filled into the tile, whose lower and upper ends cut off what is too high. A tile that is cut off at the
    /// clip's end shows as much of it from the left. Serves thumbnails as well.
    static QRectF shownPart(QSizeF picture, const Clip& clip);

Q_SIGNALS:
    /// `picture` or `hasFailed` answers otherwise than before.
    void changed();

private:
    struct Kept {
        StillImagePtr picture;
        /// The call of `want` that named it last.
        std::uint64_t wanted = 0;
    };
    /// The pictures of one file that are made in one go.
    struct Pass {
        FileURL file;
        std::vector<MediaTime> times;
        /// Of `times`, in units of 1/600 s, those that have no picture yet. The main thread's alone.
        std::set<std::int64_t> missing;
        std::stop_source stop;
        /// Belongs to another project or another ratio by now: its pictures are dropped.
        bool isForeign = false;
    };
    using PassPtr = std::shared_ptr<Pass>;

    [[nodiscard]] bool isInSight(const FileURL& file, std::int64_t time) const;
    /// Null when there is none.
    [[nodiscard]] const Kept* kept(const FileURL& file, MediaTime time) const;
    /// Forgets all pictures, failures and wishes.
    void clear();
    void followShown();
    void followContent();
    /// Whether nothing is to be made at all.
    [[nodiscard]] bool isIdle() const;
    /// Stops the pass under way where nothing of it is in sight.
    void stopUnwanted();
    void startPass();
    /// The next pass: the file that is nearest to the middle, and its nearest tiles. Null when nothing is missing.
    [[nodiscard]] PassPtr nextPass() const;
    void take(const PassPtr& pass, MediaTime time, const StillImagePtr& picture);
    void finish(const PassPtr& pass, const Result<void>& outcome);
    /// Makes room, by what is not in sight, the longest unwanted first. False where that is not enough.
    bool makeRoom(std::size_t bytes);
    /// Drops the picture that is unwanted longest; false when all are in sight.
    bool dropOldest();

    std::size_t limit_;
    std::size_t bytes_ = 0;
    std::weak_ptr<Editor> editor_;
    std::array<QMetaObject::Connection, 2> connections_;
    /// What files that failed were judged by.
    ClipArray clips_;
    ClipArray assets_;
    double ratio_ = 1;
    std::vector<TileRequest> tiles_;
    /// Counts the calls of `want` that named other tiles than the one before.
    std::uint64_t wanted_ = 0;
    /// By file, and by time in units of 1/600 s.
    std::unordered_map<FileURL, std::map<std::int64_t, Kept>> kept_;
    std::set<FileURL> failed_;
    /// What is in sight doesn't fit: nothing more is asked for until something else is.
    bool isFull_ = false;
    /// Under way or on its way to its end.
    PassPtr pass_;
    /// Weak pointers to it tell a pass whether somebody is left to take its pictures.
    std::shared_ptr<TimelineTiles> self_{this, [](TimelineTiles*) {}};
};

}  // namespace kelvane
