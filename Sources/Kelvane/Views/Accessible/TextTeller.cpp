#include "TextTeller.h"

#include <QMetaProperty>

#include "AccessibleEvents.h"

namespace kelvane {

TextTeller::TextTeller(QQuickItem& text) : QObject(&text) {
    // By name, as the type of such an item is not public.
    const auto* meta = text.metaObject();
    const auto words = meta->property(meta->indexOfProperty("text"));
    const auto slot = metaObject()->method(metaObject()->indexOfSlot("tell()"));
    if (words.hasNotifySignal()) connect(&text, words.notifySignal(), this, slot);
}

void TextTeller::tell() {
    if (!AccessibleEvents::isHeard()) return;
    QAccessibleEvent named(parent(), QAccessible::NameChanged);
    AccessibleEvents::send(named);
}

}  // namespace kelvane
