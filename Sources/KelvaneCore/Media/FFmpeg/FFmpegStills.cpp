#include <algorithm>
#include <cmath>
#include <map>

#include "FFmpegPlatform.h"
#include "Media/FFmpeg/Picture/PictureRenderer.h"
#include "Media/FFmpeg/Picture/PictureScaler.h"
#include "Media/FFmpeg/Source/PictureDecoder.h"
#include "Media/FFmpeg/Source/VideoFrameReader.h"
#include "Media/FFmpeg/Still/StillRun.h"
#include "Support/Text.h"

namespace kelvane {

namespace {

using TrackPtr = std::shared_ptr<const FFmpegTrack>;

/// Memory of stills besides the pictures that one decoder needs at least. A sheet may have it all for threads, or for a
/// second decoder.
constexpr std::int64_t stillBytesAhead = 64'000'000;
constexpr std::int64_t secondDecoderBytes = 100'000'000;

int mostArtists(std::int64_t pictureBytes) {
    return pictureDecoderBytes(pictureBytes, 1) <= secondDecoderBytes ? 2 : 1;
}

/// `size` fitted into `maximum` without enlarging, to the nearest whole pixels.
Size fitted(Size size, Size maximum) {
    const double scale = std::min({1.0, maximum.width / size.width, maximum.height / size.height});
    const auto whole = [&](double length) { return std::max(1.0, std::round(length * scale)); };
    return {whole(size.width), whole(size.height)};
}

/// The track to draw from; without one, `file` names the asset in the failure.
Result<TrackPtr> pictureTrack(const MediaAssetPtr& asset, const std::string& file) {
    auto tracks = asset->loadTracks(MediaType::video);
    if (!tracks) return fail(tracks.error());
    auto track = tracks->empty() ? nullptr : std::dynamic_pointer_cast<const FFmpegTrack>(tracks->front());
    if (!track) return fail(file + " has no picture.");
    return track;
}

/// Draws stills of one source in its own framing.
class SourceArtist final : public StillArtist {
public:
    SourceArtist(TrackPtr track, Size maximum, VideoFrameReaderOptions options)
        : track_(std::move(track)), maximum_(maximum), options_(options) {}

    Result<std::optional<std::int64_t>> decodingStart(const StillRequest& request, std::stop_token stop) override {
        if (auto opened = open(std::move(stop)); !opened) return fail(opened.error());
        return reader_->decodingStart(request.sourceTime);
    }

    Result<TimedStill> draw(const StillRequest& request, std::stop_token stop) override {
        if (auto opened = open(stop); !opened) return fail(opened.error());
        // Before a late start there is nothing to see: the nearest picture is the first.
        auto frame = reader_->frame(std::max(request.sourceTime, track_->facts().timeRange.start), stop);
        if (!frame) return fail(frame.error());
        if (!*frame) return fail(reader_->undecodable());
        if (*frame != shown_) {
            auto image = print(**frame);
            if (!image) return fail(image.error());
            shown_ = *frame;
            image_ = *std::move(image);
        }
        return TimedStill{image_, timeOf(*shown_)};
    }

private:
    Result<void> open(std::stop_token stop) {
        if (reader_) return {};
        auto reader = VideoFrameReader::open(track_, options_, std::move(stop));
        if (!reader) return fail(reader.error());
        reader_ = std::move(*reader);
        return {};
    }
    Result<StillImagePtr> print(const AVFrame& frame) {
        const FFmpegTrack::Facts& facts = track_->facts();
        const Rect shown = facts.orientation.boundingRect({0, 0, facts.naturalSize.width, facts.naturalSize.height});
        const Size canvas = fitted({shown.width, shown.height}, maximum_);
        const AffineTransform transform =
            facts.orientation.then(AffineTransform::scaling(canvas.width / shown.width, canvas.height / shown.height));
        auto picture = scaler_.draw(frame, facts.naturalSize, transform, canvas);
        if (!picture) return fail(picture.error());
        return PictureScaler::still(**picture);
    }
    [[nodiscard]] MediaTime timeOf(const AVFrame& frame) const {
        const FFmpegTrack::Facts& facts = track_->facts();
        return {(frame.pts - facts.zero) * facts.timeBase.num, facts.timeBase.den};
    }

    TrackPtr track_;
    Size maximum_;
    VideoFrameReaderOptions options_;
    std::unique_ptr<VideoFrameReader> reader_;
    PictureScaler scaler_;
    SharedFrame shown_;
    StillImagePtr image_;
};

/// Draws stills of a timeline as export does.
class TimelineArtist final : public StillArtist {
public:
    TimelineArtist(EditedMediaPtr media, const std::vector<MediaTime>& times, Size canvas, int threads)
        : times_(times),
          renderer_(std::move(media), {.decoderThreads = threads,
                                       .bytesAhead = stillBytesAhead,
                                       .openSources = 1,
                                       .skipUnneeded = true,
                                       .canvas = canvas}) {}

