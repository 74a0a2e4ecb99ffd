#include "SourceDemuxer.h"

#include <algorithm>

#include "Media/MediaError.h"
#include "SourceFile.h"

namespace kelvane {

namespace {

/// Errors in a row after which the rest of a file is given up. Each one steps over some of the damage.
constexpr int errorLimit = 256;
/// An index that ends this much before its track lacks fragments, seconds.
constexpr double shortIndex = 2;

}  // namespace

struct SourceDemuxer::State {
    State(std::unique_ptr<SourceFile> sourceFile, const FFmpegTrack::Facts& facts, std::string shownName)
        : file(std::move(sourceFile)),
          streamIndex(facts.streamIndex),
          name(std::move(shownName)),
          trackEnd(facts.timeRange.end()) {}

    Result<void> start();
    Result<void> openInTime();
    [[nodiscard]] bool isDescribed() const;
    [[nodiscard]] bool isIndexShort() const;
    Result<void> completeIndex();
    [[nodiscard]] AVStream& stream() const { return *file->context()->streams[streamIndex]; }
    /// The failure of a file that changed, or whose state can't be told.
    Error brokenByChange() {
        brokenOff = true;
        return file->failure().value_or(changed());
    }
    [[nodiscard]] Error changed() const { return MediaError::invalidClip(name); }

