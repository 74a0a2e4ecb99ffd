#include <algorithm>
#include <cmath>
#include <numeric>

#include "FFmpegPlatform.h"
#include "PictureRenderer.h"
#include "PictureScaler.h"
#include "VideoFrameReader.h"

namespace kelvane {

namespace {

using TrackPtr = std::shared_ptr<const FFmpegTrack>;

/// `size` fitted into `maximum` without enlarging, in even whole pixels.
Size fitted(Size size, Size maximum) {
    const double scale = std::min({1.0, maximum.width / size.width, maximum.height / size.height});
    const auto even = [&](double length) { return std::max(2.0, 2 * std::floor(length * scale / 2 + 1e-9)); };
    return {even(size.width), even(size.height)};
}

Result<TrackPtr> pictureTrack(const MediaAssetPtr& asset) {
    auto tracks = asset->loadTracks(MediaType::video);
    if (!tracks) return std::unexpected(tracks.error());
    auto track = tracks->empty() ? nullptr : std::dynamic_pointer_cast<const FFmpegTrack>(tracks->front());
    if (!track) return fail("The file has no picture.");
    return track;
}

/// Stills of one source; times in order cost one pass.
class SourceStills {
public:
    SourceStills(TrackPtr track, Size maximum) : track_(std::move(track)), maximum_(maximum) {}

    Result<TimedStill> still(MediaTime time, const std::stop_token& stop) {
        const FFmpegTrack::Facts& facts = track_->facts();
        if (!reader_) {
            auto reader = VideoFrameReader::open(track_, {.threads = 0, .skipUnneeded = true}, stop);
            if (!reader) return std::unexpected(reader.error());
            reader_ = std::move(*reader);
        }
        // Before a late start there is nothing to see: the nearest picture is the first.
        auto frame = reader_->frame(std::max(time, facts.timeRange.start), stop);
        if (!frame) return std::unexpected(frame.error());
        if (!*frame) return fail("“" + facts.url.lastPathComponent() + "” has no picture that can be decoded.");

        const Rect shown =
            facts.preferredTransform.boundingRect({0, 0, facts.naturalSize.width, facts.naturalSize.height});
        const Size canvas = fitted({shown.width, shown.height}, maximum_);
        const AffineTransform transform = facts.preferredTransform.then(
            AffineTransform::scaling(canvas.width / shown.width, canvas.height / shown.height));
        auto picture = scaler_.draw(**frame, facts.naturalSize, transform, canvas);
        if (!picture) return std::unexpected(picture.error());
        auto image = PictureScaler::still(**picture);
        if (!image) return std::unexpected(image.error());
        return TimedStill{*std::move(image), timeOf(**frame)};
    }

private:
    [[nodiscard]] MediaTime timeOf(const AVFrame& frame) const {
        const FFmpegTrack::Facts& facts = track_->facts();
        return {(frame.pts - facts.zero) * facts.timeBase.num, facts.timeBase.den};
    }

    TrackPtr track_;
    Size maximum_;
    std::unique_ptr<VideoFrameReader> reader_;
    PictureScaler scaler_;
};

/// The places of `times` in the order of their times.
std::vector<std::size_t> inOrder(const std::vector<MediaTime>& times) {
    std::vector<std::size_t> order(times.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, [&](std::size_t a, std::size_t b) { return times[a] < times[b]; });
    return order;
}

}  // namespace

Result<StillImagePtr> FFmpegPlatform::image(const MediaAssetPtr& asset, MediaTime time, Size maximum,
                                            std::stop_token stop) {
    auto track = pictureTrack(asset);
    if (!track) return std::unexpected(track.error());
    auto still = SourceStills(*track, maximum).still(time, stop);
    if (!still) return std::unexpected(still.error());
    return still->image;
}

Result<void> FFmpegPlatform::sourceStills(const FileURL& url, const std::vector<MediaTime>& times, Size maximum,
                                          const StillConsumer& consume, std::stop_token stop) {
    auto asset = openAsset(url, stop);
    if (!asset) return std::unexpected(asset.error());
    auto track = pictureTrack(*asset);
    if (!track) return std::unexpected(track.error());
    SourceStills stills(*track, maximum);
    for (const std::size_t index : inOrder(times)) {
        auto still = stills.still(times[index], stop);
        if (!still) return std::unexpected(still.error());
        if (auto taken = consume(index, *still); !taken) return taken;
    }
    return {};
}

Result<void> FFmpegPlatform::timelineStills(const EditedMediaPtr& media, const std::vector<MediaTime>& times,
                                            Size maximum, const StillConsumer& consume, std::stop_token stop) {
    PictureRenderer renderer(media, {.skipUnneeded = true});
    PictureScaler scaler;
    const Size size = media->video.renderSize;
    const Size canvas = fitted(size, maximum);
    const auto scale = AffineTransform::scaling(canvas.width / size.width, canvas.height / size.height);
    for (const std::size_t index : inOrder(times)) {
        auto full = renderer.picture(times[index], stop);
        if (!full) return std::unexpected(full.error());
        auto picture = scaler.draw(**full, size, scale, canvas);
        if (!picture) return std::unexpected(picture.error());
        auto image = PictureScaler::still(**picture);
        if (!image) return std::unexpected(image.error());
        if (auto taken = consume(index, {*std::move(image), times[index]}); !taken) return taken;
    }
    return {};
}

}  // namespace kelvane
