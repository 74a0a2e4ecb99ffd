#pragma once

#include <QAbstractListModel>
#include <vector>

#include "Storage/LibraryProject.h"

namespace kelvane {

/// The library's projects as rows for a list, newest first.
class ProjectListModel final : public QAbstractListModel {
    Q_OBJECT

public:
    using QAbstractListModel::QAbstractListModel;

    void setProjects(std::vector<LibraryProject> projects);
    /// Identity of a row; nothing for a row that is not there.
    [[nodiscard]] std::optional<LibraryProject> at(int row) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

private:
    std::vector<LibraryProject> projects_;
};

}  // namespace kelvane
