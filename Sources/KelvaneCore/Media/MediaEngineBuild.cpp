#include <algorithm>
#include <cerrno>
#include <limits>
#include <numeric>

#include "MediaEngine.h"
#include "MediaError.h"
#include "Timeline/Framing.h"
#include "Timeline/TimelineLayout.h"

namespace kelvane::MediaEngine {

namespace {

/// How far a trim may pass a video source's length, seconds: lengths change by a rounding when a file is copied.
constexpr double durationTolerance = 0.001;
/// How much of an overlay's trim its sound track may lack, seconds: coders cut and pad sound by parts of a packet.
constexpr double overlayTolerance = 0.002;

/// The timescale of sound whose own doesn't mix with the composition's: sample rates of 48 kHz.
constexpr std::int32_t soundTimescale = 48000;

Error invalid(const Clip& clip) { return MediaError::invalidClip(clip.url.baseName()); }

/// `range` in a timescale in which sums with composition times are exact, taken inward where that rounds, so that sound
/// placed by such sums never reaches into the next clip's.
MediaTimeRange mixable(const MediaTimeRange& range) {
    const auto isMixable = [](MediaTime time) {
        const std::int64_t common = std::lcm(std::int64_t{time.timescale}, std::int64_t{compositionTimescale});
        return common <= std::numeric_limits<std::int32_t>::max();
    };
    if (isMixable(range.start) && isMixable(range.duration) && isMixable(range.end())) return range;
    MediaTime start = range.start.floored(soundTimescale);
    if (start < range.start) ++start.value;
    return {start, range.end().floored(soundTimescale) - start};
}

/// The first track of one type of a clip's source; none when it has no such track.
struct Source {
    MediaAssetPtr asset;
    MediaTrackPtr track;
};

/// Whether `error` says that the source isn't where its clip has it any more: to the person, that is a clip that can't
/// be read, named as the timeline names it.
bool isGone(const Error& error) { return error.domain == "POSIX" && (error.code == ENOENT || error.code == ENOTDIR); }

Result<Source> openSource(MediaPlatform& platform, const Clip& clip, MediaType type, const std::stop_token& stop) {
    Result<MediaAssetPtr> asset = platform.openAsset(clip.url, stop);
    if (!asset) return fail(isGone(asset.error()) ? invalid(clip) : asset.error());
    Result<std::vector<MediaTrackPtr>> tracks = (*asset)->loadTracks(type);
    if (!tracks) return fail(tracks.error());
    return Source{std::move(*asset), tracks->empty() ? nullptr : std::move(tracks->front())};
}

/// One build: what is under construction, and the steps in their order.
class Builder {
public:
    Builder(MediaPlatform& platform, std::span<const Clip> clips, Size renderSize, std::stop_token stop)
        : platform_(platform), clips_(clips), renderSize_(renderSize), stop_(std::move(stop)) {}

    Result<EditedMediaPtr> run(MediaTime frameDuration) {
        Result<void> done = addSequenceTracks();
        for (std::size_t i = 0; done && i < clips_.size(); ++i)
            if (!clips_[i].isAudio()) done = appendVideo(clips_[i]);
        for (std::size_t i = 0; done && i < clips_.size(); ++i)
            if (clips_[i].isAudio()) done = addOverlay(clips_[i]);
        if (done) done = finishPicture(frameDuration);
        if (!done) return fail(done.error());
        finishSound();
        return std::make_shared<const EditedMedia>(std::move(media_));
    }

private:
    Result<void> addSequenceTracks() {
        const std::optional<CompositionTrackID> video = platform_.addMutableTrack(media_.composition, MediaType::video);
        if (!video) return fail(MediaError::exportUnavailable());
        const std::optional<CompositionTrackID> audio = platform_.addMutableTrack(media_.composition, MediaType::audio);
        if (!audio) return fail(MediaError::exportUnavailable());
        videoTrack_ = *video;
        main_.track = *audio;
        return {};
    }

    Result<void> checkClip(const Clip& clip) const {
        if (stop_.stop_requested()) return fail(Error::cancelled());
        if (!clip.isValid()) return fail(invalid(clip));
        return {};
    }

    Result<void> appendVideo(const Clip& clip) {
        if (Result<void> checked = checkClip(clip); !checked) return checked;
        Result<Source> source = openSource(platform_, clip, MediaType::video, stop_);
        if (!source) return fail(source.error());
        if (source->track == nullptr) return fail(MediaError::noVideo(clip.url.baseName()));
        const Result<double> duration = source->asset->loadDuration();
        if (!duration) return fail(duration.error());
        if (clip.end > *duration + durationTolerance) return fail(invalid(clip));
        const MediaTimeRange range = sourceRange(clip);
        if (Result<void> inserted =
                platform_.insertTimeRange(media_.composition, videoTrack_, source->track, range, cursor_);
            !inserted) {
            return inserted;
        }
        if (clip.volume > 0) {
            if (Result<void> inserted = appendOwnSound(*source->asset, range); !inserted) return inserted;
        }
        main_.points.push_back({cursor_, static_cast<float>(clip.volume)});
        if (Result<void> shown = appendInstruction(clip, *source->track, range.duration); !shown) return shown;
        cursor_ = cursor_ + range.duration;
        return {};
    }

