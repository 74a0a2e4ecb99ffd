#include "ShortcutListModel.h"

#include <QObject>
#include <algorithm>

#include "Views/Window/CommandTable.h"

namespace kelvane {

namespace {

/// Keys as they stand on a keyboard, and "or" between those that do the same.
QString wordedKeys(const QString& keys) {
    QStringList words = keys.split(' ', Qt::SkipEmptyParts);
    for (QString& word : words) {
        word.replace(QStringLiteral("PgDown"), QObject::tr("Page Down"));
        word.replace(QStringLiteral("PgUp"), QObject::tr("Page Up"));
    }
    return words.join(QObject::tr(" or "));
}

}  // namespace

std::vector<ShortcutRow> shortcutRows() {
    std::vector<ShortcutRow> rows;
    for (const Command& command : commandTable())
        if (*command.keys != '\0')
            rows.push_back({QObject::tr(command.heading), wordedKeys(QString::fromUtf8(command.keys)),
                            QObject::tr(command.title).remove(QChar(u'…'))});
    for (const FixedKey& key : fixedKeys())
        rows.push_back({QObject::tr(key.heading), wordedKeys(QString::fromUtf8(key.keys)), QObject::tr(key.what)});
    std::vector<QString> headings;
    for (const ShortcutRow& row : rows)
        if (std::ranges::find(headings, row.heading) == headings.end()) headings.push_back(row.heading);
    const auto place = [&headings](const ShortcutRow& row) { return std::ranges::find(headings, row.heading); };
    std::ranges::stable_sort(rows, {}, place);
    return rows;
}

int ShortcutListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant ShortcutListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
    const ShortcutRow& row = rows_[static_cast<std::size_t>(index.row())];
    switch (role) {
        case heading:
            return row.heading;
        case keys:
            return row.keys;
        case what:
            return row.what;
        default:
            return {};
    }
}

QHash<int, QByteArray> ShortcutListModel::roleNames() const {
    return {{heading, "heading"}, {keys, "keys"}, {what, "what"}};
}

}  // namespace kelvane
