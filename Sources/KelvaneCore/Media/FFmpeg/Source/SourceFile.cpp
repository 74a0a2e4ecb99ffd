#include "SourceFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/dict.h>
#include <libavutil/mem.h>
}

#include "Media/MediaError.h"
#include "MovieClaims.h"
#include "Support/Text.h"

namespace kelvane {

namespace {

/// Demuxers that take their content from one file and hold timed sound or pictures. Play lists, devices, scripts, still
/// pictures and raw video without times stay out.
constexpr const char* allowedFormats =
    "mov,mp4,m4a,3gp,3g2,mj2,matroska,webm,avi,flv,live_flv,mpegts,mpeg,mxf,asf,nut,ivf,dv,rm,"
    "mp3,aac,flac,ogg,wav,w64,aiff,au,caf,ac3,eac3,amr,amrnb,amrwb,ape,wv,tta,mpc,mpc8,dts,truehd,mlp,tak,voc";

/// One read of the disk. Larger reads gain nothing measurable; smaller ones cost calls.
constexpr int readSize = 65536;
/// How far into the file the kind of content is looked for, past a leading ID3 tag (which can hold a large picture).
constexpr unsigned probeSize = 1 << 20;
constexpr std::int64_t largestTag = 64 << 20;
/// How long a look at the file's state counts as one at the present.
constexpr std::chrono::microseconds lookInterval{50};
/// Streams past this number are an attack or damage.
constexpr const char* streamLimit = "64";

std::string quoted(const FileURL& url) { return quotedName(url.fileName()); }

FileIdentity identityOf(const std::string& path, const struct stat& status) {
    FileIdentity identity;
    identity.path = path;
    identity.size = status.st_size;
    identity.modifiedNanoseconds = status.st_mtim.tv_sec * std::int64_t{1'000'000'000} + status.st_mtim.tv_nsec;
    identity.inode = status.st_ino;
    return identity;
}

Result<void> checkKind(const FileURL& url, const struct stat& status) {
    if (S_ISREG(status.st_mode)) return {};
    if (S_ISDIR(status.st_mode)) return fail(quoted(url) + " is a folder, not a media file.");
    return fail(quoted(url) + " is not a regular file.");
}

int refuseOpen(AVFormatContext*, AVIOContext** io, const char*, int, AVDictionary**) {
    *io = nullptr;
    return AVERROR(EACCES);
}

}  // namespace

Result<FileIdentity> FileIdentity::of(const FileURL& url) {
    if (!url.isFile()) return fail(quoted(url) + " is not a file on this computer.");
    const std::string path = url.path();
    struct stat status{};
    if (::stat(path.c_str(), &status) != 0) return fail(Error::posix(quoted(url) + " could not be opened", errno));
    if (auto kind = checkKind(url, status); !kind) return fail(kind.error());
    return identityOf(path, status);
}

SourceFile::SourceFile(FileDescriptor descriptor, FileIdentity identity, const FileURL& url, std::string shownName)
    : descriptor_(std::move(descriptor)), identity_(std::move(identity)), url_(url), shownName_(std::move(shownName)) {}

SourceFile::~SourceFile() { closeFormat(); }

void SourceFile::closeFormat() {
    context_.reset();
    if (io_ != nullptr) av_freep(&io_->buffer);
    avio_context_free(&io_);
}

bool isShortage(const Error& error) { return error.domain == "POSIX" && isShortage(error.code); }

Result<std::unique_ptr<SourceFile>> SourceFile::open(const FileURL& url, std::string shownName) {
    if (!url.isFile()) return fail(quoted(url) + " is not a file on this computer.");
    const std::string path = url.path();
    // Without O_NONBLOCK, opening a pipe that nobody writes to would wait for ever.
    FileDescriptor descriptor = FileDescriptor::open(path, O_RDONLY | O_NONBLOCK);
    struct stat status{};
    if (!descriptor.isOpen() || ::fstat(descriptor.get(), &status) != 0)
        return fail(Error::posix(quoted(url) + " could not be opened", errno));
    if (auto kind = checkKind(url, status); !kind) return fail(kind.error());
    return std::unique_ptr<SourceFile>(
        new SourceFile(std::move(descriptor), identityOf(path, status), url, std::move(shownName)));
}

void SourceFile::setTimeLimit(std::optional<std::chrono::milliseconds> limit) {
    deadline_.reset();
    if (limit) deadline_ = std::chrono::steady_clock::now() + *limit;
}

bool SourceFile::timeIsOver() const { return deadline_ && std::chrono::steady_clock::now() >= *deadline_; }

bool SourceFile::interrupted() const { return stop_.stop_requested() || timeIsOver(); }

int SourceFile::read(void* opaque, std::uint8_t* buffer, int size) {
    auto& file = *static_cast<SourceFile*>(opaque);
    file.readSinceLook_ = true;
    while (!file.interrupted()) {
        const ssize_t count = ::pread(file.descriptor_.get(), buffer, static_cast<std::size_t>(size), file.position_);
        if (count > 0) {
            file.position_ += count;
            return static_cast<int>(count);
        }
        if (count == 0) {
            if (file.position_ < file.identity_.size) file.isUnchanged();
            return AVERROR_EOF;
        }
        if (errno == EINTR) continue;
        file.readError_ = errno;
        return AVERROR(file.readError_);
    }
    return AVERROR_EXIT;
}

std::int64_t SourceFile::seek(void* opaque, std::int64_t offset, int whence) {
    auto& file = *static_cast<SourceFile*>(opaque);
    switch (whence & ~AVSEEK_FORCE) {
        case AVSEEK_SIZE:
            return file.identity_.size;
        case SEEK_SET:
            break;
        case SEEK_CUR:
            offset += file.position_;
            break;
        case SEEK_END:
            offset += file.identity_.size;
            break;
        default:
            return AVERROR(EINVAL);
    }
    if (offset < 0) return AVERROR(EINVAL);
    file.position_ = offset;
    return offset;
}

bool SourceFile::isUnchangedLately() {
    const bool recent = std::chrono::steady_clock::now() - lookedAt_ < lookInterval;
    return recent && !readSinceLook_ && !changed_ && readError_ == 0 ? true : isUnchanged();
}

bool SourceFile::isUnchanged() {
    lookedAt_ = std::chrono::steady_clock::now();
    readSinceLook_ = false;
    struct stat status{};
    if (::fstat(descriptor_.get(), &status) != 0) {
        readError_ = errno;
        return false;
    }
    changed_ = changed_ || identityOf(identity_.path, status) != identity_;
    return !changed_;
}

std::optional<Error> SourceFile::failure() const {
    if (stop_.stop_requested()) return Error::cancelled();
    if (changed_) return MediaError::invalidClip(shownName_);
    if (readError_ != 0) return Error::posix(quoted(url_) + " could not be read", readError_);
    if (timeIsOver()) return Error(quoted(url_) + " takes too long to read.");
    return std::nullopt;
}

Result<const AVInputFormat*> SourceFile::probe() {
    std::array<std::uint8_t, 10> head{};
    std::int64_t tag = 0;
    if (::pread(descriptor_.get(), head.data(), head.size(), 0) == static_cast<ssize_t>(head.size()) &&
        std::memcmp(head.data(), "ID3", 3) == 0) {
        for (std::size_t i = 6; i < 10; ++i) tag = (tag << 7) | (head[i] & 0x7f);
    }
    const AVInputFormat* format = nullptr;
    const auto span = static_cast<unsigned>(std::min(tag, largestTag)) + probeSize;
    const int score = av_probe_input_buffer2(io_, &format, "", nullptr, 0, span);
    if (score < 0 || format == nullptr) {
        if (auto error = failure()) return fail(*error);
        return nullptr;
    }
    return av_match_list(format->name, allowedFormats, ',') > 0 ? format : nullptr;
}

Result<bool> SourceFile::openFormat() {
    auto opened = openFormat(false);
    if (!opened || !*opened || !isFormat("mov")) return opened;
    for (unsigned i = 0; i < context_->nb_streams; ++i) {
        // An edit that begins where no key frame lies before it: the demuxer would move the track's zero to the first
        // key frame. Taken as a mere shift, the edit keeps its time.
        AVStream* stream = context_->streams[i];
        const AVIndexEntry* first = avformat_index_get_entry(stream, 0);
        if (stream->codecpar->codec_type != AVMEDIA_TYPE_VIDEO || first == nullptr) continue;
        if ((first->flags & AVINDEX_KEYFRAME) == 0) return openFormat(true);
    }
    return opened;
}

Result<bool> SourceFile::openFormat(bool simpleEdits) {
    closeFormat();
    position_ = 0;
    readError_ = 0;
    changed_ = false;
    auto* buffer = static_cast<std::uint8_t*>(av_malloc(readSize));
    io_ = avio_alloc_context(buffer, readSize, 0, this, &SourceFile::read, nullptr, &SourceFile::seek);
    auto format = probe();
    if (!format) return fail(format.error());
    if (*format == nullptr) return false;
    if (av_match_name("mov", (*format)->name) != 0 && !claimsAreBounded_) {
        if (!MovieClaims::areBounded(descriptor_.get(), identity_.size, [this] { return interrupted(); })) return false;
        claimsAreBounded_ = !interrupted();
    }

    AVFormatContext* context = avformat_alloc_context();
    context->pb = io_;
    context->io_open = &refuseOpen;
    context->interrupt_callback = {
        [](void* opaque) { return static_cast<const SourceFile*>(opaque)->interrupted() ? 1 : 0; }, this};
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    av_dict_set(&options, "format_whitelist", allowedFormats, 0);
    av_dict_set(&options, "max_streams", streamLimit, 0);
    av_dict_set(&options, "ignore_chapters", "1", 0);
    if (simpleEdits) av_dict_set(&options, "advanced_editlist", "0", 0);
    const int code = avformat_open_input(&context, "", *format, &options);
    av_dict_free(&options);
    if (code < 0) {
        if (auto error = failure()) return fail(*error);
        return false;
    }
    context_.reset(context);
    countsInMatroska_ = isFormat("matroska");
    return true;
}

Result<void> SourceFile::findStreams() {
    std::vector<AVDictionary*> options(context_->nb_streams, nullptr);
    for (AVDictionary*& entry : options) {
        av_dict_set_int(&entry, "max_pixels", maximumPixels, 0);
        // The properties show in key frames; decoding the others to guess at their order takes 0.3 s at 4K.
        av_dict_set(&entry, "skip_frame", "nokey", 0);
        av_dict_set(&entry, "skip_loop_filter", "all", 0);
    }
    // MP4's index tells the rates; measuring them here would decode key frame after key frame.
    if (isFormat("mov")) context_->fps_probe_size = 0;
    // What isn't known afterwards is judged stream by stream.
    avformat_find_stream_info(context_.get(), options.empty() ? nullptr : options.data());
    for (AVDictionary*& entry : options) av_dict_free(&entry);
    if (auto error = failure()) return fail(*error);
    return {};
}

int SourceFile::readPacket(AVPacket& packet) {
    const int code = av_read_frame(context_.get(), &packet);
    if (code < 0 || !countsInMatroska_) return code;
    const AVCodecParameters& parameters = *context_->streams[packet.stream_index]->codecpar;
    const bool unstamped = packet.pts == AV_NOPTS_VALUE && packet.dts == AV_NOPTS_VALUE;
    if (unstamped && parameters.codec_type == AVMEDIA_TYPE_VIDEO) packet.flags |= AV_PKT_FLAG_DISCARD;
    return code;
}

bool SourceFile::isFormat(const char* name) const {
    return context_ && av_match_name(name, context_->iformat->name) != 0;
}

bool SourceFile::keepsTimeInSeeks(int streamIndex) const {
    constexpr const char* soughtByBytes[] = {"wav", "w64", "aiff", "au"};
    if (std::ranges::none_of(soughtByBytes, [this](const char* name) { return isFormat(name); })) return true;
    const AVCodecParameters& sound = *context_->streams[streamIndex]->codecpar;
    const std::int64_t bits = std::int64_t{av_get_exact_bits_per_sample(sound.codec_id)} * sound.ch_layout.nb_channels;
    return bits > 0 && sound.bit_rate % 8 == 0 && sound.bit_rate == bits * sound.sample_rate;
}

bool isFarOff(const AVPacket& packet, AVRational timeBase) {
    const auto isFar = [&](std::int64_t stamp) {
        return stamp != AV_NOPTS_VALUE && std::abs(static_cast<double>(stamp) * av_q2d(timeBase)) > farthestStamp;
    };
    return isFar(packet.pts) || isFar(packet.dts) || isFar(packet.duration);
}

}  // namespace kelvane
