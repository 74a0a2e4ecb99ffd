#include "TimelineAccessible.h"

#include <algorithm>
#include <chrono>
#include <iterator>

#include "AccessibleEvents.h"
#include "AccessibleItems.h"
#include "TimelineNodeAccessible.h"
#include "Views/Timeline/Drawing/TimelinePainter.h"

namespace kelvane {

namespace {

using Kind = TimelineNode::Kind;
using namespace std::chrono_literals;

/// The playhead has come to rest when it hasn't moved for so long: longer than between two presses of a held key.
constexpr auto rest = 300ms;
/// More clips that change at once are told of by their rows alone.
constexpr std::size_t mostTold = 64;

}  // namespace

TimelineAccessible::TimelineAccessible(TimelineSurface& surface)
    : ItemAccessible(surface), surface_(surface), nodes_(surface) {
    QObject::connect(&surface, &QQuickItem::activeFocusChanged, &self_, [this] { followFocus(); });
    QObject::connect(&surface, &TimelineSurface::viewChanged, &self_, [this] { followView(); });
    followView();
}

TimelineAccessible::~TimelineAccessible() { forgetAll(); }

void TimelineAccessible::followView() {
    forgetAll();
    rest_.cancel();
    auto* view = surface_.view();
    nodes_.setView(view);
    listener_ = std::make_unique<QObject>();
    if (!view) return;
    auto* listener = listener_.get();
    QObject::connect(view, &TimelineView::contentChanged, listener, [this] { followContent(); });
    QObject::connect(view, &TimelineView::selectionChanged, listener, [this] { followSelection(); });
    QObject::connect(view, &TimelineView::gestureChanged, listener, [this] { followGesture(); });
    QObject::connect(view, &TimelineView::positionChanged, listener, [this] { followPosition(); });
    QObject::connect(view, &TimelineView::scrolled, listener, [this] { followPosition(); });
    // A tick of another scale is another one.
    QObject::connect(view, &TimelineView::scaleChanged, listener, [this] { forgetTicks(); });
}

// The tree.

QAccessibleInterface* TimelineAccessible::interfaceOf(const TimelineNode& node) const {
    if (const auto found = ids_.find(node); found != ids_.end()) return QAccessible::accessibleInterface(found->second);
    if (!nodes_.exists(node)) return nullptr;
    if (node.kind == Kind::rows) {
        learnClips();
        selected_ = selected();
    }
    auto* made = new TimelineNodeAccessible(*this, node);
    if (node.kind == Kind::clip && !nodes_.isInSight(node)) outOfSight_.insert(node.clip);
    ids_[node] = QAccessible::registerAccessibleInterface(made);
    return made;
}

QAccessibleInterface* TimelineAccessible::child(int index) const {
    const auto top = nodes_.top();
    if (index < 0) return nullptr;
    if (index < std::ssize(top)) return interfaceOf(top[static_cast<std::size_t>(index)]);
    return ItemAccessible::child(index - static_cast<int>(top.size()));
}

int TimelineAccessible::childCount() const {
    return static_cast<int>(nodes_.top().size()) + ItemAccessible::childCount();
}

int TimelineAccessible::indexOfChild(const QAccessibleInterface* child) const {
    if (const auto* node = dynamic_cast<const TimelineNodeAccessible*>(child))
        return nodes_.parent(node->node()) ? -1 : nodes_.indexOf(node->node());
    const int index = ItemAccessible::indexOfChild(child);
    return index < 0 ? index : index + static_cast<int>(nodes_.top().size());
}

QAccessibleInterface* TimelineAccessible::childAt(int x, int y) const {
    if (!rect().contains(x, y)) return nullptr;
    if (auto* item = ItemAccessible::childAt(x, y)) return item;
    const auto top = nodes_.top();
    for (auto node = top.rbegin(); node != top.rend(); ++node) {
        if (!AccessibleItems::extentsOf(surface_, nodes_.frame(*node)).contains(x, y)) continue;
        auto* found = interfaceOf(*node);
        auto* below = found->childAt(x, y);
        return below ? below : found;
    }
    return nullptr;
}

QAccessibleInterface* TimelineAccessible::focusChild() const {
    const auto editor = nodes_.view() ? nodes_.view()->editor() : nullptr;
    if (!editor || !surface_.hasActiveFocus() || !editor->selection()) return nullptr;
    return interfaceOf({Kind::clip, 0, *editor->selection()});
}

// What is told.

void TimelineAccessible::forget(const TimelineNode& node) {
    const auto found = ids_.find(node);
    if (found == ids_.end()) return;
    const auto id = found->second;
    ids_.erase(found);
    if (node.kind == Kind::clip) outOfSight_.erase(node.clip);
    QAccessible::deleteAccessibleInterface(id);
}

void TimelineAccessible::forgetGone(Kind kind) {
    std::vector<TimelineNode> gone;
    for (const auto& [node, id] : ids_)
        if (node.kind == kind && !nodes_.exists(node)) gone.push_back(node);
    for (const auto& node : gone) forget(node);
}

void TimelineAccessible::forgetTicks() {
    while (true) {
        const auto tick = std::ranges::find(ids_, Kind::tick, [](const auto& entry) { return entry.first.kind; });
        if (tick == ids_.end()) return;
        forget(TimelineNode(tick->first));
    }
}

void TimelineAccessible::forgetAll() {
    while (!ids_.empty()) forget(TimelineNode(ids_.begin()->first));
    known_.clear();
    marks_.clear();
    selected_.clear();
    primary_.reset();
}

void TimelineAccessible::tell(const TimelineNode& node, QAccessible::Event event) const {
    auto* told = interfaceOf(node);
    if (!told || !AccessibleEvents::isHeard()) return;
    QAccessibleEvent happened(told, event);
    AccessibleEvents::send(happened);
}

void TimelineAccessible::learnClips() const {
    known_.clear();
    for (const auto& clip : nodes_.view()->displayedClips()) known_[clip.id] = clip.volume;
}

void TimelineAccessible::followContent() {
    nodes_.contentChanged();
    // The length of a clip goes before its clip.
    followGesture();
    if (!ids_.contains({Kind::rows})) return;
    const auto before = known_;
    learnClips();
    if (AccessibleEvents::isHeard()) tellContent(before);
    tellLength();
    for (const auto kind : {Kind::clip, Kind::row}) forgetGone(kind);
}

void TimelineAccessible::tellContent(const std::map<UUID, double>& before) {
    std::vector<TimelineNode> added;
    std::vector<TimelineNode> removed;
    for (const auto& [id, volume] : known_) {
        const auto was = before.find(id);
        if (was == before.end())
            added.push_back({Kind::clip, 0, id});
        else if (was->second != volume && ids_.contains({Kind::clip, 0, id}))
            tell({Kind::clip, 0, id}, QAccessible::DescriptionChanged);
    }
    for (const auto& [id, volume] : before)
        if (!known_.contains(id)) removed.push_back({Kind::clip, 0, id});
    if (added.size() + removed.size() > mostTold) {
        tell({Kind::rows}, QAccessible::ObjectReorder);
        return;
    }
    for (const auto& node : removed)
        if (ids_.contains(node)) tell(node, QAccessible::ObjectDestroyed);
    for (const auto& node : added) tell(node, QAccessible::ObjectCreated);
}

std::set<UUID> TimelineAccessible::selected() const {
    const auto editor = nodes_.view() ? nodes_.view()->editor() : nullptr;
    return editor ? editor->selectedClipIDs() : std::set<UUID>();
}

void TimelineAccessible::followSelection() {
    if (!AccessibleEvents::isHeard()) return;
    const auto before = std::exchange(selected_, selected());
    std::vector<UUID> changed;
    std::ranges::set_symmetric_difference(before, selected_, std::back_inserter(changed));
    if (changed.size() > mostTold)
        tell({Kind::rows}, QAccessible::SelectionWithin);
    else
        for (const auto& id : changed)
            tell({Kind::clip, 0, id},
                 selected_.contains(id) ? QAccessible::SelectionAdd : QAccessible::SelectionRemove);
    const auto editor = nodes_.view()->editor();
    const auto primary = editor ? editor->selection() : std::nullopt;
    if (primary == std::exchange(primary_, primary) || !primary || !surface_.hasActiveFocus()) return;
    tell({Kind::clip, 0, *primary}, QAccessible::Focus);
}

void TimelineAccessible::followFocus() {
    const auto editor = nodes_.view() ? nodes_.view()->editor() : nullptr;
    if (!AccessibleEvents::isHeard() || !editor || !editor->selection() || !surface_.hasActiveFocus()) return;
    primary_ = editor->selection();
    tell({Kind::clip, 0, *primary_}, QAccessible::Focus);
}

std::set<TimelineNode> TimelineAccessible::marks() const {
    std::set<TimelineNode> marks;
    for (const auto& node : nodes_.top())
        if (node.kind == Kind::insertion || node.kind == Kind::snap || node.kind == Kind::marquee) marks.insert(node);
    const auto measured = TimelinePainter::measuredClip(*nodes_.view());
    if (!measured || !ids_.contains({Kind::clip, 0, *measured})) return marks;
    const TimelineNode length{Kind::length, 0, *measured};
    if (nodes_.exists(length)) marks.insert(length);
    return marks;
}

void TimelineAccessible::followGesture() {
    if (AccessibleEvents::isHeard()) {
        const auto before = std::exchange(marks_, marks());
        for (const auto& node : marks_) {
            if (before.contains(node)) continue;
            if (node.kind == Kind::length) length_ = nodes_.name(node);
            tell(node, QAccessible::ObjectCreated);
        }
        for (const auto& node : before) {
            if (marks_.contains(node)) continue;
            tell(node, QAccessible::ObjectDestroyed);
            forget(node);
        }
    }
    forgetGone(Kind::length);
}

void TimelineAccessible::tellLength() {
    const auto length = std::ranges::find(marks_, Kind::length, &TimelineNode::kind);
    if (length == marks_.end() || !nodes_.exists(*length)) return;
    if (std::exchange(length_, nodes_.name(*length)) != nodes_.name(*length)) tell(*length, QAccessible::NameChanged);
}

void TimelineAccessible::followPosition() {
    // While it plays, the playhead is silent, also right behind.
    const auto editor = nodes_.view()->editor();
    if (!AccessibleEvents::isHeard() || !editor || editor->isPlaying() || editor->isRecording())
        rest_.cancel();
    else
        rest_ = nodes_.view()->context().after(rest, [this] { tellRest(); });
}

void TimelineAccessible::tellRest() {
    if (!AccessibleEvents::isHeard() || !nodes_.view()) return;
    const double position = nodes_.view()->position();
    const auto ruler = ids_.find({Kind::ruler});
    if (ruler != ids_.end() && std::exchange(position_, position) != position) {
        QAccessibleValueChangeEvent event(QAccessible::accessibleInterface(ruler->second), position);
        AccessibleEvents::send(event);
    }
    std::vector<TimelineNode> clips;
    for (const auto& [node, id] : ids_)
        if (node.kind == Kind::clip && nodes_.isInSight(node) == outOfSight_.contains(node.clip)) clips.push_back(node);
    for (const auto& node : clips) {
        const bool isHidden = outOfSight_.erase(node.clip) == 0;
        if (isHidden) outOfSight_.insert(node.clip);
        tell(node, isHidden ? QAccessible::ObjectHide : QAccessible::ObjectShow);
    }
}

}  // namespace kelvane
