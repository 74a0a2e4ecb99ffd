#pragma once

#include <compare>
#include <cstdint>
#include <map>

#include "ItemAccessible.h"
#include "Support/UUID.h"
#include "Views/Home/ProjectGrid.h"

namespace kelvane {

/// What stands in the accessible tree for a project's card, or for a part of one.
struct ProjectNode {
    enum class Kind : std::uint8_t {
        card,
        // Below it, in this order.
        name,
        length,
        date,
        actions,
    };
    /// How many stand below a card.
    static constexpr int parts = 4;

    UUID project;
    Kind kind = Kind::card;

    auto operator<=>(const ProjectNode&) const = default;
};

/// What a reader of the screen is told of the grid of projects: a list of all cards, also of those that are scrolled
/// out of sight and not made. The interfaces of these are made when somebody asks for them. The main thread.
class ProjectGridAccessible final : public ItemAccessible {
public:
    explicit ProjectGridAccessible(ProjectGrid& grid);
    ~ProjectGridAccessible() override;

    // The cards come first, then what else is shown in the grid: the field of a name that is edited.
    [[nodiscard]] QAccessibleInterface* child(int index) const override;
    [[nodiscard]] int childCount() const override;
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* child) const override;
    [[nodiscard]] QAccessibleInterface* childAt(int x, int y) const override;
    [[nodiscard]] QAccessibleInterface* focusChild() const override;

    [[nodiscard]] ProjectGrid& grid() const { return grid_; }
    /// The row of a project; -1 for one that isn't shown (any more).
    [[nodiscard]] int rowOf(const ProjectNode& node) const;
    /// Whether the name of a project is being edited on its card: a field stands in its place then.
    [[nodiscard]] bool isRenamed(const UUID& project) const;
    /// Where it is drawn, in points of the grid.
    [[nodiscard]] QRectF frame(const ProjectNode& node) const;
    /// The interface of a node, which is made if there is none; null for a project that isn't there.
    QAccessibleInterface* interfaceOf(const ProjectNode& node) const;

private:
    void followView();
    void followRows();
    void followCurrent();
    void tellChanged(int first, int last);
    void tell(const ProjectNode& node, QAccessible::Event event) const;
    void forget(const ProjectNode& node);

    ProjectGrid& grid_;
    mutable std::map<ProjectNode, QAccessible::Id> ids_;
    /// Ends the connections with this object.
    std::unique_ptr<QObject> listener_ = std::make_unique<QObject>();
};

/// One card or a part of it. Belongs to Qt's record of interfaces; that of the grid, which outlives it, has it ended.
/// The main thread.
class ProjectNodeAccessible final : public QAccessibleInterface, public QAccessibleActionInterface {
public:
    ProjectNodeAccessible(const ProjectGridAccessible& grid, const ProjectNode& node) : grid_(grid), node_(node) {}

    [[nodiscard]] const ProjectNode& node() const { return node_; }

    [[nodiscard]] bool isValid() const override { return true; }
    [[nodiscard]] QObject* object() const override { return nullptr; }
    [[nodiscard]] QWindow* window() const override { return grid_.window(); }
    [[nodiscard]] QAccessibleInterface* parent() const override;
    [[nodiscard]] QAccessibleInterface* child(int index) const override;
    [[nodiscard]] int childCount() const override { return isCard() ? ProjectNode::parts - firstPart() : 0; }
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* child) const override;
    [[nodiscard]] QAccessibleInterface* childAt(int x, int y) const override;
    [[nodiscard]] QString text(QAccessible::Text kind) const override;
    void setText(QAccessible::Text, const QString&) override {}
    [[nodiscard]] QRect rect() const override;
    [[nodiscard]] QAccessible::Role role() const override;
    [[nodiscard]] QAccessible::State state() const override;
    void* interface_cast(QAccessible::InterfaceType type) override;

    // Of the card and of its button.
    [[nodiscard]] QStringList actionNames() const override;
    void doAction(const QString& name) override;
    [[nodiscard]] QStringList keyBindingsForAction(const QString&) const override { return {}; }

private:
    [[nodiscard]] bool isCard() const { return node_.kind == ProjectNode::Kind::card; }
    [[nodiscard]] bool isButton() const { return isCard() || node_.kind == ProjectNode::Kind::actions; }
    /// Of a card: which of its parts is the first that is shown, the name or what follows it.
    [[nodiscard]] int firstPart() const { return grid_.isRenamed(node_.project) ? 1 : 0; }
    /// What a row of the model holds under this name.
    [[nodiscard]] QString value(const char* role) const;

    const ProjectGridAccessible& grid_;
    ProjectNode node_;
};

}  // namespace kelvane
