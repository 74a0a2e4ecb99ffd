#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include "FrameGrid.h"
#include "MainContext.h"
#include "PictureCalls.h"
#include "PictureFeed.h"
#include "PlaybackStatistics.h"

namespace kelvane {

/// What a player shows of its item: the moment that was sought, or while it plays the frames of its grid, asked for in
/// order a few ahead of the clock. Where decoding can't keep up, it asks for what will be due when the decode ends.
/// While nothing is painted nothing is drawn. The main thread. Positions are nanoseconds of the item.
class TimelinePictures final : public PictureFeed {
public:
    using Time = std::chrono::nanoseconds;
    using MakeStream = std::function<std::unique_ptr<PictureStream>(EditedMediaPtr, Size canvas)>;

    TimelinePictures(MainContext& context, MakeStream make);

    [[nodiscard]] VideoPicturePtr picture() const override { return picture_; }
    [[nodiscard]] bool isAwaited() const override { return wish_.has_value(); }
    /// Draws at the largest size that fits, at most the item's own.
    void setSurfaceSize(Size pixels) override;
    void setPictureObserver(std::function<void()> observer) override { observer_ = std::move(observer); }

    /// Stops, with the former item's picture until there is one of this; nullptr clears it.
    void setItem(EditedMediaPtr item);
    [[nodiscard]] const FrameGrid& grid() const { return grid_; }
    /// The picture of that very moment is wanted, before the item's end.
    void seek(MediaTime time);
    /// A moment that was sought and isn't shown yet isn't wanted any more.
    void cancelSeeks();
    /// Plays on from `position`; `advance` is called from now on.
    void play(Time position);
    /// Stands at `position`, and shows its frame.
    void rest(Time position);
    /// While it plays: shows what is due at `position` and asks for what comes. A clock that stands is held. Answers
    /// the frame that it showed. Calls no observer.
    std::optional<std::int64_t> advance(Time position, bool isHeld);
    /// When the next frame that is there is due.
    [[nodiscard]] std::optional<Time> nextDue() const;
    /// Calls the observer if the picture has changed; it may end this object.
    void announce();

    /// Called while it plays when a picture has come, for `advance`; may end this object.
    std::function<void()> onAnswer;
    PlaybackStatistics statistics;

private:
    /// A call under way.
    struct Call {
        MediaTime time;
        /// Of the grid, when it isn't a moment that was sought.
        std::optional<std::int64_t> frame;
        Size canvas;
        Time begun{0};
        bool isOvertaken = false;
        bool isWanted = true;
    };
    struct Shown {
        MediaTime time;
        bool isExact = false;
        Size canvas;
    };
    struct Ready {
        std::int64_t frame = 0;
        StreamPicture picture;
        Size canvas;
    };

    void draw();
    void ask();
    void begin(MediaTime time, std::optional<std::int64_t> frame);
    void answered(const Result<StreamPicture>& answer);
    void take(const Call& call, const StreamPicture& answer);
    [[nodiscard]] Time costOf(const Call& call) const;
    void failed(const Call& call);
    void show(const VideoPicturePtr& picture, const Shown& shown);
    void showFrame(const Ready& ready);
    /// Whether exactly `time` is shown, drawn for the present surface.
    [[nodiscard]] bool isShown(MediaTime time) const;
    /// Whether `time` is nearer to what is wanted now than what is shown.
    [[nodiscard]] bool isNearer(MediaTime time) const;
    [[nodiscard]] std::int64_t nextWorthwhile() const;
    void overtake();
    void overtakeWhenPatienceEnds();
    void overtakeLateFrame(std::int64_t due);
    void prepareNextCut();

    MainContext* context_;
    MakeStream make_;
    std::function<void()> observer_;
    VideoPicturePtr picture_;
    bool hasChanged_ = false;

    EditedMediaPtr item_;
    FrameGrid grid_;
    Size surface_;
    /// Pixels drawn on; none while nothing is painted.
    Size canvas_;
    std::unique_ptr<PictureCalls> calls_;

    std::optional<Call> call_;
    /// Of the present item.
    std::optional<Shown> shown_;
    /// The moment that is wanted and isn't there yet.
    std::optional<MediaTime> wish_;
    /// What is or will be shown while it stands still.
    std::optional<MediaTime> rest_;
    /// Ends the call under way for a newer wish.
    Timer patience_;
    /// Whether the last call that gave way to a newer wish came to something worth showing.
    bool cameFar_ = true;

    bool plays_ = false;
    bool isHeld_ = false;
    Time position_{0};
    std::deque<Ready> ready_;
    /// The next frame to ask for, and the last one that was shown or played past before.
    std::int64_t nextFrame_ = 0;
    std::int64_t lastFrame_ = -1;
    /// How long a frame takes.
    Time cost_{0};
    /// The cut that was prepared last, and whether one is being prepared.
    std::optional<MediaTime> preparedCut_;
    bool isPreparing_ = false;
};

}  // namespace kelvane
