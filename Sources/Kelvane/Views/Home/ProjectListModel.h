#pragma once

#include <QString>
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
    /// The project of a row; nothing for a row that is not there.
    [[nodiscard]] std::optional<LibraryProject> at(int row) const;
    /// Where the project stands; -1 where it doesn't.
    [[nodiscard]] int rowOf(const UUID& id) const;

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;
};

/// The date of a project's last edit as its card tells it: month, day, hour and minute, as the locale orders them. Of
/// `modified`, seconds since `referenceDate`.
QString editDate(double modified);

/// Whether the name contains the text, whatever the case, as the locale has it: capitals and small letters are told
/// apart by no search, and neither are the forms in which Unicode spells one letter. An empty text is in all.
bool nameContains(const QString& name, const QString& text);

}  // namespace kelvane
