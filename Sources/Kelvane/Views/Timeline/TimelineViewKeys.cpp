#include <algorithm>
#include <cmath>

#include "TimelineView.h"

namespace kelvane {

namespace {

/// What the ruler and the arrow keys step, seconds.
constexpr double secondStep = 1;
/// Nearer than this the playhead stands on a cut, seconds: a player's clock rounds to less, and no clip is as short.
constexpr double atCut = 0.002;

/// 0 for video, which is the uppermost row.
std::ptrdiff_t rowOf(const TimelinePlacement& placement, std::size_t index) {
    const auto lane = placement.lane(index);
    return lane ? static_cast<std::ptrdiff_t>(*lane) + 1 : 0;
}

/// The clip before or behind one in its row, in the order of time; none at the row's end.
std::optional<std::size_t> besideInRow(const TimelinePlacement& placement, std::size_t current, bool behind) {
    const auto place = [&placement](std::size_t i) { return std::pair(placement.span(i).start, i); };
    std::optional<std::size_t> nearest;
    for (std::size_t i = 0; i < placement.size(); ++i) {
        if (i == current || rowOf(placement, i) != rowOf(placement, current)) continue;
        if (behind ? place(i) < place(current) : place(i) > place(current)) continue;
        if (!nearest || (behind ? place(i) < place(*nearest) : place(i) > place(*nearest))) nearest = i;
    }
    return nearest;
}

/// The clip of a row that plays where another one starts, else the one that starts nearest to that; none in an empty
/// row.
std::optional<std::size_t> nearestInRow(const TimelinePlacement& placement, std::size_t current, std::ptrdiff_t row) {
    const double start = placement.span(current).start;
    const auto distance = [&placement, start](std::size_t i) {
        const auto& span = placement.span(i);
        return span.start <= start && start < span.end ? 0 : std::abs(span.start - start);
    };
    std::optional<std::size_t> nearest;
    for (std::size_t i = 0; i < placement.size(); ++i)
        if (rowOf(placement, i) == row && (!nearest || distance(i) < distance(*nearest))) nearest = i;
    return nearest;
}

}  // namespace

bool TimelineView::pressKey(int key, Qt::KeyboardModifiers modifiers, bool isRepeat) {
    const auto editor = this->editor();
    if (!editor) return false;
    modifiers &= ~(Qt::KeypadModifier | Qt::GroupSwitchModifier);
    if (modifiers == Qt::NoModifier) return pressPlainKey(*editor, key, isRepeat);
    if (modifiers == Qt::AltModifier) {
        const bool isMove = key == Qt::Key_Left || key == Qt::Key_Right;
        if (!isMove || !canMove(key == Qt::Key_Left ? -1 : 1)) return false;
        if (key == Qt::Key_Left)
            moveEarlier();
        else
            moveLater();
        return true;
    }
    if ((modifiers & ~Qt::ShiftModifier) != Qt::ControlModifier) return false;
    return pressControlKey(*editor, key, (modifiers & Qt::ShiftModifier) != 0);
}

bool TimelineView::pressPlainKey(Editor& editor, int key, bool isRepeat) {
    switch (key) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            if (isRepeat || isEditingClip() || !editor.rewindTimeline()) return false;
            stopScrolling();
            cancelAnimatedSeek();
            followPlayhead();
            return true;
        case Qt::Key_Left:
            return seekBy(-secondStep);
        case Qt::Key_Right:
            return seekBy(secondStep);
        case Qt::Key_Comma:
            return seekBy(-MediaEngine::previewFrame.seconds());
        case Qt::Key_Period:
            return seekBy(MediaEngine::previewFrame.seconds());
        case Qt::Key_Home:
            return seek(0);
        case Qt::Key_End:
            return seek(editor.placement().duration());
        case Qt::Key_PageUp:
            return goToCut(editor, false);
        case Qt::Key_PageDown:
            return goToCut(editor, true);
        case Qt::Key_BracketLeft:
            return !isRepeat && trimToPlayhead(editor, TrimEdge::start);
        case Qt::Key_BracketRight:
            return !isRepeat && trimToPlayhead(editor, TrimEdge::end);
        case Qt::Key_Delete:
        case Qt::Key_Backspace:
            if (isRepeat || !canDelete()) return false;
            deleteSelection();
            return true;
        case Qt::Key_Escape:
            return escape(editor);
        default:
            return false;
    }
}

bool TimelineView::pressControlKey(Editor& editor, int key, bool extends) {
    switch (key) {
        case Qt::Key_A:
            if (extends || editor.busy()) return false;
            selectAll();
            return true;
        case Qt::Key_Left:
            return selectBeside(editor, -1, 0, extends);
        case Qt::Key_Right:
            return selectBeside(editor, 1, 0, extends);
        case Qt::Key_Up:
            return selectBeside(editor, 0, -1, extends);
        case Qt::Key_Down:
            return selectBeside(editor, 0, 1, extends);
        default:
            return false;
    }
}

bool TimelineView::escape(Editor& editor) {
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
    if (editor.selectedClipIDs().empty()) return false;
    editor.selectTimelineClips({});
    return true;
}

bool TimelineView::goToCut(const Editor& editor, bool forward) {
    const double playhead = editor.playhead();
    const auto& placement = editor.placement();
    const double end = placement.duration();
    double found = forward ? end : 0;
    for (std::size_t i = 0; i < placement.size(); ++i) {
        if (editor.clips()[i].isAudio()) continue;
        for (const double cut : {placement.span(i).start, placement.span(i).end}) {
            if (forward && cut > playhead + atCut) found = std::min(found, cut);
            if (!forward && cut < playhead - atCut) found = std::max(found, cut);
        }
    }
    return seek(found);
}

bool TimelineView::trimToPlayhead(Editor& editor, TrimEdge edge) {
    const Clip* selected = editor.selectedClip();
    if (selected == nullptr || editor.busy() || editor.previewAssetID()) return false;
    const double start = editor.offset(selected->id);
    const double end = start + selected->duration();
    const double delta = editor.playhead() - (edge == TrimEdge::start ? start : end);
    // An edge that would pass the other one has no place there.
    const bool passes =
        edge == TrimEdge::start ? editor.playhead() > end - trimMargin : editor.playhead() < start + trimMargin;
    if (passes) return false;
    const Clip trimmed = selected->trimmed(edge, delta);
    resetGesture();
    editor.update(UUID(trimmed.id), [&trimmed](Clip& clip) { clip = trimmed; });
    return true;
}

bool TimelineView::selectBeside(Editor& editor, int columns, int rows, bool extends) {
    const auto& placement = editor.placement();
    if (editor.busy() || isGesture() || placement.size() == 0) return false;
    const auto current = editor.selection() ? placement.index(*editor.selection()) : std::nullopt;
    std::optional<std::size_t> chosen;
    if (!current)
        chosen = placement.videoAt(editor.playhead()).value_or(0);
    else if (rows == 0)
        chosen = besideInRow(placement, *current, columns > 0);
    else
        chosen = nearestInRow(placement, *current, rowOf(placement, *current) + rows);
    if (!chosen) return true;
    const UUID id = editor.clips()[*chosen].id;
    cancelAnimatedSeek();
    stopScrolling();
    if (extends) {
        editor.selectTimelineClip(id, {.shift = true});
        editor.seekPreview(editor.offset(id));
    } else {
        editor.select(id);
    }
    followPlayhead();
    if (const auto shown = displayedIndex(id)) revealRow(*shown);
    return true;
}

}  // namespace kelvane
