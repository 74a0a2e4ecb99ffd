#include "ProjectsHomeView.h"

#include <utility>

namespace kelvane {

ProjectsHomeView::ProjectsHomeView(ProjectWindows& windows, std::shared_ptr<Workspace> workspace)
    : windows_(windows), workspace_(std::move(workspace)) {
    connect(&windows_, &ProjectWindows::libraryChanged, this, &ProjectsHomeView::refreshProjects);
    refreshProjects();
}

void ProjectsHomeView::refreshProjects() { projects_.setProjects(windows_.library().projects()); }

void ProjectsHomeView::openProject(int row) {
    if (const auto project = projects_.at(row)) windows_.open(*project, workspace_, false);
}

void ProjectsHomeView::deleteProject(int row) {
    if (const auto project = projects_.at(row)) windows_.remove(project->id);
}

}  // namespace kelvane