    /// Sound may start later or end earlier than the picture; it keeps its distance from the clip's start.
    Result<void> appendOwnSound(const MediaAsset& asset, const MediaTimeRange& range) {
        const Result<std::vector<MediaTrackPtr>> tracks = asset.loadTracks(MediaType::audio);
        if (!tracks) return fail(tracks.error());
        if (tracks->empty()) return {};
        const Result<MediaTimeRange> covered = tracks->front()->loadTimeRange();
        if (!covered) return fail(covered.error());
        const MediaTimeRange overlap = range.intersection(mixable(*covered));
        if (overlap.duration <= MediaTime{}) return {};
        return platform_.insertTimeRange(media_.composition, main_.track, tracks->front(), overlap,
                                         cursor_ + (overlap.start - range.start));
    }

    Result<void> appendInstruction(const Clip& clip, const MediaTrack& track, MediaTime duration) {
        const Result<Size> naturalSize = track.loadNaturalSize();
        if (!naturalSize) return fail(naturalSize.error());
        const Result<AffineTransform> orientation = track.loadOrientation();
        if (!orientation) return fail(orientation.error());
        const AffineTransform transform =
            Framing::transform(*naturalSize, *orientation, clip.zoom, clip.horizontal, clip.vertical, renderSize_);
        media_.video.instructions.push_back({{cursor_, duration}, {{videoTrack_, cursor_, transform}}});
        return {};
    }

    Result<void> addOverlay(const Clip& clip) {
        if (Result<void> checked = checkClip(clip); !checked) return checked;
        Result<Source> source = openSource(platform_, clip, MediaType::audio, stop_);
        if (!source) return fail(source.error());
        if (source->track == nullptr) return fail(invalid(clip));
        const std::optional<CompositionTrackID> track = platform_.addMutableTrack(media_.composition, MediaType::audio);
        if (!track) return fail(invalid(clip));
        const Result<MediaTimeRange> covered = source->track->loadTimeRange();
        if (!covered) return fail(covered.error());
        const MediaTimeRange range = sourceRange(clip);
        const MediaTimeRange overlap = mixable(*covered).intersection(range);
        if (range.duration.seconds() - overlayTolerance > overlap.duration.seconds()) return fail(invalid(clip));
        const MediaTime start = MediaTime::fromSeconds(clip.audioPosition());
        if (Result<void> inserted = platform_.insertTimeRange(media_.composition, *track, source->track, range, start);
            !inserted) {
            return inserted;
        }
        media_.audio.tracks.push_back({*track, {{start, static_cast<float>(clip.volume)}}});
        return {};
    }

    /// Covers sound that outlasts the picture with black, and drops the picture where there is none.
    Result<void> finishPicture(MediaTime frameDuration) {
        const MediaTime total = MediaTime::fromSeconds(TimelineLayout::duration(clips_));
        const MediaTime zero;
        if (cursor_ > zero && total > cursor_) {
            const MediaTimeRange tail{cursor_, total - cursor_};
            if (Result<void> inserted = platform_.insertEmptyTimeRange(media_.composition, videoTrack_, tail);
                !inserted) {
                return inserted;
            }
            media_.video.instructions.push_back({tail, {}});
        }
        if (cursor_ == zero) platform_.removeTrack(media_.composition, videoTrack_);
        media_.video.renderSize = renderSize_;
        media_.video.frameDuration = frameDuration;
        media_.video.colorPrimaries = ColorTag::rec709;
        media_.video.colorTransferFunction = ColorTag::rec709;
        media_.video.colorYCbCrMatrix = ColorTag::rec709;
        return {};
    }

    void finishSound() {
        const CompositionTrack* track = media_.composition.track(main_.track);
        check(track != nullptr, "a composition lost its sound track");
        if (std::ranges::all_of(track->segments, &CompositionSegment::isEmpty)) {
            platform_.removeTrack(media_.composition, main_.track);
            return;
        }
        media_.audio.tracks.insert(media_.audio.tracks.begin(), std::move(main_));
    }

    MediaPlatform& platform_;
    std::span<const Clip> clips_;
    Size renderSize_;
    std::stop_token stop_;

    EditedMedia media_;
    CompositionTrackID videoTrack_ = 0;
    /// Gains of the video clips' own sound.
    TrackGains main_;
    /// End of the picture so far. A sum of rounded lengths, so that each clip starts on the frame where the last ended.
    MediaTime cursor_;
};

}  // namespace

MediaTimeRange sourceRange(const Clip& clip) {
    return {MediaTime::fromSeconds(clip.start), MediaTime::fromSeconds(clip.end - clip.start)};
}

TimelineSpans<MediaTime> timelineSpans(std::span<const Clip> clips) {
    return {clips, [](const Clip& clip) -> ClipExtent<MediaTime> {
                return {MediaTime::fromSeconds(clip.audioPosition()), sourceRange(clip).duration};
            }};
}

std::vector<MediaTimeRange> timelineRanges(std::span<const Clip> clips) {
    const TimelineSpans<MediaTime> spans = timelineSpans(clips);
    std::vector<MediaTimeRange> ranges;
    ranges.reserve(clips.size());
    for (std::size_t i = 0; i < clips.size(); ++i) ranges.push_back({spans[i].start, sourceRange(clips[i]).duration});
    return ranges;
}

Result<EditedMediaPtr> build(MediaPlatform& platform, std::span<const Clip> clips, Size renderSize,
                             MediaTime frameDuration, std::stop_token stop) {
    return Builder(platform, clips, renderSize, std::move(stop)).run(frameDuration);
}

}  // namespace kelvane::MediaEngine
