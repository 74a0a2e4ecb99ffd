#include <algorithm>
#include <cmath>

#include "TimelineMetrics.h"
#include "TimelineView.h"
#include "TimelineViewportLayout.h"

namespace kelvane {

using namespace TimelineMetrics;

namespace {

/// What a notch of the wheel, and the zoom's buttons, change the zoom by.
constexpr double zoomNotch = 1.25;
/// What a wheel sends for a notch.
constexpr double notchAngle = 120;
/// What a notch scrolls, points.
constexpr double notchDistance = 80;
/// Least change of scale that is a pinch, and least movement that is a person's scrolling, points.
constexpr double leastPinch = 0.01;
constexpr double leastScroll = 0.01;
/// What two fingers scroll before an axis is asked for, how much further it must be than the other, and what is clear
/// enough without that; points.
constexpr double clearDistance = 3;
constexpr double clearRatio = 1.5;
constexpr double clearEnough = 16;
/// How long after its last movement a wheel's scrolling is over.
constexpr std::chrono::milliseconds wheelRest{150};
/// The time in which fingers' speed is taken, what they rest at least when they stop, and how a track that they let go
/// of slows down: to a third in each such time, from at most so many points a second until it is slower than so many.
constexpr std::chrono::milliseconds speedSpan{100};
constexpr std::chrono::milliseconds fingerRest{50};
constexpr std::chrono::duration<double> flingTime{0.325};
constexpr double fastestFling = 8000;
constexpr double slowestFling = 40;
/// The animated seek: how long, and how often the track moves.
constexpr std::chrono::duration<double> seekTime{0.22};
constexpr std::chrono::milliseconds seekStep{8};
/// Nearer than this the track needn't move to be there, points.
constexpr double seekDistance = 0.5;

}  // namespace

void TimelineView::moveTo(QPointF origin) {
    const double widest = TimelineViewportLayout::contentWidth(longestDuration(), pointsPerSecond());
    const double lowest = std::max(contentHeight() - viewportHeight(), 0.0);
    const QPointF held(std::clamp(origin.x(), 0.0, widest), std::clamp(origin.y(), 0.0, lowest));
    if (const auto editor = this->editor()) editor->timelineScrollOffset = held.x();
    if (held == origin_) return;
    origin_ = held;
    refreshHover();
    Q_EMIT scrolled();
}

bool TimelineView::mayScroll() const {
    const auto editor = this->editor();
    return editor && !editor->busy() && !editor->isBuilding() && !isGesture() && !pinchStartZoom_ && !isDropping_;
}

bool TimelineView::mayZoom() const { return editor() && !isGesture(); }

void TimelineView::setViewportWidth(double width) {
    if (!std::isfinite(width) || width < 0 || width == viewportWidth_) return;
    viewportWidth_ = width;
    lowestZoom_ = lowestZoom();
    Q_EMIT scaleChanged();
    followPlayhead();
}

void TimelineView::revealNewLane(const std::vector<UUID>& before) {
    const auto& lanes = placement_.lanes();
    if (lanes.empty() || std::ranges::find(before, lanes.back()) != before.end()) return;
    moveTo({origin_.x(), TimelineViewportLayout::offsetOfNewLane(lanes.size())});
}

void TimelineView::revealRow(std::size_t index) {
    // The ruler lies over the uppermost part of what is in sight.
    const double top = TimelineViewportLayout::rowTop(placement_, index);
    const double lowest = top - rulerHeight;
    const double highest = top + trackStride - viewportHeight();
    moveTo({origin_.x(), std::clamp(origin_.y(), std::min(highest, lowest), lowest)});
}

// Zoom.

void TimelineView::setZoom(double zoom) {
    if (std::isnan(zoom)) return;
    const double held = TimelineViewportLayout::zoomRange(viewportWidth_, longestDuration()).clamped(zoom);
    if (held == zoom_) return;
    cancelAnimatedSeek();
    (void)catchScrolling();
    // Also where the track doesn't follow the playhead, what stands in its middle stays there.
    const double x = origin_.x() / zoom_ * held;
    zoom_ = held;
    frames_.reset();
    if (const auto editor = this->editor()) editor->timelineZoom = zoom_;
    Q_EMIT scaleChanged();
    moveTo({x, origin_.y()});
    followPlayhead();
    if (press_ && press_->isDrag) step();
    refreshInsertion();
}

void TimelineView::zoomBy(double notches) { setZoom(zoom_ * std::pow(zoomNotch, notches)); }

void TimelineView::beginPinch() {
    const auto editor = this->editor();
    if (pinchStartZoom_ || !editor || editor->busy() || editor->isBuilding() || isGesture()) return;
    cancelAnimatedSeek();
    stopScrolling();
    pinchStartZoom_ = zoom_;
    Q_EMIT focusWanted();
}

void TimelineView::pinch(double magnification) {
    const auto editor = this->editor();
    if (!editor || editor->busy() || editor->isBuilding() || !(magnification > 0)) return;
    if (!pinchStartZoom_ && std::abs(magnification - 1) >= leastPinch) beginPinch();
    if (pinchStartZoom_) setZoom(*pinchStartZoom_ * magnification);
}

void TimelineView::endPinch() {
    if (!pinchStartZoom_) return;
    pinchStartZoom_.reset();
    followPlayhead();
}

// Scrolling by a person.

void TimelineView::wheel(QPointF delta, bool byFingers, Qt::KeyboardModifiers modifiers) {
    if (!std::isfinite(delta.x()) || !std::isfinite(delta.y())) return;
    (void)catchScrolling();
    const QPointF notches = delta / (byFingers ? notchDistance : notchAngle);
    const double strongest = std::abs(delta.x()) > std::abs(delta.y()) ? notches.x() : notches.y();
    if (modifiers & Qt::ControlModifier) {
        if (mayZoom()) zoomBy(strongest);
        return;
    }
    if (!mayScroll()) return;
    if (modifiers & Qt::ShiftModifier)
        scrollBy({-strongest * notchDistance, 0});
    else
        wheelScroll(-notches * notchDistance, byFingers);
    scrollEnd_ = context_.after(wheelRest, [this] { endScrolling(); });
}

void TimelineView::wheelScroll(QPointF distance, bool byFingers) {
    if (byFingers && axis_ == Axis::undecided) {
        undecided_ += distance;
        const double x = std::abs(undecided_.x());
        const double y = std::abs(undecided_.y());
        const double further = std::max(x, y);
        if (further < clearDistance) return;
        if (further < clearEnough && further < clearRatio * std::min(x, y)) return;
        axis_ = x > y ? Axis::time : Axis::lanes;
        distance = std::exchange(undecided_, {});
    }
    if (axis_ == Axis::time) distance.setY(0);
    if (axis_ == Axis::lanes) distance.setX(0);
    // Where there is nothing to scroll down, the wheel is for time.
    if (contentHeight() <= viewportHeight()) distance = {distance.x() + distance.y(), 0};
    scrollBy(distance);
}

void TimelineView::scrollBy(QPointF delta) {
    if (!mayScroll() || !std::isfinite(delta.x()) || !std::isfinite(delta.y())) return;
    fling_.reset();
    const auto now = context_.now();
    std::erase_if(movements_, [now](const Movement& movement) { return now - movement.time > speedSpan; });
    movements_.push_back({now, delta});
    (void)scrollContent(delta);
}

bool TimelineView::scrollContent(QPointF delta) {
    if (delta.x() != 0) cancelAnimatedSeek();
    const QPointF before = origin_;
    moveTo(origin_ + delta);
    if (std::abs(origin_.x() - before.x()) <= leastScroll) return origin_ != before;
    isScrolling_ = true;
    seekTimeline(origin_.x() / pointsPerSecond());
    return true;
}

void TimelineView::endScrolling() {
    const bool isAtRest = !isScrolling_ && axis_ == Axis::undecided && undecided_.isNull() && !fling_;
    stopScrolling();
    if (isAtRest) return;
    followPlayhead();
}

void TimelineView::stopScrolling() {
    scrollEnd_.cancel();
    fling_.reset();
    movements_.clear();
    isScrolling_ = false;
    axis_ = Axis::undecided;
    undecided_ = {};
}

QPointF TimelineView::scrollingSpeed() const {
    const auto now = context_.now();
    // Fingers that rested before they were lifted meant to stop.
    if (movements_.size() < 2 || now - movements_.back().time > fingerRest) return {};
    const std::chrono::duration<double> span = movements_.back().time - movements_.front().time;
    if (span.count() <= 0) return {};
    QPointF distance;
    // The first one tells where the stretch begins.
    for (auto movement = movements_.begin() + 1; movement != movements_.end(); ++movement)
        distance += movement->distance;
    const QPointF speed = distance / span.count();
    return {std::clamp(speed.x(), -fastestFling, fastestFling), std::clamp(speed.y(), -fastestFling, fastestFling)};
}

void TimelineView::releaseScrolling() {
    const QPointF speed = mayScroll() && !reducedMotion() ? scrollingSpeed() : QPointF();
    if (std::hypot(speed.x(), speed.y()) < slowestFling) return endScrolling();
    scrollEnd_.cancel();
    fling_ = Fling{context_.now(), speed, {}, {}};
    fling_->timer = context_.after(seekStep, [this] { stepFling(); });
}

bool TimelineView::catchScrolling() {
    if (!fling_) return false;
    endScrolling();
    return true;
}

void TimelineView::stepFling() {
    const auto editor = this->editor();
    if (!mayScroll() || editor->isPlaying()) return endScrolling();
    const std::chrono::duration<double> elapsed = context_.now() - fling_->began;
    const double left = std::exp(-elapsed / flingTime);
    const QPointF moved = fling_->speed * flingTime.count() * (1 - left);
    const QPointF step = moved - std::exchange(fling_->moved, moved);
    const bool isSlow = std::hypot(fling_->speed.x(), fling_->speed.y()) * left < slowestFling;
    const bool hasMoved = scrollContent(step);
    // What listens to the scrolling may have ended it.
    if (!fling_) return;
    if (isSlow || !hasMoved) return endScrolling();
    fling_->timer = context_.after(seekStep, [this] { stepFling(); });
}

// Scrolling by the program.

void TimelineView::followPlayhead() {
    const auto editor = this->editor();
    if (!editor || isGesture() || pinchStartZoom_ || isScrolling_) return;
    cancelAnimatedSeek();
    moveTo({editor->playhead() * pointsPerSecond(), origin_.y()});
}

void TimelineView::seekTimeline(double seconds) {
    const auto editor = this->editor();
    editor->clearSelectedAssets();
    editor->showTimelinePreview();
    editor->seekPreview(seconds);
}

bool TimelineView::seek(double seconds) {
    const auto editor = this->editor();
    if (!editor || editor->busy() || isEditingClip() || !std::isfinite(seconds)) return false;
    cancelAnimatedSeek();
    stopScrolling();
    seekTimeline(seconds);
    followPlayhead();
    return true;
}

bool TimelineView::seekBy(double seconds) { return seek(position() + seconds); }

void TimelineView::seekOnClick(double seconds) {
    const auto editor = this->editor();
    if (!editor || editor->busy() || editor->isBuilding() || marqueeRect_ || isEditingClip() || !std::isfinite(seconds))
        return;
    cancelAnimatedSeek();
    stopScrolling();
    seekTimeline(seconds);
    const double from = origin_.x();
    const double to = std::clamp(seconds, 0.0, longestDuration()) * pointsPerSecond();
    if ((reducedMotion_ && reducedMotion_()) || std::abs(to - from) <= seekDistance) return followPlayhead();
    animatedSeek_ = AnimatedSeek{context_.now(), from, to, editor->playhead(), {}};
    animatedSeek_->timer = context_.after(seekStep, [this] { stepAnimatedSeek(); });
}

void TimelineView::stepAnimatedSeek() {
    const AnimatedSeek& seek = *animatedSeek_;
    const std::chrono::duration<double> elapsed = context_.now() - seek.began;
    const double t = std::min(elapsed / seekTime, 1.0);
    moveTo({seek.from + (seek.to - seek.from) * t * t * (3 - 2 * t), origin_.y()});
    // What listens to the scrolling may have ended it.
    if (!animatedSeek_) return;
    if (t == 1) return followPlayhead();
    animatedSeek_->timer = context_.after(seekStep, [this] { stepAnimatedSeek(); });
}

void TimelineView::cancelAnimatedSeek() { animatedSeek_.reset(); }

}  // namespace kelvane
