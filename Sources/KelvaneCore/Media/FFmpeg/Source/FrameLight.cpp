#include "FrameLight.h"

#include <algorithm>
#include <array>
#include <utility>

#include "FFmpegVersions.h"

namespace kelvane {

void addLight(AVFrame& frame, const AVStream& stream) {
    if (frame.color_trc != AVCOL_TRC_SMPTE2084) return;
    constexpr std::array kinds{
        std::pair{AV_PKT_DATA_CONTENT_LIGHT_LEVEL, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL},
        std::pair{AV_PKT_DATA_MASTERING_DISPLAY_METADATA, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA}};
    for (const auto& [inStream, inFrame] : kinds) {
        std::size_t size = 0;
        const std::uint8_t* data = streamSideData(stream, inStream, size);
        if (data == nullptr || av_frame_get_side_data(&frame, inFrame) != nullptr) continue;
        AVFrameSideData* added = av_frame_new_side_data(&frame, inFrame, size);
        if (added != nullptr) std::copy_n(data, size, added->data);
    }
}

}  // namespace kelvane
