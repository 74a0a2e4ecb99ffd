#include "PictureDecoder.h"

#include <algorithm>
#include <utility>

extern "C" {
#include <libavutil/cpu.h>
}

#include "SourceFile.h"

namespace kelvane {

namespace {

/// More threads gain nothing measurable.
constexpr std::int64_t mostThreads = 16;
/// Pictures that a decoder holds for each thread after its first: measured 2.5 with HEVC, as what is decoded ahead
/// waits to be given out.
constexpr std::int64_t picturesOfThread = 3;
/// Pictures that one thread's decoder holds: those that streams at their level's largest size refer to, six at the
/// most, and two on their way.
constexpr std::int64_t picturesOfDecoder = 8;

}  // namespace

int pictureDecoderThreads(std::int64_t pictureBytes, int wanted, std::int64_t bytesAhead) {
    const std::int64_t ahead = bytesAhead / (std::max<std::int64_t>(pictureBytes, 1) * picturesOfThread);
    const auto most = static_cast<int>(std::min(1 + ahead, mostThreads));
    return std::min(wanted > 0 ? wanted : av_cpu_count(), most);
}

std::int64_t pictureDecoderBytes(std::int64_t pictureBytes, int threads) {
    return pictureBytes * (picturesOfDecoder + picturesOfThread * (threads - 1));
}

CodecContextPtr openPictureDecoder(const AVStream& stream, int threads) {
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (codec == nullptr) return nullptr;
    CodecContextPtr decoder(avcodec_alloc_context3(codec));
    if (!decoder || avcodec_parameters_to_context(decoder.get(), stream.codecpar) < 0) return nullptr;
    decoder->pkt_timebase = stream.time_base;
    decoder->framerate = stream.avg_frame_rate;
    decoder->max_pixels = maximumPixels;
    // Unless told to follow the standard, H.264's decoder guesses at how far a stream that doesn't say so reorders its
    // frames, and drops the first ones when it guessed too low.
    if (codec->id == AV_CODEC_ID_H264) decoder->strict_std_compliance = FF_COMPLIANCE_STRICT;
    decoder->thread_count = threads;
    decoder->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    return avcodec_open2(decoder.get(), codec, nullptr) < 0 ? nullptr : std::move(decoder);
}

}  // namespace kelvane
