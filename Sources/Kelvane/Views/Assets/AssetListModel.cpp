#include "AssetListModel.h"

#include "Timeline/TimeLabel.h"

namespace kelvane {

namespace {
enum Role {
    idRole = Qt::UserRole + 1,
    nameRole,
    lengthRole,
    frameRole,
    audioRole,
    clipRole,
    pictureRole,
    selectedRole,
    hoveredRole,
    currentRole,
    missingRole
};
}

bool AssetRow::operator==(const AssetRow& other) const {
    const bool isSameAsset = id == other.id && (clip == other.clip || *clip == *other.clip);
    return isSameAsset && frame == other.frame && picture == other.picture && isSelected == other.isSelected &&
           isHovered == other.isHovered && isCurrent == other.isCurrent && isMissing == other.isMissing;
}

QVariant AssetListModel::data(const QModelIndex& index, int role) const {
    const AssetRow* row = record(index.row());
    if (row == nullptr) return {};
    switch (role) {
        case idRole:
            return QString::fromStdString(row->id.upper());
        case nameRole:
            return QString::fromStdString(row->clip->name());
        case lengthRole:
            return QString::fromStdString(timeLabel(row->clip->duration()));
        case frameRole:
            return row->frame;
        case audioRole:
            return row->clip->isAudio();
        case clipRole:
            return QVariant::fromValue(*row->clip);
        case pictureRole:
            return QVariant::fromValue(row->picture);
        case selectedRole:
            return row->isSelected;
        case hoveredRole:
            return row->isHovered;
        case currentRole:
            return row->isCurrent;
        case missingRole:
            return row->isMissing;
        default:
            return {};
    }
}

QHash<int, QByteArray> AssetListModel::roleNames() const {
    return {{idRole, "assetID"},        {nameRole, "name"},       {lengthRole, "length"},   {frameRole, "frame"},
            {audioRole, "audio"},       {clipRole, "sound"},      {pictureRole, "picture"}, {hoveredRole, "hovered"},
            {selectedRole, "selected"}, {currentRole, "current"}, {missingRole, "missing"}};
}

}  // namespace kelvane
