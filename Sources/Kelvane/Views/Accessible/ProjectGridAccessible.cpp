#include "ProjectGridAccessible.h"

#include <algorithm>
#include <array>
#include <vector>

#include "AccessibleItems.h"

namespace kelvane {

namespace {

using Kind = ProjectNode::Kind;

constexpr std::array parts = {Kind::name, Kind::length, Kind::date, Kind::actions};

/// More rows that change at once are told of by the list alone.
constexpr int mostTold = 64;

// What a card is drawn as, in points from its upper left corner.
constexpr double textLeft = 110;
constexpr double textRight = 40;
constexpr QSizeF buttonSize{26, 26};
constexpr QPointF buttonInset{8, 10};

}  // namespace

ProjectGridAccessible::ProjectGridAccessible(ProjectGrid& grid) : ItemAccessible(grid), grid_(grid) {
    auto* listener = listener_.get();
    QObject::connect(&grid, &ProjectGrid::viewChanged, listener, [this] { followView(); });
    QObject::connect(&grid, &ProjectGrid::currentChanged, listener, [this] { followCurrent(); });
    QObject::connect(&grid, &QQuickItem::activeFocusChanged, listener, [this] { followCurrent(); });
    followView();
}

ProjectGridAccessible::~ProjectGridAccessible() {
    listener_.reset();
    while (!ids_.empty()) forget(ProjectNode(ids_.begin()->first));
}

void ProjectGridAccessible::followView() {
    if (!grid_.view()) return;
    auto* rows = grid_.view()->projects();
    auto* listener = listener_.get();
    QObject::connect(rows, &QAbstractItemModel::rowsInserted, listener, [this] { followRows(); });
    QObject::connect(rows, &QAbstractItemModel::rowsRemoved, listener, [this] { followRows(); });
    QObject::connect(rows, &QAbstractItemModel::rowsMoved, listener, [this] { followRows(); });
    QObject::connect(
        rows, &QAbstractItemModel::dataChanged, listener,
        [this](const QModelIndex& first, const QModelIndex& last) { tellChanged(first.row(), last.row()); });
    QObject::connect(grid_.view(), &ProjectsHomeView::renamingChanged, listener, [this] { followRows(); });
}

int ProjectGridAccessible::rowOf(const ProjectNode& node) const {
    return grid_.view() ? grid_.view()->projects()->rowOf(node.project) : -1;
}

bool ProjectGridAccessible::isRenamed(const UUID& project) const {
    return grid_.view() && grid_.view()->renamingProjectID() == QString::fromStdString(project.upper());
}

QRectF ProjectGridAccessible::frame(const ProjectNode& node) const {
    const int row = rowOf(node);
    if (row < 0) return {};
    const QRectF card = grid_.frame(row);
    const QPointF text(card.left() + textLeft, card.top());
    const double width = card.width() - textRight - textLeft;
    switch (node.kind) {
        case Kind::card:
            return card;
        case Kind::name:
            return {text.x(), text.y() + 16, width, 40};
        case Kind::length:
            return {text.x(), text.y() + 116, width, 18};
        case Kind::date:
            return {text.x(), text.y() + 136, width, 16};
        case Kind::actions:
            return {{card.right() - buttonInset.x() - buttonSize.width(), card.top() + buttonInset.y()}, buttonSize};
    }
    return {};
}

QAccessibleInterface* ProjectGridAccessible::interfaceOf(const ProjectNode& node) const {
    if (const auto found = ids_.find(node); found != ids_.end()) return QAccessible::accessibleInterface(found->second);
    if (rowOf(node) < 0) return nullptr;
    auto* made = new ProjectNodeAccessible(*this, node);
    ids_[node] = QAccessible::registerAccessibleInterface(made);
    return made;
}

QAccessibleInterface* ProjectGridAccessible::child(int index) const {
    const int cards = grid_.count();
    if (index < 0) return nullptr;
    if (index >= cards) return ItemAccessible::child(index - cards);
    const auto project = grid_.view()->projects()->at(index);
    return project ? interfaceOf({project->id, Kind::card}) : nullptr;
}

int ProjectGridAccessible::childCount() const { return grid_.count() + ItemAccessible::childCount(); }

int ProjectGridAccessible::indexOfChild(const QAccessibleInterface* child) const {
    if (const auto* node = dynamic_cast<const ProjectNodeAccessible*>(child))
        return node->node().kind == Kind::card ? rowOf(node->node()) : -1;
    const int index = ItemAccessible::indexOfChild(child);
    return index < 0 ? index : index + grid_.count();
}

QAccessibleInterface* ProjectGridAccessible::childAt(int x, int y) const {
    if (!rect().contains(x, y)) return nullptr;
    if (auto* item = ItemAccessible::childAt(x, y)) return item;
    for (int row = 0; row < grid_.count(); ++row) {
        if (!AccessibleItems::extentsOf(grid_, grid_.frame(row)).contains(x, y)) continue;
        auto* card = child(row);
        auto* part = card->childAt(x, y);
        return part ? part : card;
    }
    return nullptr;
}

QAccessibleInterface* ProjectGridAccessible::focusChild() const {
    const auto project = grid_.view() ? grid_.view()->projects()->at(grid_.current()) : std::nullopt;
    return project && grid_.hasActiveFocus() ? interfaceOf({project->id, Kind::card}) : nullptr;
}

void ProjectGridAccessible::tell(const ProjectNode& node, QAccessible::Event event) const {
    auto* told = interfaceOf(node);
    if (!told || !QAccessible::isActive()) return;
    QAccessibleEvent happened(told, event);
    QAccessible::updateAccessibility(&happened);
}

void ProjectGridAccessible::forget(const ProjectNode& node) {
    const auto found = ids_.find(node);
    if (found == ids_.end()) return;
    const auto id = found->second;
    ids_.erase(found);
    QAccessible::deleteAccessibleInterface(id);
}

void ProjectGridAccessible::followRows() {
    std::vector<ProjectNode> gone;
    for (const auto& [node, id] : ids_)
        if (rowOf(node) < 0) gone.push_back(node);
    for (const auto& node : gone) forget(node);
    if (!QAccessible::isActive()) return;
    QAccessibleEvent happened(&grid_, QAccessible::ObjectReorder);
    QAccessible::updateAccessibility(&happened);
}

void ProjectGridAccessible::tellChanged(int first, int last) {
    if (!QAccessible::isActive() || last - first >= mostTold) return;
    for (int row = first; row <= last; ++row) {
        const auto project = grid_.view()->projects()->at(row);
        if (!project || !ids_.contains({project->id, Kind::card})) continue;
        tell({project->id, Kind::card}, QAccessible::DescriptionChanged);
        for (const auto part : parts)
            if (ids_.contains({project->id, part})) tell({project->id, part}, QAccessible::NameChanged);
    }
}

void ProjectGridAccessible::followCurrent() {
    const auto project = grid_.view() ? grid_.view()->projects()->at(grid_.current()) : std::nullopt;
    if (project && grid_.hasActiveFocus()) tell({project->id, Kind::card}, QAccessible::Focus);
}

QAccessibleInterface* ProjectNodeAccessible::parent() const {
    return isCard() ? const_cast<ProjectGridAccessible*>(&grid_) : grid_.interfaceOf({node_.project, Kind::card});
}

QAccessibleInterface* ProjectNodeAccessible::child(int index) const {
    if (index < 0 || index >= childCount()) return nullptr;
    return grid_.interfaceOf({node_.project, parts[static_cast<std::size_t>(index + firstPart())]});
}

int ProjectNodeAccessible::indexOfChild(const QAccessibleInterface* child) const {
    const auto* part = dynamic_cast<const ProjectNodeAccessible*>(child);
    if (!part || !isCard() || part->node().project != node_.project || part->isCard()) return -1;
    return std::max(static_cast<int>(part->node().kind) - static_cast<int>(Kind::name) - firstPart(), -1);
}

QAccessibleInterface* ProjectNodeAccessible::childAt(int x, int y) const {
    for (int index = 0; index < childCount(); ++index) {
        auto* part = child(index);
        if (part && part->rect().contains(x, y)) return part;
    }
    return nullptr;
}

QString ProjectNodeAccessible::value(const char* role) const {
    const auto* rows = grid_.grid().view()->projects();
    return rows->data(rows->index(grid_.rowOf(node_)), rows->roleNames().key(role)).toString();
}

QString ProjectNodeAccessible::text(QAccessible::Text kind) const {
    if (grid_.rowOf(node_) < 0) return {};
    if (kind == QAccessible::Description || kind == QAccessible::Help) {
        if (isCard()) return kind == QAccessible::Description ? value("name") : QString();
        return node_.kind == Kind::actions ? ProjectsHomeView::tr("Project actions") : QString();
    }
    if (kind != QAccessible::Name) return {};
    switch (node_.kind) {
        case Kind::card:
            return ProjectsHomeView::tr("Open project");
        case Kind::name:
            return value("name");
        case Kind::length:
            return value("length");
        case Kind::date:
            return value("modified");
        case Kind::actions:
            return ProjectsHomeView::tr("Actions for %1").arg(value("name"));
    }
    return {};
}

QRect ProjectNodeAccessible::rect() const { return AccessibleItems::extentsOf(grid_.grid(), grid_.frame(node_)); }

QAccessible::Role ProjectNodeAccessible::role() const {
    return isButton() ? QAccessible::PushButton : QAccessible::StaticText;
}

QAccessible::State ProjectNodeAccessible::state() const {
    QAccessible::State state;
    const ProjectGrid& grid = grid_.grid();
    const bool isReplaced = node_.kind == Kind::name && grid_.isRenamed(node_.project);
    state.invisible = isReplaced || !AccessibleItems::isShown(grid) || grid_.rowOf(node_) < 0;
    state.offscreen = state.invisible || !AccessibleItems::isInSight(grid, grid_.frame(node_));
    state.readOnly = !isButton();
    state.focusable = isCard();
    state.focused = isCard() && grid.hasActiveFocus() && grid.current() == grid_.rowOf(node_);
    state.hasPopup = node_.kind == Kind::actions;
    return state;
}

void* ProjectNodeAccessible::interface_cast(QAccessible::InterfaceType type) {
    if (type == QAccessible::ActionInterface && isButton()) return static_cast<QAccessibleActionInterface*>(this);
    return QAccessibleInterface::interface_cast(type);
}

QStringList ProjectNodeAccessible::actionNames() const {
    if (isCard()) return {pressAction(), showMenuAction(), setFocusAction()};
    return isButton() ? QStringList{pressAction()} : QStringList();
}

void ProjectNodeAccessible::doAction(const QString& name) {
    const int row = grid_.rowOf(node_);
    if (row < 0) return;
    ProjectGrid& grid = grid_.grid();
    if (name == setFocusAction() && isCard()) grid.focusCard(row, true);
    if (name == showMenuAction() || (name == pressAction() && !isCard())) grid.askForMenu(row);
    if (name == pressAction() && isCard()) grid.view()->open(QString::fromStdString(node_.project.upper()));
}

}  // namespace kelvane
