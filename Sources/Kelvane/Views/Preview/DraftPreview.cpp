#include "DraftPreview.h"

#include <utility>

#include "Timeline/Framing.h"

namespace kelvane {

namespace {

/// How often a picture is looked for that is on its way: a quarter of a frame at 30 pictures a second.
constexpr std::chrono::milliseconds lookPause{8};

/// The whole source of a clip, so that one build serves all places in it.
Clip wholeOf(Clip clip) {
    clip.start = 0;
    clip.end = clip.sourceDuration;
    // Pictures have no sound.
    clip.volume = 1;
    return clip;
}

}  // namespace

DraftPreview::DraftPreview() = default;

DraftPreview::~DraftPreview() { task_.request_stop(); }

void DraftPreview::show(const std::shared_ptr<Editor>& editor) {
    const bool isFree = editor && !editor->busy() && !editor->isPlaying() && !editor->previewAssetID();
    const auto index = isFree ? editor->placement().videoAt(editor->playhead()) : std::nullopt;
    if (!index || editor->player() == nullptr) return end();
    if (editor_.lock() != editor) end();
    editor_ = editor;
    playhead_ = editor->playhead();
    isOld_ = true;
    step();
}

void DraftPreview::step() {
    const auto editor = editor_.lock();
    if (!editor || !isOld_ || task_.stop_possible()) return;
    if (player_ && player_->pictures() != nullptr && player_->pictures()->isAwaited()) {
        look_ = editor->services().context->after(lookPause, [this] { step(); });
        return;
    }
    const auto index = editor->placement().videoAt(editor->playhead());
    if (!index) return end();
    isOld_ = false;
    const Clip whole = wholeOf(editor->clips()[*index]);
    if (player_ && shown_ == whole) return seek();
    task_ = std::stop_source();
    build(this, editor->services().context, editor->services().media, whole, task_.get_token());
}

QCoro::Task<void> DraftPreview::build(QPointer<DraftPreview> self, MainContext* context, MediaPlatform* media,
                                      Clip clip, std::stop_token stop) {
    auto work = [media, clip, stop] {
        return MediaEngine::build(*media, std::vector<Clip>(1, clip), Framing::size, MediaEngine::previewFrame, stop);
    };
    auto background = inBackground(*context, std::move(work), Lane::playback);
    Result<EditedMediaPtr> built = co_await background;
    if (self && !stop.stop_requested()) self->take(clip, std::move(built));
}

void DraftPreview::take(const Clip& clip, Result<EditedMediaPtr> built) {
    task_ = std::stop_source(std::nostopstate);
    const auto editor = editor_.lock();
    // The preview's own build has the words for what can't be built.
    if (!editor || !built) return end();
    if (!player_) {
        player_ = editor->services().makePlayer(PlayerRole::hover);
        player_->setMuted(true);
        if (player_->pictures() != nullptr) {
            player_->pictures()->setSurfaceSize(surface_);
            player_->pictures()->setPictureObserver([this] { Q_EMIT changed(); });
        }
    }
    shown_ = clip;
    player_->replaceItem(std::move(*built));
    seek();
    step();
}

void DraftPreview::seek() {
    const auto editor = editor_.lock();
    const auto index = editor->placement().videoAt(editor->playhead());
    if (!index) return end();
    const double behind = editor->playhead() - editor->placement().span(*index).start;
    player_->seek(editor->clips()[*index].start + behind);
}

void DraftPreview::end() {
    task_.request_stop();
    task_ = std::stop_source(std::nostopstate);
    look_.cancel();
    editor_.reset();
    shown_.reset();
    isOld_ = false;
    if (const auto player = std::exchange(player_, nullptr)) Q_EMIT changed();
}

void DraftPreview::endWhenBuilt() {
    const auto editor = editor_.lock();
    if (!editor) return;
    const bool isElsewhere =
        editor->isPlaying() || editor->busy() || editor->previewAssetID() || editor->playhead() != playhead_;
    if (isElsewhere || editor->player() == nullptr) return end();
    if (editor->isBuilding() || editor->interactionSnapshot()) return;
    const PictureFeed* pictures = editor->player()->pictures();
    if (pictures == nullptr || !pictures->isAwaited()) end();
}

PictureFeed* DraftPreview::feed() const {
    PictureFeed* pictures = player_ ? player_->pictures() : nullptr;
    return pictures != nullptr && pictures->picture() != nullptr ? pictures : nullptr;
}

void DraftPreview::setSurfaceSize(Size pixels) {
    surface_ = pixels;
    if (player_ && player_->pictures() != nullptr) player_->pictures()->setSurfaceSize(pixels);
}

}  // namespace kelvane
