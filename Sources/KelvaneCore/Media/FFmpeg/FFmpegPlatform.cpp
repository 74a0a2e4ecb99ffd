#include "FFmpegPlatform.h"

#include <algorithm>

#include "Media/FFmpeg/Export/FFmpegExportSession.h"
#include "Media/FFmpeg/Playback/FFmpegPictureStream.h"
#include "Media/FFmpeg/Playback/FFmpegSoundStream.h"
#include "Media/FFmpeg/Take/FFmpegTakeWriter.h"

namespace kelvane {

namespace {

/// Sources that are remembered; the one used longest ago goes first. A description takes about a kilobyte.
constexpr std::size_t rememberedLimit = 1024;

}  // namespace

Result<MediaAssetPtr> FFmpegPlatform::openAsset(const FileURL& url, std::stop_token stop) {
    if (stop.stop_requested()) return fail(Error::cancelled());
    auto identity = FileIdentity::of(url);
    if (!identity) return fail(identity.error());
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
    if (!asset) return fail(asset.error());
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

std::unique_ptr<ExportSession> FFmpegPlatform::makeExportSession(EditedMediaPtr media) {
    return makeFFmpegExportSession(std::move(media));
}

std::unique_ptr<PictureStream> FFmpegPlatform::makePictureStream(EditedMediaPtr media, Size canvas) {
    return makeFFmpegPictureStream(std::move(media), canvas, readers_, pictures_);
}

std::unique_ptr<SoundStream> FFmpegPlatform::makeSoundStream(EditedMediaPtr media) {
    return makeFFmpegSoundStream(std::move(media), sounds_);
}

Result<std::unique_ptr<TakeWriter>> FFmpegPlatform::makeTakeWriter(const FileURL& file) {
    return makeFFmpegTakeWriter(file);
}

int FFmpegPlatform::probeCount() const {
    const std::lock_guard lock(mutex_);
    return probeCount_;
}

}  // namespace kelvane
