#include "ProjectGrid.h"

#include <QQuickWindow>
#include <algorithm>
#include <utility>

namespace kelvane {

ProjectGrid::ProjectGrid(QQuickItem* parent) : QQuickItem(parent) { setActiveFocusOnTab(true); }

void ProjectGrid::setView(ProjectsHomeView* view) {
    if (view == view_) return;
    if (view_) {
        disconnect(view_->projects(), nullptr, this, nullptr);
        disconnect(view_, nullptr, this, nullptr);
    }
    view_ = view;
    if (view_) {
        auto* rows = view_->projects();
        connect(rows, &QAbstractItemModel::rowsInserted, this, &ProjectGrid::followRows);
        connect(rows, &QAbstractItemModel::rowsRemoved, this, &ProjectGrid::followRows);
        connect(rows, &QAbstractItemModel::rowsMoved, this, &ProjectGrid::followRows);
        connect(view_, &ProjectsHomeView::focusWanted, this, &ProjectGrid::takeFocus);
    }
    followRows();
    Q_EMIT viewChanged();
}

void ProjectGrid::takeFocus(int row, bool byKey) {
    // At once, so that the click that ended an edit can take it further.
    if (!byKey) return focusCard(row, false);
    // Later, when the home is shown and the field of a name is gone.
    QMetaObject::invokeMethod(this, [this, row] { focusCard(row, true); }, Qt::QueuedConnection);
}

void ProjectGrid::setScroll(double scroll) {
    if (scroll == scroll_) return;
    scroll_ = scroll;
    Q_EMIT scrollChanged();
}

int ProjectGrid::current() const { return place_; }

void ProjectGrid::followRows() {
    const int before = place_;
    if (current_) place_ = view_ ? view_->projects()->rowOf(*current_) : -1;
    if (current_ && place_ < 0) {
        place_ = std::min(before, count() - 1);
        const auto next = view_ ? view_->projects()->at(place_) : std::nullopt;
        current_ = next ? std::optional(next->id) : std::nullopt;
    }
    if (place_ != before) Q_EMIT currentChanged();
    // The keyboard was here before the cards were.
    if (place_ < 0 && hasActiveFocus()) setCurrent(0);
}

void ProjectGrid::setCurrent(int row) {
    const auto project = view_ ? view_->projects()->at(row) : std::nullopt;
    if (!project) return;
    current_ = project->id;
    const bool isOther = std::exchange(place_, row) != row;
    if (isOther) Q_EMIT currentChanged();
    reveal(row);
}

void ProjectGrid::reveal(int row) {
    const ProjectGridLayout grid = layout();
    const QRectF card = grid.frame(row);
    const double end = std::max(0.0, grid.frame(count() - 1).bottom() + grid.rowSpacing - height());
    // Of what is beside the card, half a gap; above the first row, the heading.
    const double highest = row < grid.columns() ? 0 : card.top() - grid.rowSpacing / 2;
    const double lowest = card.bottom() + grid.rowSpacing / 2 - height();
    const double wanted = std::clamp(std::min(std::max(scroll_, lowest), highest), 0.0, end);
    if (wanted != scroll_) Q_EMIT revealed(wanted);
}

void ProjectGrid::focusCard(int row, bool byKey) {
    setCurrent(row);
    forceActiveFocus(byKey ? Qt::TabFocusReason : Qt::OtherFocusReason);
    setShowsFocus(byKey);
}

void ProjectGrid::askForMenu(int row) {
    setCurrent(row);
    if (place_ == row) Q_EMIT menuWanted(row);
}

void ProjectGrid::setShowsFocus(bool shows) {
    showsFocus_ = shows;
    Q_EMIT focusShownChanged();
}

void ProjectGrid::focusInEvent(QFocusEvent* event) {
    QQuickItem::focusInEvent(event);
    if (place_ < 0) setCurrent(0);
    const auto reason = event->reason();
    // A window that comes to the front keeps what it showed.
    if (reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason || reason == Qt::ShortcutFocusReason)
        showsFocus_ = true;
    Q_EMIT focusShownChanged();
}

void ProjectGrid::focusOutEvent(QFocusEvent* event) {
    QQuickItem::focusOutEvent(event);
    if (event->reason() == Qt::MouseFocusReason) showsFocus_ = false;
    Q_EMIT focusShownChanged();
}

void ProjectGrid::geometryChange(const QRectF& now, const QRectF& before) {
    QQuickItem::geometryChange(now, before);
    if (now.width() != before.width()) Q_EMIT layoutChanged();
}

int ProjectGrid::target(int key) const {
    const ProjectGridLayout grid = layout();
    // What a page shows, but for a row that stays in sight.
    const int page = std::max(1, static_cast<int>(height() / (grid.height + grid.rowSpacing)) - 1);
    switch (key) {
        case Qt::Key_Left:
            return grid.neighbour(place_, count(), -1, 0);
        case Qt::Key_Right:
            return grid.neighbour(place_, count(), 1, 0);
        case Qt::Key_Up:
            return grid.neighbour(place_, count(), 0, -1);
        case Qt::Key_Down:
            return grid.neighbour(place_, count(), 0, 1);
        case Qt::Key_PageUp:
            return grid.neighbour(place_, count(), 0, -page);
        case Qt::Key_PageDown:
            return grid.neighbour(place_, count(), 0, page);
        case Qt::Key_Home:
            return 0;
        case Qt::Key_End:
            return count() - 1;
        default:
            return -1;
    }
}

bool ProjectGrid::press(int key, Qt::KeyboardModifiers modifiers) {
    const auto project = view_ ? view_->projects()->at(place_) : std::nullopt;
    if (!project) return false;
    const QString id = QString::fromStdString(project->id.upper());
    modifiers &= ~Qt::KeypadModifier;
    if (key == Qt::Key_Menu || (key == Qt::Key_F10 && modifiers == Qt::ShiftModifier)) {
        askForMenu(place_);
        return true;
    }
    if (modifiers != Qt::NoModifier) return false;
    if (const int row = target(key); row >= 0) {
        setCurrent(row);
        return true;
    }
    switch (key) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
        case Qt::Key_Space:
            view_->open(id);
            return true;
        case Qt::Key_Escape:
            if (view_->search().isEmpty()) return false;
            view_->setSearch({});
            setCurrent(place_);
            return true;
        case Qt::Key_F2:
            reveal(place_);
            view_->rename(id);
            return true;
        case Qt::Key_Delete:
            view_->remove(id);
            return true;
        default:
            return false;
    }
}

void ProjectGrid::keyPressEvent(QKeyEvent* event) {
    // Those of a field in a card are its own.
    const bool isOwn = window() != nullptr && window()->activeFocusItem() == this;
    if (!isOwn || !press(event->key(), event->modifiers())) {
        QQuickItem::keyPressEvent(event);
        return;
    }
    event->accept();
    setShowsFocus(true);
}

}  // namespace kelvane
