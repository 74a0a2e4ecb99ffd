#pragma once

#include <memory>

#include "Media/MediaPlatform.h"
#include "PulseConnection.h"
#include "SoundRecorder.h"

namespace kelvane {

/// Microphones by the user's sound server: its default source, which it follows itself when that changes. A take whose
/// source goes ends with what was captured until then, which is kept if it is long enough for a clip.
class PulseSoundRecording final : public SoundRecording {
public:
    /// `media` writes the takes.
    PulseSoundRecording(std::shared_ptr<PulseConnection> connection, MediaPlatform& media);

    /// Waits for a server for two seconds.
    QCoro::Task<bool> requestAccess() override;
    std::unique_ptr<SoundRecorder> makeRecorder(const FileURL& file) override;

private:
    std::shared_ptr<PulseConnection> connection_;
    MediaPlatform& media_;
};

}  // namespace kelvane
