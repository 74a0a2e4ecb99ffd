#pragma once

#include <memory>
#include <optional>

#include "Platform/Reply.h"
#include "Platform/SoundRecorder.h"
#include "Support/AtomicFile.h"

namespace kelvane::testing {

class FakeRecording;

/// A recorder whose take a test makes as long and as loud as it likes. Its file holds nothing.
class FakeRecorder final : public SoundRecorder {
public:
    FakeRecorder(FakeRecording& recording, FileURL url) : recording_(recording), url_(std::move(url)) {}
    ~FakeRecorder() override;

    [[nodiscard]] const FileURL& url() const override { return url_; }
    QCoro::Task<bool> prepareToRecord() override;
    QCoro::Task<bool> record() override;
    void stop() override;
    [[nodiscard]] double currentTime() const override { return time; }
    void updateMeters() override { ++meterUpdates; }
    [[nodiscard]] float peakPower(int) const override { return power; }

    double time = 0;
    /// dB of full scale.
    float power = -160;
    int meterUpdates = 0;
    int stops = 0;

private:
    FakeRecording& recording_;
    FileURL url_;
};

/// Microphones as a test says.
class FakeRecording final : public SoundRecording {
public:
    QCoro::Task<bool> requestAccess() override {
        ++requests;
        if (lateAccess) co_return co_await *lateAccess;
        co_return allowed;
    }
    std::unique_ptr<SoundRecorder> makeRecorder(const FileURL& file) override {
        auto made = std::make_unique<FakeRecorder>(*this, file);
        recorder = made.get();
        return made;
    }

    bool allowed = true;
    bool prepares = true;
    bool records = true;
    /// Whether `stop` ends the take at once; otherwise the test calls `onFinish`.
    bool endsAtOnce = true;
    // Answers that a test gives itself; without them they come at once.
    std::optional<kelvane::Reply<bool>> lateAccess;
    std::optional<kelvane::Reply<bool>> latePreparation;
    std::optional<kelvane::Reply<bool>> lateStart;
    int requests = 0;
    /// The one made last; null once it is gone.
    FakeRecorder* recorder = nullptr;
};

inline FakeRecorder::~FakeRecorder() {
    if (recording_.recorder == this) recording_.recorder = nullptr;
}

inline QCoro::Task<bool> FakeRecorder::prepareToRecord() {
    if (recording_.prepares)
        check(writeFileAtomically(url_.path(), "a take").has_value(), "a take's file can be written");
    if (recording_.latePreparation) co_return co_await *recording_.latePreparation;
    co_return recording_.prepares;
}

inline QCoro::Task<bool> FakeRecorder::record() {
    if (recording_.lateStart) co_return co_await *recording_.lateStart;
    co_return recording_.records;
}

inline void FakeRecorder::stop() {
    ++stops;
    if (recording_.endsAtOnce && onFinish) onFinish(true);
}

}  // namespace kelvane::testing
