#include "PreviewView.h"

#include <utility>
#include <vector>

#include "Editor/Editor.h"

namespace kelvane {

namespace {

/// What the players of an editor show, as far as they are there and show anything.
std::vector<PictureFeed*> feedsOf(const Editor& editor) {
    std::vector<PictureFeed*> feeds;
    for (Player* player : {editor.player(), editor.hoverPlayer()})
        if (player != nullptr && player->pictures() != nullptr) feeds.push_back(player->pictures());
    return feeds;
}

}  // namespace

PreviewView::PreviewView(std::shared_ptr<Workspace> workspace) : workspace_(std::move(workspace)) {
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
    const auto editor = workspace_->editor();
    followed_ = editor;
    if (editor) {
        connections_ = {
            connect(editor.get(), &Editor::contentChanged, this, &PreviewView::tellAll),
            connect(editor.get(), &Editor::selectionChanged, this, &PreviewView::tellAll),
            connect(editor.get(), &Editor::workChanged, this,
                    [this] {
                        Q_EMIT workChanged();
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
    Q_EMIT workChanged();
    Q_EMIT positionChanged();
    tellFeed();
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

void PreviewView::toggleRecording() {
    if (const auto editor = workspace_->editor()) editor->toggleVoiceOverRecording();
}

}  // namespace kelvane
