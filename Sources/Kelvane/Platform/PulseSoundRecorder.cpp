#include "PulseSoundRecorder.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "PulseCapture.h"
#include "TakePipe.h"

namespace kelvane {

namespace {

using namespace std::chrono_literals;

/// How long the server, and a source of it, may take to answer.
constexpr std::chrono::milliseconds patience = 2s;
/// 1/30 s: what a clip must have at least.
constexpr std::int64_t leastLength = soundSampleRate / 30;
/// dB that stand for silence.
constexpr float silence = -160;

class PulseSoundRecorder final : public SoundRecorder {
public:
    PulseSoundRecorder(std::shared_ptr<PulseConnection> connection, MediaPlatform& media, FileURL file)
        : take_(std::make_shared<Take>(std::move(connection), media, std::move(file), this)) {}
    ~PulseSoundRecorder() override {
        take_->context.checkMainThread();
        take_->owner = nullptr;
        leave(*take_);
    }

    [[nodiscard]] const FileURL& url() const override { return take_->file; }
    QCoro::Task<bool> prepareToRecord() override { return prepare(take_); }
    QCoro::Task<bool> record() override { return begin(take_); }
    void stop() override;
    [[nodiscard]] double currentTime() const override {
        return take_->pipe ? static_cast<double>(take_->pipe->length()) / soundSampleRate : 0;
    }
    void updateMeters() override;
    [[nodiscard]] float peakPower(int /*channel*/) const override { return peak_; }

private:
    /// What outlives the recorder while something waits. The main thread.
    struct Take {
        Take(std::shared_ptr<PulseConnection> server, MediaPlatform& platform, FileURL url,
             PulseSoundRecorder* recorder)
            : connection(std::move(server)),
              context(connection->context()),
              media(platform),
              file(std::move(url)),
              owner(recorder) {}
        std::shared_ptr<PulseConnection> connection;
        MainContext& context;
        MediaPlatform& media;
        FileURL file;
        std::shared_ptr<TakePipe> pipe;
        std::shared_ptr<PulseCapture> capture;
        PulseSoundRecorder* owner;
        bool hasBegun = false;
        bool isStopped = false;
        bool hasVanished = false;
    };

    static QCoro::Task<bool> prepare(std::shared_ptr<Take> take);
    static QCoro::Task<bool> begin(std::shared_ptr<Take> take);
    static void leave(const Take& take);
    static void ended(const std::shared_ptr<Take>& take, const Result<void>& result);

    std::shared_ptr<Take> take_;
    float peak_ = silence;
};

QCoro::Task<bool> PulseSoundRecorder::prepare(std::shared_ptr<Take> take) {
    take->context.checkMainThread();
    auto create = [&media = take->media, file = take->file] { return media.makeTakeWriter(file); };
    auto creating = inBackground(take->context, std::move(create), Lane::shortWork);
    Result<std::unique_ptr<TakeWriter>> writer = co_await creating;
    if (!writer || take->owner == nullptr) co_return false;
    auto whenEnded = [weak = std::weak_ptr(take)](const Result<void>& result) {
        if (const auto ending = weak.lock()) ended(ending, result);
    };
    auto whenVanished = [weak = std::weak_ptr(take)] {
        if (const auto ending = weak.lock()) ending->hasVanished = true;
    };
    take->pipe = std::make_shared<TakePipe>(take->context, std::move(*writer), std::move(whenEnded));
    PulseConnection& connection = *take->connection;
    take->capture = std::make_shared<PulseCapture>(connection, take->pipe, std::move(whenVanished));
    const Reply<bool> opened;
    const Timer timer = take->context.after(patience, [opened] { opened.give(false); });
    connection.run([&connection, capture = take->capture, opened] {
        connection.add(capture);
        capture->open(opened);
    });
    const bool isOpen = co_await opened;
    if (!isOpen) leave(*take);
    co_return isOpen;
}

QCoro::Task<bool> PulseSoundRecorder::begin(std::shared_ptr<Take> take) {
    take->context.checkMainThread();
    if (!take->capture || take->hasBegun) co_return false;
    const Reply<bool> heard;
    const Timer timer = take->context.after(patience, [heard] { heard.give(false); });
    take->connection->run([capture = take->capture, heard] { capture->listen(heard); });
    const bool comes = co_await heard;
    if (!comes || take->owner == nullptr || take->hasVanished) {
        leave(*take);
        co_return false;
    }
    // Who waits for this answer lets the timeline run at it, so that take and timeline begin together.
    take->hasBegun = true;
    take->capture->beginAt(take->context.now());
    co_return true;
}

void PulseSoundRecorder::leave(const Take& take) {
    if (take.capture) take.connection->run([capture = take.capture] { capture->leave(); });
}

void PulseSoundRecorder::stop() {
    take_->context.checkMainThread();
    if (!take_->hasBegun || std::exchange(take_->isStopped, true)) return;
    take_->connection->run([capture = take_->capture, moment = take_->context.now()] { capture->finish(moment); });
}

void PulseSoundRecorder::ended(const std::shared_ptr<Take>& take, const Result<void>& result) {
    leave(*take);
    if (take->owner == nullptr || !take->hasBegun) return;
    // Either call may be the recorder's end.
    if (!result) {
        const auto tell = take->owner->onEncodeError;
        if (tell) tell(result.error());
        return;
    }
    const auto tell = take->owner->onFinish;
    const bool isWorthIt = !take->hasVanished || take->pipe->length() >= leastLength;
    if (tell) tell(isWorthIt);
}

void PulseSoundRecorder::updateMeters() {
    const float peak = take_->pipe ? take_->pipe->takePeak() : 0.0F;
    peak_ = peak > 0 ? std::max(20 * std::log10(peak), silence) : silence;
}

}  // namespace

PulseSoundRecording::PulseSoundRecording(std::shared_ptr<PulseConnection> connection, MediaPlatform& media)
    : connection_(std::move(connection)), media_(media) {}

QCoro::Task<bool> PulseSoundRecording::requestAccess() { return connection_->serverAnswers(patience); }

std::unique_ptr<SoundRecorder> PulseSoundRecording::makeRecorder(const FileURL& file) {
    return std::make_unique<PulseSoundRecorder>(connection_, media_, file);
}

}  // namespace kelvane
