#pragma once

#include <vector>

#include "Platform/Player.h"

namespace kelvane::testing {

/// Shows what a test says, once it is known on how many pixels.
class FakePictureFeed final : public PictureFeed {
public:
    [[nodiscard]] VideoPicturePtr picture() const override { return surface == Size() ? nullptr : shown_; }
    void setSurfaceSize(Size pixels) override { surface = pixels; }
    void setPictureObserver(std::function<void()> observer) override { observer_ = std::move(observer); }
    [[nodiscard]] bool isAwaited() const override { return awaited; }
    void show(VideoPicturePtr picture) {
        shown_ = std::move(picture);
        if (observer_) observer_();
    }

    Size surface;
    bool awaited = false;

private:
    VideoPicturePtr shown_;
    std::function<void()> observer_;
};

/// A player that plays nothing and keeps what it was told.
class FakePlayer final : public Player {
public:
    void replaceItem(EditedMediaPtr item) override {
        item_ = std::move(item);
        position_ = 0;
        ++replacements;
    }
    [[nodiscard]] EditedMediaPtr item() const override { return item_; }
    void play() override {
        ++plays;
        rate_ = item_ ? 1 : 0;
    }
    void pause() override {
        ++pauses;
        rate_ = 0;
    }
    [[nodiscard]] double rate() const override { return rate_; }
    void seek(double seconds) override {
        position_ = seconds;
        seeks.push_back(seconds);
    }
    void cancelPendingSeeks() override { ++cancelledSeeks; }
    [[nodiscard]] double position() const override { return position_; }
    [[nodiscard]] bool isMuted() const override { return muted_; }
    void setMuted(bool muted) override { muted_ = muted; }
    void setTimeObserver(std::chrono::nanoseconds interval, std::function<void(double)> observer) override {
        observedInterval = interval;
        timeObserver = std::move(observer);
    }
    void setEndObserver(std::function<void(const EditedMediaPtr&)> observer) override {
        endObserver = std::move(observer);
    }
    [[nodiscard]] PictureFeed* pictures() override { return &feed; }

    /// Plays on to `seconds`, and tells so.
    void playTo(double seconds) {
        position_ = seconds;
        if (timeObserver) timeObserver(seconds);
    }
    /// Plays to the end of the item.
    void playToEnd() {
        rate_ = 0;
        if (endObserver) endObserver(item_);
    }

    FakePictureFeed feed;
    int replacements = 0;
    int plays = 0;
    int pauses = 0;
    int cancelledSeeks = 0;
    std::chrono::nanoseconds observedInterval{0};
    std::function<void(double)> timeObserver;
    std::function<void(const EditedMediaPtr&)> endObserver;
    std::vector<double> seeks;

private:
    EditedMediaPtr item_;
    double position_ = 0;
    double rate_ = 0;
    bool muted_ = false;
};

}  // namespace kelvane::testing
