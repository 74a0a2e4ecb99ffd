#pragma once

#include <QAbstractListModel>

#include "Editor/HistoryEntry.h"

namespace kelvane {

/// The clips of a timeline as rows for a list; rows are worded when they are asked for.
class ClipListModel final : public QAbstractListModel {
    Q_OBJECT

public:
    using QAbstractListModel::QAbstractListModel;

    /// Shows another array; nothing happens when it is the one shown already.
    void setClips(ClipArray clips);

    [[nodiscard]] int rowCount(const QModelIndex& parent) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

private:
    ClipArray clips_;
};

}  // namespace kelvane
