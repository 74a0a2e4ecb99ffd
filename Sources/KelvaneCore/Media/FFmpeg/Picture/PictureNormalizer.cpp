#include "PictureNormalizer.h"

extern "C" {
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <vector>

namespace kelvane {

namespace {

/// A picture of `format` as large as `like`, whose pixels are yet to be written.
Result<FramePtr> emptyPicture(AVPixelFormat format, const AVFrame& like) {
    FramePtr picture(av_frame_alloc());
    check(picture != nullptr, "no memory for a frame");
    picture->format = format;
    picture->width = like.width;
    picture->height = like.height;
    if (const int code = av_frame_get_buffer(picture.get(), planeAlignment); code < 0)
        return fail("A picture could not be unpacked: " + ffmpegErrorText(code) + ".");
    return picture;
}

/// True for formats whose planes can be read as they stand: luma, then colour differences, then alpha, each in a plane
/// of its own, in whole bytes of this machine's order.
bool isPlain(const AVPixFmtDescriptor& format) {
    constexpr auto unfit = AV_PIX_FMT_FLAG_BE | AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_PAL |
                           AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_FLOAT | AV_PIX_FMT_FLAG_BAYER;
    if ((format.flags & unfit) != 0 || format.nb_components == 2) return false;
    if (format.nb_components > 1 && (format.flags & AV_PIX_FMT_FLAG_PLANAR) == 0) return false;
    for (int i = 0; i < format.nb_components; ++i) {
        const AVComponentDescriptor& part = format.comp[i];
        const bool plain = part.plane == i && part.offset == 0 && part.shift == 0 && part.depth >= 8 &&
                           part.depth <= 16 && part.depth == format.comp[0].depth &&
                           part.step == (part.depth > 8 ? 2 : 1);
        if (!plain) return false;
    }
    return true;
}

/// The planar format that holds all of a format that isn't plain.
AVPixelFormat plainFormat(const AVPixFmtDescriptor& format, bool becomesRec709) {
    const bool alpha = (format.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    const int depth = format.comp[0].depth;
    if (becomesRec709) {
        if (depth <= 8) return alpha ? AV_PIX_FMT_YUVA444P : AV_PIX_FMT_YUV444P;
        if (depth <= 10) return alpha ? AV_PIX_FMT_YUVA444P10 : AV_PIX_FMT_YUV444P10;
        if (depth <= 12) return alpha ? AV_PIX_FMT_YUVA444P12 : AV_PIX_FMT_YUV444P12;
        return alpha ? AV_PIX_FMT_YUVA444P16 : AV_PIX_FMT_YUV444P16;
    }
    const int sub = format.log2_chroma_w == 0 ? 2 : format.log2_chroma_h == 0 ? 1 : 0;
    constexpr AVPixelFormat opaque[4][3] = {{AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P},
                                            {AV_PIX_FMT_YUV420P10, AV_PIX_FMT_YUV422P10, AV_PIX_FMT_YUV444P10},
                                            {AV_PIX_FMT_YUV420P12, AV_PIX_FMT_YUV422P12, AV_PIX_FMT_YUV444P12},
                                            {AV_PIX_FMT_YUV420P16, AV_PIX_FMT_YUV422P16, AV_PIX_FMT_YUV444P16}};
    constexpr AVPixelFormat withAlpha[4][3] = {{AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUVA422P, AV_PIX_FMT_YUVA444P},
                                               {AV_PIX_FMT_YUVA420P10, AV_PIX_FMT_YUVA422P10, AV_PIX_FMT_YUVA444P10},
                                               {AV_PIX_FMT_YUVA420P16, AV_PIX_FMT_YUVA422P12, AV_PIX_FMT_YUVA444P12},
                                               {AV_PIX_FMT_YUVA420P16, AV_PIX_FMT_YUVA422P16, AV_PIX_FMT_YUVA444P16}};
    const int deep = depth <= 8 ? 0 : depth <= 10 ? 1 : depth <= 12 ? 2 : 3;
    return (alpha ? withAlpha : opaque)[deep][sub];
}

/// A line of the alpha plane at a subsampled plane's samples: the mean of those that each stands for.
template <class Sample>
void alphaLine(const PlaneView& alpha, const SampleGrid& grid, int row, float* out) {
    const float share = 1.0F / static_cast<float>(grid.stepX * grid.stepY);
    std::fill_n(out, grid.width, 0.0F);
    for (int j = 0; j < grid.stepY; ++j) {
        const auto* line = reinterpret_cast<const Sample*>(alpha.row(std::min(row * grid.stepY + j, alpha.height - 1)));
        if (grid.stepX == 1) {
            for (int x = 0; x < grid.width; ++x) out[x] += share * static_cast<float>(line[x]);
            continue;
        }
        for (int x = 0; x < grid.width; ++x)
            for (int i = 0; i < grid.stepX; ++i)
                out[x] += share * static_cast<float>(line[std::min(x * grid.stepX + i, alpha.width - 1)]);
    }
}

template <class Sample>
void layPlaneOverBlack(const PlaneView& plane, const PlaneView& alpha, const SampleGrid& grid, int black, int depth,
                       const PlaneSpan& out) {
    const float opaque = static_cast<float>((1 << depth) - 1);
    std::vector<float> weights(static_cast<std::size_t>(plane.width));
    for (int y = 0; y < plane.height; ++y) {
        alphaLine<Sample>(alpha, grid, y, weights.data());
        const auto* in = reinterpret_cast<const Sample*>(plane.row(y));
        auto* to = reinterpret_cast<Sample*>(out.row(y));
        for (int x = 0; x < plane.width; ++x) {
            // Never below zero: black is at least what the difference takes away.
            const float value = static_cast<float>(black) + static_cast<float>(in[x] - black) * (weights[x] / opaque);
            to[x] = static_cast<Sample>(static_cast<int>(value + 0.5F));
        }
    }
}

/// Where a subsampled plane's samples lie, by the frame's tag; untagged as the codecs' default, on the left.
SampleGrid chromaGrid(const AVFrame& frame, int log2Width, int log2Height) {
    SampleGrid grid;
    grid.stepX = 1 << log2Width;
    grid.stepY = 1 << log2Height;
    grid.width = (frame.width + grid.stepX - 1) >> log2Width;
    grid.height = (frame.height + grid.stepY - 1) >> log2Height;
    const AVChromaLocation at = frame.chroma_location;
    const bool middle = at == AVCHROMA_LOC_CENTER || at == AVCHROMA_LOC_TOP || at == AVCHROMA_LOC_BOTTOM;
    grid.firstX = middle ? grid.stepX / 2.0 : 0.5;
    grid.firstY = grid.stepY / 2.0;
    if (at == AVCHROMA_LOC_TOPLEFT || at == AVCHROMA_LOC_TOP) grid.firstY = 0.5;
    if (at == AVCHROMA_LOC_BOTTOMLEFT || at == AVCHROMA_LOC_BOTTOM) grid.firstY = grid.stepY - 0.5;
    return grid;
}

}  // namespace

void PictureNormalizer::RepackerDeleter::operator()(SwsContext* context) const { sws_freeContext(context); }

Result<FramePtr> PictureNormalizer::withoutPalette(const AVFrame& frame) {
    auto made = emptyPicture(AV_PIX_FMT_RGB32, frame);
    if (!made) return made;
    FramePtr out = *std::move(made);
    out->color_primaries = frame.color_primaries;
    out->color_trc = frame.color_trc;
    if (frame.data[1] == nullptr) return fail("A picture without its palette can't be shown.");
    for (int y = 0; y < frame.height; ++y) {
        const std::uint8_t* in = frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
        std::uint8_t* to = out->data[0] + static_cast<std::ptrdiff_t>(y) * out->linesize[0];
        // Palette entries and RGB32 both are words in the machine's byte order.
        for (int x = 0; x < frame.width; ++x) std::memcpy(to + 4 * x, frame.data[1] + 4 * in[x], 4);
    }
    return out;
}

Result<const AVFrame*> PictureNormalizer::repacked(const AVFrame& frame, PictureColor& color) {
    const auto format = static_cast<AVPixelFormat>(frame.format);
    const AVPixFmtDescriptor& description = *av_pix_fmt_desc_get(format);
    const bool becomesRec709 =
        (description.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_BAYER)) != 0 || description.nb_components <= 2;
    const AVPixelFormat target = plainFormat(description, becomesRec709);
    color = PictureColor::of(frame, av_pix_fmt_desc_get(target)->comp[0].depth);
    if (becomesRec709) {
        color.matrix = color.primaries == AVCOL_PRI_BT2020 ? AVCOL_SPC_BT2020_NCL : AVCOL_SPC_BT709;
        color.fullRange = false;
    }

    constexpr int quality = SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_FULL_CHR_H_INT | SWS_BITEXACT;
    repacker_.reset(sws_getCachedContext(repacker_.release(), frame.width, frame.height, format, frame.width,
                                         frame.height, target, quality, nullptr, nullptr, nullptr));
    if (!repacker_) return fail("A picture of the format " + std::string(description.name) + " can't be shown.");
    const int* table = sws_getCoefficients(color.matrix == AVCOL_SPC_BT2020_NCL ? SWS_CS_BT2020 : SWS_CS_ITU709);
    sws_setColorspaceDetails(repacker_.get(), table, becomesRec709 ? 1 : 0, table, 0, 0, 1 << 16, 1 << 16);

    if (!repacked_ || repacked_->format != target || repacked_->width != frame.width ||
        repacked_->height != frame.height) {
        auto made = emptyPicture(target, frame);
        if (!made) return fail(made.error());
        repacked_ = *std::move(made);
    }
    const int rows =
        sws_scale(repacker_.get(), frame.data, frame.linesize, 0, frame.height, repacked_->data, repacked_->linesize);
    if (rows <= 0) return fail("A picture of the format " + std::string(description.name) + " can't be shown.");
    repacked_->chroma_location = frame.chroma_location;
    return repacked_.get();
}

void PictureNormalizer::layOverBlack(PlanarPicture& picture, const PlaneView& alpha) {
    const int depth = picture.color.depth;
    for (int i = 0; i < 3; ++i) {
        const PlaneView& plane = picture.planes[i];
        const PlaneSpan out = composited_[i].plane(plane.width, plane.height, plane.bytesPerSample);
        const int black = i > 0 ? 1 << (depth - 1) : picture.color.fullRange ? 0 : 16 << (depth - 8);
        (depth > 8 ? layPlaneOverBlack<std::uint16_t> : layPlaneOverBlack<std::uint8_t>)(plane, alpha, picture.grids[i],
                                                                                         black, depth, out);
        picture.planes[i] = out.view();
    }
}

Result<PlanarPicture> PictureNormalizer::normalize(const AVFrame& frame) {
    const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    if (description == nullptr || (description->flags & AV_PIX_FMT_FLAG_HWACCEL) != 0 || frame.width <= 0 ||
        frame.height <= 0 || frame.data[0] == nullptr)
        return fail("A picture without an image can't be shown.");

    PlanarPicture picture;
    picture.width = frame.width;
    picture.height = frame.height;
    const AVFrame* plain = &frame;
    if (isPlain(*description)) {
        picture.color = PictureColor::of(frame, description->comp[0].depth);
    } else {
        FramePtr coloured;
        if ((description->flags & AV_PIX_FMT_FLAG_PAL) != 0) {
            auto made = withoutPalette(frame);
            if (!made) return fail(made.error());
            coloured = std::move(*made);
        }
        const auto unpacked = repacked(coloured ? *coloured : frame, picture.color);
        if (!unpacked) return fail(unpacked.error());
        plain = *unpacked;
        description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(plain->format));
    }

    const int bytes = picture.color.depth > 8 ? 2 : 1;
    const bool gray = description->nb_components == 1;
    picture.grids[0] = {frame.width, frame.height};
    picture.grids[1] = picture.grids[2] =
        gray ? chromaGrid(*plain, 1, 1) : chromaGrid(*plain, description->log2_chroma_w, description->log2_chroma_h);
    for (int i = 0; i < (gray ? 1 : 3); ++i)
        picture.planes[i] = {plain->data[i], plain->linesize[i], picture.grids[i].width, picture.grids[i].height,
                             bytes};
    if (gray) {
        const PlaneSpan neutral = neutral_.plane(picture.grids[1].width, picture.grids[1].height, bytes);
        const int middle = 1 << (picture.color.depth - 1);
        for (int y = 0; y < neutral.height; ++y) {
            if (bytes == 1) {
                std::fill_n(neutral.row(y), neutral.width, static_cast<std::uint8_t>(middle));
            } else {
                std::fill_n(reinterpret_cast<std::uint16_t*>(neutral.row(y)), neutral.width,
                            static_cast<std::uint16_t>(middle));
            }
        }
        picture.planes[1] = picture.planes[2] = neutral.view();
    }
    if (description->nb_components == 4)
        layOverBlack(picture, {plain->data[3], plain->linesize[3], frame.width, frame.height, bytes});
    return picture;
}

}  // namespace kelvane
