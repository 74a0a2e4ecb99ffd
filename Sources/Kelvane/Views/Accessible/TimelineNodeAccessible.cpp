#include "TimelineNodeAccessible.h"

#include <algorithm>
#include <cmath>

#include "AccessibleItems.h"
#include "TimelineAccessible.h"

namespace kelvane {

namespace {

using Kind = TimelineNode::Kind;

/// By what the actions change a clip's volume.
constexpr double volumeStep = 0.05;
/// What the ruler steps, seconds.
constexpr double seekStep = 1;
/// The range of a ruler over nothing, seconds: some readers divide by it.
constexpr double emptyRange = 0.001;

QString increaseVolume() { return QStringLiteral("Increase Volume"); }
QString decreaseVolume() { return QStringLiteral("Decrease Volume"); }

}  // namespace

const TimelineNodes& TimelineNodeAccessible::nodes() const { return timeline_.nodes(); }

QWindow* TimelineNodeAccessible::window() const { return timeline_.window(); }

QAccessibleInterface* TimelineNodeAccessible::parent() const {
    const auto above = nodes().parent(node_);
    return above ? timeline_.interfaceOf(*above) : const_cast<TimelineAccessible*>(&timeline_);
}

QAccessibleInterface* TimelineNodeAccessible::child(int index) const {
    const auto below = nodes().child(node_, index);
    return below ? timeline_.interfaceOf(*below) : nullptr;
}

int TimelineNodeAccessible::childCount() const { return nodes().childCount(node_); }

int TimelineNodeAccessible::indexOfChild(const QAccessibleInterface* child) const {
    const auto* below = dynamic_cast<const TimelineNodeAccessible*>(child);
    return below && nodes().parent(below->node()) == node_ ? nodes().indexOf(below->node()) : -1;
}

QAccessibleInterface* TimelineNodeAccessible::childAt(int x, int y) const {
    for (int index = childCount() - 1; index >= 0; --index) {
        const auto below = nodes().child(node_, index);
        if (!AccessibleItems::extentsOf(timeline_.surface(), nodes().frame(*below)).contains(x, y)) continue;
        auto* found = timeline_.interfaceOf(*below);
        auto* further = found->childAt(x, y);
        return further ? further : found;
    }
    return nullptr;
}

QString TimelineNodeAccessible::text(QAccessible::Text kind) const {
    if (kind == QAccessible::Name) return nodes().name(node_);
    const auto* clip = isClip() ? nodes().clip(node_) : nullptr;
    if (kind == QAccessible::Description && clip)
        return TimelineView::tr("Volume %1 percent").arg(std::lround(clip->volume * 100));
    if (kind == QAccessible::Help && clip) return TimelineView::tr("%1 seconds").arg(clip->duration(), 0, 'f', 1);
    if (kind == QAccessible::Description && isRuler())
        return TimelineView::tr(
            "Timeline ruler. Use left and right arrow keys to seek, or Enter to return to the beginning.");
    return {};
}

QRect TimelineNodeAccessible::rect() const {
    return AccessibleItems::extentsOf(timeline_.surface(), nodes().frame(node_));
}

QAccessible::Role TimelineNodeAccessible::role() const {
    switch (node_.kind) {
        case Kind::ruler:
            return QAccessible::Slider;
        case Kind::tick:
        case Kind::length:
        case Kind::hint:
            return QAccessible::StaticText;
        case Kind::rows:
        case Kind::row:
            return QAccessible::List;
        case Kind::clip:
            return QAccessible::ListItem;
        case Kind::playhead:
        case Kind::insertion:
        case Kind::snap:
        case Kind::marquee:
            return QAccessible::Graphic;
    }
    return QAccessible::NoRole;
}

QAccessible::State TimelineNodeAccessible::state() const {
    QAccessible::State state;
    const auto editor = view() ? view()->editor() : nullptr;
    state.invisible = !AccessibleItems::isShown(timeline_.surface()) || !nodes().exists(node_);
    state.offscreen = state.invisible || !nodes().isInSight(node_);
    if (isRuler()) state.disabled = !editor || editor->busy() || view()->empty();
    if (role() == QAccessible::StaticText) state.readOnly = true;
    if (!isClip() || !editor) return state;
    state.disabled = editor->busy();
    state.selectable = true;
    state.selected = editor->selectedClipIDs().contains(node_.clip);
    state.multiSelectable = true;
    state.focusable = true;
    state.focused = timeline_.surface().hasActiveFocus() && editor->selection() == node_.clip;
    return state;
}

void* TimelineNodeAccessible::interface_cast(QAccessible::InterfaceType type) {
    if (type == QAccessible::ActionInterface && (isClip() || isRuler()))
        return static_cast<QAccessibleActionInterface*>(this);
    if (type == QAccessible::ValueInterface && isRuler()) return static_cast<QAccessibleValueInterface*>(this);
    return QAccessibleInterface::interface_cast(type);
}

QStringList TimelineNodeAccessible::actionNames() const {
    if (isClip()) return {pressAction(), increaseVolume(), decreaseVolume(), setFocusAction()};
    if (isRuler()) return {increaseAction(), decreaseAction()};
    return {};
}

void TimelineNodeAccessible::doAction(const QString& name) {
    if (!view() || state().disabled) return;
    if (isClip()) actOnClip(name);
    if (!isRuler()) return;
    if (name == increaseAction()) view()->seekBy(seekStep);
    if (name == decreaseAction()) view()->seekBy(-seekStep);
}

void TimelineNodeAccessible::actOnClip(const QString& name) {
    const auto* clip = nodes().clip(node_);
    const auto editor = view()->editor();
    if (!clip || !editor) return;
    if (name == increaseVolume() || name == decreaseVolume()) {
        const double step = name == increaseVolume() ? volumeStep : -volumeStep;
        view()->setVolume(node_.clip, clip->volume + step);
        return;
    }
    if (name != pressAction() && name != setFocusAction()) return;
    timeline_.surface().forceActiveFocus(Qt::OtherFocusReason);
    editor->selectTimelineClip(UUID(node_.clip), {});
}

QVariant TimelineNodeAccessible::currentValue() const { return view() ? view()->position() : 0.0; }

void TimelineNodeAccessible::setCurrentValue(const QVariant& value) {
    bool isNumber = false;
    const double seconds = value.toDouble(&isNumber);
    if (!isNumber || !std::isfinite(seconds) || !view() || state().disabled) return;
    view()->seek(std::clamp(seconds, 0.0, view()->duration()));
}

QVariant TimelineNodeAccessible::maximumValue() const {
    return view() ? std::max(view()->duration(), emptyRange) : emptyRange;
}

QVariant TimelineNodeAccessible::minimumStepSize() const { return seekStep; }

}  // namespace kelvane
