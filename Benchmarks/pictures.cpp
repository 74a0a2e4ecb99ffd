// A player's pictures of one source, at the size of a preview.
//
//     bench-pictures <rounds> <path> <seconds between key frames>
//
// Prints three lines of figures:
//     seek <ratio> <stream> <decoding>   medians of leaps to another group, ms; decoding alone goes from the key frame
//                                        before through every frame on one thread, in turns with the stream
//     scrub <forwards> <backwards>       pictures shown a second while a pointer moves at three times the speed of play
//                                        and asks sixty times a second, each time overtaking what it asked for before
//     step <first> <again>               steps back by single frames a second: a second of them from a place where
//                                        nothing was shown, and the same once more
// and on standard error what each of these was made of.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/FFmpeg/Source/Handles.h"
#include "Media/MediaEngine.h"

namespace {

using namespace kelvane;
using Clock = std::chrono::steady_clock;

constexpr Size preview{400, 711};
constexpr int rate = 30;

[[noreturn]] void giveUp(const std::string& why) {
    std::fprintf(stderr, "%s\n", why.c_str());
    std::exit(1);
}

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

/// A source opened for decoding alone.
class Input {
public:
    explicit Input(const std::string& path) {
        AVFormatContext* opened = nullptr;
        if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0) giveUp(path + " can't be opened");
        context_.reset(opened);
        stream_ = av_find_best_stream(opened, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
        if (stream_ < 0) giveUp(path + " has no picture");
        for (unsigned i = 0; i < opened->nb_streams; ++i)
            if (static_cast<int>(i) != stream_) opened->streams[i]->discard = AVDISCARD_ALL;
        const AVCodecParameters* parameters = opened->streams[stream_]->codecpar;
        const AVCodec* codec = avcodec_find_decoder(parameters->codec_id);
        decoder_.reset(avcodec_alloc_context3(codec));
        avcodec_parameters_to_context(decoder_.get(), parameters);
        decoder_->thread_count = 1;
        if (avcodec_open2(decoder_.get(), codec, nullptr) < 0) giveUp(path + " can't be decoded");
    }

    /// Decodes every frame from the key frame before `frame` to it.
    void decodeTo(std::int64_t frame) {
        const AVStream& track = *context_->streams[stream_];
        const std::int64_t wanted = av_rescale_q(frame, {1, rate}, track.time_base);
        av_seek_frame(context_.get(), stream_, wanted, AVSEEK_FLAG_BACKWARD);
        avcodec_flush_buffers(decoder_.get());
        const PacketPtr packet(av_packet_alloc());
        const FramePtr picture(av_frame_alloc());
        while (true) {
            const bool ended = av_read_frame(context_.get(), packet.get()) < 0;
            avcodec_send_packet(decoder_.get(), ended ? nullptr : packet.get());
            av_packet_unref(packet.get());
            while (avcodec_receive_frame(decoder_.get(), picture.get()) >= 0)
                if (picture->best_effort_timestamp >= wanted) return;
            if (ended) return;
        }
    }

private:
    std::unique_ptr<AVFormatContext, FormatContextDeleter> context_;
    int stream_ = 0;
    CodecContextPtr decoder_;
};

struct Source {
    std::string path;
    FFmpegPlatform platform;
    EditedMediaPtr media;
    std::int64_t frames = 0;

