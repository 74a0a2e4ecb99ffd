#pragma once

#include <vector>

#include "Platform/Player.h"

namespace kelvane::testing {

/// A player that shows nothing and keeps what it was told.
class FakePlayer final : public Player {
public:
    void replaceItem(EditedMediaPtr item) override {
        item_ = std::move(item);
        position_ = 0;
        ++replacements;
    }
    [[nodiscard]] EditedMediaPtr item() const override { return item_; }
    void pause() override { ++pauses; }
    void seek(double seconds) override {
        position_ = seconds;
        seeks.push_back(seconds);
    }
    [[nodiscard]] double position() const override { return position_; }

    int replacements = 0;
    int pauses = 0;
    std::vector<double> seeks;

private:
    EditedMediaPtr item_;
    double position_ = 0;
};

}  // namespace kelvane::testing
