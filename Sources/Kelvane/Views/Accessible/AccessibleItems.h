#pragma once

#include <QAccessible>
#include <QList>
#include <QQuickItem>
#include <QRect>
#include <QString>

namespace kelvane {

/// Which items of a window stand in its accessible tree, and what each says of itself: by its "Accessible" properties
/// where it has them, else by its type. The main thread.
namespace AccessibleItems {

/// The item's "Accessible" properties; null where it has none. Controls have them while a reader is there.
QObject* attachedTo(const QQuickItem& item);

/// Whether the item is one of the tree when it is shown. What only arranges or draws others isn't, and its children
/// take its place.
bool isNode(const QQuickItem& item);
/// The nearest item above that is one; null directly below the window.
QQuickItem* parentNode(const QQuickItem& item);
/// Those below `root` that are shown, in the order in which they are read; `owner` is the node that they belong to,
/// null for those of the window.
QList<QQuickItem*> childNodes(const QQuickItem& root, const QQuickItem* owner);

QAccessible::Role roleOf(const QQuickItem& item);
QString nameOf(const QQuickItem& item);
QString descriptionOf(const QQuickItem& item);
/// The key that does the same, as a person reads it; empty without one.
QString keyOf(const QQuickItem& item);
QAccessible::State stateOf(const QQuickItem& item);

/// Whether the item is drawn at all: neither it nor one above it is hidden or transparent.
bool isShown(const QQuickItem& item);
/// Where the item is drawn, in points of the screen; empty without a window.
QRect extentsOf(const QQuickItem& item);
/// The same of a part of it, in the item's own coordinates.
QRect extentsOf(const QQuickItem& item, const QRectF& part);
/// Whether any of that can be seen: not scrolled or clipped away.
bool isInSight(const QQuickItem& item, const QRectF& part);

/// Whether it holds a value in a range.
bool hasValue(const QQuickItem& item);
/// Whether it is a field of text, which can be changed or not.
bool isTextField(const QQuickItem& item);
/// Whether it is a text that is only read.
bool isShownText(const QQuickItem& item);

}  // namespace AccessibleItems

}  // namespace kelvane
