#pragma once

#include <QObject>
#include <memory>
#include <optional>

#include "Support/FileURL.h"
#include "Support/UUID.h"

namespace kelvane {

class Editor;

/// What the owner of open projects needs of a platform window. The main thread.
class PlatformWindow {
public:
    virtual ~PlatformWindow() = default;
    virtual void bringToFront() = 0;
    /// Whether this is the window that a person works in: the active one, or the one that was active last.
    [[nodiscard]] virtual bool isActive() const = 0;
    virtual void setHasUnsavedChanges(bool has) = 0;
    virtual void setProjectFile(const std::optional<FileURL>& url) = 0;
};

/// One window's slot: the project that it shows, or none for the projects home. The main thread.
class Workspace final : public QObject {
    Q_OBJECT

public:
    Workspace(const UUID& id, std::shared_ptr<Editor> editor) : id_(id), editor_(std::move(editor)) {}

    [[nodiscard]] const UUID& id() const { return id_; }
    [[nodiscard]] const std::shared_ptr<Editor>& editor() const { return editor_; }
    void setEditor(std::shared_ptr<Editor> editor) {
        editor_ = std::move(editor);
        Q_EMIT editorChanged();
    }

Q_SIGNALS:
    void editorChanged();

private:
    UUID id_;
    std::shared_ptr<Editor> editor_;
};

}  // namespace kelvane
