#pragma once

#include <memory>

#include "PulseConnection.h"
#include "SoundOutput.h"

namespace kelvane {

/// The default sink of the user's sound server, which the server itself follows when it changes or goes. A run that
/// loses its server or its last sink goes on where it was once there is one again.
class PulseSoundOutput final : public SoundOutput {
public:
    explicit PulseSoundOutput(std::shared_ptr<PulseConnection> connection);
    ~PulseSoundOutput() override;

    void start(std::shared_ptr<SoundQueue> queue) override;
    void stop() override;
    [[nodiscard]] std::optional<SoundMoment> moment() const override;
    [[nodiscard]] bool isAvailable() const override;
    void setAvailabilityObserver(std::function<void()> observer) override;

private:
    class Playback;
    /// What the main thread knows.
    struct Face {
        bool isAvailable = false;
        std::function<void()> observer;
    };

    std::shared_ptr<PulseConnection> connection_;
    std::shared_ptr<Face> face_ = std::make_shared<Face>();
    std::shared_ptr<Playback> playback_;
    mutable std::int64_t lastSample_ = 0;
};

}  // namespace kelvane
