#include "TimelineTiles.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Media/MediaPlatform.h"
#include "Platform/MainContext.h"
#include "Timeline/Framing.h"
#include "TimelineMetrics.h"

namespace kelvane {

namespace {

/// How much smaller a whole canvas is in a tile that it fills, points a pixel.
double tileScale() {
    return std::max(TimelineMetrics::tileWidth / Framing::size.width,
                    TimelineMetrics::trackHeight / Framing::size.height);
}

/// Units of 1/600 s.
std::int64_t unitsOf(MediaTime time) { return time.floored(compositionTimescale).value; }

/// The size that a file's pictures must be fitted into to cover a canvas in a tile at a zoom of 1.
Result<Size> sizeWithin(MediaPlatform& media, const FileURL& file, double ratio, std::stop_token stop) {
    auto asset = media.openAsset(file, std::move(stop));
    if (!asset) return fail(asset.error());
    auto tracks = (*asset)->loadTracks(MediaType::video);
    if (!tracks) return fail(tracks.error());
    if (tracks->empty()) return fail("“" + file.fileName() + "” has no picture.");
    auto size = tracks->front()->loadNaturalSize();
    if (!size) return fail(size.error());
    auto orientation = tracks->front()->loadOrientation();
    if (!orientation) return fail(orientation.error());
    const Rect shown = orientation->boundingRect({0, 0, size->width, size->height});
    const double pixels = tileScale() * ratio;
    const double scale =
        std::max(Framing::size.width * pixels / shown.width, Framing::size.height * pixels / shown.height);
    return Size{std::ceil(shown.width * scale - 1e-6), std::ceil(shown.height * scale - 1e-6)};
}

}  // namespace

TimelineTiles::TimelineTiles(std::size_t limit) : limit_(limit) {}

TimelineTiles::~TimelineTiles() {
    if (pass_) pass_->stop.request_stop();
}

MediaTime TimelineTiles::timeOf(const Clip& clip, double left, double pointsPerSecond) {
    const double from = clip.start + std::max(left, 0.0) / pointsPerSecond;
    const double to = std::min(clip.start + (left + TimelineMetrics::tileWidth) / pointsPerSecond, clip.end);
    const double margin = (to - from) / 8;
    const double first = (from + margin) * compositionTimescale;
    const double last = (to - margin) * compositionTimescale;
    // Two hours and more at the longest step; times beyond are multiples of it as well.
    for (std::int64_t step = std::int64_t{1} << 22; step > 0; step /= 2) {
        const auto length = static_cast<double>(step);
        const double roundest = std::ceil(first / length) * length;
        if (roundest <= last) return {static_cast<std::int64_t>(roundest), compositionTimescale};
    }
    return {static_cast<std::int64_t>(std::floor((first + last) / 2)), compositionTimescale};
}

QRectF TimelineTiles::shownPart(QSizeF picture, const Clip& clip) {
    const Size canvas = Framing::size;
    const double scale = tileScale();
    const Size part{TimelineMetrics::tileWidth / scale, TimelineMetrics::trackHeight / scale};
    const Rect shown =
        Framing::transform({picture.width(), picture.height()}, {}, clip.zoom, clip.horizontal, clip.vertical, canvas)
            .inverted()
            .boundingRect(
                {(canvas.width - part.width) / 2, (canvas.height - part.height) / 2, part.width, part.height});
    return {shown.x, shown.y, shown.width, shown.height};
}

void TimelineTiles::setEditor(const std::shared_ptr<Editor>& editor) {
    if (editor == editor_.lock()) return;
    for (const auto& connection : connections_) disconnect(connection);
    clear();
    editor_ = editor;
    clips_ = editor ? editor->clipArray() : nullptr;
    assets_ = editor ? editor->assetArray() : nullptr;
    if (!editor) return;
    connections_ = {
        connect(editor.get(), &Editor::playersChanged, this, &TimelineTiles::followShown),
        connect(editor.get(), &Editor::contentChanged, this, &TimelineTiles::followContent),
    };
}

void TimelineTiles::setDevicePixelRatio(double ratio) {
    const double held = std::clamp(ratio, 1.0, 2.0);
    if (std::exchange(ratio_, held) != held) clear();
}

void TimelineTiles::clear() {
    if (pass_) {
        pass_->isForeign = true;
        pass_->stop.request_stop();
    }
    tiles_.clear();
    failed_.clear();
    isFull_ = false;
    bytes_ = 0;
    if (kept_.empty()) return;
    kept_.clear();
    Q_EMIT changed();
}

void TimelineTiles::followShown() {
    if (isIdle()) clear();
}

void TimelineTiles::followContent() {
    const auto editor = editor_.lock();
    if (!editor || (editor->clipArray() == clips_ && editor->assetArray() == assets_)) return;
    clips_ = editor->clipArray();
    assets_ = editor->assetArray();
    failed_.clear();
    startPass();
}

bool TimelineTiles::isIdle() const {
    const auto editor = editor_.lock();
    return !editor || !editor->isShown();
}

void TimelineTiles::want(std::vector<TileRequest> tiles) {
    if (isIdle()) return;
    const bool isSame = std::ranges::equal(tiles, tiles_, [](const TileRequest& one, const TileRequest& other) {
        return one.time == other.time && one.file == other.file;
    });
    // The distances, by which the next pass is chosen, are others all the same.
    tiles_ = std::move(tiles);
    if (isSame) return;
    ++wanted_;
    isFull_ = false;
    for (const TileRequest& tile : tiles_)
        if (const auto pictures = kept_.find(tile.file); pictures != kept_.end())
            if (const auto found = pictures->second.find(unitsOf(tile.time)); found != pictures->second.end())
                found->second.wanted = wanted_;
    stopUnwanted();
    startPass();
}

const TimelineTiles::Kept* TimelineTiles::kept(const FileURL& file, MediaTime time) const {
    const auto pictures = kept_.find(file);
    if (pictures == kept_.end()) return nullptr;
    const auto found = pictures->second.find(unitsOf(time));
    return found == pictures->second.end() ? nullptr : &found->second;
}

StillImagePtr TimelineTiles::picture(const FileURL& file, MediaTime time) const {
    const Kept* found = kept(file, time);
    return found != nullptr ? found->picture : nullptr;
}

bool TimelineTiles::isInSight(const FileURL& file, std::int64_t time) const {
    return std::ranges::any_of(
        tiles_, [&](const TileRequest& tile) { return unitsOf(tile.time) == time && tile.file == file; });
}

void TimelineTiles::stopUnwanted() {
    if (!pass_) return;
    const bool isWanted =
        std::ranges::any_of(pass_->missing, [this](std::int64_t time) { return isInSight(pass_->file, time); });
    if (!isWanted) pass_->stop.request_stop();
}

TimelineTiles::PassPtr TimelineTiles::nextPass() const {
    std::vector<const TileRequest*> missing;
    for (const TileRequest& tile : tiles_)
        if (kept(tile.file, tile.time) == nullptr && !failed_.contains(tile.file)) missing.push_back(&tile);
    if (missing.empty()) return nullptr;
    // Equally near ones in the order in which they were named.
    std::ranges::sort(missing, [](const TileRequest* one, const TileRequest* other) {
        return one->distance != other->distance ? one->distance < other->distance : one < other;
    });
    auto pass = std::make_shared<Pass>();
    pass->file = missing.front()->file;
    for (const TileRequest* tile : missing)
        if (tile->file == pass->file && pass->missing.size() < passLength) pass->missing.insert(unitsOf(tile->time));
    for (const std::int64_t time : pass->missing) pass->times.push_back({time, compositionTimescale});
    return pass;
}

void TimelineTiles::startPass() {
    if (pass_ || isFull_ || isIdle()) return;
    pass_ = nextPass();
    if (!pass_) return;
    const EditorServices& services = editor_.lock()->services();
    auto work = [context = services.context, media = services.media, ratio = ratio_, pass = pass_,
                 weak = std::weak_ptr(self_)] {
        const std::stop_token stop = pass->stop.get_token();
        const auto deliver = [&](std::size_t index, const TimedStill& still) -> Result<void> {
            context->post([weak, pass, time = pass->times[index], image = still.image] {
                if (const auto self = weak.lock()) self->take(pass, time, image);
            });
            return {};
        };
        Result<void> outcome;
        if (stop.stop_requested())
            outcome = fail(Error::cancelled());
        else if (const auto size = sizeWithin(*media, pass->file, ratio, stop); size)
            outcome = media->sourceStills(pass->file, pass->times, *size, deliver, stop);
        else
            outcome = fail(size.error());
        context->post([weak, pass, outcome] {
            if (const auto self = weak.lock()) self->finish(pass, outcome);
        });
    };
    services.context->runInBackground(std::move(work), Lane::longWork);
}

void TimelineTiles::take(const PassPtr& pass, MediaTime time, const StillImagePtr& picture) {
    if (pass->isForeign) return;
    pass->missing.erase(unitsOf(time));
    if (kept(pass->file, time) != nullptr) return;
    const bool isWanted = isInSight(pass->file, unitsOf(time));
    if (!makeRoom(picture->pixels.size())) {
        if (!isWanted) return;
        isFull_ = true;
        pass->stop.request_stop();
        return;
    }
    bytes_ += picture->pixels.size();
    kept_[pass->file][unitsOf(time)] = {picture, isWanted ? wanted_ : wanted_ - 1};
    Q_EMIT changed();
}

bool TimelineTiles::makeRoom(std::size_t bytes) {
    while (bytes_ + bytes > limit_)
        if (!dropOldest()) return false;
    return true;
}

bool TimelineTiles::dropOldest() {
    const FileURL* file = nullptr;
    std::int64_t time = 0;
    std::uint64_t wanted = wanted_;
    for (const auto& [url, pictures] : kept_)
        for (const auto& [units, one] : pictures)
            if (one.wanted < wanted) {
                file = &url;
                time = units;
                wanted = one.wanted;
            }
    if (file == nullptr) return false;
    const auto pictures = kept_.find(*file);
    const auto oldest = pictures->second.find(time);
    bytes_ -= oldest->second.picture->pixels.size();
    pictures->second.erase(oldest);
    if (pictures->second.empty()) kept_.erase(pictures);
    return true;
}

void TimelineTiles::finish(const PassPtr& pass, const Result<void>& outcome) {
    pass_.reset();
    // What was stopped tells nothing about its file.
    const bool fails = !pass->stop.stop_requested() && (!outcome || !pass->missing.empty());
    if (fails && failed_.insert(pass->file).second) Q_EMIT changed();
    startPass();
}

}  // namespace kelvane
