#include "FFmpegMeasure.h"

#include <algorithm>
#include <cmath>

extern "C" {
#include <libavutil/intreadwrite.h>
#include <libavutil/mathematics.h>
}

namespace kelvane::FFmpegMeasure {

namespace {

/// Packets of one stream that its head is judged by: more than the longest reordering (16 frames) twice over.
constexpr int headPackets = 48;
/// Limits of reading the head: a stream that starts later than that is measured by the tail alone.
constexpr int headPacketLimit = 4000;
constexpr std::int64_t headByteLimit = 64 << 20;
/// Samples before the end from which an indexed stream's tail is read.
constexpr int tailSamples = 40;
/// How far from the end the tail of a file without a full index is first looked for, seconds; each further try goes
/// eight times as far.
constexpr double firstTailWindow = 4;
constexpr int errorLimit = 256;
/// Average rates outside of this come from a container's time scale, not from a camera.
constexpr double lowestRate = 0.1;
constexpr double highestRate = 480;

/// One stream while its packets go by.
struct Watched {
    StreamSpan span;
    std::vector<std::int64_t> head;
    std::int64_t packets = 0;
    /// Time stamp and length of the packet before.
    std::int64_t time = AV_NOPTS_VALUE;
    std::int64_t duration = 0;
    /// Distance of the last two packets, and how often a packet was shorter than its distance to the next.
    std::int64_t distance = 0;
    int pairs = 0;
    int tooShort = 0;
    std::int64_t longest = 0;
    bool headDone = false;
};

class Measure {
public:
    Measure(SourceFile& file, const std::vector<int>& streams) : file_(file) {
        for (const int index : streams) watched_[index];
    }

    Result<std::map<int, StreamSpan>> run();

private:
    void listenTo(int only);
    void listenToAll();
    template <class Enough>
    void readWhile(Enough enough);
    void look(const AVPacket& packet, Watched& watched, bool counting);
    void measureIndexed();
    void measureIndexedStream(int index, Watched& watched);
    void measureTail();
    bool startOver();
    void scan();
    void finish(int index, Watched& watched, bool counted);
    static void finishVideo(const AVStream& source, Watched& watched, bool counted);
    void finishAudio(const AVStream& source, Watched& watched);
    [[nodiscard]] AVStream& stream(int index) const { return *file_.context()->streams[index]; }
    [[nodiscard]] bool isScanned() const;

