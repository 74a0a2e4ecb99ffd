#include "TimelineNodes.h"

#include <QFontMetricsF>
#include <QQuickWindow>
#include <algorithm>
#include <cmath>

#include "Timeline/TimeLabel.h"
#include "Views/Theme.h"
#include "Views/Timeline/Drawing/ClipDrawing.h"
#include "Views/Timeline/Drawing/TimelineMarks.h"
#include "Views/Timeline/Drawing/TimelinePainter.h"
#include "Views/Timeline/TimelineMetrics.h"
#include "Views/Timeline/TimelineViewportLayout.h"

namespace kelvane {

using namespace TimelineMetrics;
using Kind = TimelineNode::Kind;

void TimelineNodes::setView(TimelineView* view) {
    view_ = view;
    rows_.reset();
}

// Which there are.

const TimelineNodes::Rows& TimelineNodes::rows() const {
    if (rows_) return *rows_;
    const auto& placement = view_->displayedPlacement();
    Rows rows;
    rows.clips.resize(placement.lanes().size() + 1);
    rows.places.resize(placement.size());
    for (std::size_t index = 0; index < placement.size(); ++index) {
        auto& row = rows.clips[rowOf(index)];
        rows.places[index] = static_cast<int>(row.size());
        row.push_back(index);
    }
    rows_ = std::move(rows);
    return *rows_;
}

std::size_t TimelineNodes::rowOf(std::size_t index) const {
    const auto lane = view_->displayedPlacement().lane(index);
    return lane ? *lane + 1 : 0;
}

std::pair<std::int64_t, std::int64_t> TimelineNodes::ticks() const {
    const double step = TimelineViewportLayout::tickInterval(view_->pointsPerSecond()) * view_->pointsPerSecond();
    const double width = TimelineViewportLayout::contentWidth(view_->duration(), view_->pointsPerSecond());
    const double left = origin().x();
    auto first = static_cast<std::int64_t>(std::max(std::floor(left / step), 0.0));
    const double last = std::min(std::floor(width / step), std::ceil((left + surface_.width()) / step));
    const auto isSeen = [this](std::int64_t number) {
        const auto place = frameOfTick({Kind::tick, number, {}});
        return place.right() > 0 && place.left() < surface_.width();
    };
    auto end = static_cast<std::int64_t>(last) + 1;
    while (first < end && !isSeen(first)) ++first;
    while (end > first && !isSeen(end - 1)) --end;
    return {first, end};
}

std::vector<TimelineNode> TimelineNodes::top() const {
    std::vector<TimelineNode> nodes;
    if (!view_) return nodes;
    nodes.push_back({Kind::ruler});
    const auto [first, end] = ticks();
    for (auto number = first; number < end; ++number) nodes.push_back({Kind::tick, number, {}});
    nodes.push_back({Kind::playhead});
    nodes.push_back({Kind::rows});
    if (view_->empty()) nodes.push_back({Kind::hint});
    if (view_->insertionPreview()) nodes.push_back({Kind::insertion});
    if (view_->snapTime()) nodes.push_back({Kind::snap});
    if (view_->marqueeRect()) nodes.push_back({Kind::marquee});
    return nodes;
}

int TimelineNodes::childCount(const TimelineNode& node) const {
    if (!view_) return 0;
    if (node.kind == Kind::rows) return static_cast<int>(rows().clips.size());
    if (node.kind == Kind::row) {
        const auto row = static_cast<std::size_t>(node.number);
        return row < rows().clips.size() ? static_cast<int>(rows().clips[row].size()) : 0;
    }
    return node.kind == Kind::clip && !frameOfLength(node.clip).isEmpty() ? 1 : 0;
}

std::optional<TimelineNode> TimelineNodes::child(const TimelineNode& node, int index) const {
    if (index < 0 || index >= childCount(node)) return std::nullopt;
    if (node.kind == Kind::rows) return TimelineNode{Kind::row, index, {}};
    if (node.kind == Kind::clip) return TimelineNode{Kind::length, 0, node.clip};
    const auto clip = rows().clips[static_cast<std::size_t>(node.number)][static_cast<std::size_t>(index)];
    return TimelineNode{Kind::clip, 0, view_->displayedClips()[clip].id};
}

int TimelineNodes::indexOf(const TimelineNode& node) const {
    if (!view_) return -1;
    switch (node.kind) {
        case Kind::row:
            return node.number < std::ssize(rows().clips) ? static_cast<int>(node.number) : -1;
        case Kind::clip: {
            const auto index = view_->displayedPlacement().index(node.clip);
            return index ? rows().places[*index] : -1;
        }
        case Kind::length:
            return frameOfLength(node.clip).isEmpty() ? -1 : 0;
        default: {
            const auto nodes = top();
            const auto found = std::ranges::find(nodes, node);
            return found == nodes.end() ? -1 : static_cast<int>(found - nodes.begin());
        }
    }
}

std::optional<TimelineNode> TimelineNodes::parent(const TimelineNode& node) const {
    if (node.kind == Kind::row) return TimelineNode{Kind::rows};
    if (node.kind == Kind::length) return TimelineNode{Kind::clip, 0, node.clip};
    if (node.kind != Kind::clip) return std::nullopt;
    const auto index = view_ ? view_->displayedPlacement().index(node.clip) : std::nullopt;
    // One that is gone is told of below the video track.
    return TimelineNode{Kind::row, index ? static_cast<std::int64_t>(rowOf(*index)) : 0, {}};
}

const Clip* TimelineNodes::clip(const TimelineNode& node) const {
    const auto index = view_ ? view_->displayedPlacement().index(node.clip) : std::nullopt;
    return index ? &view_->displayedClips()[*index] : nullptr;
}

// Where they are drawn.

QPointF TimelineNodes::origin() const {
    const double ratio = surface_.window() ? surface_.window()->effectiveDevicePixelRatio() : 1;
    const auto snapped = [ratio](double length) { return std::round(length * ratio) / ratio; };
    const auto seen = view_->visibleOrigin();
    return {snapped(seen.x() - surface_.width() / 2), snapped(seen.y())};
}

QRectF TimelineNodes::inViewport(const QRectF& content) const { return content.translated(-origin()); }

QRectF TimelineNodes::frameOfTick(const TimelineNode& tick) const {
    const double interval = TimelineViewportLayout::tickInterval(view_->pointsPerSecond());
    const double x = static_cast<double>(tick.number) * interval * view_->pointsPerSecond() - origin().x();
    return TimelineMarks::labelPlace(x, name(tick));
}

QRectF TimelineNodes::frameOfRow(std::size_t row) const {
    const double top = trackTop + trackStride * static_cast<double>(row) - origin().y();
    return {0, top, surface_.width(), trackHeight};
}

QRectF TimelineNodes::frameOfClip(const UUID& clip) const {
    const auto index = view_->displayedPlacement().index(clip);
    return index ? inViewport(view_->drawnFrame(*index)) : QRectF();
}

QRectF TimelineNodes::frameOfLength(const UUID& clip) const {
    if (TimelinePainter::measuredClip(*view_) != clip) return {};
    const auto index = view_->displayedPlacement().index(clip);
    if (!index) return {};
    const QRectF viewport(0, 0, surface_.width(), surface_.height());
    return ClipDrawing::lengthPlace(view_->displayedClips()[*index], frameOfClip(clip) & viewport,
                                    TimelinePainter::trimsEnd(*view_))
        .value_or(QRectF());
}

QRectF TimelineNodes::frame(const TimelineNode& node) const {
    if (!view_) return {};
    const QSizeF size = surface_.size();
    switch (node.kind) {
        case Kind::ruler:
            return {0, 0, size.width(), rulerHeight};
        case Kind::tick:
            return frameOfTick(node);
        case Kind::playhead:
            return TimelineMarks::playheadPlace(size);
        case Kind::rows:
            return {0, rulerHeight, size.width(), size.height() - rulerHeight};
        case Kind::row:
            return frameOfRow(static_cast<std::size_t>(node.number));
        case Kind::clip:
            return frameOfClip(node.clip);
        case Kind::length:
            return frameOfLength(node.clip);
        case Kind::hint:
            return TimelineMarks::hintPlace(size);
        case Kind::insertion:
            return view_->insertionPreview()
                       ? TimelineMarks::insertionPlace(view_->insertionPreview()->markerX - origin().x(), origin().y())
                       : QRectF();
        case Kind::snap: {
            const double x = view_->snapTime().value_or(0) * view_->pointsPerSecond() - origin().x();
            return view_->snapTime() ? TimelineMarks::snapPlace(x, size.height()) : QRectF();
        }
        case Kind::marquee:
            return view_->marqueeRect() ? inViewport(*view_->marqueeRect()) : QRectF();
    }
    return {};
}

bool TimelineNodes::isInSight(const TimelineNode& node) const {
    QRectF sight(0, 0, surface_.width(), surface_.height());
    // The ruler lies over what is scrolled below it.
    const bool isBelow = node.kind == Kind::row || node.kind == Kind::clip || node.kind == Kind::length;
    if (isBelow) sight.setTop(rulerHeight);
    return sight.intersects(frame(node));
}

// What they are called.

QString TimelineNodes::name(const TimelineNode& node) const {
    switch (node.kind) {
        case Kind::ruler:
            return TimelineView::tr("Seek");
        case Kind::tick: {
            const double interval = TimelineViewportLayout::tickInterval(view_ ? view_->pointsPerSecond() : 1);
            const double seconds = static_cast<double>(node.number) * interval;
            return QString::fromStdString(TimelineViewportLayout::timeDisplay(seconds));
        }
        case Kind::playhead:
            return TimelineView::tr("Playhead");
        case Kind::rows:
            return TimelineView::tr("Tracks");
        case Kind::row:
            return node.number == 0 ? TimelineView::tr("Video") : TimelineView::tr("Audio %1").arg(node.number);
        case Kind::clip: {
            const auto* shown = clip(node);
            return shown ? QString::fromStdString(shown->name()) : QString();
        }
        case Kind::length: {
            const auto* shown = clip(node);
            return shown ? QString::fromStdString(timeLabel(shown->duration())) : QString();
        }
        case Kind::hint:
            return TimelineView::tr("Drag assets here");
        case Kind::insertion:
            return TimelineView::tr("Insertion marker");
        case Kind::snap:
            return TimelineView::tr("Snap line");
        case Kind::marquee:
            return TimelineView::tr("Selection");
    }
    return {};
}

}  // namespace kelvane
