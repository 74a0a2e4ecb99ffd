#pragma once

#include <deque>
#include <memory>

#include "Handles.h"

namespace kelvane {

/// Makes whole pictures of interlaced ones, one for each frame, with the frame's time stamp. Progressive frames pass
/// unchanged. One thread at a time.
class Deinterlacer {
public:
    Deinterlacer();
    ~Deinterlacer();

    /// Takes the next decoded frame (its `pts` in `timeBase`), or nullptr at the end, and appends what is ready. One
    /// frame stays behind while interlaced ones come, because the following field is looked at too.
    void feed(FramePtr frame, AVRational timeBase, std::deque<FramePtr>& ready);
    /// Forgets the frames taken so far.
    void reset();
    /// Whether interlaced frames have come since the last reset.
    [[nodiscard]] bool isActive() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace kelvane
