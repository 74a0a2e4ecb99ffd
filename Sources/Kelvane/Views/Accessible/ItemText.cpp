#include "ItemText.h"

#include "AccessibleItems.h"

namespace kelvane {

QString ItemText::whole() const {
    if (!AccessibleItems::isTextField(item_)) return AccessibleItems::nameOf(item_);
    const auto displayed = item_.property("displayText");
    return displayed.isValid() ? displayed.toString() : item_.property("text").toString();
}

void ItemText::selection(int index, int* start, int* end) const {
    const bool is = index == 0 && selectionCount() > 0;
    *start = is ? item_.property("selectionStart").toInt() : 0;
    *end = is ? item_.property("selectionEnd").toInt() : 0;
}

int ItemText::selectionCount() const {
    return item_.property("selectionStart").toInt() == item_.property("selectionEnd").toInt() ? 0 : 1;
}

void ItemText::addSelection(int start, int end) { setSelection(0, start, end); }

void ItemText::removeSelection(int index) {
    if (index == 0) QMetaObject::invokeMethod(&item_, "deselect");
}

void ItemText::setSelection(int index, int start, int end) {
    if (index == 0) QMetaObject::invokeMethod(&item_, "select", Q_ARG(int, start), Q_ARG(int, end));
}

int ItemText::cursorPosition() const { return item_.property("cursorPosition").toInt(); }

void ItemText::setCursorPosition(int position) {
    if (AccessibleItems::isTextField(item_)) item_.setProperty("cursorPosition", position);
}

QString ItemText::text(int start, int end) const { return whole().mid(start, end - start); }

int ItemText::characterCount() const { return static_cast<int>(whole().size()); }

QRect ItemText::characterRect(int offset) const {
    if (offset < 0 || offset >= characterCount()) return {};
    QRectF here;
    QRectF next;
    const bool told =
        QMetaObject::invokeMethod(&item_, "positionToRectangle", Q_RETURN_ARG(QRectF, here), Q_ARG(int, offset)) &&
        QMetaObject::invokeMethod(&item_, "positionToRectangle", Q_RETURN_ARG(QRectF, next), Q_ARG(int, offset + 1));
    if (!told) return AccessibleItems::extentsOf(item_);
    // The next one may begin a line.
    const double width = next.x() > here.x() ? next.x() - here.x() : here.width();
    return AccessibleItems::extentsOf(item_, {here.x(), here.y(), width, here.height()});
}

int ItemText::offsetAtPoint(const QPoint& /*point*/) const { return -1; }

void ItemText::scrollToSubstring(int start, int /*end*/) { setCursorPosition(start); }

QString ItemText::attributes(int /*offset*/, int* start, int* end) const {
    *start = 0;
    *end = characterCount();
    return {};
}

void ItemText::deleteText(int start, int end) {
    if (!canType()) return;
    QMetaObject::invokeMethod(&item_, "remove", Q_ARG(int, start), Q_ARG(int, end));
}

void ItemText::insertText(int offset, const QString& text) {
    if (!canType()) return;
    QMetaObject::invokeMethod(&item_, "insert", Q_ARG(int, offset), Q_ARG(QString, text));
}

void ItemText::replaceText(int start, int end, const QString& text) {
    if (!canType()) return;
    QMetaObject::invokeMethod(&item_, "remove", Q_ARG(int, start), Q_ARG(int, end));
    insertText(start, text);
}

bool ItemText::canType() const {
    return AccessibleItems::isTextField(item_) && item_.isEnabled() && !item_.property("readOnly").toBool();
}

}  // namespace kelvane
