// Times exact stills against what they could cost: one `ffmpeg` process for each, and decoding alone. All three run in
// turns, so that they meet the same noise.
//
//     bench-stills <rounds> <folder> timeline <width> <height> <fps> <path>:<start>:<end>[:<filter>] …
//     bench-stills <rounds> <folder> source <path> <count>
//
// A timeline is seen at its first and last frame, at the middle of each clip and on both sides of each cut; a source at
// the middles of `count` equal parts. Decoding alone goes from the key frame before each time to its frame, passes over
// frames that nothing refers to, and has two decoders with a thread each, which share out the times.
//
// Prints, of wall time and then of processor time: stills, processes, decoding (medians, seconds), and the medians of
// the rounds' ratios stills/processes and stills/decoding.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <sstream>
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

extern char** environ;

namespace {

using namespace kelvane;

/// A moment of a source, and how a process shows it.
struct Moment {
    std::string path;
    double seconds = 0;
    std::string filter;
};

[[noreturn]] void giveUp(const std::string& why) {
    std::fprintf(stderr, "%s\n", why.c_str());
    std::exit(1);
}

struct Cost {
    double wall = 0;
    double processor = 0;
};

double processorOf(int who) {
    rusage usage{};
    getrusage(who, &usage);
    const auto seconds = [](const timeval& time) { return static_cast<double>(time.tv_sec) + time.tv_usec * 1e-6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

Cost costOf(const std::function<void()>& work) {
    const double before = processorOf(RUSAGE_SELF) + processorOf(RUSAGE_CHILDREN);
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
    return {spent.count(), processorOf(RUSAGE_SELF) + processorOf(RUSAGE_CHILDREN) - before};
}

/// One process for each moment, one after the other.
void runProcesses(const std::vector<Moment>& moments, const std::string& folder) {
    for (const Moment& moment : moments) {
        std::vector<std::string> words{
            "ffmpeg",    "-v",        "error", "-y",  "-ss",         std::to_string(moment.seconds), "-i",
            moment.path, "-frames:v", "1",     "-vf", moment.filter, folder + "/still.jpg"};
        std::vector<char*> argv;
        for (std::string& word : words) argv.push_back(word.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        pid_t child = 0;
        if (posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ) != 0) giveUp("no ffmpeg");
        posix_spawn_file_actions_destroy(&actions);
        int status = 0;
        waitpid(child, &status, 0);
        if (status != 0) giveUp("ffmpeg failed");
    }
}

struct InputCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};

/// A source opened for decoding alone.
struct Input {
    std::unique_ptr<AVFormatContext, InputCloser> context;
    int stream = 0;
    CodecContextPtr decoder;

    explicit Input(const std::string& path) {
        AVFormatContext* opened = nullptr;
        if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0) giveUp(path + " can't be opened");
        context.reset(opened);
        stream = av_find_best_stream(opened, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
        if (stream < 0) giveUp(path + " has no picture");
        for (unsigned i = 0; i < opened->nb_streams; ++i)
            if (static_cast<int>(i) != stream) opened->streams[i]->discard = AVDISCARD_ALL;
        const AVCodec* codec = avcodec_find_decoder(opened->streams[stream]->codecpar->codec_id);
        decoder.reset(avcodec_alloc_context3(codec));
        avcodec_parameters_to_context(decoder.get(), opened->streams[stream]->codecpar);
        decoder->thread_count = 1;
        if (avcodec_open2(decoder.get(), codec, nullptr) < 0) giveUp(path + " can't be decoded");
    }

    /// Decodes from the key frame before `seconds` to its frame.
    void decodeTo(double seconds) {
        const AVStream& track = *context->streams[stream];
        const double tick = av_q2d(track.time_base);
        const auto wanted = static_cast<std::int64_t>(seconds / tick + 1e-6);
        const auto frameTicks = static_cast<std::int64_t>(1 / (av_q2d(track.avg_frame_rate) * tick));
        av_seek_frame(context.get(), stream, wanted, AVSEEK_FLAG_BACKWARD);
        avcodec_flush_buffers(decoder.get());
        const PacketPtr packet(av_packet_alloc());
        const FramePtr frame(av_frame_alloc());
        while (true) {
            const bool ended = av_read_frame(context.get(), packet.get()) < 0;
            if (!ended && packet->stream_index != stream) {
                av_packet_unref(packet.get());
                continue;
            }
            decoder->skip_frame = packet->pts + frameTicks <= wanted ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
            avcodec_send_packet(decoder.get(), ended ? nullptr : packet.get());
            av_packet_unref(packet.get());
            while (avcodec_receive_frame(decoder.get(), frame.get()) >= 0)
                if (frame->best_effort_timestamp + frameTicks > wanted) return;
            if (ended) return;
        }
    }
};

void decodeAlone(const std::vector<Moment>& moments) {
    std::atomic<std::size_t> next = 0;
    const auto work = [&] {
        std::map<std::string, Input> inputs;
        for (std::size_t i = next++; i < moments.size(); i = next++)
            inputs.try_emplace(moments[i].path, moments[i].path).first->second.decodeTo(moments[i].seconds);
    };
    const std::jthread other(work);
    work();
}

void check(const Result<void>& result, std::size_t stills, std::size_t wanted) {
    if (!result) giveUp(result.error().message);
    if (stills != wanted) giveUp("stills are missing");
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

void compare(int rounds, const std::array<std::function<void()>, 3>& ways) {
    std::array<std::vector<Cost>, 3> costs;
    for (int round = -1; round < rounds; ++round) {
        for (std::size_t i = 0; i < 3; ++i) {
            const std::size_t way = (i + static_cast<std::size_t>(round + 1)) % 3;
            const Cost cost = costOf(ways[way]);
            if (round >= 0) costs[way].push_back(cost);
        }
    }
    for (const auto part : {&Cost::wall, &Cost::processor}) {
        const auto ratio = [&](std::size_t other) {
            std::vector<double> ratios;
            for (std::size_t i = 0; i < costs[0].size(); ++i)
                ratios.push_back(costs[0][i].*part / (costs[other][i].*part));
            return median(ratios);
        };
        for (const auto& way : costs) {
            std::vector<double> values;
            for (const Cost& cost : way) values.push_back(cost.*part);
            std::printf("%.3f ", median(values));
        }
        std::printf("%.3f %.3f\n", ratio(1), ratio(2));
    }
}

void compareTimeline(int rounds, const std::string& folder, char** words, int count) {
    FFmpegPlatform platform;
    std::vector<Clip> clips;
    std::vector<Moment> moments;
    std::vector<MediaTime> times;
    double at = 0;
    const auto see = [&](double seconds, const Moment& moment) {
        times.push_back(MediaTime::fromSeconds(seconds));
        moments.push_back(moment);
    };
    for (int i = 3; i < count; ++i) {
        std::vector<std::string> fields;
        std::istringstream text(words[i]);
        for (std::string field; fields.size() < 3 && std::getline(text, field, ':');) fields.push_back(field);
        std::string filter;
        std::getline(text, filter);
        const auto imported = MediaEngine::importClip(platform, FileURL::fromPath(fields.at(0)), {});
        if (!imported) giveUp(imported.error().message);
        Clip clip = imported->clip;
        clip.start = std::atof(fields.at(1).c_str());
        clip.end = std::atof(fields.at(2).c_str());
        clips.push_back(clip);
        const double length = clip.end - clip.start;
        for (const double inside : {0.0, length / 2, length - 1.0 / 30})
            see(at + inside, {fields[0], clip.start + inside, filter});
        at += length;
    }
    const Size size{std::atof(words[0]), std::atof(words[1])};
    const auto media = MediaEngine::build(platform, clips, size, frameDuration(std::atof(words[2])), {});
    if (!media) giveUp(media.error().message);
    const auto stills = [&] {
        std::size_t made = 0;
        const auto take = [&](std::size_t, const TimedStill&) -> Result<void> { return ++made, Result<void>(); };
        check(platform.timelineStills(*media, times, {1280, 1280}, take, {}), made, times.size());
    };
    compare(rounds, {stills, [&] { runProcesses(moments, folder); }, [&] { decodeAlone(moments); }});
}

void compareSource(int rounds, const std::string& folder, const std::string& path, int count) {
    FFmpegPlatform platform;
    const FileURL url = FileURL::fromPath(path);
    const auto asset = platform.openAsset(url, {});
    if (!asset) giveUp(asset.error().message);
    std::vector<Moment> moments;
    std::vector<MediaTime> times;
    for (int i = 0; i < count; ++i) {
        const double seconds = (i + 0.5) * *(*asset)->loadDuration() / count;
        times.push_back(MediaTime::fromSeconds(seconds));
        moments.push_back({path, seconds, "scale=640:640:force_original_aspect_ratio=decrease"});
    }
    const auto stills = [&] {
        std::size_t made = 0;
        const auto take = [&](std::size_t, const TimedStill&) -> Result<void> { return ++made, Result<void>(); };
        check(platform.sourceStills(url, times, {640, 640}, take, {}), made, times.size());
    };
    compare(rounds, {stills, [&] { runProcesses(moments, folder); }, [&] { decodeAlone(moments); }});
}

}  // namespace

int main(int argc, char** argv) {
    const std::string kind = argc > 5 ? argv[3] : "";
    if (kind == "timeline" && argc > 7)
        compareTimeline(std::atoi(argv[1]), argv[2], argv + 4, argc - 4);
    else if (kind == "source")
        compareSource(std::atoi(argv[1]), argv[2], argv[4], std::atoi(argv[5]));
    else
        return 2;
}
