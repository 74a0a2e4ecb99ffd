#pragma once

#include <QAccessible>
#include <QQuickItem>

namespace kelvane {

/// The text of a label, or of a field and what is selected and where the cursor stands there. Positions count UTF-16
/// units. The main thread.
class ItemText final : public QAccessibleTextInterface, public QAccessibleEditableTextInterface {
public:
    explicit ItemText(QQuickItem& item) : item_(item) {}

    /// What is shown: dots for a password.
    [[nodiscard]] QString whole() const;

    void selection(int index, int* start, int* end) const override;
    [[nodiscard]] int selectionCount() const override;
    void addSelection(int start, int end) override;
    void removeSelection(int index) override;
    void setSelection(int index, int start, int end) override;
    [[nodiscard]] int cursorPosition() const override;
    void setCursorPosition(int position) override;
    [[nodiscard]] QString text(int start, int end) const override;
    [[nodiscard]] int characterCount() const override;
    [[nodiscard]] QRect characterRect(int offset) const override;
    /// -1: fields don't tell.
    [[nodiscard]] int offsetAtPoint(const QPoint& point) const override;
    void scrollToSubstring(int start, int end) override;
    [[nodiscard]] QString attributes(int offset, int* start, int* end) const override;

    // Nothing where a person couldn't type either.
    void deleteText(int start, int end) override;
    void insertText(int offset, const QString& text) override;
    void replaceText(int start, int end, const QString& text) override;

private:
    [[nodiscard]] bool canType() const;

    QQuickItem& item_;
};

}  // namespace kelvane
