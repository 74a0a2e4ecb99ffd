#pragma once

#include <QObject>
#include <QString>
#include <memory>

#include "ClipListModel.h"
#include "Views/Home/ProjectListModel.h"
#include "Windows/ProjectWindows.h"

namespace kelvane {

/// What one window shows and what a person can do there; draws nothing. The main thread.
class ProjectWindowView final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool showsHome READ showsHome NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString summary READ summary NOTIFY changed)
    Q_PROPERTY(QString status READ status NOTIFY changed)
    Q_PROPERTY(double progress READ progress NOTIFY changed)
    Q_PROPERTY(bool edited READ edited NOTIFY changed)
    Q_PROPERTY(bool busy READ busy NOTIFY changed)
    Q_PROPERTY(bool exporting READ exporting NOTIFY changed)
    Q_PROPERTY(bool canUndo READ canUndo NOTIFY changed)
    Q_PROPERTY(bool canRedo READ canRedo NOTIFY changed)
    Q_PROPERTY(bool canExport READ canExport NOTIFY changed)
    Q_PROPERTY(bool canSave READ canSave NOTIFY changed)
    Q_PROPERTY(bool canImport READ canImport NOTIFY changed)
    Q_PROPERTY(bool canShowHome READ canShowHome NOTIFY changed)
    /// Text of the alert "Unable to Complete"; empty when there is none.
    Q_PROPERTY(QString error READ error NOTIFY changed)
    Q_PROPERTY(QAbstractItemModel* clips READ clips CONSTANT)
    Q_PROPERTY(QAbstractItemModel* projects READ projects CONSTANT)

public:
    ProjectWindowView(ProjectWindows& windows, std::shared_ptr<Workspace> workspace);

    [[nodiscard]] bool showsHome() const;
    [[nodiscard]] QString title() const;
    [[nodiscard]] QString summary() const;
    [[nodiscard]] QString status() const;
    [[nodiscard]] double progress() const;
    [[nodiscard]] bool edited() const;
    [[nodiscard]] bool busy() const;
    [[nodiscard]] bool exporting() const;
    // What is enabled. On the projects home only going there is, and what makes or opens a project, which always is; a
    // project that is busy keeps out all that acts on it or leaves it.
    [[nodiscard]] bool canUndo() const;
    [[nodiscard]] bool canRedo() const;
    [[nodiscard]] bool canExport() const;
    [[nodiscard]] bool canSave() const;
    [[nodiscard]] bool canImport() const;
    [[nodiscard]] bool canShowHome() const;
    [[nodiscard]] QString error() const;
    [[nodiscard]] QAbstractItemModel* clips() { return &clips_; }
    [[nodiscard]] QAbstractItemModel* projects() { return &projects_; }
    [[nodiscard]] const std::shared_ptr<Workspace>& workspace() const { return workspace_; }

    Q_INVOKABLE void openProject(int row);
    Q_INVOKABLE void deleteProject(int row);
    Q_INVOKABLE void newProject();
    Q_INVOKABLE void chooseProject();
    Q_INVOKABLE void showHome();
    Q_INVOKABLE void importMedia();
    Q_INVOKABLE void undo();
    Q_INVOKABLE void redo();
    Q_INVOKABLE void save();
    Q_INVOKABLE void exportVideo();
    Q_INVOKABLE void cancelExport();
    Q_INVOKABLE void dismissError();
    Q_INVOKABLE bool shouldClose();

Q_SIGNALS:
    void changed();

private:
    void followEditor();
    void refresh();
    void refreshProjects();

    ProjectWindows& windows_;
    std::shared_ptr<Workspace> workspace_;
    QMetaObject::Connection editorConnection_;
    ClipListModel clips_;
    ProjectListModel projects_;
};

}  // namespace kelvane
