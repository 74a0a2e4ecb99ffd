#pragma once

#include <QObject>
#include <QPointer>
#include <QQuickItem>
#include <QQuickWindow>
#include <QRectF>
#include <QString>
#include <array>
#include <chrono>
#include <optional>

#include "HelpTip.h"
#include "Platform/MainContext.h"

namespace kelvane {

/// Which tip a window shows, and where: that of the control under the pointer, or of the one to which the keyboard has
/// gone. It comes after 0.6 s, or at once where another one was shown up to 0.3 s before, and goes when something is
/// pressed; it comes again when the control is left and entered anew. Controls that are disabled have theirs, too,
/// which says why while the window is at work. Draws nothing. The main thread.
class HelpTips final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool shown READ shown NOTIFY changed)
    /// What the control does, the key that does the same, and why it is dimmed; each empty where there is none.
    Q_PROPERTY(QString text READ text NOTIFY changed)
    Q_PROPERTY(QString key READ key NOTIFY changed)
    Q_PROPERTY(QString reason READ reason NOTIFY changed)
    /// The control's place in the window.
    Q_PROPERTY(QRectF target READ target NOTIFY changed)

public:
    static constexpr std::chrono::milliseconds delay{600};
    static constexpr std::chrono::milliseconds memory{300};

    explicit HelpTips(MainContext& context) : context_(context) {}

    [[nodiscard]] bool shown() const { return isShown_; }
    [[nodiscard]] QString text() const;
    [[nodiscard]] QString key() const;
    [[nodiscard]] QString reason() const;
    [[nodiscard]] QRectF target() const;
    /// Why controls are disabled now; empty where nothing is at work.
    void setBusyReason(const QString& reason);

    /// Follows the window of the item that shows the tips, and lays that over all else in it.
    Q_INVOKABLE void attach(QQuickItem* bubble);
    /// Where a bubble of that size stands that points at `target`: above it, or below where there is no room above, and
    /// within the window.
    Q_INVOKABLE static QPointF place(const QRectF& target, const QSizeF& bubble, const QSizeF& window);

Q_SIGNALS:
    void changed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void followPointer(QPointF point);
    void followFocus();
    void setTip(HelpTip* tip);
    void show();
    void hide();
    /// The control has been pressed.
    void dismiss();

    MainContext& context_;
    QPointer<QQuickWindow> window_;
    QPointer<QQuickItem> bubble_;
    QPointer<HelpTip> tip_;
    std::array<QMetaObject::Connection, 4> connections_;
    bool isShown_ = false;
    /// When one was in sight last.
    std::optional<std::chrono::nanoseconds> seen_;
    Timer timer_;
    QString busyReason_;
    /// The key pressed last is one that takes the focus elsewhere.
    bool travels_ = false;
};

/// The tip of what lies at `point` of the window: that of the uppermost item that takes part in hovering or pressing,
/// enabled or not, or of what that belongs to. Null where there is none. `ignored` and what it holds is looked through.
HelpTip* helpTipAt(const QQuickWindow& window, QPointF point, const QQuickItem* ignored = nullptr);

}  // namespace kelvane
