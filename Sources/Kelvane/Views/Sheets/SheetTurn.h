#pragma once

#include <QObject>
#include <QPointer>
#include <QQuickItem>
#include <QQuickWindow>
#include <vector>

namespace kelvane {

class SheetTurn;

/// Which sheets and alerts stand over one window, and where the keyboard's focus was before the first of them. Belongs
/// to its window. The main thread.
class SheetOrder final : public QObject {
    Q_OBJECT

public:
    /// The one of a window; made when it is first asked for.
    static SheetOrder& of(QQuickWindow& window);

    void add(SheetTurn& turn);
    void remove(SheetTurn& turn);
    /// Grants what may be shown now, in the order in which it was wanted.
    void grant();
    void opened(SheetTurn& turn);
    void closed(SheetTurn& turn);

private:
    explicit SheetOrder(QQuickWindow& window);

    void followFocus();
    /// Gives the focus back to what had it, where that still can take it.
    void returnFocus();
    [[nodiscard]] bool isAnyAlone() const;

    QQuickWindow& window_;
    /// All that may be shown, in the order of their wishes.
    std::vector<SheetTurn*> turns_;
    /// Those that stand over the window.
    std::vector<SheetTurn*> open_;
    /// What had the focus last outside of sheets and menus, and how it came to it.
    QPointer<QQuickItem> focused_;
    Qt::FocusReason reason_ = Qt::OtherFocusReason;
};

/// One sheet's or alert's turn at its window. An alert that the program raises waits while another one is open; sheets,
/// and questions that a person has led to, open at once. When the last one is gone, the focus returns to the control
/// that had it. The main thread.
class SheetTurn : public QObject {
    Q_OBJECT
    /// Something in the window; none means that nothing is granted.
    Q_PROPERTY(QQuickItem* place READ place WRITE setPlace NOTIFY placeChanged)
    /// Whether it is to be shown.
    Q_PROPERTY(bool wanted READ wanted WRITE setWanted NOTIFY wantedChanged)
    /// Whether it bears no other of its kind beside it: alerts.
    Q_PROPERTY(bool alone READ alone WRITE setAlone NOTIFY aloneChanged)
    /// Whether it may be shown now.
    Q_PROPERTY(bool granted READ granted NOTIFY grantedChanged)

public:
    explicit SheetTurn(QObject* parent = nullptr) : QObject(parent) {}
    ~SheetTurn() override;

    [[nodiscard]] QQuickItem* place() const { return place_; }
    void setPlace(QQuickItem* place);
    [[nodiscard]] bool wanted() const { return wanted_; }
    void setWanted(bool wanted);
    [[nodiscard]] bool alone() const { return alone_; }
    void setAlone(bool alone);
    [[nodiscard]] bool granted() const { return granted_; }
    /// Of the order.
    void setGranted(bool granted);

    /// It stands over the window from now on, whether it was granted or not.
    Q_INVOKABLE void enter();
    /// It is gone from there.
    Q_INVOKABLE void leave();

Q_SIGNALS:
    void placeChanged();
    void wantedChanged();
    void aloneChanged();
    void grantedChanged();

private:
    void join();

    QPointer<QQuickItem> place_;
    QMetaObject::Connection placement_;
    QPointer<SheetOrder> order_;
    bool wanted_ = false;
    bool alone_ = false;
    bool granted_ = false;
};

}  // namespace kelvane