    std::unique_ptr<SourceFile> file;
    int streamIndex;
    /// What failures call the file.
    std::string name;
    MediaTime trackEnd;
    /// Nothing was read since the start, so that the beginning needs no seek.
    bool atBeginning = false;
    /// A read was broken off in the middle, so that the demuxer's state is worth nothing.
    bool brokenOff = false;
    bool keepsTimeInSeeks = true;
};

/// Opens the file anew, within the time that opening may take.
Result<void> SourceDemuxer::State::start() {
    brokenOff = true;
    if (!file->isUnchanged()) return fail(file->failure().value_or(changed()));
    file->setTimeLimit(openingLimit);
    auto opened = openInTime();
    file->setTimeLimit(std::nullopt);
    return opened;
}

Result<void> SourceDemuxer::State::openInTime() {
    auto opened = file->openFormat();
    if (!opened) return fail(opened.error());
    if (!*opened) return fail(changed());
    if (!isDescribed()) {
        if (auto found = file->findStreams(); !found) return found;
    }
    AVFormatContext& context = *file->context();
    if (static_cast<unsigned>(streamIndex) >= context.nb_streams) return fail(changed());
    for (unsigned i = 0; i < context.nb_streams; ++i)
        context.streams[i]->discard = static_cast<int>(i) == streamIndex ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    keepsTimeInSeeks = file->keepsTimeInSeeks(streamIndex);
    brokenOff = false;
    atBeginning = true;
    return isIndexShort() ? completeIndex() : Result<void>();
}

/// Whether the header alone tells all that a decoder needs: decoding the first pictures to find out takes a third of a
/// second at 4K.
bool SourceDemuxer::State::isDescribed() const {
    if (!file->isFormat("mov") && !file->isFormat("matroska")) return false;
    if (static_cast<unsigned>(streamIndex) >= file->context()->nb_streams) return false;
    const AVCodecParameters& parameters = *stream().codecpar;
    return parameters.codec_type == AVMEDIA_TYPE_VIDEO && parameters.extradata_size > 0 && parameters.width > 0;
}

/// Whether the file is made of fragments whose indexes weren't read at opening, so that it can't be sought.
bool SourceDemuxer::State::isIndexShort() const {
    if (!file->isFormat("mov")) return false;
    AVStream& source = stream();
    const AVIndexEntry* last = avformat_index_get_entry(&source, avformat_index_get_entries_count(&source) - 1);
    if (last == nullptr) return true;
    const double indexed = static_cast<double>(last->timestamp) * av_q2d(source.time_base);
    return indexed + shortIndex < trackEnd.seconds();
}

/// Reads the fragments' indexes, without their samples, and returns to the beginning.
Result<void> SourceDemuxer::State::completeIndex() {
    AVStream& source = stream();
    source.discard = AVDISCARD_ALL;
    const PacketPtr packet(av_packet_alloc());
    for (int errors = 0; errors < errorLimit && av_read_frame(file->context(), packet.get()) != AVERROR_EOF;) {
        av_packet_unref(packet.get());
        if (auto error = file->failure()) {
            brokenOff = true;
            return fail(*error);
        }
        ++errors;
    }
    source.discard = AVDISCARD_DEFAULT;
    const AVIndexEntry* first = avformat_index_get_entry(&source, 0);
    if (first != nullptr) av_seek_frame(file->context(), streamIndex, first->timestamp, AVSEEK_FLAG_BACKWARD);
    return {};
}

SourceDemuxer::SourceDemuxer(std::unique_ptr<State> state) : state_(std::move(state)) {}
SourceDemuxer::~SourceDemuxer() = default;

Result<std::unique_ptr<SourceDemuxer>> SourceDemuxer::open(const FFmpegTrack& track, std::stop_token stop) {
    return open(track, track.facts().url.baseName(), std::move(stop));
}

Result<std::unique_ptr<SourceDemuxer>> SourceDemuxer::open(const FFmpegTrack& track, std::string name,
                                                           std::stop_token stop) {
    if (stop.stop_requested()) return fail(Error::cancelled());
    const FFmpegTrack::Facts& facts = track.facts();
    auto file = SourceFile::open(facts.url, name);
    if (!file && isShortage(file.error())) return fail(file.error());
    if (!file || (*file)->identity() != facts.identity) return fail(MediaError::invalidClip(name));
    auto state = std::make_unique<State>(std::move(*file), facts, std::move(name));
    state->file->setStop(std::move(stop));
    if (auto started = state->start(); !started)
        return fail(started.error().isCancelled() ? started.error() : state->changed());
    return std::unique_ptr<SourceDemuxer>(new SourceDemuxer(std::move(state)));
}

void SourceDemuxer::setStop(std::stop_token stop) { state_->file->setStop(std::move(stop)); }

Result<PacketPtr> SourceDemuxer::next() {
    State& state = *state_;
    if (state.file->stop().stop_requested()) return fail(Error::cancelled());
    if (state.brokenOff) {
        if (auto started = state.start(); !started) return fail(started.error());
    }
    if (!state.file->isUnchangedLately()) return fail(state.brokenByChange());
    state.atBeginning = false;
    PacketPtr packet(av_packet_alloc());
    for (int errors = 0; errors < errorLimit;) {
        const int code = state.file->readPacket(*packet);
        // Asked even when a packet came or the end did: a file that lost its end gives half a packet, then none.
        if (auto error = state.file->failure()) {
            state.brokenOff = true;
            return fail(*error);
        }
        if (code >= 0) {
            const bool wanted = packet->stream_index == state.streamIndex && packet->size > 0;
            if (wanted && !isFarOff(*packet, state.stream().time_base)) return packet;
            av_packet_unref(packet.get());
            continue;
        }
        if (code == AVERROR_EOF) {
            if (!state.file->isUnchanged()) return fail(state.brokenByChange());
            return PacketPtr();
        }
        ++errors;
    }
    return PacketPtr();
}

Result<void> SourceDemuxer::seek(std::int64_t timestamp) {
    State& state = *state_;
    if (state.file->stop().stop_requested()) return fail(Error::cancelled());
    if (state.brokenOff || timestamp == INT64_MIN) {
        if (state.atBeginning && !state.brokenOff) return {};
        // Opening again is the one way to the beginning that no broken index leads astray.
        if (auto started = state.start(); !started) return started;
        if (timestamp == INT64_MIN) return {};
    }
    state.atBeginning = false;
    if (!state.file->isUnchanged()) return fail(state.brokenByChange());
    AVFormatContext* context = state.file->context();
    const int code = av_seek_frame(context, state.streamIndex, timestamp, AVSEEK_FLAG_BACKWARD);
    if (auto error = state.file->failure()) {
        state.brokenOff = true;
        return fail(*error);
    }
    return code < 0 ? state.start() : Result<void>();
}

std::int64_t SourceDemuxer::keyFrameBefore(std::int64_t timestamp) const {
    if (state_->brokenOff) return AV_NOPTS_VALUE;
    AVStream& stream = state_->stream();
    const int index = av_index_search_timestamp(&stream, timestamp, AVSEEK_FLAG_BACKWARD);
    const AVIndexEntry* entry = index < 0 ? nullptr : avformat_index_get_entry(&stream, index);
    return entry == nullptr ? AV_NOPTS_VALUE : entry->timestamp;
}

bool SourceDemuxer::hasFullIndex() const { return state_->file->isFormat("mov") || state_->file->isFormat("avi"); }

bool SourceDemuxer::keepsTimeInSeeks() const { return state_->keepsTimeInSeeks; }

const AVStream& SourceDemuxer::stream() const { return state_->stream(); }

}  // namespace kelvane
