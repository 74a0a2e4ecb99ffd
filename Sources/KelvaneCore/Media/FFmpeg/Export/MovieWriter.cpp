#include "MovieWriter.h"

#include <fcntl.h>
#include <unistd.h>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/mathematics.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cerrno>
#include <numeric>
#include <utility>

#include "Media/FFmpeg/Sound/SoundRenderer.h"
#include "Media/FFmpeg/Source/FFmpegVersions.h"
#include "Media/MediaError.h"
#include "Support/FileDescriptor.h"
#include "Support/Text.h"

namespace kelvane {

namespace {

constexpr int bufferSize = 256 * 1024;
/// Bytes after which the system is told to begin bringing what was written to disk, and steps in which it is waited for
/// at the end: small enough to be cancelled between two of them.
constexpr std::int64_t syncStep = 4 * 1024 * 1024;
/// Bytes of an index apart from its tables: measured, 1.6 kB with both tracks.
constexpr std::int64_t indexBase = 8192;
/// Bytes at most of a picture in the tables of ISO/IEC 14496-12 8.6 and 8.7: size 4, offset run 8, time run 8, key 4,
/// chunk 8 with 12 for its length, dependence 1.
constexpr std::int64_t pictureIndexBytes = 45;
/// Likewise of a sound packet between pictures: size 4, chunk 8 and 12; the two time runs are in the base.
constexpr std::int64_t mixedSoundIndexBytes = 24;
/// Of a sound packet by itself: size 4, and a part of the megabyte's chunk.
constexpr std::int64_t loneSoundIndexBytes = 5;
constexpr std::int64_t soundFrame = 1024;

/// Units a second of the movie's own clock: one that holds whole samples and, if there is one of sensible size, whole
/// frames.
int movieTimescale(const AVCodecContext* picture) {
    const std::int64_t frames = picture != nullptr ? picture->time_base.den : 1;
    const std::int64_t both = std::lcm<std::int64_t>(soundSampleRate, frames);
    return both <= 1'000'000 ? static_cast<int>(both) : soundSampleRate;
}

}  // namespace

std::int64_t movieIndexLimit(const MovieLayout& layout) {
    const std::int64_t packets = layout.sound != nullptr ? layout.soundLength / soundFrame + 3 : 0;
    const std::int64_t pictures = layout.picture != nullptr ? layout.pictureCount : 0;
    return indexBase + pictures * pictureIndexBytes +
           packets * (layout.picture != nullptr ? mixedSoundIndexBytes : loneSoundIndexBytes);
}

struct MovieWriter::State {
    std::string name;
    std::stop_token stop;
    FileDescriptor file;
    /// Why writing failed, an errno value.
    int failed = 0;
    std::int64_t position = 0;
    std::int64_t length = 0;
    /// Up to here the system was told to write back.
    std::int64_t pushed = 0;
    AVFormatContext* format = nullptr;
    AVIOContext* io = nullptr;
    AVStream* picture = nullptr;
    AVStream* sound = nullptr;
    AVRational pictureBase{1, 1};
    AVRational soundBase{1, 1};

    ~State() {
        if (io != nullptr) {
            av_freep(&io->buffer);
            avio_context_free(&io);
        }
        avformat_free_context(format);
    }

