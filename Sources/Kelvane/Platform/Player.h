#pragma once

#include <chrono>
#include <functional>

#include "Media/EditedMedia.h"
#include "PictureFeed.h"

namespace kelvane {

/// Plays one EditedMedia, picture and sound. Times are seconds of the item. The main thread.
class Player {
public:
    virtual ~Player() = default;
    /// Stops, and shows the new item's beginning as soon as it is sought or played; nullptr clears it. Muting and
    /// observers stay.
    virtual void replaceItem(EditedMediaPtr item) = 0;
    [[nodiscard]] virtual EditedMediaPtr item() const = 0;
    /// Goes on from the position, up to the item's end. Without an item nothing plays, which the time observer is told.
    virtual void play() = 0;
    virtual void pause() = 0;
    /// 1 while it plays, 0 while it doesn't.
    [[nodiscard]] virtual double rate() const = 0;
    /// Goes there at once by number; the picture of that very moment follows. One that isn't there yet gives way to the
    /// next, but while seeks come fast the nearest pictures that can be had in time are shown on the way. Whether it
    /// plays stays.
    virtual void seek(double seconds) = 0;
    /// Pictures that were sought and aren't there yet aren't wanted any more.
    virtual void cancelPendingSeeks() = 0;
    [[nodiscard]] virtual double position() const = 0;
    [[nodiscard]] virtual bool isMuted() const = 0;
    virtual void setMuted(bool muted) = 0;
    /// Called with the position each time that so much of the item has been played, and once when the rate or, by a
    /// seek or the end, the position changed. One at a time; an empty one takes it away.
    virtual void setTimeObserver(std::chrono::nanoseconds interval, std::function<void(double seconds)> observer) = 0;
    /// Called when an item was played to its end; the rate is 0 by then.
    virtual void setEndObserver(std::function<void(const EditedMediaPtr& item)> observer) = 0;
    /// What it shows; nullptr for a player without pictures.
    [[nodiscard]] virtual PictureFeed* pictures() { return nullptr; }
};

/// A player that stands still: it holds the item and the position at which the picture is drawn.
class StillPlayer final : public Player {
public:
    void replaceItem(EditedMediaPtr item) override {
        item_ = std::move(item);
        position_ = 0;
    }
    [[nodiscard]] EditedMediaPtr item() const override { return item_; }
    void play() override {}
    void pause() override {}
    [[nodiscard]] double rate() const override { return 0; }
    void seek(double seconds) override { position_ = seconds; }
    void cancelPendingSeeks() override {}
    [[nodiscard]] double position() const override { return position_; }
    [[nodiscard]] bool isMuted() const override { return muted_; }
    void setMuted(bool muted) override { muted_ = muted; }
    void setTimeObserver(std::chrono::nanoseconds, std::function<void(double)>) override {}
    void setEndObserver(std::function<void(const EditedMediaPtr&)>) override {}

private:
    EditedMediaPtr item_;
    double position_ = 0;
    bool muted_ = false;
};

}  // namespace kelvane
