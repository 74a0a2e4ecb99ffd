#include <fmt/format.h>
#include <unistd.h>

#include <QDateTime>
#include <algorithm>
#include <cmath>
#include <utility>

#include "Editor.h"
#include "Media/AudioWaveform.h"
#include "Media/MediaError.h"
#include "Storage/ProjectStore.h"
#include "Support/AtomicFile.h"

namespace kelvane {

namespace {

constexpr int countdownFrom = 3;
constexpr std::chrono::seconds countdownStep{1};
/// Between two looks at the take.
constexpr std::chrono::milliseconds meterInterval{30};
/// A clip that is still being recorded is never shorter.
constexpr double shortestLiveClip = 1.0 / 30;

/// Where takes lie of a project that has no media folder: beside the library.
FileURL recordingsFolder() { return ProjectStore::defaultRoot().parentFolder().appending("Recordings"); }

std::string takeName() {
    const QString now = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH.mm.ss"));
    return fmt::format("Voice Over {} {}.m4a", now.toStdString(), UUID::random().upper().substr(0, 6));
}

}  // namespace

void Editor::toggleVoiceOverRecording() {
    if (recordingCountdown_) return cancelCountdown();
    if (isRecording_) return stopRecording();
    if (busy() || isBuilding_ || interactionSnapshot_) return;
    const double start = playhead_;
    clearSelectedAssets();
    showTimelinePreview();
    seekPreview(start);
    set(isPreparingRecording_, true, State::work);
    prepareRecording();
}

void Editor::cancelCountdown() {
    recordingTimer_.cancel();
    set(recordingCountdown_, std::nullopt, State::work);
    set(isPreparingRecording_, false, State::work);
}

QCoro::Task<void> Editor::prepareRecording() {
    const std::shared_ptr<Editor> self = shared_from_this();
    bool allowed = false;
    if (services_.recording != nullptr) {
        auto asking = services_.recording->requestAccess();
        allowed = co_await asking;
    }
    if (allowed) {
        countDown(countdownFrom);
        co_return;
    }
    set(isPreparingRecording_, false, State::work);
    setError(
        "Microphone access is required to record a voice over. Allow Kelvane in System Settings → Privacy & Security → "
        "Microphone.");
}

void Editor::countDown(int count) {
    set(recordingCountdown_, count > 0 ? std::optional(count) : std::nullopt, State::work);
    if (count == 0) {
        beginTake();
        return;
    }
    auto next = [weak = weak_from_this(), count] {
        if (const auto self = weak.lock()) self->countDown(count - 1);
    };
    recordingTimer_ = services_.context->after(countdownStep, std::move(next));
}

QCoro::Task<void> Editor::beginTake() {
    const std::shared_ptr<Editor> self = shared_from_this();
    const FileURL folder = mediaDirectory_ ? *mediaDirectory_ : recordingsFolder();
    auto work = [folder] { return makeFolders(folder.path()); };
    auto background = inBackground(*services_.context, std::move(work), Lane::shortWork);
    Result<void> started = co_await background;
    const FileURL url = folder.appending(takeName());
    const auto recorder = std::make_shared<VoiceOverRecorder>(services_.recording->makeRecorder(url));
    recorder->onFinish = [weak = weak_from_this()](const FileURL& file, std::optional<Error> error) {
        if (const auto editor = weak.lock()) editor->takeEnded(file, std::move(error));
    };
    if (started) {
        auto starting = recorder->start();
        started = co_await starting;
    }
    if (!started) {
        auto removing = removeTake(url);
        co_await removing;
        set(isPreparingRecording_, false, State::work);
        setError(started.error().message);
        co_return;
    }
    // A device takes its time to start, in which a person may still seek.
    recordingStart_ = playhead_;
    set(recordingElapsed_, 0, State::position);
    recordingWasMuted_ = player_ && player_->isMuted();
    showTake(url);
    voiceRecorder_ = recorder;
    set(isRecording_, true, State::work);
    set(isPreparingRecording_, false, State::work);
    if (player_) player_->setMuted(true);
    playBesideTake();
    watchTake();
}

void Editor::showTake(const FileURL& url) {
    set(recordingPeaks_, {}, State::position);
    Clip live;
    live.id = UUID::random();
    live.url = url;
    live.sourceDuration = live.end = shortestLiveClip;
    live.audioOnly = true;
    live.timelineStart = recordingStart_;
    set(recordingClip_, live, State::work);
}

void Editor::playBesideTake() {
    // What is still being built plays when it is there.
    if (!player_ || isBuilding_ || previewAssetID_ || playhead_ >= placement().duration()) return;
    player_->play();
    set(isPlaying_, true, State::position);
}

void Editor::watchTake() {
    auto look = [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self || !self->isRecording_ || !self->voiceRecorder_) return;
        self->updateTake();
        self->watchTake();
    };
    recordingTimer_ = services_.context->after(meterInterval, std::move(look));
}

