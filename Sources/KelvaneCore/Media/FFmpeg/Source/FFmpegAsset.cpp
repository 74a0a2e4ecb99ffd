#include "FFmpegAsset.h"

#include <algorithm>
#include <cmath>
#include <map>

extern "C" {
#include <libavutil/mathematics.h>
}

#include "FFmpegMeasure.h"
#include "FFmpegProbe.h"

namespace kelvane {

namespace {

/// Tracks that are looked at; more are taken for damage.
constexpr std::size_t trackLimit = 64;
/// A container's length within this of its longest track's end is the word of a careful writer, seconds. Two frames at
/// 24 a second, or an audio packet at the lowest rates.
constexpr double lengthTolerance = 0.085;

/// Coarsest step in which containers count their length, seconds.
constexpr double clockStep = 0.001;

/// A time stamp's seconds as an exact time; time bases that don't fit are rounded to the microsecond.
MediaTime exactTime(std::int64_t stamp, AVRational timeBase) {
    std::int64_t value = 0;
    if (!__builtin_mul_overflow(stamp, static_cast<std::int64_t>(timeBase.num), &value)) return {value, timeBase.den};
    return {av_rescale_q(stamp, timeBase, AVRational{1, 1'000'000}), 1'000'000};
}

/// The tracks of a file while their common zero is being found.
struct Found {
    int index = 0;
    MediaType type = MediaType::video;
    FFmpegMeasure::StreamSpan span;
    /// The first track of its type: clips play no other, so that the others tell nothing of the asset's times.
    bool isUsed = false;
};

void markUsed(std::vector<Found>& tracks) {
    for (const MediaType type : {MediaType::video, MediaType::audio}) {
        const auto first = std::ranges::find(tracks, type, &Found::type);
        if (first != tracks.end()) first->isUsed = true;
    }
}

/// Whether the container's own times count from the asset's beginning, so that a track that starts later starts late.
bool countsFromZero(const SourceFile& file) {
    return file.isFormat("mov") || file.isFormat("matroska") || file.isFormat("webm");
}

std::vector<Found> playableStreams(const SourceFile& file) {
    std::vector<Found> found;
    const AVFormatContext& context = *file.context();
    for (unsigned i = 0; i < context.nb_streams && found.size() < trackLimit; ++i) {
        for (const MediaType type : {MediaType::video, MediaType::audio})
            if (FFmpegProbe::isPlayable(*context.streams[i], type)) found.push_back({static_cast<int>(i), type, {}});
    }
    return found;
}

bool holdsCoverPicture(const AVFormatContext& context) {
    return std::any_of(context.streams, context.streams + context.nb_streams,
                       [](const AVStream* stream) { return (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0; });
}

/// A moment as a stream counts it.
struct Stamp {
    std::int64_t value = 0;
    AVRational timeBase{1, 1};
};

/// Time zero of the file: where the first of its used tracks starts, for containers whose clock runs from anywhere.
Stamp zeroOf(const SourceFile& file, const std::vector<Found>& tracks) {
    std::optional<Stamp> zero;
    for (const Found& track : tracks) {
        if (!track.isUsed || countsFromZero(file)) continue;
        const AVRational timeBase = file.context()->streams[track.index]->time_base;
        if (!zero || av_compare_ts(track.span.first, timeBase, zero->value, zero->timeBase) < 0)
            zero = {track.span.first, timeBase};
    }
    return zero.value_or(Stamp());
}

FFmpegTrack::Facts factsOf(const SourceFile& file, const FileURL& url, const Found& track, Stamp zero) {
    AVFormatContext& context = *file.context();
    AVStream& stream = *context.streams[track.index];
    FFmpegTrack::Facts facts;
    facts.type = track.type;
    facts.url = url;
    facts.identity = file.identity();
    facts.streamIndex = track.index;
    facts.timeBase = stream.time_base;
    const std::int64_t start = av_rescale_q(zero.value, zero.timeBase, stream.time_base);
    const std::int64_t first = std::max<std::int64_t>(track.span.first - start, 0);
    const std::int64_t end = std::max(track.span.end - start, first);
    // AVI counts in the order of decoding: pictures come out later by the decoder's lag, one tick a frame.
    facts.zero = start + (file.isFormat("avi") ? std::max(stream.codecpar->video_delay, 0) : 0);
    facts.timeRange = {exactTime(first, stream.time_base), exactTime(end - first, stream.time_base)};
    if (track.type == MediaType::video) {
        facts.naturalSize = FFmpegProbe::naturalSize(context, stream);
        facts.orientation = FFmpegProbe::orientation(stream, facts.naturalSize);
        facts.nominalFrameRate = static_cast<float>(track.span.frameRate);
        facts.pictureBytes = FFmpegProbe::pictureBytes(stream);
    } else {
        facts.sampleRate = stream.codecpar->sample_rate;
        facts.channels = stream.codecpar->ch_layout.nb_channels;
    }
    return facts;
}

/// Ends a track at the container's end when the two differ by less than the last packet: an edit that ends within it.
void settleEnd(FFmpegTrack::Facts& facts, const FFmpegMeasure::StreamSpan& span, double container) {
    const AVRational timeBase = facts.timeBase;
    const double end = facts.timeRange.end().seconds();
    const double reach = static_cast<double>(span.reach - facts.zero) * av_q2d(timeBase);
    const double lastPacket = static_cast<double>(span.lastDuration) * av_q2d(timeBase);
    const bool over = end > container && end - container < lastPacket;
    // Behind an empty edit the demuxer cuts the last packet by the edit's length.
    const bool under = facts.timeRange.start > MediaTime{} && end < container && container < reach + clockStep;
    if (!over && !under) return;
    const MediaTime settled = exactTime(std::llround(std::min(container, reach) / av_q2d(timeBase)), timeBase);
    if (settled > facts.timeRange.start) facts.timeRange.duration = settled - facts.timeRange.start;
}

/// The container's length where the used tracks bear it out, else the end of the used track that ends last.
double durationOf(const std::vector<Found>& found, const std::vector<FFmpegTrack::Facts>& tracks, double container) {
    double end = 0;
    double unused = 0;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        double& last = found[i].isUsed ? end : unused;
        last = std::max(last, tracks[i].timeRange.end().seconds());
    }
    // The container ends with the track that ends last.
    const bool isOfOthers = unused > end;
    return container > 0 && !isOfOthers && std::abs(container - end) <= lengthTolerance ? container : end;
}

/// A file of sound alone begins with its first track's silence, and ends with that track.
double settleSoundOnly(std::vector<FFmpegTrack::Facts>& tracks) {
    for (FFmpegTrack::Facts& facts : tracks)
        facts.timeRange = {MediaTime{0, facts.timeRange.end().timescale}, facts.timeRange.end()};
    return tracks.empty() ? 0 : tracks.front().timeRange.end().seconds();
}

}  // namespace

Result<std::shared_ptr<const FFmpegAsset>> FFmpegAsset::open(const FileURL& url, std::stop_token stop) {
    using Tracks = std::vector<std::shared_ptr<const FFmpegTrack>>;
    auto opened = SourceFile::open(url, url.fileName());
    if (!opened) return fail(opened.error());
    SourceFile& file = **opened;
    file.setStop(std::move(stop));
    file.setTimeLimit(openingLimit);
    auto known = file.openFormat();
    if (!known) return fail(known.error());
    if (!*known || FFmpegProbe::isPictureFile(file)) return std::make_shared<const FFmpegAsset>(Tracks{}, 0.0);
    if (auto found = file.findStreams(); !found) return fail(found.error());

    std::vector<Found> found = playableStreams(file);
    std::vector<int> indexes;
    for (const Found& track : found) indexes.push_back(track.index);
    const double container = file.context()->duration > 0 && countsFromZero(file)
                                 ? static_cast<double>(file.context()->duration) / AV_TIME_BASE
                                 : 0;
    auto spans = FFmpegMeasure::measure(file, indexes);
    if (!spans) return fail(spans.error());
    for (Found& track : found) track.span = (*spans)[track.index];
    std::erase_if(found, [](const Found& track) { return track.span.isEmpty() || track.span.encrypted; });
    markUsed(found);

    const Stamp zero = zeroOf(file, found);
    std::vector<FFmpegTrack::Facts> facts;
    bool picture = false;
    for (const Found& track : found) {
        facts.push_back(factsOf(file, url, track, zero));
        picture = picture || track.type == MediaType::video;
        if (file.isFormat("mov") && container > 0) settleEnd(facts.back(), track.span, container);
    }
    const double duration = picture ? durationOf(found, facts, container) : settleSoundOnly(facts);
    Tracks tracks;
    for (FFmpegTrack::Facts& entry : facts) tracks.push_back(std::make_shared<const FFmpegTrack>(std::move(entry)));
    return std::make_shared<const FFmpegAsset>(std::move(tracks), duration, holdsCoverPicture(*file.context()));
}

Result<std::vector<MediaTrackPtr>> FFmpegAsset::loadTracks(MediaType type) const {
    std::vector<MediaTrackPtr> tracks;
    for (const auto& track : tracks_)
        if (track->type() == type) tracks.push_back(track);
    return tracks;
}

}  // namespace kelvane
