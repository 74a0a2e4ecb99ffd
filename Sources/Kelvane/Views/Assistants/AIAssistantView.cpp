#include "AIAssistantView.h"

#include <utility>

#include "ApplicationIcon.h"
#include "Editor/Editor.h"
#include "Session/AIAssistantSession.h"

namespace kelvane {

AIAssistantView::AIAssistantView(std::shared_ptr<Workspace> workspace) : workspace_(std::move(workspace)) {
    connect(workspace_.get(), &Workspace::editorChanged, this, &AIAssistantView::followEditor);
    followEditor();
}

void AIAssistantView::followEditor() {
    disconnect(connection_);
    if (const auto editor = workspace_->editor())
        connection_ = connect(&editor->ai(), &AIAssistantSession::sheetChanged, this, &AIAssistantView::refresh);
    refresh();
}

void AIAssistantView::refresh() {
    // While the sheet fades its rows stay.
    if (shown()) readAssistants();
    Q_EMIT changed();
}

void AIAssistantView::readAssistants() {
    QStringList names;
    QList<QUrl> icons;
    QList<bool> known;
    const auto editor = workspace_->editor();
    for (const AIDesktopAssistant assistant : editor->ai().assistants()) {
        names << QString::fromUtf8(assistant.label().data(), static_cast<qsizetype>(assistant.label().size()));
        const auto application = assistant.application(*editor->services().desktop);
        icons << (application ? applicationIcon(QString::fromStdString(application->icon)) : QUrl());
        known << application.has_value();
    }
    if (names == names_ && icons == icons_ && known == known_) return;
    names_ = std::move(names);
    icons_ = std::move(icons);
    known_ = std::move(known);
    Q_EMIT assistantsChanged();
}

bool AIAssistantView::shown() const { return workspace_->editor() && workspace_->editor()->ai().showSheet(); }
bool AIAssistantView::launching() const { return workspace_->editor() && workspace_->editor()->ai().launching(); }

QString AIAssistantView::message() const {
    const auto editor = workspace_->editor();
    return editor ? QString::fromStdString(editor->ai().message().value_or("")) : QString();
}

void AIAssistantView::start() {
    if (const auto editor = workspace_->editor()) editor->ai().start();
}

void AIAssistantView::launch(int index) {
    const auto editor = workspace_->editor();
    if (!editor || index < 0) return;
    const auto& assistants = editor->ai().assistants();
    if (static_cast<std::size_t>(index) < assistants.size())
        editor->ai().launch(assistants[static_cast<std::size_t>(index)]);
}

void AIAssistantView::dismiss() {
    if (const auto editor = workspace_->editor()) editor->ai().dismissSheet();
}

}  // namespace kelvane
