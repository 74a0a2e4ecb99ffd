#include <algorithm>
#include <cmath>
#include <utility>

#include "AssetsView.h"

namespace kelvane {

namespace {

/// How far a pointer that went down on an asset may go, points, and still click: hands shake, and a drag that begins
/// too soon costs a click.
constexpr double dragDistance = 6;

SelectionModifiers selectionModifiers(Qt::KeyboardModifiers modifiers) {
    return {.shift = modifiers.testFlag(Qt::ShiftModifier), .command = modifiers.testFlag(Qt::ControlModifier)};
}

QRectF spanned(QPointF a, QPointF b) {
    return {QPointF(std::min(a.x(), b.x()), std::min(a.y(), b.y())),
            QSizeF(std::abs(a.x() - b.x()), std::abs(a.y() - b.y()))};
}

}  // namespace

void AssetsView::press(QPointF point, Qt::KeyboardModifiers modifiers) {
    const auto editor = this->editor();
    if (!editor) return;
    Q_EMIT focusWanted();
    press_ = Press{contentPoint(point), layout_.assetAt(contentPoint(point))};
    if (press_->assetID || editor->busy()) return;
    before_ = Before{editor->selectedClipIDs(), editor->selection(), editor->selectedAssetIDs()};
    marqueeStart_ = press_->point;
    marqueeBase_ = editor->selectedAssetIDs();
    const SelectionModifiers held = selectionModifiers(modifiers);
    marqueeExtends_ = held.shift || held.command;
    stepMarquee(press_->point);
}

void AssetsView::drag(QPointF point) {
    if (!press_) return;
    const QPointF content = contentPoint(point);
    if (marqueeStart_) return stepMarquee(content);
    if (!press_->assetID) return;
    const QPointF way = content - press_->point;
    if (std::hypot(way.x(), way.y()) < dragDistance) return;
    const UUID dragged = *press_->assetID;
    press_.reset();
    leave();
    Q_EMIT dragWanted(dragged);
}

void AssetsView::release(QPointF point, Qt::KeyboardModifiers modifiers) {
    const auto press = std::exchange(press_, std::nullopt);
    before_.reset();
    resetMarquee();
    if (!press || !press->assetID || layout_.assetAt(contentPoint(point)) != press->assetID) return;
    selectAsset(*press->assetID, selectionModifiers(modifiers));
}

void AssetsView::doubleClick(QPointF point) {
    const auto asset = layout_.assetAt(contentPoint(point));
    // The ground takes the second press of a quick band as any other.
    if (!asset) return press(point, Qt::NoModifier);
    press_.reset();
    addToTimeline({*asset});
}

bool AssetsView::openMenu(QPointF point) {
    cancelGesture();
    const auto asset = layout_.assetAt(contentPoint(point));
    const auto editor = this->editor();
    if (!asset || !editor) return false;
    if (!editor->selectedAssetIDs().contains(*asset)) editor->selectAssets({*asset});
    setCurrent(asset);
    followSelection();
    return true;
}

std::optional<QPointF> AssetsView::openMenuAtCurrent() {
    const auto index = currentID_ ? indexOf(*currentID_) : std::nullopt;
    if (!index) return std::nullopt;
    reveal(*currentID_);
    const QPointF place = layout_.frame(*index).center() - QPointF(0, scrollOffset_);
    return openMenu(place) ? std::optional(place) : std::nullopt;
}

void AssetsView::hover(QPointF point) {
    const auto editor = this->editor();
    if (!editor || press_) return;
    const auto asset = layout_.assetAt(contentPoint(point));
    if (!asset) return leave();
    setHovered(asset);
    const QRectF frame = layout_.frame(*indexOf(*asset));
    editor->previewAssetHover(*asset, (point.x() - frame.left()) / frame.width());
}

void AssetsView::leave() {
    const bool wasHovered = hoveredID_.has_value();
    setHovered(std::nullopt);
    if (const auto editor = this->editor(); editor && wasHovered && editor->assetHoverID()) editor->endHoverPreview();
}

void AssetsView::setHovered(std::optional<UUID> assetID) {
    if (std::exchange(hoveredID_, assetID) != assetID) showRows();
}

void AssetsView::stepMarquee(QPointF point) {
    const auto editor = this->editor();
    if (!editor || editor->busy()) return;
    marqueeRect_ = spanned(*marqueeStart_, point);
    std::set<UUID> chosen = layout_.selection(*marqueeRect_);
    if (marqueeExtends_) chosen.insert(marqueeBase_.begin(), marqueeBase_.end());
    editor->selectAssets(chosen);
    Q_EMIT marqueeChanged();
}

void AssetsView::resetMarquee() {
    marqueeStart_.reset();
    marqueeBase_.clear();
    marqueeExtends_ = false;
    if (std::exchange(marqueeRect_, std::nullopt)) Q_EMIT marqueeChanged();
}

bool AssetsView::cancelGesture() {
    if (!press_) return false;
    press_.reset();
    const auto before = std::exchange(before_, std::nullopt);
    resetMarquee();
    const auto editor = this->editor();
    if (!before || !editor || editor->busy()) return true;
    if (before->clips.empty()) {
        editor->selectAssets(before->assets);
        return true;
    }
    if (before->primary && editor->placement().index(*before->primary)) editor->setSelection(before->primary);
    editor->selectTimelineClips(before->clips);
    return true;
}

bool AssetsView::pressKey(int key, Qt::KeyboardModifiers modifiers) {
    const auto editor = this->editor();
    if (!editor) return false;
    modifiers &= ~(Qt::KeypadModifier | Qt::GroupSwitchModifier);
    const bool isPlain = modifiers == Qt::NoModifier;
    switch (key) {
        case Qt::Key_Escape:
            return isPlain && escape(*editor);
        case Qt::Key_Return:
        case Qt::Key_Enter:
            if (!isPlain) return false;
            if (empty()) {
                importFiles();
                return true;
            }
            if (!hasSelection() && !currentID_) return false;
            // All that are selected, in the order of the list, where the keyboard's asset is one of them.
            addToTimeline(dragged(currentID_.value_or(*editor->selectedAssetIDs().begin())));
            return true;
        case Qt::Key_Delete:
        case Qt::Key_Backspace:
            if (!isPlain || !canDelete()) return false;
            deleteSelection();
            return true;
        case Qt::Key_A:
            if (modifiers != Qt::ControlModifier || editor->busy()) return false;
            editor->selectAssets({layout_.ids.begin(), layout_.ids.end()});
            return true;
        case Qt::Key_Space:
            if (modifiers != Qt::ControlModifier || !currentID_) return false;
            selectAsset(*currentID_, {.command = true});
            return true;
        default:
            return pressNavigationKey(key, modifiers);
    }
}

bool AssetsView::pressNavigationKey(int key, Qt::KeyboardModifiers modifiers) {
    if (empty() || (modifiers & ~(Qt::ShiftModifier | Qt::ControlModifier))) return false;
    const auto current = currentID_ ? indexOf(*currentID_) : std::nullopt;
    const auto at = static_cast<std::ptrdiff_t>(current.value_or(0));
    const std::ptrdiff_t columns = layout_.columnCount();
    const std::ptrdiff_t last = std::ssize(layout_.ids) - 1;
    switch (key) {
        case Qt::Key_Left:
            return goTo(current ? at - 1 : 0, modifiers);
        case Qt::Key_Right:
            return goTo(current ? at + 1 : 0, modifiers);
        case Qt::Key_Up:
            return goTo(at >= columns ? at - columns : at, modifiers);
        case Qt::Key_Down:
            // From the row before the last, which may be longer, to its end.
            return goTo(at / columns == last / columns ? at : at + columns, modifiers);
        case Qt::Key_Home:
            return goTo(0, modifiers);
        case Qt::Key_End:
            return goTo(last, modifiers);
        default:
            return false;
    }
}

bool AssetsView::goTo(std::ptrdiff_t index, Qt::KeyboardModifiers modifiers) {
    const UUID id =
        layout_.ids[static_cast<std::size_t>(std::clamp(index, std::ptrdiff_t{0}, std::ssize(layout_.ids) - 1))];
    const bool isSame = currentID_ == id;
    setCurrent(id);
    reveal(id);
    const SelectionModifiers held = selectionModifiers(modifiers);
    // Control alone goes on and leaves the selection to Control and Space.
    if (held.command && !held.shift) return true;
    const bool isChosen = isSame && editor()->selectedAssetIDs() == std::set{id};
    if (!isChosen) selectAsset(id, held);
    return true;
}

bool AssetsView::escape(Editor& editor) {
    if (cancelGesture()) return true;
    if (editor.recordingCountdown()) {
        editor.toggleVoiceOverRecording();
        return true;
    }
    if (editor.busy()) return false;
    if (editor.previewAssetID()) {
        editor.showTimelinePreview();
        return true;
    }
    if (editor.selectedAssetIDs().empty()) return false;
    editor.selectAssets({});
    return true;
}

}  // namespace kelvane
