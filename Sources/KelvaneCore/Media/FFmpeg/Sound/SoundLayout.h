#pragma once

extern "C" {
#include <libavutil/channel_layout.h>
}

namespace kelvane {

/// Left and right: the layout of all sound that the program plays and exports.
inline AVChannelLayout stereoLayout() {
    AVChannelLayout layout{};
    av_channel_layout_from_mask(&layout, AV_CH_LAYOUT_STEREO);
    return layout;
}

/// One voice.
inline AVChannelLayout monoLayout() {
    AVChannelLayout layout{};
    av_channel_layout_from_mask(&layout, AV_CH_LAYOUT_MONO);
    return layout;
}

}  // namespace kelvane
