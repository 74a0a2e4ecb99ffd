#include "FFmpegPlatform.h"

#include <algorithm>
#include <cmath>

#include "FFmpegExportSession.h"
#include "PictureScaler.h"
#include "VideoFrameReader.h"

namespace kelvane {

namespace {

/// Sources that are remembered; the one used longest ago goes first. A description takes about a kilobyte.
constexpr std::size_t rememberedLimit = 1024;

/// `size` fitted into `maximum` without enlarging, in even whole pixels.
Size fitted(Size size, Size maximum) {
    const double scale = std::min({1.0, maximum.width / size.width, maximum.height / size.height});
    const auto even = [&](double length) { return std::max(2.0, 2 * std::floor(length * scale / 2 + 1e-9)); };
    return {even(size.width), even(size.height)};
}

}  // namespace

Result<MediaAssetPtr> FFmpegPlatform::openAsset(const FileURL& url, std::stop_token stop) {
    if (stop.stop_requested()) return fail(Error::cancelled());
    auto identity = FileIdentity::of(url);
    if (!identity) return std::unexpected(identity.error());
    {
        const std::lock_guard lock(mutex_);
        const auto found = remembered_.find(identity->path);
        if (found != remembered_.end() && found->second.identity == *identity) {
            order_.splice(order_.begin(), order_, std::find(order_.begin(), order_.end(), identity->path));
            return found->second.asset;
        }
        ++probeCount_;
    }
    auto asset = FFmpegAsset::open(url, std::move(stop));
    if (!asset) return std::unexpected(asset.error());
    const std::lock_guard lock(mutex_);
    if (remembered_.insert_or_assign(identity->path, Remembered{*identity, *asset}).second) {
        order_.push_front(identity->path);
        if (order_.size() > rememberedLimit) {
            remembered_.erase(order_.back());
            order_.pop_back();
        }
    }
    return *asset;
}

Result<StillImagePtr> FFmpegPlatform::image(const MediaAssetPtr& asset, MediaTime time, Size maximum,
                                            std::stop_token stop) {
    auto tracks = asset->loadTracks(MediaType::video);
    if (!tracks) return std::unexpected(tracks.error());
    const auto track = tracks->empty() ? nullptr : std::dynamic_pointer_cast<const FFmpegTrack>(tracks->front());
    if (!track) return fail("The file has no picture.");
    const FFmpegTrack::Facts& facts = track->facts();
    auto reader = VideoFrameReader::open(track, {.threads = 0, .skipUnneeded = true}, stop);
    if (!reader) return std::unexpected(reader.error());
    // Before a late start there is nothing to see: the nearest picture is the first.
    auto frame = (*reader)->frame(std::max(time, facts.timeRange.start), std::move(stop));
    if (!frame) return std::unexpected(frame.error());
    if (!*frame) return fail("“" + facts.url.lastPathComponent() + "” has no picture that can be decoded.");

    const Rect shown = facts.preferredTransform.boundingRect({0, 0, facts.naturalSize.width, facts.naturalSize.height});
    const Size canvas = fitted({shown.width, shown.height}, maximum);
    const AffineTransform transform = facts.preferredTransform.then(
        AffineTransform::scaling(canvas.width / shown.width, canvas.height / shown.height));
    PictureScaler scaler;
    auto picture = scaler.draw(**frame, facts.naturalSize, transform, canvas);
    if (!picture) return std::unexpected(picture.error());
    return PictureScaler::still(**picture);
}

std::unique_ptr<ExportSession> FFmpegPlatform::makeExportSession(EditedMediaPtr media) {
    return makeFFmpegExportSession(std::move(media));
}

int FFmpegPlatform::probeCount() const {
    const std::lock_guard lock(mutex_);
    return probeCount_;
}

}  // namespace kelvane
