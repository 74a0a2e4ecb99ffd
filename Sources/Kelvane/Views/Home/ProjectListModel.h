#pragma once

#include <optional>
#include <vector>

#include "Storage/LibraryProject.h"
#include "Views/Rows/RecordListModel.h"

namespace kelvane {

/// The library's projects as rows for a list, in the order given. The main thread.
class ProjectListModel final : public RecordListModel<LibraryProject> {
    Q_OBJECT

public:
    using RecordListModel::RecordListModel;

    void setProjects(std::vector<LibraryProject> projects);
    /// Identity of a row; nothing for a row that is not there.
    [[nodiscard]] std::optional<LibraryProject> at(int row) const;

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;
};

}  // namespace kelvane
