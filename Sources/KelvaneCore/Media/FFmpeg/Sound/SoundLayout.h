#pragma once

extern "C" {
#include <libavutil/channel_layout.h>
}

namespace kelvane {

/// Left and right: the layout of all sound that the program makes.
inline AVChannelLayout stereoLayout() {
    AVChannelLayout layout{};
    av_channel_layout_from_mask(&layout, AV_CH_LAYOUT_STEREO);
    return layout;
}

}  // namespace kelvane
