#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
#include <libavformat/avio.h>
#include <libavutil/frame.h>
}

/// What differs between FFmpeg 5.1 and 7.1 as far as we call it. Nothing else asks which version it is compiled
/// against.
namespace kelvane {

/// What the write callback of `avio_alloc_context` is given: const since libavformat 61.
#if LIBAVFORMAT_VERSION_MAJOR >= 61
using WrittenByte = const std::uint8_t;
#else
using WrittenByte = std::uint8_t;
#endif

/// Side data of a whole stream with its size in bytes, or nullptr and 0. It lies with the codec's parameters since
/// libavformat 61. Lives as long as the stream.
inline const std::uint8_t* streamSideData(const AVStream& stream, AVPacketSideDataType type, std::size_t& size) {
    size = 0;
#if LIBAVFORMAT_VERSION_MAJOR >= 61
    const AVPacketSideData* data =
        av_packet_side_data_get(stream.codecpar->coded_side_data, stream.codecpar->nb_coded_side_data, type);
    if (data == nullptr) return nullptr;
    size = data->size;
    return data->data;
#else
    return av_stream_get_side_data(&stream, type, &size);
#endif
}

/// Whether a decoder can begin with this frame. A flag of the frame's since libavutil 58.
inline bool isKeyFrame(const AVFrame& frame) {
#ifdef AV_FRAME_FLAG_KEY
    return (frame.flags & AV_FRAME_FLAG_KEY) != 0;
#else
    return frame.key_frame != 0;
#endif
}

}  // namespace kelvane