    Result<std::optional<std::int64_t>> decodingStart(const StillRequest& request, std::stop_token stop) override {
        return renderer_.decodingStart(times_[request.index], std::move(stop));
    }

    Result<TimedStill> draw(const StillRequest& request, std::stop_token stop) override {
        auto picture = renderer_.picture(times_[request.index], std::move(stop));
        if (!picture) return fail(picture.error());
        if (*picture != shown_) {
            auto image = PictureScaler::still(**picture);
            if (!image) return fail(image.error());
            shown_ = *picture;
            image_ = *std::move(image);
        }
        return TimedStill{image_, times_[request.index]};
    }

private:
    const std::vector<MediaTime>& times_;
    PictureRenderer renderer_;
    SharedFrame shown_;
    StillImagePtr image_;
};

void sortByTime(StillGroup& group) {
    std::ranges::sort(group, [](const StillRequest& a, const StillRequest& b) {
        return a.sourceTime != b.sourceTime ? a.sourceTime < b.sourceTime : a.index < b.index;
    });
}

/// The stills of a timeline by their sources, in the order of their first use; what shows none makes a group as well.
std::vector<StillGroup> bySource(const EditedMedia& media, const std::vector<MediaTime>& times) {
    using Key = std::pair<std::string, int>;
    std::map<Key, std::size_t> places;
    std::vector<StillGroup> groups;
    for (std::size_t i = 0; i < times.size(); ++i) {
        const auto origin = PictureRenderer::originOf(media, times[i]);
        const Key key = origin ? Key{origin->track->facts().identity.path, origin->track->facts().streamIndex} : Key{};
        const auto [place, isNew] = places.try_emplace(key, groups.size());
        if (isNew) groups.emplace_back();
        groups[place->second].push_back({i, origin ? origin->time : times[i]});
    }
    std::ranges::for_each(groups, sortByTime);
    return groups;
}

/// Bytes of the largest picture that is shown at these times.
std::int64_t largestPicture(const EditedMedia& media, const std::vector<MediaTime>& times) {
    std::int64_t largest = 0;
    for (const MediaTime time : times)
        if (const auto origin = PictureRenderer::originOf(media, time))
            largest = std::max(largest, origin->track->facts().pictureBytes);
    return largest;
}

}  // namespace

Result<StillImagePtr> FFmpegPlatform::image(const MediaAssetPtr& asset, MediaTime time, Size maximum,
                                            std::stop_token stop) {
    auto track = pictureTrack(asset, "The file");
    if (!track) return fail(track.error());
    // One picture by itself is soon decoded; threads would only take memory.
    auto still = SourceArtist(*track, maximum, {.threads = 1, .bytesAhead = 0, .skipUnneeded = true})
                     .draw({0, time}, std::move(stop));
    if (!still) return fail(still.error());
    return still->image;
}

Result<void> FFmpegPlatform::sourceStills(const FileURL& url, const std::vector<MediaTime>& times, Size maximum,
                                          const StillConsumer& consume, std::stop_token stop) {
    auto asset = openAsset(url, stop);
    if (!asset) return fail(asset.error());
    auto track = pictureTrack(*asset, quotedName(url.fileName()));
    if (!track) return fail(track.error());
    StillGroup group;
    for (std::size_t i = 0; i < times.size(); ++i) group.push_back({i, times[i]});
    sortByTime(group);
    const auto artist = [&](int threads) {
        return std::make_unique<SourceArtist>(
            *track, maximum,
            VideoFrameReaderOptions{.threads = threads, .bytesAhead = stillBytesAhead, .skipUnneeded = true});
    };
    if (group.empty()) return {};
    return drawStills({std::move(group)}, artist, consume, std::move(stop),
                      mostArtists((*track)->facts().pictureBytes));
}

Result<void> FFmpegPlatform::timelineStills(const EditedMediaPtr& media, const std::vector<MediaTime>& times,
                                            Size maximum, const StillConsumer& consume, std::stop_token stop) {
    const Size canvas = fitted(media->video.renderSize, maximum);
    const auto artist = [&](int threads) { return std::make_unique<TimelineArtist>(media, times, canvas, threads); };
    return drawStills(bySource(*media, times), artist, consume, std::move(stop),
                      mostArtists(largestPicture(*media, times)));
}

}  // namespace kelvane
