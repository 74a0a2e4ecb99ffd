#include "VoiceOverRecorder.h"

#include <utility>

namespace kelvane {

VoiceOverRecorder::VoiceOverRecorder(std::unique_ptr<SoundRecorder> recorder) : recorder_(std::move(recorder)) {
    recorder_->onFinish = [this](bool successfully) {
        finish(successfully ? std::nullopt : std::optional<Error>("Voice-over recording failed. Please try again."));
    };
    recorder_->onEncodeError = [this](const Error&) { finish(Error("The voice-over audio could not be recorded.")); };
}

QCoro::Task<Result<void>> VoiceOverRecorder::start() {
    auto preparing = recorder_->prepareToRecord();
    bool started = co_await preparing;
    if (started) {
        auto beginning = recorder_->record();
        started = co_await beginning;
    }
    if (started) co_return Result<void>();
    co_return fail("The microphone could not start recording. Check your audio input in System Settings.");
}

void VoiceOverRecorder::finish(std::optional<Error> error) {
    // Who is told may end this object.
    const auto told = onFinish;
    const FileURL url = recorder_->url();
    if (told) told(url, std::move(error));
}

}  // namespace kelvane
