#pragma once

#include <QPointer>
#include <QQuickItem>
#include <QString>
#include <optional>

#include "ProjectGridLayout.h"
#include "ProjectsHomeView.h"

namespace kelvane {

/// The grid of projects' cards as the keyboard and a reader of the screen know it: which card is the current one, and
/// where each stands, whether it is made or not. It draws nothing; a view of items in it makes those cards that are in
/// sight. The main thread.
class ProjectGrid : public QQuickItem {
    Q_OBJECT
    Q_PROPERTY(kelvane::ProjectsHomeView* view READ view WRITE setView NOTIFY viewChanged)
    /// How far the content is scrolled, points.
    Q_PROPERTY(double scroll READ scroll WRITE setScroll NOTIFY scrollChanged)
    Q_PROPERTY(double cardWidth READ cardWidth NOTIFY layoutChanged)
    Q_PROPERTY(double cardHeight READ cardHeight CONSTANT)
    Q_PROPERTY(double spacing READ spacing CONSTANT)
    Q_PROPERTY(double rowSpacing READ rowSpacing CONSTANT)
    Q_PROPERTY(double margin READ margin CONSTANT)
    Q_PROPERTY(double heading READ heading CONSTANT)
    Q_PROPERTY(int columns READ columns NOTIFY layoutChanged)
    /// The card that keys act on; -1 without one.
    Q_PROPERTY(int current READ current NOTIFY currentChanged)
    /// Whether that one is to be shown by a ring: the keyboard is in use.
    Q_PROPERTY(bool showsFocus READ showsFocus NOTIFY focusShownChanged)

public:
    explicit ProjectGrid(QQuickItem* parent = nullptr);

    [[nodiscard]] ProjectsHomeView* view() const { return view_; }
    void setView(ProjectsHomeView* view);
    [[nodiscard]] double scroll() const { return scroll_; }
    void setScroll(double scroll);
    [[nodiscard]] ProjectGridLayout layout() const { return {width()}; }
    [[nodiscard]] double cardWidth() const { return layout().cardWidth(); }
    [[nodiscard]] double cardHeight() const { return ProjectGridLayout::height; }
    [[nodiscard]] double spacing() const { return ProjectGridLayout::spacing; }
    [[nodiscard]] double rowSpacing() const { return ProjectGridLayout::rowSpacing; }
    [[nodiscard]] double margin() const { return ProjectGridLayout::margin; }
    [[nodiscard]] double heading() const { return ProjectGridLayout::heading; }
    [[nodiscard]] int columns() const { return layout().columns(); }
    [[nodiscard]] int current() const;
    [[nodiscard]] bool showsFocus() const { return showsFocus_ && hasActiveFocus(); }
    [[nodiscard]] int count() const { return view_ ? view_->projects()->rowCount() : 0; }
    /// Where the card of a row is drawn, in points of this item.
    [[nodiscard]] QRectF frame(int row) const { return layout().frame(row).translated(0, -scroll_); }

    /// Makes the card of a row the current one and scrolls it into sight.
    Q_INVOKABLE void setCurrent(int row);
    /// The same, with the focus, and with its ring where the keyboard led there.
    Q_INVOKABLE void focusCard(int row, bool byKey);
    /// Asks for the menu of a card, which has to be in sight for it.
    void askForMenu(int row);

Q_SIGNALS:
    void viewChanged();
    void scrollChanged();
    void layoutChanged();
    void currentChanged();
    void focusShownChanged();
    /// A card is to be in sight, as it is when the content is scrolled so far.
    void revealed(double scroll);
    void menuWanted(int row);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void geometryChange(const QRectF& now, const QRectF& before) override;

private:
    void takeFocus(int row, bool byKey);
    void reveal(int row);
    void followRows();
    /// Whether the key was one of the grid's.
    bool press(int key, Qt::KeyboardModifiers modifiers);
    /// Where a key of direction leads; -1 for another key.
    [[nodiscard]] int target(int key) const;
    void setShowsFocus(bool shows);

    QPointer<ProjectsHomeView> view_;
    double scroll_ = 0;
    /// The current card follows its project; where that is gone, the one in its place comes next.
    std::optional<UUID> current_;
    int place_ = -1;
    bool showsFocus_ = false;
};

}  // namespace kelvane
