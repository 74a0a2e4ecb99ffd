#include "FFmpegPictureStream.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>

#include "Media/FFmpeg/Picture/CanvasFrames.h"
#include "Media/FFmpeg/Picture/PictureRenderer.h"
#include "Media/FFmpeg/Source/UnchangedTrack.h"
#include "Media/MediaError.h"

namespace kelvane {

namespace {

/// A step back of at most this much is one of several, seconds; a longer one leaps.
constexpr MediaTime longestStepBack{1, 2};
/// Pictures drawn on the way of a step back: two seconds at 30 frames a second. Drawing them at 400 × 711 takes a tenth
/// of a second.
constexpr std::int64_t mostDrawnOnTheWay = 60;
/// Of a file that doesn't tell its own, frames a second.
constexpr double usualRate = 30;

bool isOneStream(const FFmpegTrack& one, const FFmpegTrack& other) {
    return one.facts().streamIndex == other.facts().streamIndex && one.facts().identity == other.facts().identity;
}

VideoPicturePtr videoPicture(const SharedFrame& frame) {
    auto picture = std::make_shared<VideoPicture>();
    picture->width = frame->width;
    picture->height = frame->height;
    for (int i = 0; i < 3; ++i) {
        const PlaneSpan plane = canvasPlane(*frame, i);
        picture->planes[static_cast<std::size_t>(i)] = {plane.data, plane.stride, plane.width, plane.height};
    }
    picture->memory = frame;
    return picture;
}

/// What shows from the first cut behind `from` on that is at most `ahead` later. Where a source goes on over the border
/// of two clips, there is no cut.
std::optional<PictureOrigin> cutBehind(const EditedMedia& media, MediaTime from, MediaTime ahead) {
    const auto& all = media.video.instructions;
    const auto start = [](const VideoInstruction& one) { return one.timeRange.start; };
    for (auto place = std::ranges::upper_bound(all, from, {}, start);
         place != all.end() && place->timeRange.start <= from + ahead; ++place) {
        auto shot = PictureRenderer::originOf(media, place->timeRange.start);
        if (!shot) continue;
        if (place == all.begin()) return shot;
        const MediaTime before = std::prev(place)->timeRange.start;
        const auto last = PictureRenderer::originOf(media, before);
        const bool goesOn = last && isOneStream(*last->track, *shot->track) &&
                            last->time + (place->timeRange.start - before) == shot->time;
        if (!goesOn) return shot;
    }
    return std::nullopt;
}

class FFmpegPictureStream final : public PictureStream {
public:
    FFmpegPictureStream(EditedMediaPtr media, Size canvas, std::shared_ptr<ReaderPool> readers,
                        std::shared_ptr<PictureCache> cache)
        : media_(std::move(media)),
          readers_(std::move(readers)),
          cache_(std::move(cache)),
          user_(readers_->newUser()),
          canvas_(canvas),
          painter_(media_->video.renderSize, canvas) {}

    void setCanvas(Size pixels) override {
        const std::lock_guard lock(mutex_);
        if (pixels == canvas_) return;
        cache_->forget(canvas_);
        canvas_ = pixels;
    }

    void overtake(std::uint64_t number) override {
        {
            const std::lock_guard lock(mutex_);
            wanted_ = std::max(wanted_, number);
        }
        changed_.notify_all();
    }

    Result<StreamPicture> picture(MediaTime time, std::uint64_t number, std::stop_token stop) override;
    void prepareCut(MediaTime from, MediaTime ahead, std::stop_token stop) override;

private:
    /// What was asked for last, to know steps back.
    struct Asked {
        PictureKey key;
        MediaTime time;
        bool isBack = false;
    };

    void followCanvas();
    [[nodiscard]] bool isOvertaken(std::uint64_t number) const;
    bool awaitReader(const PictureOrigin& shot, std::uint64_t number, const std::stop_token& stop);
    void giveWay(const std::stop_token& stop);
    Result<VideoPicturePtr> black();
    [[nodiscard]] Asked ask(const PictureKey& key, MediaTime time) const;
    [[nodiscard]] MediaTime keptFrom(const PictureOrigin& shot) const;
    VideoPicturePtr share(const SharedFrame& picture);
    Result<VideoPicturePtr> draw(const PictureOrigin& shot, const PictureKey& key, const ShownFrame& shown);
    Result<StreamPicture> decode(const PictureOrigin& shot, MediaTime time, std::uint64_t number,
                                 const std::stop_token& stop);
    Result<StreamPicture> onTheWay(const PictureOrigin& shot, const PictureKey& key, const ShownFrame& shown,
                                   MediaTime time);

