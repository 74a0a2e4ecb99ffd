#pragma once

#include <QAbstractListModel>
#include <QString>
#include <vector>

namespace kelvane {

/// A row of the help on keys, for a person.
struct ShortcutRow {
    QString heading;
    /// "Ctrl+Shift+Z or Ctrl+Y".
    QString keys;
    QString what;
    bool operator==(const ShortcutRow&) const = default;
};

/// All keys of the window by what they do, those of one heading together, headings in the order in which the commands
/// bring them up.
std::vector<ShortcutRow> shortcutRows();

/// The same for a list. Constant. The main thread.
class ShortcutListModel final : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role : std::uint16_t { heading = Qt::UserRole, keys, what };

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

private:
    std::vector<ShortcutRow> rows_ = shortcutRows();
};

}  // namespace kelvane
