#pragma once

#include <QMetaType>
#include <QRectF>
#include <memory>

#include "Media/StillImage.h"
#include "Timeline/Clip.h"
#include "Views/Rows/RecordListModel.h"

namespace kelvane {

/// What an asset looks like in its pane.
struct AssetRow {
    UUID id;
    /// The asset, in the array that it is from.
    std::shared_ptr<const Clip> clip;
    /// In the grid, points.
    QRectF frame;
    /// None for sounds, and before it is loaded.
    StillImagePtr picture;
    bool isSelected = false;
    /// The pointer is over it.
    bool isHovered = false;
    /// Where the keyboard is in the grid.
    bool isCurrent = false;
    /// Its file is gone.
    bool isMissing = false;
    bool operator==(const AssetRow& other) const;
};

/// The assets as rows of a list; rows are worded when they are asked for. The main thread.
class AssetListModel final : public RecordListModel<AssetRow> {
    Q_OBJECT

public:
    using RecordListModel::RecordListModel;

    void setRows(Records rows) { setRecords(std::move(rows)); }
    /// Null for a row that is not there.
    [[nodiscard]] const AssetRow* row(int index) const { return record(index); }

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;
};

}  // namespace kelvane

Q_DECLARE_METATYPE(kelvane::StillImagePtr)
