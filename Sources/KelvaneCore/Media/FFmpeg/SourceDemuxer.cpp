#include "SourceDemuxer.h"

#include "Media/MediaError.h"
#include "SourceFile.h"

namespace kelvane {

namespace {

/// Errors in a row after which the rest of a file is given up. Each one steps over some of the damage.
constexpr int errorLimit = 256;

}  // namespace

struct SourceDemuxer::State {
    State(std::unique_ptr<SourceFile> sourceFile, int index, FileURL sourceURL)
        : file(std::move(sourceFile)), streamIndex(index), url(std::move(sourceURL)) {}

    Result<void> start();
    [[nodiscard]] AVStream& stream() const { return *file->context()->streams[streamIndex]; }
    [[nodiscard]] Error changed() const { return MediaError::invalidClip(url.baseName()); }

    std::unique_ptr<SourceFile> file;
    int streamIndex;
    FileURL url;
    /// Nothing was read since the start, so that the beginning needs no seek.
    bool atBeginning = false;
    /// A read was broken off in the middle, so that the demuxer's state is worth nothing.
    bool brokenOff = false;
};

Result<void> SourceDemuxer::State::start() {
    brokenOff = true;
    auto opened = file->openFormat();
    if (!opened) return std::unexpected(opened.error());
    if (!*opened) return fail(changed());
    if (auto found = file->findStreams(); !found) return found;
    AVFormatContext& context = *file->context();
    if (streamIndex < 0 || static_cast<unsigned>(streamIndex) >= context.nb_streams) return fail(changed());
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        context.streams[i]->discard = static_cast<int>(i) == streamIndex ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    brokenOff = false;
    atBeginning = true;
    return {};
}

SourceDemuxer::SourceDemuxer(std::unique_ptr<State> state) : state_(std::move(state)) {}
SourceDemuxer::~SourceDemuxer() = default;

Result<std::unique_ptr<SourceDemuxer>> SourceDemuxer::open(const FFmpegTrack& track) {
    const FFmpegTrack::Facts& facts = track.facts();
    auto file = SourceFile::open(facts.url);
    if (!file || (*file)->identity() != facts.identity) return fail(MediaError::invalidClip(facts.url.baseName()));
    auto state = std::make_unique<State>(std::move(*file), facts.streamIndex, facts.url);
    if (auto started = state->start(); !started) {
        return fail(started.error().isCancelled() ? started.error() : state->changed());
    }
    return std::unique_ptr<SourceDemuxer>(new SourceDemuxer(std::move(state)));
}

void SourceDemuxer::setStop(std::stop_token stop) { state_->file->setStop(std::move(stop)); }

Result<PacketPtr> SourceDemuxer::next() {
    State& state = *state_;
    if (state.file->stop().stop_requested()) return fail(Error::cancelled());
    if (state.brokenOff) {
        if (auto started = state.start(); !started) return std::unexpected(started.error());
    }
    state.atBeginning = false;
    PacketPtr packet(av_packet_alloc());
    for (int errors = 0; errors < errorLimit;) {
        const int code = av_read_frame(state.file->context(), packet.get());
        if (state.file->stop().stop_requested()) {
            state.brokenOff = true;
            return fail(Error::cancelled());
        }
        if (code >= 0) {
            if (packet->stream_index == state.streamIndex && packet->size > 0) return packet;
            av_packet_unref(packet.get());
            continue;
        }
        if (code == AVERROR_EOF) return PacketPtr();
        if (auto error = state.file->failure()) {
            state.brokenOff = true;
            return fail(*error);
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

const AVStream& SourceDemuxer::stream() const { return state_->stream(); }

}  // namespace kelvane
