#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Media/FFmpeg/Source/Handles.h"
#include "Support/Geometry.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

/// Frames made of formulas, and the formulas to check them by. Nothing in here uses the code under test.
namespace kelvane::picturetest {

/// Value of a plane at a place of the picture, in pixels from its top left corner.
using Formula = std::function<double(int plane, double x, double y)>;

struct FrameKind {
    int width = 0;
    int height = 0;
    AVPixelFormat format = AV_PIX_FMT_YUV420P;
    AVColorRange range = AVCOL_RANGE_MPEG;
    AVColorSpace matrix = AVCOL_SPC_BT709;
    AVColorPrimaries primaries = AVCOL_PRI_BT709;
    AVColorTransferCharacteristic transfer = AVCOL_TRC_BT709;
    AVChromaLocation chroma = AVCHROMA_LOC_LEFT;
};

inline FramePtr emptyFrame(const FrameKind& kind) {
    FramePtr frame(av_frame_alloc());
    frame->width = kind.width;
    frame->height = kind.height;
    frame->format = kind.format;
    frame->color_range = kind.range;
    frame->colorspace = kind.matrix;
    frame->color_primaries = kind.primaries;
    frame->color_trc = kind.transfer;
    frame->chroma_location = kind.chroma;
    av_frame_get_buffer(frame.get(), 64);
    for (int i = 0; i < AV_NUM_DATA_POINTERS && frame->buf[i] != nullptr; ++i)
        std::fill_n(frame->buf[i]->data, frame->buf[i]->size, std::uint8_t{0});
    return frame;
}

inline int planeWidth(const AVFrame& frame, int plane) {
    const auto* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    return plane == 1 || plane == 2 ? -(-frame.width >> format->log2_chroma_w) : frame.width;
}
inline int planeHeight(const AVFrame& frame, int plane) {
    const auto* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    return plane == 1 || plane == 2 ? -(-frame.height >> format->log2_chroma_h) : frame.height;
}

inline int sampleAt(const AVFrame& frame, int plane, int x, int y) {
    const auto* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    const std::uint8_t* row = frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane];
    return format->comp[0].depth > 8 ? reinterpret_cast<const std::uint16_t*>(row)[x] : row[x];
}

/// Fills a planar frame; chroma samples at their places (left: level with the even column; centre: between both).
inline FramePtr paintedFrame(const FrameKind& kind, const Formula& formula) {
    FramePtr frame = emptyFrame(kind);
    const auto* format = av_pix_fmt_desc_get(kind.format);
    const int depth = format->comp[0].depth;
    for (int plane = 0; plane < format->nb_components; ++plane) {
        const bool sub = plane == 1 || plane == 2;
        const int stepX = sub ? 1 << format->log2_chroma_w : 1;
        const int stepY = sub ? 1 << format->log2_chroma_h : 1;
        const bool left = kind.chroma == AVCHROMA_LOC_LEFT || kind.chroma == AVCHROMA_LOC_UNSPECIFIED ||
                          kind.chroma == AVCHROMA_LOC_TOPLEFT;
        const bool top = kind.chroma == AVCHROMA_LOC_TOPLEFT || kind.chroma == AVCHROMA_LOC_TOP;
        for (int y = 0; y < planeHeight(*frame, plane); ++y) {
            std::uint8_t* row = frame->data[plane] + static_cast<std::ptrdiff_t>(y) * frame->linesize[plane];
            for (int x = 0; x < planeWidth(*frame, plane); ++x) {
                const double atX = x * stepX + (left ? 0.5 : stepX / 2.0);
                const double atY = y * stepY + (top ? 0.5 : stepY / 2.0);
                const double value = std::clamp(formula(plane, atX, atY), 0.0, std::ldexp(1.0, depth) - 1);
                if (depth > 8)
                    reinterpret_cast<std::uint16_t*>(row)[x] = static_cast<std::uint16_t>(std::lround(value));
                else
                    row[x] = static_cast<std::uint8_t>(std::lround(value));
            }
        }
    }
    return frame;
}

inline FramePtr patchFrame(const FrameKind& kind, std::array<int, 3> samples) {
    return paintedFrame(kind, [&](int plane, double, double) { return samples[static_cast<std::size_t>(plane)]; });
}

/// Where a plane's sample lies on a canvas, pixels: 4:2:0 with chroma on the left.
inline std::array<double, 2> canvasPlace(int plane, int x, int y) {
    if (plane == 0) return {x + 0.5, y + 0.5};
    return {2 * x + 0.5, 2 * y + 1.0};
}

/// The eight display orientations of a picture, each with its origin at the top left of what is shown.
struct NamedOrientation {
    std::string name;
    double a, b, c, d;

    [[nodiscard]] AffineTransform transform(Size size) const {
        const AffineTransform turn{a, b, c, d, 0, 0};
        const Rect box = turn.boundingRect({0, 0, size.width, size.height});
        return turn.then(AffineTransform::translation(-box.x, -box.y));
    }
};

inline std::vector<NamedOrientation> allOrientations() {
    return {{"upright", 1, 0, 0, 1},
            {"turned 90 degrees", 0, 1, -1, 0},
            {"turned 180 degrees", -1, 0, 0, -1},
            {"turned 270 degrees", 0, -1, 1, 0},
            {"mirrored across", -1, 0, 0, 1},
            {"mirrored down", 1, 0, 0, -1},
            {"axes swapped", 0, 1, 1, 0},
            {"axes swapped and both mirrored", 0, -1, -1, 0}};
}

struct Difference {
    double largest = 0;
    double mean = 0;
    double psnr = 0;
    long samples = 0;
};

inline Difference difference(const std::vector<double>& expected, const std::vector<double>& actual) {
    Difference out;
    double squares = 0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const double gap = std::abs(expected[i] - actual[i]);
        out.largest = std::max(out.largest, gap);
        out.mean += gap;
        squares += gap * gap;
    }
    out.samples = static_cast<long>(expected.size());
    if (out.samples > 0) {
        out.mean /= static_cast<double>(out.samples);
        out.psnr = 10 * std::log10(255.0 * 255.0 / std::max(squares / static_cast<double>(out.samples), 1e-9));
    }
    return out;
}

}  // namespace kelvane::picturetest
