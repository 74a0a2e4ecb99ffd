#include "PreviewView.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "Editor/Editor.h"
#include "Timeline/TimeLabel.h"

namespace kelvane {

namespace {

/// How often the ring of a countdown is drawn, which is a preview frame.
constexpr std::chrono::milliseconds countdownStep{33};

/// What the players of an editor show, as far as they are there and show anything.
std::vector<PictureFeed*> feedsOf(const Editor& editor) {
    std::vector<PictureFeed*> feeds;
    for (Player* player : {editor.player(), editor.hoverPlayer()})
        if (player != nullptr && player->pictures() != nullptr) feeds.push_back(player->pictures());
    return feeds;
}

}  // namespace

PreviewView::PreviewView(std::shared_ptr<Workspace> workspace)
    : workspace_(std::move(workspace)), import_([this] { Q_EMIT workChanged(); }) {
    connect(workspace_.get(), &Workspace::editorChanged, this, &PreviewView::followEditor);
    connect(&draft_, &DraftPreview::changed, this, &PreviewView::feedChanged);
    followEditor();
}

PreviewView::~PreviewView() {
    if (const auto editor = followed_.lock())
        for (PictureFeed* feed : feedsOf(*editor)) feed->setPictureObserver({});
}

void PreviewView::followEditor() {
    for (const auto& connection : connections_) disconnect(connection);
    draft_.end();
    import_.end();
    const auto editor = workspace_->editor();
    followed_ = editor;
    if (editor) {
        connections_ = {
            connect(editor.get(), &Editor::contentChanged, this, &PreviewView::tellAll),
            connect(editor.get(), &Editor::selectionChanged, this, &PreviewView::tellAll),
            connect(editor.get(), &Editor::workChanged, this,
                    [this] {
                        followWork();
                        draft_.endWhenBuilt();
                    }),
            connect(editor.get(), &Editor::positionChanged, this,
                    [this] {
                        Q_EMIT positionChanged();
                        tellFeed();
                    }),
            connect(editor.get(), &Editor::playersChanged, this, &PreviewView::followPlayers),
        };
    }
    followPlayers();
    tellAll();
}

void PreviewView::tellAll() {
    Q_EMIT contentChanged();
    followWork();
    Q_EMIT positionChanged();
    tellFeed();
}

void PreviewView::followWork() {
    const auto editor = workspace_->editor();
    if (editor)
        import_.follow(editor->isImporting(), *editor->services().context);
    else
        import_.end();
    if (!editor || !editor->recordingCountdown()) {
        countdownBegan_.reset();
        countdownTimer_.cancel();
    } else if (!countdownBegan_) {
        countdownBegan_ = editor->services().context->now();
        countdownFrom_ = *editor->recordingCountdown();
        stepCountdown();
    }
    Q_EMIT workChanged();
}

void PreviewView::stepCountdown() {
    const auto editor = workspace_->editor();
    if (!editor || !countdownBegan_) return;
    MainContext& context = *editor->services().context;
    const std::chrono::duration<double> passed = context.now() - *countdownBegan_;
    const double share = std::clamp(1 - passed.count() / std::max(countdownFrom_, 1), 0.0, 1.0);
    if (std::exchange(countdownShare_, share) != share) Q_EMIT countdownMoved();
    countdownTimer_ = context.after(countdownStep, [this] { stepCountdown(); });
}

void PreviewView::followPlayers() {
    if (const auto& editor = workspace_->editor())
        for (PictureFeed* feed : feedsOf(*editor)) feed->setPictureObserver([this] { tellFeed(); });
    tellFeed();
}

void PreviewView::tellFeed() {
    const auto editor = workspace_->editor();
    draft_.endWhenBuilt();
    const bool isAudioOnly = editor && (editor->isAudioPreview() || (audioOnly_ && isBehind()));
    if (std::exchange(audioOnly_, isAudioOnly) != isAudioOnly) Q_EMIT audioOnlyChanged();
    Q_EMIT feedChanged();
}

bool PreviewView::isBehind() const {
    const PictureFeed* shown = feed();
    if (shown == nullptr || shown->picture() == nullptr) return false;
    const Editor& editor = *workspace_->editor();
    return editor.hoverPreview() ? shown != editor.hoverPlayer()->pictures() : shown->isAwaited();
}

void PreviewView::setSurfaceSize(Size pixels) {
    draft_.setSurfaceSize(pixels);
    if (const auto& editor = workspace_->editor())
        for (PictureFeed* feed : feedsOf(*editor)) feed->setSurfaceSize(pixels);
}

void PreviewView::showDraft() { draft_.show(workspace_->editor()); }

PictureFeed* PreviewView::feed() const {
    const auto editor = workspace_->editor();
    if (!editor || editor->player() == nullptr) return nullptr;
    if (PictureFeed* draft = draft_.feed()) return draft;
    PictureFeed* hovered = editor->hoverPlayer()->pictures();
    // Until its first picture is there, what was shown stays.
    if (editor->hoverPreview() && hovered != nullptr && hovered->picture() != nullptr) return hovered;
    return editor->player()->pictures();
}

bool PreviewView::hasPreview() const { return workspace_->editor() && workspace_->editor()->hasPreview(); }
double PreviewView::duration() const { return workspace_->editor() ? workspace_->editor()->previewDuration() : 0; }
double PreviewView::position() const { return workspace_->editor() ? workspace_->editor()->previewPlayhead() : 0; }
bool PreviewView::playing() const { return workspace_->editor() && workspace_->editor()->isPlaying(); }
bool PreviewView::building() const { return workspace_->editor() && workspace_->editor()->isBuilding(); }
bool PreviewView::recording() const { return workspace_->editor() && workspace_->editor()->isRecording(); }

int PreviewView::countdown() const {
    return workspace_->editor() ? workspace_->editor()->recordingCountdown().value_or(0) : 0;
}

bool PreviewView::showsAsset() const { return workspace_->editor() && workspace_->editor()->previewAsset() != nullptr; }
QString PreviewView::positionText() const { return QString::fromStdString(timeLabel(position())); }

bool PreviewView::canPlay() const {
    return recording() || (hasPreview() && !building() && !workspace_->editor()->busy());
}

bool PreviewView::canSeek() const { return hasPreview() && !recording(); }

bool PreviewView::canRecord() const {
    const auto editor = workspace_->editor();
    if (!editor) return false;
    return recording() || countdown() > 0 || (!building() && !editor->busy() && !editor->interactionSnapshot());
}

void PreviewView::togglePlayback() {
    if (const auto editor = workspace_->editor()) editor->togglePlayback();
}

void PreviewView::seek(double seconds) {
    if (const auto editor = workspace_->editor()) editor->seekPreview(seconds);
}

void PreviewView::showTimeline() {
    if (const auto editor = workspace_->editor()) editor->showTimelinePreview();
}

void PreviewView::toggleRecording() {
    if (const auto editor = workspace_->editor()) editor->toggleVoiceOverRecording();
}

}  // namespace kelvane
