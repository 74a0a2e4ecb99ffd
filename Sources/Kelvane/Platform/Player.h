#pragma once

#include "Media/EditedMedia.h"

namespace kelvane {

/// Shows one EditedMedia at a position. The main thread.
class Player {
public:
    virtual ~Player() = default;
    /// nullptr clears it.
    virtual void replaceItem(EditedMediaPtr item) = 0;
    [[nodiscard]] virtual EditedMediaPtr item() const = 0;
    virtual void pause() = 0;
    /// Seconds of the item; exact.
    virtual void seek(double seconds) = 0;
    [[nodiscard]] virtual double position() const = 0;
};

/// A player that stands still: it holds the item and the position at which the picture is drawn.
class StillPlayer final : public Player {
public:
    void replaceItem(EditedMediaPtr item) override {
        item_ = std::move(item);
        position_ = 0;
    }
    [[nodiscard]] EditedMediaPtr item() const override { return item_; }
    void pause() override {}
    void seek(double seconds) override { position_ = seconds; }
    [[nodiscard]] double position() const override { return position_; }

private:
    EditedMediaPtr item_;
    double position_ = 0;
};

}  // namespace kelvane
