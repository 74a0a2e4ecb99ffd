#pragma once

#include "Editor/HistoryEntry.h"
#include "Views/Rows/RecordListModel.h"

namespace kelvane {

/// The clips of a timeline as rows for a list; rows are worded when they are asked for. The main thread.
class ClipListModel final : public RecordListModel<Clip> {
    Q_OBJECT

public:
    using RecordListModel::RecordListModel;

    /// Shows another array; null for none.
    void setClips(ClipArray clips) { setRecords(std::move(clips)); }

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;
};

}  // namespace kelvane
