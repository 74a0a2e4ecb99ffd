#pragma once

#include <QPointer>
#include <QQmlListProperty>
#include <QQuickItem>
#include <QQuickWindow>

namespace kelvane {

/// Where the keyboard is in a window, and how it goes from pane to pane. Shows nothing; it stands among the items of
/// its window. The main thread.
class PaneFocus : public QQuickItem {
    Q_OBJECT
    /// The panes of the window in their order; those that aren't shown, or hold nothing for the keyboard, are passed
    /// over.
    Q_PROPERTY(QQmlListProperty<QQuickItem> panes READ panes CONSTANT)
    /// What has the keyboard next where what had it is hidden and its pane names nothing else, as a property "resting".
    Q_PROPERTY(QQuickItem* resting MEMBER resting_)
    /// Whether a text field has the keyboard.
    Q_PROPERTY(bool typing READ typing NOTIFY typingChanged)

public:
    explicit PaneFocus(QQuickItem* parent = nullptr);

    [[nodiscard]] QQmlListProperty<QQuickItem> panes() { return {this, &panes_}; }
    [[nodiscard]] bool typing() const { return typing_; }

    /// Takes the keyboard to the next pane, from none or the last to the first, or with a step of -1 the other way. A
    /// pane that had it before gives it to the same control.
    Q_INVOKABLE void go(int step);
    /// Takes the keyboard to a pane. False where nothing in it can have it.
    Q_INVOKABLE bool enter(QQuickItem* pane);

    bool eventFilter(QObject* object, QEvent* event) override;

Q_SIGNALS:
    void typingChanged();
    /// Alt was pressed and let go of alone.
    void altPressed();

protected:
    void itemChange(ItemChange change, const ItemChangeData& data) override;

private:
    void followFocus();
    /// Takes the keyboard away from what is hidden, which would keep it to itself.
    void leaveHidden();

    QList<QQuickItem*> panes_;
    QPointer<QQuickWindow> window_;
    QPointer<QQuickItem> resting_;
    /// What has the keyboard, or had it until it was disabled and may have it again.
    QPointer<QQuickItem> focused_;
    QMetaObject::Connection hiding_;
    bool typing_ = false;
    /// Alt is down, and nothing else has happened since.
    bool isAltAlone_ = false;
};

}  // namespace kelvane
