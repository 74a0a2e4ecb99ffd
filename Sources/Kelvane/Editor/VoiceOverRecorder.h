#pragma once

#include <QCoroTask>
#include <functional>
#include <memory>
#include <optional>

#include "Platform/SoundRecorder.h"

namespace kelvane {

/// One take of a voice-over: a recorder, and who is told when it ends. The main thread.
class VoiceOverRecorder {
public:
    /// `recorder` must be there.
    explicit VoiceOverRecorder(std::unique_ptr<SoundRecorder> recorder);

    /// Begins the take. Fails with "The microphone could not start recording. Check your audio input in System
    /// Settings."
    QCoro::Task<Result<void>> start();
    [[nodiscard]] SoundRecorder& recorder() { return *recorder_; }
    [[nodiscard]] const SoundRecorder& recorder() const { return *recorder_; }

    /// Told when the recorder ends, with the take's file: without an error after a whole take, else "Voice-over
    /// recording failed. Please try again." or "The voice-over audio could not be recorded."
    std::function<void(const FileURL&, std::optional<Error>)> onFinish;

private:
    void finish(std::optional<Error> error);

    std::unique_ptr<SoundRecorder> recorder_;
};

}  // namespace kelvane
