#include <utility>

#include "ProjectPlace.h"
#include "ProjectWindowView.h"

namespace kelvane {

CommandState ProjectWindowView::commandState() const {
    CommandState state;
    state.isTyping = isTyping_;
    const auto editor = workspace_->editor();
    if (!editor) return state;
    state.hasProject = true;
    state.busy = editor->busy();
    state.hasAssets = !editor->assets().empty();
    state.hasClips = !editor->clips().empty();
    state.canUndo = !editor->undoStack().empty();
    state.canRedo = !editor->redoStack().empty();
    state.canSplit = editor->canSplit();
    state.hasSelection = editor->selection().has_value();
    state.hasSelectedAssets = !editor->selectedAssetIDs().empty();
    state.selectedClips = editor->selectedClipIDs().size();
    state.showsInspector = editor->showInspector();
    state.canPlay = preview_.canPlay();
    state.canRecord = preview_.canRecord();
    state.isRecording = preview_.recording();
    state.canZoomIn = timeline_.zoom() < timeline_.highestZoom();
    state.canZoomOut = timeline_.zoom() > timeline_.lowestZoom();
    return state;
}

void ProjectWindowView::refreshCommands() { commands_.refresh(commandState()); }

void ProjectWindowView::setTyping(bool typing) {
    if (std::exchange(isTyping_, typing) == typing) return;
    refreshCommands();
    Q_EMIT typingChanged();
}

void ProjectWindowView::perform(CommandID id) {
    switch (id) {
        case CommandID::newProject:
            return newProject();
        case CommandID::importProject:
            return chooseProject();
        case CommandID::editWithAI:
            return assistants_.start();
        case CommandID::importVideos:
            return importMedia();
        case CommandID::saveProject:
            return save();
        case CommandID::saveProjectAs:
            workspace_->editor()->saveProject(true);
            return;
        case CommandID::exportVideo:
            return exportVideo();
        case CommandID::closeWindow:
            return closeRequested();
        case CommandID::quit:
            return quitRequested();
        case CommandID::undo:
            return undo();
        case CommandID::redo:
            return redo();
        case CommandID::deleteSelected:
        case CommandID::split:
        case CommandID::moveEarlier:
        case CommandID::moveLater:
            return editClips(id);
        case CommandID::showProjects:
            return showHome();
        case CommandID::toggleInspector:
            return editor_.setShowInspector(!editor_.showInspector());
        case CommandID::zoomIn:
            return timeline_.zoomBy(1);
        case CommandID::zoomOut:
            return timeline_.zoomBy(-1);
        case CommandID::resetZoom:
            return timeline_.setZoom(1);
        case CommandID::play:
            return preview_.togglePlayback();
        case CommandID::record:
            return preview_.toggleRecording();
        case CommandID::nextPane:
            return paneRequested(1);
        case CommandID::previousPane:
            return paneRequested(-1);
        case CommandID::keyboardShortcuts:
            return shortcutsRequested();
        case CommandID::sampleProject:
            return home_.makeSampleProject();
        case CommandID::about:
            return aboutRequested();
    }
}

void ProjectWindowView::editClips(CommandID id) {
    const auto editor = editorToChange();
    if (!editor) return;
    const bool isOfClips = editor->selectedAssetIDs().empty();
    if (id == CommandID::split)
        editor->split();
    else if (id == CommandID::deleteSelected)
        editor->deleteSelection();
    else
        editor->moveSelection(id == CommandID::moveEarlier ? -1 : 1);
    // The keyboard goes on with the clip that is selected now.
    if (isOfClips) Q_EMIT timeline_.focusWanted();
}

void ProjectWindowView::followRecording() {
    const auto editor = workspace_->editor();
    if (editor && editor->isRecording()) wasRecording_ = true;
    // While the take is finished nothing can be chosen.
    if (!wasRecording_ || (editor && editor->busy())) return;
    wasRecording_ = false;
    if (editor) Q_EMIT timeline_.focusWanted();
}

bool ProjectWindowView::escape() {
    const auto editor = workspace_->editor();
    if (!editor) return false;
    if (timeline_.pressKey(Qt::Key_Escape, Qt::NoModifier)) return true;
    if (editor->busy() || editor->selectedAssetIDs().empty()) return false;
    editor->selectAssets({});
    return true;
}

void ProjectWindowView::keepFrame(const QRectF& frame) {
    if (const auto editor = workspace_->editor()) ProjectPlace::of(*editor).windowFrame = frame;
}

}  // namespace kelvane
