#pragma once

#include <QQuickItem>
#include <QString>

namespace kelvane {

/// Says, as a child of a control, what that does: "Play (Space)". Draws nothing; HelpTips shows it. The main thread.
class HelpTip : public QQuickItem {
    Q_OBJECT
    /// With the key that does the same in parentheses at its end, where there is one. Nothing is shown while it is
    /// empty.
    Q_PROPERTY(QString text READ text WRITE setText NOTIFY textChanged)

public:
    explicit HelpTip(QQuickItem* parent = nullptr) : QQuickItem(parent) {}

    [[nodiscard]] const QString& text() const { return text_; }
    void setText(const QString& text) {
        if (text == text_) return;
        text_ = text;
        Q_EMIT textChanged();
    }

    /// That of this item itself; null where it has none.
    static HelpTip* of(const QQuickItem& item);

Q_SIGNALS:
    void textChanged();

private:
    QString text_;
};

}  // namespace kelvane
