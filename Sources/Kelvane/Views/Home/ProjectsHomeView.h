#pragma once

#include <QObject>
#include <memory>

#include "ProjectListModel.h"
#include "Windows/ProjectWindows.h"

namespace kelvane {

/// What one window shows of the library and what a person can do there; draws nothing. The main thread.
class ProjectsHomeView final : public QObject {
    Q_OBJECT
    Q_PROPERTY(QAbstractItemModel* projects READ projects CONSTANT)

public:
    /// `windows` outlives this object.
    ProjectsHomeView(ProjectWindows& windows, std::shared_ptr<Workspace> workspace);

    [[nodiscard]] QAbstractItemModel* projects() { return &projects_; }

    Q_INVOKABLE void openProject(int row);
    Q_INVOKABLE void deleteProject(int row);

private:
    void refreshProjects();

    ProjectWindows& windows_;
    std::shared_ptr<Workspace> workspace_;
    ProjectListModel projects_;
};

}  // namespace kelvane
