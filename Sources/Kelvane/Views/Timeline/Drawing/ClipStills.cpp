#include "ClipStills.h"

#include <QPainter>
#include <cmath>

#include "Views/Timeline/TimelineMetrics.h"

namespace kelvane {

namespace {

/// The picture's own pixels, which it must outlive.
QImage viewOf(const StillImage& picture) {
    return {picture.pixels.data(), picture.width, picture.height, 4 * picture.width, QImage::Format_RGBX8888};
}

QImage scaled(const StillImage& picture, const Clip& clip, double ratio) {
    const QRect part = TimelineTiles::shownPart(QSizeF(picture.width, picture.height), clip).toRect();
    const QSize pixels((QSizeF(TimelineMetrics::tileWidth, TimelineMetrics::trackHeight) * ratio).toSize());
    QImage image = viewOf(picture)
                       .copy(part)
                       .scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                       .convertToFormat(QImage::Format_RGB32);
    image.setDevicePixelRatio(ratio);
    return image;
}

}  // namespace

void ClipStills::begin(const Editor* editor, const TimelineTiles* tiles, double ratio,
                       std::optional<std::chrono::nanoseconds> now) {
    editor_ = editor;
    tiles_ = tiles;
    now_ = now;
    isFading_ = false;
    wanted_.clear();
    // What wasn't drawn last is shown as it is when it comes into sight.
    before_ = std::exchange(present_, {});
    if (ratio == ratio_) return;
    ratio_ = ratio;
    places_.clear();
    kept_.clear();
    bytes_ = 0;
}

std::vector<TileRequest> ClipStills::end() {
    before_.clear();
    return std::move(wanted_);
}

ClipStills::Standing ClipStills::stand(const Place& place, const StillImagePtr& source, bool isOwn) {
    Standing standing{.source = source, .isOwn = isOwn, .former = {}};
    const auto known = before_.find(place);
    if (!now_ || known == before_.end()) return standing;
    const Standing& was = known->second;
    // A tile's own picture that takes another's place belongs to a clip that is trimmed: it follows the hand.
    const bool comes = source && (!was.source || (isOwn && !was.isOwn));
    if (comes) {
        standing.former = was.source;
        standing.since = *now_;
        standing.fades = true;
    } else if (was.fades && *now_ - was.since < fade) {
        standing.former = was.former;
        standing.since = was.since;
        standing.fades = true;
    }
    return standing;
}

ClipStills::Tile ClipStills::tile(const Clip& clip, double left, double pointsPerSecond, double middle) {
    StillImagePtr source;
    if (tiles_ != nullptr) {
        const MediaTime time = TimelineTiles::timeOf(clip, left, pointsPerSecond);
        wanted_.push_back({clip.url, time, middle});
        source = tiles_->picture(clip.url, time);
    }
    const bool isOwn = source != nullptr;
    if (!source && editor_ != nullptr) {
        const auto found = editor_->thumbnails().find(clip.url);
        if (found != editor_->thumbnails().end()) source = found->second;
    }
    const Place place{clip.id, static_cast<int>(left / TimelineMetrics::tileWidth)};
    const Standing& standing = present_.insert_or_assign(place, stand(place, source, isOwn)).first->second;
    Tile tile{.image = source ? drawn(source, clip) : QImage(), .former = {}};
    if (standing.fades) {
        isFading_ = true;
        tile.shown = std::chrono::duration<double>(*now_ - standing.since) / std::chrono::duration<double>(fade);
        if (standing.former) tile.former = drawn(standing.former, clip);
    }
    return tile;
}

QImage ClipStills::drawn(const StillImagePtr& source, const Clip& clip) {
    const Key key{source.get(), clip.zoom, clip.horizontal, clip.vertical};
    if (const auto known = places_.find(key); known != places_.end()) {
        if (known->second->source.lock() == source) {
            kept_.splice(kept_.begin(), kept_, known->second);
            return known->second->image;
        }
        bytes_ -= static_cast<std::size_t>(known->second->image.sizeInBytes());
        kept_.erase(known->second);
        places_.erase(known);
    }
    kept_.push_front({key, source, scaled(*source, clip, ratio_)});
    places_[key] = kept_.begin();
    bytes_ += static_cast<std::size_t>(kept_.front().image.sizeInBytes());
    const QImage image = kept_.front().image;
    while (bytes_ > limit && kept_.size() > 1) {
        bytes_ -= static_cast<std::size_t>(kept_.back().image.sizeInBytes());
        places_.erase(kept_.back().key);
        kept_.pop_back();
    }
    return image;
}

}  // namespace kelvane
