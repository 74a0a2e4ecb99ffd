#pragma once

#include <QCoroTask>
#include <functional>
#include <memory>

#include "Support/Error.h"
#include "Support/FileURL.h"

namespace kelvane {

/// Records the user's default microphone into one file, AAC in M4A, 48 kHz mono, as it goes. The main thread; what
/// waits for the device or the disk does so elsewhere.
class SoundRecorder {
public:
    virtual ~SoundRecorder() = default;
    [[nodiscard]] virtual const FileURL& url() const = 0;
    /// Creates the file and connects to the device. False when either can't be had.
    virtual QCoro::Task<bool> prepareToRecord() = 0;
    /// Begins the take. False when the device gives nothing.
    virtual QCoro::Task<bool> record() = 0;
    /// Ends the take: the rest is written, then `onFinish` is called. Harmless when it has ended.
    virtual void stop() = 0;
    /// Length of the take so far, seconds.
    [[nodiscard]] virtual double currentTime() const = 0;
    /// Takes over what was heard since the last call.
    virtual void updateMeters() = 0;
    /// The loudest sample of the stretch between the last two calls of `updateMeters`, dB of full scale, -160 for
    /// silence. `channel` is 0.
    [[nodiscard]] virtual float peakPower(int channel) const = 0;
    /// Called once when the take has ended, by `stop` or by itself, with whether its file is whole.
    std::function<void(bool successfully)> onFinish;
    /// Called instead when encoding or writing failed.
    std::function<void(const Error&)> onEncodeError;
};

/// The way to microphones. The main thread.
class SoundRecording {
public:
    virtual ~SoundRecording() = default;
    /// Whether sound may be recorded here: whether a sound server answers.
    virtual QCoro::Task<bool> requestAccess() = 0;
    /// A recorder for a file that doesn't exist yet. Touches neither device nor disk.
    virtual std::unique_ptr<SoundRecorder> makeRecorder(const FileURL& file) = 0;
};

}  // namespace kelvane
