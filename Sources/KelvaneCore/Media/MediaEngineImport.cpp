#include <algorithm>
#include <array>

#include "MediaEngine.h"
#include "MediaError.h"
#include "Timeline/Framing.h"

namespace kelvane::MediaEngine {

namespace {

/// Where a thumbnail is taken at the latest, seconds: late enough to be past a fade from black.
constexpr double thumbnailTime = 0.5;
constexpr Size thumbnailSize{1024, 1024};

/// Output sizes that automatic may choose above the default, largest first.
constexpr std::array largeSizes{Framing::ultraHDSize, Framing::quadHDSize};

Clip freshClip(const FileURL& url, double seconds, bool isVideo) {
    Clip clip;
    clip.id = UUID::random();
    clip.url = url;
    clip.sourceDuration = seconds;
    clip.end = seconds;
    if (!isVideo) clip.audioOnly = true;
    return clip;
}

/// What capabilities need to know of one video source.
struct Footage {
    Size naturalSize;
    AffineTransform orientation;
    double frameRate = 0;
};

Result<Footage> loadFootage(MediaPlatform& platform, const Clip& clip, const std::stop_token& stop) {
    const Result<MediaAssetPtr> asset = platform.openAsset(clip.url, stop);
    if (!asset) return fail(asset.error());
    const Result<std::vector<MediaTrackPtr>> tracks = (*asset)->loadTracks(MediaType::video);
    if (!tracks) return fail(tracks.error());
    if (tracks->empty()) return fail(MediaError::noVideo(clip.url.baseName()));
    const MediaTrack& track = *tracks->front();
    const Result<Size> naturalSize = track.loadNaturalSize();
    if (!naturalSize) return fail(naturalSize.error());
    const Result<AffineTransform> transform = track.loadOrientation();
    if (!transform) return fail(transform.error());
    const Result<float> rate = track.loadNominalFrameRate();
    if (!rate) return fail(rate.error());
    return Footage{*naturalSize, *transform, *rate};
}

/// Refuses a file without pictures of which nothing can be heard either.
Result<void> checkSound(MediaPlatform& platform, const MediaAsset& asset, const FileURL& url,
                        const std::stop_token& stop) {
    const std::string name = url.fileName();
    const Result<std::vector<MediaTrackPtr>> tracks = asset.loadTracks(MediaType::audio);
    if (!tracks) return fail(tracks.error());
    if (tracks->empty()) return fail(MediaError::invalidClip(name));
    const Result<bool> sounds = platform.yieldsSound(tracks->front(), name, stop);
    if (!sounds) return fail(sounds.error());
    return *sounds ? Result<void>() : fail(MediaError::invalidClip(name));
}

}  // namespace

Result<ImportedClip> importClip(MediaPlatform& platform, const FileURL& url, std::stop_token stop) {
    if (stop.stop_requested()) return fail(Error::cancelled());
    const Result<MediaAssetPtr> asset = platform.openAsset(url, stop);
    if (!asset) return fail(asset.error());
    const Result<std::vector<MediaTrackPtr>> videoTracks = (*asset)->loadTracks(MediaType::video);
    if (!videoTracks) return fail(videoTracks.error());
    const bool isVideo = !videoTracks->empty();
    if (!isVideo) {
        const Result<void> heard = checkSound(platform, **asset, url, stop);
        if (!heard) return fail(heard.error());
    }
    const Result<double> seconds = (*asset)->loadDuration();
    if (!seconds) return fail(seconds.error());
    ImportedClip imported{freshClip(url, *seconds, isVideo), nullptr};
    if (!imported.clip.isValid()) return fail(MediaError::invalidClip(url.fileName()));
    if (isVideo) {
        const MediaTime time = MediaTime::fromSeconds(std::min(*seconds * 0.5, thumbnailTime));
        // A video without a thumbnail is still a video.
        imported.picture = platform.image(*asset, time, thumbnailSize, stop).value_or(nullptr);
    }
    return imported;
}

Result<ExportCapabilities> exportCapabilities(MediaPlatform& platform, std::span<const Clip> clips,
                                              std::stop_token stop) {
    std::vector<Size> sizes(largeSizes.begin(), largeSizes.end());
    std::vector<double> rates;
    for (const Clip& clip : clips) {
        if (clip.isAudio()) continue;
        if (stop.stop_requested()) return fail(Error::cancelled());
        const Result<Footage> footage = loadFootage(platform, clip, stop);
        if (!footage) return fail(footage.error());
        rates.push_back(footage->frameRate);
        std::erase_if(sizes, [&](Size canvas) {
            return !Framing::supports(canvas, footage->naturalSize, footage->orientation, clip.zoom);
        });
    }
    const bool isLarge = !rates.empty() && !sizes.empty();
    return ExportCapabilities{isLarge ? sizes.front() : Framing::size, automaticRate(rates)};
}

}  // namespace kelvane::MediaEngine
