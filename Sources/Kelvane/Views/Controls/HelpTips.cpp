#include "HelpTips.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QRegularExpression>
#include <algorithm>

namespace kelvane {

namespace {

/// Points between a control and its tip, and at least between that and the window's edges.
constexpr double gap = 6;
/// Above all that a window shows, popups too.
constexpr double uppermost = 10'000'000;

/// "Play (Space)" as what it does and its key.
std::pair<QString, QString> parted(const QString& text) {
    static const QRegularExpression pattern(QStringLiteral(R"(^(.*) \(([^()]+)\)$)"));
    const auto match = pattern.match(text);
    return match.hasMatch() ? std::pair(match.captured(1), match.captured(2)) : std::pair(text, QString());
}

bool takesPart(const QQuickItem& item) {
    return item.acceptHoverEvents() || item.acceptedMouseButtons() != Qt::NoButton || HelpTip::of(item) != nullptr;
}

const QQuickItem* uppermostAt(const QQuickItem& item, QPointF scenePoint, const QQuickItem* ignored) {
    if (&item == ignored || !item.isVisible() || item.opacity() <= 0) return nullptr;
    const bool isInside = item.contains(item.mapFromScene(scenePoint));
    if (item.clip() && !isInside) return nullptr;
    auto children = item.childItems();
    std::ranges::stable_sort(children, {}, &QQuickItem::z);
    const auto find = [&](bool isBehind) -> const QQuickItem* {
        for (auto child = children.crbegin(); child != children.crend(); ++child) {
            if (((*child)->z() < 0) != isBehind) continue;
            if (const auto* found = uppermostAt(**child, scenePoint, ignored)) return found;
        }
        return nullptr;
    };
    if (const auto* found = find(false)) return found;
    if (isInside && takesPart(item)) return &item;
    return find(true);
}

bool isTravelKey(int key) {
    switch (key) {
        case Qt::Key_Tab:
        case Qt::Key_Backtab:
        case Qt::Key_F6:
        case Qt::Key_Left:
        case Qt::Key_Right:
        case Qt::Key_Up:
        case Qt::Key_Down:
            return true;
        default:
            return false;
    }
}

}  // namespace

HelpTip* HelpTip::of(const QQuickItem& item) {
    for (QQuickItem* child : item.childItems())
        if (auto* tip = qobject_cast<HelpTip*>(child)) return tip;
    return nullptr;
}

HelpTip* helpTipAt(const QQuickWindow& window, QPointF point, const QQuickItem* ignored) {
    for (const QQuickItem* item = uppermostAt(*window.contentItem(), point, ignored); item != nullptr;
         item = item->parentItem())
        if (HelpTip* tip = HelpTip::of(*item)) return tip;
    return nullptr;
}

QString HelpTips::text() const { return tip_ ? parted(tip_->text()).first : QString(); }

QString HelpTips::key() const { return tip_ ? parted(tip_->text()).second : QString(); }

QString HelpTips::reason() const { return tip_ && !tip_->isEnabled() ? busyReason_ : QString(); }

QRectF HelpTips::target() const {
    const QQuickItem* control = tip_ ? tip_->parentItem() : nullptr;
    return control ? control->mapRectToScene({0, 0, control->width(), control->height()}) : QRectF();
}

void HelpTips::setBusyReason(const QString& reason) {
    if (std::exchange(busyReason_, reason) != reason && isShown_) Q_EMIT changed();
}

void HelpTips::attach(QQuickItem* bubble) {
    if (window_) {
        window_->removeEventFilter(this);
        window_->disconnect(this);
    }
    bubble_ = bubble;
    window_ = bubble ? bubble->window() : nullptr;
    if (!window_) return;
    bubble->setParentItem(window_->contentItem());
    bubble->setZ(uppermost);
    window_->installEventFilter(this);
    connect(window_, &QQuickWindow::activeFocusItemChanged, this, &HelpTips::followFocus);
}

QPointF HelpTips::place(const QRectF& target, const QSizeF& bubble, const QSizeF& window) {
    const double above = target.top() - gap - bubble.height();
    const double rightmost = window.width() - gap - bubble.width();
    return {std::max(gap, std::min(target.center().x() - bubble.width() / 2, rightmost)),
            above >= gap ? above : target.bottom() + gap};
}

bool HelpTips::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
        case QEvent::MouseMove: {
            const auto& moved = static_cast<const QMouseEvent&>(*event);
            // Fingers hover over nothing, and a drag is a press that goes on.
            if (moved.buttons() == Qt::NoButton && moved.source() == Qt::MouseEventNotSynthesized)
                followPointer(moved.position());
            break;
        }
        case QEvent::Leave:
        case QEvent::Hide:
        case QEvent::FocusOut:
            setTip(nullptr);
            break;
        case QEvent::ShortcutOverride:
        case QEvent::KeyPress:
            travels_ = isTravelKey(static_cast<const QKeyEvent&>(*event).key());
            if (travels_)
                hide();
            else
                dismiss();
            break;
        case QEvent::MouseButtonPress:
        case QEvent::TouchBegin:
        case QEvent::Wheel:
            travels_ = false;
            dismiss();
            break;
        default:
            break;
    }
    return QObject::eventFilter(watched, event);
}

void HelpTips::followPointer(QPointF point) { setTip(helpTipAt(*window_, point, bubble_)); }

void HelpTips::followFocus() {
    const QQuickItem* item = window_ ? window_->activeFocusItem() : nullptr;
    if (item != nullptr && travels_) setTip(HelpTip::of(*item));
}

void HelpTips::setTip(HelpTip* tip) {
    if (tip == tip_) return;
    hide();
    for (const auto& connection : connections_) disconnect(connection);
    tip_ = tip;
    if (tip == nullptr) return;
    const auto refresh = [this] {
        if (isShown_) Q_EMIT changed();
    };
    connections_ = {connect(tip, &HelpTip::textChanged, this, refresh),
                    connect(tip, &QQuickItem::enabledChanged, this, refresh),
                    connect(tip->parentItem(), &QQuickItem::visibleChanged, this, [this] { setTip(nullptr); }),
                    connect(tip, &QObject::destroyed, this, &HelpTips::hide)};
    const bool isNeighbour = seen_ && context_.now() - *seen_ <= memory;
    if (isNeighbour)
        show();
    else
        timer_ = context_.after(delay, [this] { show(); });
}

void HelpTips::show() {
    if (!tip_ || (text().isEmpty() && reason().isEmpty())) return;
    isShown_ = true;
    Q_EMIT changed();
}

void HelpTips::hide() {
    timer_.cancel();
    if (!std::exchange(isShown_, false)) return;
    seen_ = context_.now();
    Q_EMIT changed();
}

void HelpTips::dismiss() {
    hide();
    // What was pressed says no more; its neighbours wait as if none had been shown.
    seen_.reset();
}

}  // namespace kelvane
