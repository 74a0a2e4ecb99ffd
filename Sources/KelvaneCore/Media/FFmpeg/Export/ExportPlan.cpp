#include "ExportPlan.h"

extern "C" {
#include <libavutil/mathematics.h>
}

#include <algorithm>
#include <cmath>

#include "Media/FFmpeg/Sound/SoundRenderer.h"
#include "Media/MediaError.h"

namespace kelvane {

namespace {

/// Largest side that the encoder takes, pixels.
constexpr double largestSide = 16384;

bool canHold(const Size& size) {
    const auto fits = [](double side) { return side >= 2 && side <= largestSide && std::fmod(side, 2.0) == 0.0; };
    return fits(size.width) && fits(size.height);
}

std::int64_t samplesAt(MediaTime time) {
    return av_rescale_rnd(time.value, soundSampleRate, time.timescale, AV_ROUND_NEAR_INF);
}

/// How many frames it takes to cover `duration`.
std::int64_t framesToCover(MediaTime duration, MediaTime frame) {
    const auto length = static_cast<__int128>(duration.value) * frame.timescale;
    const auto step = static_cast<__int128>(frame.value) * duration.timescale;
    return static_cast<std::int64_t>((length + step - 1) / step);
}

}  // namespace

Result<ExportPlan> ExportPlan::make(const EditedMedia& media, const ExportSession& session) {
    EditedMedia edited{media.composition, session.videoComposition.value_or(VideoComposition{}),
                       session.audioMix.value_or(AudioMix{})};
    const MediaTimeRange range = session.timeRange.value_or(MediaTimeRange{{}, media.composition.duration()});
    ExportPlan plan;
    plan.start = range.start;
    plan.hasPicture = !edited.video.instructions.empty();
    plan.hasSound = std::ranges::any_of(media.composition.tracks(),
                                        [](const CompositionTrack& track) { return track.type == MediaType::audio; });
    if (range.duration <= MediaTime{} || (!plan.hasPicture && !plan.hasSound))
        return fail(MediaError::exportUnavailable());
    if (plan.hasPicture) {
        const VideoComposition& video = edited.video;
        if (!canHold(video.renderSize) || video.frameDuration.value <= 0 || video.frameDuration.timescale <= 0)
            return fail(MediaError::exportUnavailable());
        plan.width = static_cast<int>(video.renderSize.width);
        plan.height = static_cast<int>(video.renderSize.height);
        plan.frameDuration = video.frameDuration;
        plan.pictureCount = framesToCover(range.duration, video.frameDuration);
    }
    if (plan.hasSound) {
        plan.soundFirst = samplesAt(range.start);
        plan.soundLength = samplesAt(range.end()) - plan.soundFirst;
    }
    plan.media = std::make_shared<const EditedMedia>(std::move(edited));
    return plan;
}

}  // namespace kelvane
