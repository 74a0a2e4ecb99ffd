#pragma once

#include <QObject>
#include <QPointer>
#include <QQuickItem>
#include <QQuickWindow>
#include <vector>

namespace kelvane {

class SheetTurn;

/// What had the keyboard's focus, and how it came to it.
struct KeptFocus {
    QPointer<QQuickItem> item;
    Qt::FocusReason reason = Qt::OtherFocusReason;

    /// This one has it now.
    void follow(QQuickItem& next);
    /// Keeps how the item came to the focus, as long as it has it: what follows leaves a reason of its own.
    void keepReason();
    /// Gives the focus back as it came, where the item still can take it. False where it can't.
    bool giveBack() const;
};

/// Which sheets and alerts stand over one window, and where the keyboard's focus was below each of them. Belongs to its
/// window. The main thread.
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
    /// Gives the focus back to what had it in the uppermost sheet, or below them all where none is left.
    void returnFocus();
    [[nodiscard]] bool isAnyAlone() const;

    QQuickWindow& window_;
    /// All that may be shown, in the order of their wishes.
    std::vector<SheetTurn*> turns_;
    /// Those that stand over the window, the uppermost last.
    std::vector<SheetTurn*> open_;
    /// What had the focus last outside of sheets and menus.
    KeptFocus focused_;
};

/// One sheet's or alert's turn at its window. An alert that the program raises waits while another one is open; sheets,
/// and questions that a person has led to, open at once. When one is gone, the focus returns to the control that had it
/// in the sheet below, or in the window. The main thread.
class SheetTurn : public QObject {
    Q_OBJECT
    /// Something in the window; none means that nothing is granted.
    Q_PROPERTY(QQuickItem* place READ place WRITE setPlace NOTIFY placeChanged)
    /// What holds the sheet's controls, and has the keys where none of them has the focus.
    Q_PROPERTY(QQuickItem* content READ content WRITE setContent NOTIFY contentChanged)
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
    [[nodiscard]] QQuickItem* content() const { return content_; }
    void setContent(QQuickItem* content);
    [[nodiscard]] bool wanted() const { return wanted_; }
    void setWanted(bool wanted);
    [[nodiscard]] bool alone() const { return alone_; }
    void setAlone(bool alone);
    [[nodiscard]] bool granted() const { return granted_; }
    /// Of the order, as those that follow.
    void setGranted(bool granted);
    /// Remembers what has the focus if it is the sheet's.
    void followFocus(QQuickItem& item);
    /// Another one comes over it.
    void keepReason() { focused_.keepReason(); }
    /// It is the uppermost again.
    void returnFocus();

    /// It stands over the window from now on, whether it was granted or not.
    Q_INVOKABLE void enter();
    /// It is gone from there.
    Q_INVOKABLE void leave();

Q_SIGNALS:
    void placeChanged();
    void contentChanged();
    void wantedChanged();
    void aloneChanged();
    void grantedChanged();

private:
    void join();

    QPointer<QQuickItem> place_;
    QPointer<QQuickItem> content_;
    KeptFocus focused_;
    QMetaObject::Connection placement_;
    QPointer<SheetOrder> order_;
    bool wanted_ = false;
    bool alone_ = false;
    bool granted_ = false;
};

}  // namespace kelvane
