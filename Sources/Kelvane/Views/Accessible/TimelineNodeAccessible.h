#pragma once

#include <QAccessible>

#include "TimelineNodes.h"

namespace kelvane {

class TimelineAccessible;

/// What a reader of the screen is told of one thing on a timeline, and what it can do with it. Belongs to Qt's record
/// of interfaces; the timeline's interface, which outlives it, has it ended. The main thread.
class TimelineNodeAccessible final : public QAccessibleInterface,
                                     public QAccessibleActionInterface,
                                     public QAccessibleValueInterface {
public:
    TimelineNodeAccessible(const TimelineAccessible& timeline, const TimelineNode& node)
        : timeline_(timeline), node_(node) {}

    [[nodiscard]] const TimelineNode& node() const { return node_; }

    [[nodiscard]] bool isValid() const override { return true; }
    [[nodiscard]] QObject* object() const override { return nullptr; }
    [[nodiscard]] QWindow* window() const override;
    [[nodiscard]] QAccessibleInterface* parent() const override;
    [[nodiscard]] QAccessibleInterface* child(int index) const override;
    [[nodiscard]] int childCount() const override;
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* child) const override;
    [[nodiscard]] QAccessibleInterface* childAt(int x, int y) const override;
    [[nodiscard]] QString text(QAccessible::Text kind) const override;
    void setText(QAccessible::Text, const QString&) override {}
    [[nodiscard]] QRect rect() const override;
    [[nodiscard]] QAccessible::Role role() const override;
    [[nodiscard]] QAccessible::State state() const override;
    void* interface_cast(QAccessible::InterfaceType type) override;

    // Of clips: what changes their volume, and what a click and the focus do. Of the ruler: the steps of the arrow
    // keys.
    [[nodiscard]] QStringList actionNames() const override;
    void doAction(const QString& name) override;
    [[nodiscard]] QStringList keyBindingsForAction(const QString&) const override { return {}; }

    // Of the ruler, seconds.
    [[nodiscard]] QVariant currentValue() const override;
    void setCurrentValue(const QVariant& value) override;
    [[nodiscard]] QVariant minimumValue() const override { return 0.0; }
    [[nodiscard]] QVariant maximumValue() const override;
    [[nodiscard]] QVariant minimumStepSize() const override;

private:
    [[nodiscard]] const TimelineNodes& nodes() const;
    [[nodiscard]] TimelineView* view() const { return nodes().view(); }
    [[nodiscard]] bool isClip() const { return node_.kind == TimelineNode::Kind::clip; }
    [[nodiscard]] bool isRuler() const { return node_.kind == TimelineNode::Kind::ruler; }
    void actOnClip(const QString& name);

    const TimelineAccessible& timeline_;
    TimelineNode node_;
};

}  // namespace kelvane