    const EditedMediaPtr media_;
    const std::shared_ptr<ReaderPool> readers_;
    const std::shared_ptr<PictureCache> cache_;
    const std::uint64_t user_;

    mutable std::mutex mutex_;
    std::condition_variable_any changed_;
    Size canvas_;
    /// Calls with a lower number aren't wanted.
    std::uint64_t wanted_ = 0;
    /// Where the shot begins, on the timeline, whose reader is being prepared.
    std::optional<MediaTime> preparing_;
    /// Whether a picture that is to be shown is being decoded, and how many were.
    bool isDecoding_ = false;
    std::uint64_t decoded_ = 0;

    // Of `picture` alone.
    PicturePainter painter_;
    PaintedFrame painted_;
    /// `painted_`, or the black picture, as it was given out.
    SharedFrame sharedFrame_;
    VideoPicturePtr shared_;
    VideoPicturePtr black_;
    std::optional<Asked> asked_;
};

/// Takes up a change of the canvas.
void FFmpegPictureStream::followCanvas() {
    const std::lock_guard lock(mutex_);
    if (painter_.canvas() == canvas_) return;
    painter_.setCanvas(canvas_);
    painted_ = {};
    sharedFrame_.reset();
    shared_.reset();
    black_.reset();
}

bool FFmpegPictureStream::isOvertaken(std::uint64_t number) const {
    const std::lock_guard lock(mutex_);
    return number < wanted_;
}

/// Waits while the reader of this shot is on its way to it; false when the call was overtaken meanwhile.
bool FFmpegPictureStream::awaitReader(const PictureOrigin& shot, std::uint64_t number, const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    const auto isPreparing = [&] { return preparing_ && *preparing_ == shot.targetStart; };
    if (!isPreparing()) return true;
    changed_.wait(lock, stop, [&] { return !isPreparing() || number < wanted_; });
    return number >= wanted_;
}

/// Holds a decode for later back while one for now is under way. Between two of those it goes on by a packet at least,
/// so that a source that decodes too slowly comes to its next cut, too.
void FFmpegPictureStream::giveWay(const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, stop, [this, begun = decoded_] { return !isDecoding_ || decoded_ != begun; });
}

Result<VideoPicturePtr> FFmpegPictureStream::black() {
    if (!black_) {
        const auto made = painter_.black();
        if (!made) return fail(made.error());
        black_ = videoPicture(*made);
    }
    return black_;
}

FFmpegPictureStream::Asked FFmpegPictureStream::ask(const PictureKey& key, MediaTime time) const {
    Asked asked{key, time};
    if (!asked_ || asked_->key != key) return asked;
    // Asking again, as after a call that was overtaken, is still the same step.
    asked.isBack =
        time == asked_->time ? asked_->isBack : time < asked_->time && asked_->time - time <= longestStepBack;
    return asked;
}

/// How far back the pictures on the way of a step back are kept: half of what the cache holds, so that those ahead
/// stay too; none from before the shot.
MediaTime FFmpegPictureStream::keptFrom(const PictureOrigin& shot) const {
    const Size canvas = painter_.canvas();
    const std::int64_t bytes = std::max<std::int64_t>(
        PictureCache::bytesOf(static_cast<int>(canvas.width), static_cast<int>(canvas.height)), 1);
    const std::int64_t pictures = std::min(cache_->mostBytes() / bytes / 2, mostDrawnOnTheWay);
    const double rate = shot.track->facts().nominalFrameRate;
    const MediaTime reach = MediaTime::fromSeconds(static_cast<double>(pictures) / (rate > 0 ? rate : usualRate));
    return std::max(shot.sourceStart, shot.time - reach);
}

VideoPicturePtr FFmpegPictureStream::share(const SharedFrame& picture) {
    if (picture != sharedFrame_) {
        shared_ = videoPicture(picture);
        sharedFrame_ = picture;
    }
    return shared_;
}

Result<VideoPicturePtr> FFmpegPictureStream::draw(const PictureOrigin& shot, const PictureKey& key,
                                                  const ShownFrame& shown) {
    if (!shown.frame) return black();
    const auto picture = painter_.paint(shot, shown.frame, painted_);
    if (!picture) return fail(picture.error());
    const bool isDrawn = painted_.frame == shown.frame;
    if (!isDrawn && *picture != painted_.picture) return black();
    const VideoPicturePtr shared = share(*picture);
    if (isDrawn) cache_->keep(key, shown.from, shown.until, shared);
    return shared;
}

Result<StreamPicture> FFmpegPictureStream::picture(MediaTime time, std::uint64_t number, std::stop_token stop) {
    if (stop.stop_requested()) return fail(Error::cancelled());
    followCanvas();
    const auto shot = PictureRenderer::originOf(*media_, time);
    const auto stamp = shot ? VideoFrameReader::stampAt(*shot->track, shot->time) : std::nullopt;
    if (!stamp) {
        auto shown = black();
        if (!shown) return fail(shown.error());
        return StreamPicture{*std::move(shown), time, true};
    }
    const PictureKey key = PictureKey::of(*shot, painter_.canvas());
    asked_ = ask(key, shot->time);
    if (auto kept = cache_->find(key, *stamp)) {
        if (!isUnchanged(*shot->track)) return fail(MediaError::invalidClip(shot->track->url().baseName()));
        return StreamPicture{std::move(kept), time, true};
    }
    if (!awaitReader(*shot, number, stop)) return StreamPicture{nullptr, time, false};
    {
        const std::lock_guard lock(mutex_);
        isDecoding_ = true;
    }
    auto answer = decode(*shot, time, number, stop);
    {
        const std::lock_guard lock(mutex_);
        isDecoding_ = false;
        ++decoded_;
    }
    changed_.notify_all();
    return answer;
}

Result<StreamPicture> FFmpegPictureStream::decode(const PictureOrigin& shot, MediaTime time, std::uint64_t number,
                                                  const std::stop_token& stop) {
    auto reader = readers_->lease(shot.track, shot.time, ReaderRole::showing, user_, stop);
    if (!reader) return fail(reader.error());
    const PictureKey key = PictureKey::of(shot, painter_.canvas());
    FrameCall call;
    call.isOvertaken = [this, number] { return isOvertaken(number); };
    if (asked_->isBack) {
        call.keepFrom = keptFrom(shot);
        call.passed = [&](const ShownFrame& passed) {
            // Failures come to light where the picture is asked for.
            if (!cache_->find(key, passed.from)) (void)draw(shot, key, passed);
        };
    }
    const auto shown = (*reader)->frame(shot.time, call, stop);
    if (!shown) {
        if (stop.stop_requested() || shown.error().isCancelled()) return fail(Error::cancelled());
        reader->discard();
        return fail(shown.error());
    }
    if (!shown->isExact) return onTheWay(shot, key, *shown, time);
    // A film that is black from end to end would tell nobody why.
    if (!shown->frame && (*reader)->isUndecodable()) return fail((*reader)->undecodable());
    auto picture = draw(shot, key, *shown);
    if (!picture) return fail(picture.error());
    return StreamPicture{*std::move(picture), time, true};
}

/// The answer of a call that was overtaken: the frame that it came to, if that shows in this shot.
Result<StreamPicture> FFmpegPictureStream::onTheWay(const PictureOrigin& shot, const PictureKey& key,
                                                    const ShownFrame& shown, MediaTime time) {
    if (!shown.frame) return StreamPicture{nullptr, time, false};
    const FFmpegTrack::Facts& facts = shot.track->facts();
    const MediaTime source{(shown.frame->pts - facts.zero) * facts.timeBase.num, facts.timeBase.den};
    if (source < shot.sourceStart) return StreamPicture{nullptr, time, false};
    const MediaTime at = std::min(time, shot.targetStart + (source - shot.sourceStart));
    if (auto kept = cache_->find(key, shown.from)) return StreamPicture{std::move(kept), at, false};
    auto picture = draw(shot, key, shown);
    if (!picture) return fail(picture.error());
    return StreamPicture{*std::move(picture), at, false};
}

void FFmpegPictureStream::prepareCut(MediaTime from, MediaTime ahead, std::stop_token stop) {
    const auto shot = cutBehind(*media_, from, ahead);
    if (!shot || stop.stop_requested()) return;
    {
        const std::lock_guard lock(mutex_);
        preparing_ = shot->targetStart;
    }
    if (auto reader = readers_->lease(shot->track, shot->time, ReaderRole::preparing, user_, stop)) {
        FrameCall call;
        // Asked before each packet. What it has come to is never given up.
        call.isOvertaken = [this, &stop] {
            giveWay(stop);
            return false;
        };
        const auto frame = (*reader)->frame(shot->time, call, stop);
        if (!frame && !stop.stop_requested()) reader->discard();
    }
    {
        const std::lock_guard lock(mutex_);
        preparing_.reset();
    }
    changed_.notify_all();
}

}  // namespace

std::unique_ptr<PictureStream> makeFFmpegPictureStream(EditedMediaPtr media, Size canvas,
                                                       std::shared_ptr<ReaderPool> readers,
                                                       std::shared_ptr<PictureCache> cache) {
    return std::make_unique<FFmpegPictureStream>(std::move(media), canvas, std::move(readers), std::move(cache));
}

}  // namespace kelvane
