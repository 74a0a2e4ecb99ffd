#include "ProjectListModel.h"

#include <QDateTime>
#include <QLocale>

#include "Timeline/TimeLabel.h"

namespace kelvane {

namespace {
enum Role { nameRole = Qt::UserRole + 1, modifiedRole, lengthRole };
}  // namespace

void ProjectListModel::setProjects(std::vector<LibraryProject> projects) {
    setRecords(std::make_shared<const std::vector<LibraryProject>>(std::move(projects)));
}

std::optional<LibraryProject> ProjectListModel::at(int row) const {
    const LibraryProject* project = record(row);
    return project == nullptr ? std::nullopt : std::optional(*project);
}

QVariant ProjectListModel::data(const QModelIndex& index, int role) const {
    const LibraryProject* project = record(index.row());
    if (project == nullptr) return {};
    switch (role) {
        case nameRole:
            return QString::fromStdString(project->name);
        case modifiedRole: {
            const auto date = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(project->modified + referenceDate));
            return QLocale().toString(date, QLocale::ShortFormat);
        }
        case lengthRole:
            return QString::fromStdString(timeLabel(project->duration));
        default:
            return {};
    }
}

QHash<int, QByteArray> ProjectListModel::roleNames() const {
    return {{nameRole, "name"}, {modifiedRole, "modified"}, {lengthRole, "length"}};
}

}  // namespace kelvane