    Result<void> open(const FileURL& url);
    Result<void> begin(const MovieLayout& layout);
    AVStream* addStream(const AVCodecContext& encoder);
    Error failure(int code) const;
    Result<void> sync();
    static int writeBytes(void* opaque, WrittenByte* bytes, int count);
    static std::int64_t seekBytes(void* opaque, std::int64_t offset, int whence);
    /// Brings a step of the file towards the disk. A failure of the disk, which the system tells only once, becomes
    /// `failed`.
    bool pushRange(std::int64_t at, unsigned flags);
    bool startWriteBack();
};

MovieWriter::MovieWriter(std::unique_ptr<State> state) : state_(std::move(state)) {}
MovieWriter::~MovieWriter() = default;

Error MovieWriter::State::failure(int code) const {
    if (stop.stop_requested()) return Error::cancelled();
    const std::string what = quotedName(name) + " could not be written";
    return failed != 0 ? Error::posix(what, failed) : Error(what + ": " + ffmpegErrorText(code) + ".");
}

int MovieWriter::State::writeBytes(void* opaque, WrittenByte* bytes, int count) {
    auto& state = *static_cast<State*>(opaque);
    int done = 0;
    while (done < count) {
        if (state.stop.stop_requested()) return AVERROR_EXIT;
        const ssize_t wrote =
            ::pwrite(state.file.get(), bytes + done, static_cast<std::size_t>(count - done), state.position);
        if (wrote < 0 && errno == EINTR) continue;
        if (wrote <= 0) {
            state.failed = wrote < 0 ? errno : EIO;
            return AVERROR(state.failed);
        }
        done += static_cast<int>(wrote);
        state.position += wrote;
    }
    state.length = std::max(state.length, state.position);
    return state.startWriteBack() ? count : AVERROR(state.failed);
}

bool MovieWriter::State::pushRange(std::int64_t at, unsigned flags) {
    if (::sync_file_range(file.get(), at, syncStep, flags) == 0) return true;
    // File systems that can't do this are left to the last sync.
    const int number = errno;
    if (number == ENOSYS || number == EINVAL || number == ESPIPE || number == EOPNOTSUPP) return true;
    failed = number;
    return false;
}

bool MovieWriter::State::startWriteBack() {
    // Spread over the run, bringing the file to disk costs next to no time at its end.
    while (position - pushed >= 2 * syncStep) {
        if (!pushRange(pushed, SYNC_FILE_RANGE_WRITE)) return false;
        pushed += syncStep;
    }
    return true;
}

std::int64_t MovieWriter::State::seekBytes(void* opaque, std::int64_t offset, int whence) {
    auto& state = *static_cast<State*>(opaque);
    switch (whence & ~AVSEEK_FORCE) {
        case AVSEEK_SIZE:
            return state.length;
        case SEEK_SET:
            return state.position = offset;
        case SEEK_CUR:
            return state.position += offset;
        case SEEK_END:
            return state.position = state.length + offset;
        default:
            return AVERROR(EINVAL);
    }
}

Result<void> MovieWriter::State::open(const FileURL& url) {
    file = FileDescriptor::open(url.path(), O_RDWR | O_CREAT | O_EXCL, 0644);
    if (!file.isOpen()) {
        failed = errno;
        return fail(failure(0));
    }
    auto* buffer = static_cast<std::uint8_t*>(av_malloc(bufferSize));
    io = avio_alloc_context(buffer, bufferSize, 1, this, nullptr, &State::writeBytes, &State::seekBytes);
    if (io == nullptr) {
        av_free(buffer);
        return fail(failure(AVERROR(ENOMEM)));
    }
    return {};
}

AVStream* MovieWriter::State::addStream(const AVCodecContext& encoder) {
    AVStream* stream = avformat_new_stream(format, nullptr);
    if (stream == nullptr || avcodec_parameters_from_context(stream->codecpar, &encoder) < 0) return nullptr;
    stream->time_base = encoder.time_base;
    if (encoder.codec_type == AVMEDIA_TYPE_VIDEO) {
        stream->avg_frame_rate = stream->r_frame_rate = encoder.framerate;
        stream->sample_aspect_ratio = encoder.sample_aspect_ratio;
    }
    return stream;
}

Result<void> MovieWriter::State::begin(const MovieLayout& layout) {
    const std::string muxer(rawValue(layout.container));
    if (avformat_alloc_output_context2(&format, nullptr, muxer.c_str(), nullptr) < 0)
        return fail(MediaError::exportUnavailable());
    format->pb = io;
    format->flags |= AVFMT_FLAG_CUSTOM_IO;
    if (layout.picture != nullptr) {
        picture = addStream(*layout.picture);
        pictureBase = layout.picture->time_base;
    }
    if (layout.sound != nullptr) {
        sound = addStream(*layout.sound);
        soundBase = layout.sound->time_base;
    }
    if ((layout.picture != nullptr && picture == nullptr) || (layout.sound != nullptr && sound == nullptr))
        return fail(failure(AVERROR(ENOMEM)));
    AVDictionary* options = nullptr;
    av_dict_set_int(&options, "movie_timescale", movieTimescale(layout.picture), 0);
    if (layout.indexAtHead) av_dict_set_int(&options, "moov_size", movieIndexLimit(layout), 0);
    const int begun = avformat_write_header(format, &options);
    av_dict_free(&options);
    return begun < 0 ? Result<void>(fail(failure(begun))) : Result<void>();
}

Result<std::unique_ptr<MovieWriter>> MovieWriter::create(const FileURL& file, const MovieLayout& layout,
                                                         std::stop_token stop) {
    auto state = std::make_unique<State>();
    state->stop = std::move(stop);
    state->name = layout.name.empty() ? file.fileName() : layout.name;
    if (auto opened = state->open(file); !opened) return fail(opened.error());
    if (auto begun = state->begin(layout); !begun) return fail(begun.error());
    return std::unique_ptr<MovieWriter>(new MovieWriter(std::move(state)));
}

Result<void> MovieWriter::write(Track track, PacketPtr packet) {
    State& state = *state_;
    AVStream* stream = track == Track::picture ? state.picture : state.sound;
    av_packet_rescale_ts(packet.get(), track == Track::picture ? state.pictureBase : state.soundBase,
                         stream->time_base);
    packet->stream_index = stream->index;
    const int written = av_write_frame(state.format, packet.get());
    if (written < 0 || state.io->error < 0 || state.stop.stop_requested())
        return fail(state.failure(written < 0 ? written : state.io->error));
    return {};
}

Result<void> MovieWriter::finish() {
    State& state = *state_;
    const int written = av_write_trailer(state.format);
    avio_flush(state.io);
    if (written < 0 || state.io->error < 0 || state.stop.stop_requested())
        return fail(state.failure(written < 0 ? written : state.io->error));
    if (auto synced = state.sync(); !synced) return synced;
    if (!state.file.close()) {
        state.failed = errno;
        return fail(state.failure(0));
    }
    return {};
}

Result<void> MovieWriter::State::sync() {
    for (std::int64_t at = 0; at < length; at += syncStep) {
        if (stop.stop_requested()) return fail(Error::cancelled());
        if (!pushRange(at, SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER))
            return fail(failure(0));
    }
    if (!file.sync()) {
        failed = errno;
        return fail(failure(0));
    }
    return {};
}

}  // namespace kelvane
