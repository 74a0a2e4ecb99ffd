#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "SoundQueue.h"

namespace kelvane {

/// A sample of a run of sound, and when it is heard.
struct SoundMoment {
    /// Counted from the run's first sample, which is 0.
    std::int64_t sample = 0;
    /// On the clock of MainContext::now.
    std::chrono::nanoseconds at{0};
};

/// The way to the ears: stereo, 48 kHz, to the user's default device, which it follows when that changes. Nothing here
/// waits for the device. The main thread.
class SoundOutput {
public:
    virtual ~SoundOutput() = default;
    /// Begins a run: what `queue` holds and will hold is heard from now on. An earlier run ends.
    virtual void start(std::shared_ptr<SoundQueue> queue) = 0;
    /// Silence, at once; what is on its way to the device is dropped. Harmless when nothing plays.
    virtual void stop() = 0;
    /// What of the present run is heard, and when; none before its first sample is heard, and while there is no device.
    [[nodiscard]] virtual std::optional<SoundMoment> moment() const = 0;
    /// Whether a run is or will be heard. False without a sound server or a device, and after one has gone.
    [[nodiscard]] virtual bool isAvailable() const = 0;
    /// Called after `isAvailable` changed; an empty one takes it away.
    virtual void setAvailabilityObserver(std::function<void()> observer) = 0;
};

}  // namespace kelvane
