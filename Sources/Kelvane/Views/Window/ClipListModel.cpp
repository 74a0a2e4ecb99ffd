#include "ClipListModel.h"

#include "Timeline/TimeLabel.h"

namespace kelvane {

namespace {
enum Role { nameRole = Qt::UserRole + 1, kindRole, trimRole, lengthRole };
}

QVariant ClipListModel::data(const QModelIndex& index, int role) const {
    const Clip* clip = record(index.row());
    if (clip == nullptr) return {};
    switch (role) {
        case nameRole:
            return QString::fromStdString(clip->name());
        case kindRole:
            return clip->isAudio() ? tr("Audio at %1").arg(QString::fromStdString(timeLabel(clip->audioPosition())))
                                   : tr("Video");
        case trimRole:
            return QString::fromStdString(timeLabel(clip->start) + " – " + timeLabel(clip->end));
        case lengthRole:
            return QString::fromStdString(timeLabel(clip->duration()));
        default:
            return {};
    }
}

QHash<int, QByteArray> ClipListModel::roleNames() const {
    return {{nameRole, "name"}, {kindRole, "kind"}, {trimRole, "trim"}, {lengthRole, "length"}};
}

}  // namespace kelvane