    explicit Source(const std::string& file) : path(file) {
        const auto imported = MediaEngine::importClip(platform, FileURL::fromPath(file), {});
        if (!imported) giveUp(imported.error().message);
        const std::vector<Clip> clips{imported->clip};
        const auto built = MediaEngine::build(platform, clips, {1080, 1920}, MediaEngine::previewFrame, {});
        if (!built) giveUp(built.error().message);
        media = *built;
        frames = static_cast<std::int64_t>(imported->clip.duration() * rate);
    }
    std::unique_ptr<PictureStream> stream() { return platform.makePictureStream(media, preview); }
};

void show(PictureStream& stream, std::int64_t frame) {
    const auto shown = stream.picture({frame, rate}, UINT64_MAX, {});
    if (!shown) giveUp(shown.error().message);
    if (!shown->isExact) giveUp("a picture that was asked for isn't exact");
}

void seek(const std::string& path, int rounds, double keySeconds) {
    Source source(path);
    Input input(path);
    const auto stream = source.stream();
    const auto group = static_cast<std::int64_t>(keySeconds * rate);
    std::mt19937 random(1);
    std::vector<double> mine, theirs, ratios;
    std::int64_t at = 0;
    for (int i = -1; i < rounds; ++i) {
        std::int64_t next = at;
        while (next / group == at / group) next = static_cast<std::int64_t>(random()) % source.frames;
        at = next;
        auto start = Clock::now();
        show(*stream, at);
        const double stream1 = secondsSince(start);
        start = Clock::now();
        input.decodeTo(at);
        const double decoding = secondsSince(start);
        if (i < 0) continue;
        mine.push_back(stream1 * 1000);
        theirs.push_back(decoding * 1000);
        ratios.push_back(stream1 / decoding);
    }
    std::fprintf(stderr, "  %d leaps, medians %.1f ms and %.1f ms\n", rounds, median(mine), median(theirs));
    std::printf("seek %.3f %.1f %.1f\n", median(ratios), median(mine), median(theirs));
}

/// The pointer's place, the newest only.
struct Pointer {
    std::mutex mutex;
    std::condition_variable changed;
    std::int64_t frame = 0;
    std::uint64_t number = 0;
    bool ended = false;
};

/// Moves the pointer over the whole source; pictures shown a second.
double scrub(Source& source, bool forwards) {
    const auto stream = source.stream();
    show(*stream, forwards ? 0 : source.frames - 1);
    Pointer pointer;
    const auto start = Clock::now();
    std::jthread hand([&] {
        constexpr double speed = 3;
        constexpr std::chrono::microseconds step{16'667};
        for (auto due = start;; due += step) {
            std::this_thread::sleep_until(due);
            const auto moved = static_cast<std::int64_t>(secondsSince(start) * speed * rate);
            const std::lock_guard lock(pointer.mutex);
            pointer.ended = moved >= source.frames;
            if (!pointer.ended) pointer.frame = forwards ? moved : source.frames - 1 - moved;
            stream->overtake(++pointer.number);
            pointer.changed.notify_all();
            if (pointer.ended) return;
        }
    });
    VideoPicturePtr last;
    int shown = 0, exact = 0, calls = 0;
    std::vector<double> behind;
    for (std::uint64_t answered = 0;;) {
        std::int64_t frame = 0;
        {
            std::unique_lock lock(pointer.mutex);
            pointer.changed.wait(lock, [&] { return pointer.number != answered; });
            if (pointer.ended) break;
            frame = pointer.frame;
            answered = pointer.number;
        }
        const auto picture = stream->picture({frame, rate}, answered, {});
        if (!picture) giveUp(picture.error().message);
        ++calls;
        if (!picture->picture || picture->picture == last) continue;
        last = picture->picture;
        ++shown;
        if (picture->isExact) ++exact;
        behind.push_back(static_cast<double>(frame) / rate - picture->time.seconds());
    }
    const double seconds = secondsSince(start);
    std::fprintf(stderr, "  %s: %d calls, %d shown, %d exact, median %.2f s before the pointer, in %.1f s\n",
                 forwards ? "forwards" : "backwards", calls, shown, exact, behind.empty() ? -1 : median(behind),
                 seconds);
    return shown / seconds;
}

double step(Source& source, PictureStream& stream) {
    const std::int64_t from = source.frames - 2;
    const std::int64_t before = source.platform.readers().packetsDecoded();
    const auto start = Clock::now();
    for (std::int64_t n = from; n > from - rate; --n) show(stream, n);
    const double seconds = secondsSince(start);
    std::fprintf(stderr, "  %d steps back in %.2f s, %lld packets decoded\n", rate, seconds,
                 static_cast<long long>(source.platform.readers().packetsDecoded() - before));
    return rate / seconds;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) return 2;
    const std::string path = argv[2];
    seek(path, std::atoi(argv[1]), std::atof(argv[3]));
    Source forwards(path);
    const double ahead = scrub(forwards, true);
    Source backwards(path);
    std::printf("scrub %.1f %.1f\n", ahead, scrub(backwards, false));
    Source steps(path);
    const auto stream = steps.stream();
    show(*stream, steps.frames - 1);
    const double first = step(steps, *stream);
    std::printf("step %.1f %.1f\n", first, step(steps, *stream));
}