    SourceFile& file_;
    std::map<int, Watched> watched_;
};

/// Samples to leave out at the packet's beginning and end, in the stream's time base.
std::pair<std::int64_t, std::int64_t> skipped(const AVPacket& packet, const AVStream& stream) {
    std::size_t size = 0;
    const std::uint8_t* data = av_packet_get_side_data(&packet, AV_PKT_DATA_SKIP_SAMPLES, &size);
    if (data == nullptr || size < 10 || stream.codecpar->sample_rate <= 0) return {0, 0};
    const AVRational sample{1, stream.codecpar->sample_rate};
    return {av_rescale_q(AV_RL32(data), sample, stream.time_base),
            av_rescale_q(AV_RL32(data + 4), sample, stream.time_base)};
}

/// Frames a second by the presentation times of a run of frames, or 0.
double rateOf(std::vector<std::int64_t> times, AVRational timeBase) {
    std::sort(times.begin(), times.end());
    if (times.size() < 2 || times.back() <= times.front()) return 0;
    const double span = static_cast<double>(times.back() - times.front()) * av_q2d(timeBase);
    return static_cast<double>(times.size() - 1) / span;
}

bool isSaneRate(double rate) { return rate >= lowestRate && rate <= highestRate; }

void Measure::listenTo(int only) {
    AVFormatContext& context = *file_.context();
    for (unsigned i = 0; i < context.nb_streams; ++i)
        context.streams[i]->discard = static_cast<int>(i) == only ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
}

void Measure::listenToAll() {
    AVFormatContext& context = *file_.context();
    for (unsigned i = 0; i < context.nb_streams; ++i)
        context.streams[i]->discard = watched_.contains(static_cast<int>(i)) ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
}

/// Reads packets until `enough` says so or the file ends.
template <class Enough>
void Measure::readWhile(Enough enough) {
    PacketPtr packet(av_packet_alloc());
    for (int errors = 0; errors < errorLimit && !file_.interrupted();) {
        const int code = file_.readPacket(*packet);
        if (code == AVERROR_EOF || code == AVERROR_EXIT) return;
        if (code < 0) {
            ++errors;
            continue;
        }
        const auto found = watched_.find(packet->stream_index);
        const bool done = enough(*packet, found == watched_.end() ? nullptr : &found->second);
        av_packet_unref(packet.get());
        if (done) return;
    }
}

/// Takes one packet into account.
void Measure::look(const AVPacket& packet, Watched& watched, bool counting) {
    const AVStream& source = stream(packet.stream_index);
    std::size_t size = 0;
    if (av_packet_get_side_data(&packet, AV_PKT_DATA_ENCRYPTION_INFO, &size) != nullptr) watched.span.encrypted = true;
    if (packet.flags & (AV_PKT_FLAG_DISCARD | AV_PKT_FLAG_CORRUPT) || isFarOff(packet, source.time_base)) return;
    std::int64_t time = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
    if (time == AV_NOPTS_VALUE) time = watched.time == AV_NOPTS_VALUE ? 0 : watched.time + watched.duration;
    std::int64_t duration = std::max<std::int64_t>(packet.duration, 0);
    if (duration == 0 && source.codecpar->codec_type == AVMEDIA_TYPE_VIDEO) duration = watched.duration;
    if (watched.time != AV_NOPTS_VALUE && time > watched.time) {
        watched.distance = time - watched.time;
        ++watched.pairs;
        if (watched.distance > watched.duration + watched.duration / 2) ++watched.tooShort;
    }
    watched.time = time;
    watched.duration = duration;
    watched.longest = std::max(watched.longest, duration);

    auto [front, back] = skipped(packet, source);
    // Ogg's packets come with their end cut already.
    if (file_.isFormat("ogg")) back = 0;
    const std::int64_t first = time + front;
    StreamSpan& span = watched.span;
    if (span.first == AV_NOPTS_VALUE || (!watched.headDone && first < span.first)) span.first = first;
    span.end = span.end == AV_NOPTS_VALUE ? time + duration - back : std::max(span.end, time + duration - back);
    if (duration > 0) span.lastDuration = duration;
    if (!watched.headDone) {
        watched.head.push_back(time);
        watched.headDone = static_cast<int>(watched.head.size()) >= headPackets;
    }
    if (counting) ++watched.packets;
}

/// Raw streams, files that don't say how long they are, and files whose times are wrong behind a seek: only a pass over
/// all packets tells.
bool Measure::isScanned() const {
    const AVFormatContext& context = *file_.context();
    for (const char* name : {"mp3", "aac", "ac3", "eac3", "amr", "amrnb", "amrwb", "dts", "truehd", "mlp"})
        if (file_.isFormat(name)) return true;
    for (const auto& [index, watched] : watched_)
        if (!file_.keepsTimeInSeeks(index)) return true;
    const auto farthest = static_cast<std::int64_t>(farthestStamp * AV_TIME_BASE);
    return context.duration == AV_NOPTS_VALUE || context.duration <= 0 || context.duration > farthest ||
           (context.start_time != AV_NOPTS_VALUE && std::abs(context.start_time) > farthest) ||
           context.duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
}

Result<std::map<int, StreamSpan>> Measure::run() {
    if (file_.isFormat("mov"))
        measureIndexed();
    else if (isScanned())
        scan();
    else
        measureTail();
    if (auto error = file_.failure()) return fail(*error);
    std::map<int, StreamSpan> spans;
    for (const auto& [index, watched] : watched_) spans[index] = watched.span;
    return spans;
}

/// QuickTime and MP4: the index lists every sample, and where it lies in the file.
void Measure::measureIndexed() {
    // With every stream discarded, reading to the end only takes in the indexes of the fragments.
    listenTo(-1);
    readWhile([](const AVPacket&, Watched*) { return false; });
    for (auto& [index, watched] : watched_) {
        if (file_.interrupted()) return;
        measureIndexedStream(index, watched);
    }
}

void Measure::measureIndexedStream(int index, Watched& watched) {
    AVStream& source = stream(index);
    const int entries = avformat_index_get_entries_count(&source);
    int last = -1;
    std::int64_t shown = 0;
    for (int i = 0; i < entries; ++i) {
        const AVIndexEntry& entry = *avformat_index_get_entry(&source, i);
        if (entry.pos < 0 || entry.size <= 0 || entry.pos + entry.size > file_.identity().size) continue;
        if (entry.flags & AVINDEX_DISCARD_FRAME) continue;
        last = i;
        ++shown;
    }
    if (last < 0) return;

    listenTo(index);
    const auto from = [&](int sample) {
        const std::int64_t time = avformat_index_get_entry(&source, sample)->timestamp;
        return av_seek_frame(file_.context(), index, time, AVSEEK_FLAG_BACKWARD | AVSEEK_FLAG_ANY) >= 0;
    };
    std::int64_t bytes = 0;
    int packets = 0;
    if (!from(0)) return;
    readWhile([&](const AVPacket& packet, Watched* stream) {
        bytes += packet.size;
        if (stream != nullptr) look(packet, *stream, false);
        return watched.headDone || ++packets > headPacketLimit || bytes > headByteLimit;
    });
    watched.headDone = true;
    if (last > tailSamples && from(last - tailSamples)) {
        readWhile([&](const AVPacket& packet, Watched* stream) {
            if (stream != nullptr) look(packet, *stream, false);
            return false;
        });
    }
    watched.packets = shown;
    finish(index, watched, true);
}

/// Files with a claimed length: the head, then the packets near the claimed end, then further back until every stream
/// has shown its last packet.
void Measure::measureTail() {
    listenToAll();
    std::int64_t bytes = 0;
    int packets = 0;
    readWhile([&](const AVPacket& packet, Watched* stream) {
        bytes += packet.size;
        if (stream != nullptr) look(packet, *stream, false);
        const bool all =
            std::all_of(watched_.begin(), watched_.end(), [](const auto& entry) { return entry.second.headDone; });
        return all || ++packets > headPacketLimit || bytes > headByteLimit;
    });
    const AVFormatContext& context = *file_.context();
    const std::int64_t start = context.start_time == AV_NOPTS_VALUE ? 0 : context.start_time;
    const std::int64_t end = start + context.duration;
    for (auto& [index, watched] : watched_) watched.headDone = true;

    std::map<int, bool> seen;
    for (double window = firstTailWindow; !file_.interrupted(); window *= 8) {
        const auto target = end - static_cast<std::int64_t>(window * AV_TIME_BASE);
        const bool whole = target <= start;
        const bool moved = av_seek_frame(file_.context(), -1, whole ? start : target, AVSEEK_FLAG_BACKWARD) >= 0;
        if (!moved && !startOver()) break;
        readWhile([&](const AVPacket& packet, Watched* stream) {
            if (stream == nullptr) return false;
            seen[packet.stream_index] = true;
            look(packet, *stream, false);
            return false;
        });
        if (whole || !moved || seen.size() == watched_.size()) break;
    }
    for (auto& [index, watched] : watched_) finish(index, watched, false);
}

/// Goes to the beginning of a file that can't be sought; a seek that failed leaves the demuxer anywhere.
bool Measure::startOver() {
    const auto opened = file_.openFormat();
    if (!opened || !*opened || !file_.findStreams()) return false;
    if (!watched_.empty() && static_cast<unsigned>(watched_.rbegin()->first) >= file_.context()->nb_streams)
        return false;
    listenToAll();
    return true;
}

void Measure::scan() {
    listenToAll();
    readWhile([&](const AVPacket& packet, Watched* stream) {
        if (stream != nullptr) look(packet, *stream, true);
        return false;
    });
    for (auto& [index, watched] : watched_) finish(index, watched, true);
}

void Measure::finish(int index, Watched& watched, bool counted) {
    if (watched.span.isEmpty()) return;
    if (stream(index).codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
        finishVideo(stream(index), watched, counted);
    else
        finishAudio(stream(index), watched);
}

/// Settles the frame rate, and with it the length of a last frame that had none.
void Measure::finishVideo(const AVStream& source, Watched& watched, bool counted) {
    StreamSpan& span = watched.span;
    const double head = rateOf(watched.head, source.time_base);
    const double claimed = av_q2d(source.avg_frame_rate.den > 0 ? source.avg_frame_rate : AVRational{0, 1});
    if (span.lastDuration == 0 && isSaneRate(head)) {
        span.lastDuration = std::llround(1 / head / av_q2d(source.time_base));
        span.end += span.lastDuration;
    }
    span.reach = span.end;
    const double length = static_cast<double>(span.end - span.first) * av_q2d(source.time_base);
    if (counted && watched.packets > 0 && length > 0)
        span.frameRate = static_cast<double>(watched.packets) / length;
    else if (isSaneRate(claimed) && (head == 0 || std::abs(claimed / head - 1) < 0.2))
        span.frameRate = claimed;
    else
        span.frameRate = head;
    if (!isSaneRate(span.frameRate)) span.frameRate = 0;
}

/// Settles where sound ends whose packets don't say how long they are, or say too little.
void Measure::finishAudio(const AVStream& source, Watched& watched) {
    StreamSpan& span = watched.span;
    // What the decoder swallows for its own start is known to the demuxer alone.
    if (source.start_time != AV_NOPTS_VALUE && source.start_time < span.end && !file_.isFormat("mov"))
        span.first = std::max(span.first, source.start_time);
    if (watched.tooShort * 2 > watched.pairs) {
        span.lastDuration = watched.longest = watched.distance;
        span.end = std::max(span.end, watched.time + watched.distance);
    }
    span.reach = std::max(span.end, watched.time + watched.longest);
}

}  // namespace

Result<std::map<int, StreamSpan>> measure(SourceFile& file, const std::vector<int>& streams) {
    return Measure(file, streams).run();
}

}  // namespace kelvane::FFmpegMeasure
