#include "ClipListModel.h"

#include "Timeline/TimeLabel.h"

namespace kelvane {

namespace {
enum Role { nameRole = Qt::UserRole + 1, kindRole, trimRole, lengthRole };
}

void ClipListModel::setClips(ClipArray clips) {
    if (clips == clips_) return;
    beginResetModel();
    clips_ = std::move(clips);
    endResetModel();
}

int ClipListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() || !clips_ ? 0 : static_cast<int>(clips_->size());
}

QVariant ClipListModel::data(const QModelIndex& index, int role) const {
    if (!clips_ || index.row() < 0 || index.row() >= static_cast<int>(clips_->size())) return {};
    const Clip& clip = (*clips_)[static_cast<std::size_t>(index.row())];
    switch (role) {
        case nameRole:
            return QString::fromStdString(clip.name());
        case kindRole:
            return clip.isAudio() ? tr("Audio at %1").arg(QString::fromStdString(timeLabel(clip.audioPosition())))
                                  : tr("Video");
        case trimRole:
            return QString::fromStdString(timeLabel(clip.start) + " – " + timeLabel(clip.end));
        case lengthRole:
            return QString::fromStdString(timeLabel(clip.duration()));
        default:
            return {};
    }
}

QHash<int, QByteArray> ClipListModel::roleNames() const {
    return {{nameRole, "name"}, {kindRole, "kind"}, {trimRole, "trim"}, {lengthRole, "length"}};
}

}  // namespace kelvane
