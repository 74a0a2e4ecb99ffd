#pragma once

#include <QObject>
#include <QStringList>

#include "ShortcutListModel.h"

namespace kelvane {

/// What the sheets of help in one window show: the keys, and what the program is; draws nothing. The main thread.
class HelpView final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool showsShortcuts READ showsShortcuts NOTIFY changed)
    Q_PROPERTY(bool showsAbout READ showsAbout NOTIFY changed)
    Q_PROPERTY(QAbstractItemModel* shortcuts READ shortcuts CONSTANT)
    Q_PROPERTY(QString version READ version CONSTANT)
    Q_PROPERTY(QString licence READ licence CONSTANT)
    /// Names of the libraries that the program is built with, and their licences in the same order.
    Q_PROPERTY(QStringList libraries READ libraries CONSTANT)
    Q_PROPERTY(QStringList licences READ licences CONSTANT)

public:
    [[nodiscard]] bool showsShortcuts() const { return shown_ == Sheet::shortcuts; }
    [[nodiscard]] bool showsAbout() const { return shown_ == Sheet::about; }
    [[nodiscard]] QAbstractItemModel* shortcuts() { return &shortcuts_; }
    /// "Version 1.2.3".
    [[nodiscard]] static QString version();
    [[nodiscard]] static QString licence();
    [[nodiscard]] static QStringList libraries();
    [[nodiscard]] static QStringList licences();

    // One sheet at a time.
    Q_INVOKABLE void showShortcuts() { show(Sheet::shortcuts); }
    Q_INVOKABLE void showAbout() { show(Sheet::about); }
    Q_INVOKABLE void dismiss() { show(Sheet::none); }

Q_SIGNALS:
    void changed();

private:
    enum class Sheet : std::uint8_t { none, shortcuts, about };

    void show(Sheet sheet);

    Sheet shown_ = Sheet::none;
    ShortcutListModel shortcuts_;
};

}  // namespace kelvane
