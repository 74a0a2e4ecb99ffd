#include "TimelineAssetDropArea.h"

#include <utility>

namespace kelvane {

namespace {

void answer(QDropEvent& event, bool takes) {
    event.setDropAction(takes ? Qt::CopyAction : Qt::IgnoreAction);
    event.setAccepted(takes);
}

}  // namespace

TimelineAssetDropArea::TimelineAssetDropArea(TimelineView& view)
    : view_(view), target_([this](const TextProvider& provider, TimelineAssetDropTarget::Completion complete) {
          if (const auto editor = view_.editor())
              TimelineAssetDropTarget::textLoader (*editor->services().context)(provider, std::move(complete));
      }) {
    connect(&target_, &TimelineAssetDropTarget::changed, this, &TimelineAssetDropArea::show);
    connect(&view_, &TimelineView::contentChanged, this, &TimelineAssetDropArea::show);
    connect(&view_, &TimelineView::gestureReset, this, [this] { target_.reset(); });
}

std::optional<TimelineAssetDropDelegate> TimelineAssetDropArea::delegate() {
    const auto editor = view_.editor();
    if (!editor) return std::nullopt;
    return TimelineAssetDropDelegate{.editor = editor,
                                     .target = &target_,
                                     .isEnabled = !editor->busy(),
                                     .timelineInset = view_.viewportWidth() / 2,
                                     .pointsPerSecond = view_.pointsPerSecond(),
                                     .animation = [this](const std::function<void()>& insert) {
                                         insert();
                                         // Who drops something goes on with it.
                                         Q_EMIT view_.focusWanted();
                                     }};
}

TimelineDrag TimelineAssetDropArea::dragOf(const QDropEvent& event) const {
    if (event.mimeData() == nullptr || !event.possibleActions().testFlag(Qt::CopyAction)) return {};
    return TimelineDrag::of(*event.mimeData(), view_.visibleOrigin() + event.position());
}

void TimelineAssetDropArea::show() {
    const auto on = target_.location() ? delegate() : std::nullopt;
    if (on)
        view_.showDrop(on->markedIndex());
    else
        view_.endDrop();
}

void TimelineAssetDropArea::enter(QDragEnterEvent& event) {
    const auto on = delegate();
    const TimelineDrag drag = dragOf(event);
    answer(event, on && on->validateDrop(drag));
    if (on) on->dropEntered(drag);
    // A drag with text is followed even while it is refused: who ignores its entering is told of nothing more, also
    // when the project is no longer busy.
    if (!drag.texts.empty()) event.accept();
}

void TimelineAssetDropArea::move(QDragMoveEvent& event) {
    const auto on = delegate();
    answer(event, on && on->dropUpdated(dragOf(event)) == DropProposal::copy);
}

void TimelineAssetDropArea::leave() {
    if (const auto on = delegate())
        on->dropExited();
    else
        target_.reset();
}

void TimelineAssetDropArea::drop(QDropEvent& event) {
    const auto on = delegate();
    answer(event, on && on->performDrop(dragOf(event)));
}

}  // namespace kelvane
