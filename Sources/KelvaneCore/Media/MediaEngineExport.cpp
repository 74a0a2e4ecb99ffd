#include <algorithm>

#include "MediaEngine.h"
#include "MediaError.h"

namespace kelvane::MediaEngine {

Result<std::unique_ptr<ExportSession>> exporter(MediaPlatform& platform, const EditedMediaPtr& media,
                                                ExportContainer container) {
    std::unique_ptr<ExportSession> session = platform.makeExportSession(media);
    if (session == nullptr) return fail(MediaError::exportUnavailable());
    const std::vector<ExportContainer> supported = session->supportedFileTypes();
    if (std::ranges::find(supported, container) == supported.end()) return fail(MediaError::exportUnavailable());
    if (!media->video.instructions.empty()) session->videoComposition = media->video;
    if (!media->audio.tracks.empty()) session->audioMix = media->audio;
    session->indexAtHead = true;
    return session;
}

Result<std::optional<std::int64_t>> estimatedExportBytes(MediaPlatform& platform, std::span<const Clip> clips,
                                                         Size renderSize, double fps, ExportContainer container,
                                                         std::stop_token stop) {
    const Result<EditedMediaPtr> media = build(platform, clips, renderSize, frameDuration(fps), stop);
    if (!media) return fail(media.error());
    if (stop.stop_requested()) return fail(Error::cancelled());
    const Result<std::unique_ptr<ExportSession>> session = exporter(platform, *media, container);
    if (!session) return fail(session.error());
    (*session)->outputFileType = container;
    (*session)->timeRange = MediaTimeRange{MediaTime{}, (*media)->composition.duration()};
    const Result<std::int64_t> bytes = (*session)->estimateOutputFileLength(stop);
    if (!bytes) return fail(bytes.error());
    if (stop.stop_requested()) return fail(Error::cancelled());
    return *bytes > 0 ? std::optional(*bytes) : std::nullopt;
}

std::string exportFailureDescription(const Error& error) {
    std::string text = "Video export failed.";
    for (const std::string* sentence : {&error.message, &error.failureReason, &error.recoverySuggestion})
        if (!sentence->empty()) text += "\n\n" + *sentence;
    return text;
}

}  // namespace kelvane::MediaEngine