void Editor::updateTake() {
    SoundRecorder& recorder = voiceRecorder_->recorder();
    set(recordingElapsed_, recorder.currentTime(), State::position);
    const auto slot = static_cast<std::size_t>(std::max(recordingElapsed_ * AudioWaveform::peaksPerSecond, 0.0));
    recorder.updateMeters();
    const auto peak = static_cast<float>(std::pow(10.0, recorder.peakPower(0) / 20.0));
    // A timer that stalled leaves a flat stretch and no hole.
    if (recordingPeaks_.size() <= slot)
        recordingPeaks_.resize(slot + 1, peak);
    else
        recordingPeaks_[slot] = std::max(recordingPeaks_[slot], peak);
    if (recordingClip_)
        recordingClip_->sourceDuration = recordingClip_->end = std::max(recordingElapsed_, shortestLiveClip);
    announce(State::position);
    set(playhead_, recordingStart_ + recordingElapsed_, State::position);
}

void Editor::stopRecording() {
    if (!isRecording_) return;
    updateTake();
    set(isPreparingRecording_, true, State::work);
    endTakePlayback();
    voiceRecorder_->recorder().stop();
}

void Editor::endTakePlayback() {
    set(isRecording_, false, State::work);
    recordingTimer_.cancel();
    if (player_) {
        player_->pause();
        player_->setMuted(recordingWasMuted_);
    }
    set(isPlaying_, false, State::position);
}

void Editor::takeEnded(const FileURL& url, std::optional<Error> error) {
    if (!voiceRecorder_) return;
    if (isRecording_) endTakePlayback();
    // It is the recorder that calls: it goes when its call is over.
    services_.context->post([ended = std::exchange(voiceRecorder_, nullptr)] {});
    set(isPreparingRecording_, true, State::work);
    finishTake(url, std::move(error));
}

QCoro::Task<void> Editor::finishTake(FileURL url, std::optional<Error> error) {
    const std::shared_ptr<Editor> self = shared_from_this();
    Result<MediaEngine::ImportedClip> take = fail(error.value_or(Error::cancelled()));
    if (!error) {
        auto work = [media = services_.media, url] { return MediaEngine::importClip(*media, url, {}); };
        auto background = inBackground(*services_.context, std::move(work), Lane::playback);
        take = co_await background;
        if (take && !take->clip.isAudio()) take = fail(MediaError::invalidClip(url.baseName()));
    }
    if (!take) {
        auto removing = removeTake(url);
        co_await removing;
    }
    const std::optional<Clip> live = std::exchange(recordingClip_, std::nullopt);
    recordingPeaks_.clear();
    announce(State::position);
    set(isPreparingRecording_, false, State::work);
    if (take)
        keepTake(std::move(take->clip), live ? live->id : UUID::random());
    else
        setError(take.error().message);
}

void Editor::keepTake(Clip take, const UUID& occurrenceID) {
    std::vector<Clip> assets = *assets_;
    assets.push_back(take);
    assets_ = std::make_shared<const std::vector<Clip>>(std::move(assets));
    announce(State::content);
    take.id = occurrenceID;
    take.timelineStart = recordingStart_;
    std::vector<Clip> clips = *clips_;
    clips.push_back(std::move(take));
    // A commit would be refused while the project is copied, which may have begun since.
    pushUndo({clips_, std::nullopt});
    redoStack_.clear();
    apply(std::make_shared<const std::vector<Clip>>(std::move(clips)));
    setSelection(occurrenceID);
    set(playhead_, recordingStart_, State::position);
}

QCoro::Task<void> Editor::removeTake(FileURL url) {
    auto work = [url] {
        ::unlink(url.path().c_str());
        return true;
    };
    auto background = inBackground(*services_.context, std::move(work), Lane::shortWork);
    (void)co_await background;
}

}  // namespace kelvane
