#include "PictureScaler.h"

#include <cmath>

#include "CanvasFrames.h"
#include "ColorConverter.h"
#include "PictureNormalizer.h"
#include "PictureResampler.h"
#include "PictureTurn.h"

namespace kelvane {

namespace {

/// The longest side of a canvas, pixels.
constexpr int longestSide = 16384;

struct CanvasSize {
    int width = 0;
    int height = 0;
};

Result<CanvasSize> wholeSize(Size canvas) {
    const auto sound = [](double side) { return side >= 0.5 && side < longestSide + 0.5; };
    if (!sound(canvas.width) || !sound(canvas.height)) return fail("A picture of this size can't be made.");
    return CanvasSize{static_cast<int>(std::lround(canvas.width)), static_cast<int>(std::lround(canvas.height))};
}

SampleGrid canvasGrid(int plane, int width, int height) {
    if (plane == 0) return {width, height};
    return {(width + 1) / 2, (height + 1) / 2, 2, 2, 0.5, 1.0};
}

/// What takes the canvas back to the upright canvas.
PictureOrientation inverse(const PictureOrientation& o) {
    return o.turned ? PictureOrientation{true, o.mirrorY, o.mirrorX} : o;
}

/// True when the samples of `region` are whole samples of `plane`, one for each of `covered`.
bool isCopy(const Rect& region, const PixelRect& covered, const PlaneView& plane) {
    return region.width == covered.width && region.height == covered.height && region.x == std::floor(region.x) &&
           region.y == std::floor(region.y) && region.x >= 0 && region.y >= 0 &&
           region.x + region.width <= plane.width && region.y + region.height <= plane.height;
}

/// True when the frame is a canvas picture already.
bool isCanvasPicture(const AVFrame& frame, const PicturePlacement& placement) {
    const bool whole =
        placement.orientation.isUpright() && placement.coversCanvas() &&
        placement.source == Rect{0, 0, static_cast<double>(placement.width), static_cast<double>(placement.height)} &&
        frame.width == placement.width && frame.height == placement.height;
    const bool left = frame.chroma_location == AVCHROMA_LOC_LEFT || frame.chroma_location == AVCHROMA_LOC_UNSPECIFIED;
    return whole && left && frame.format == AV_PIX_FMT_YUV420P && frame.buf[0] != nullptr && frame.linesize[0] > 0 &&
           frame.linesize[1] > 0 && frame.linesize[2] > 0 && PictureColor::of(frame, 8).isRec709();
}

}  // namespace

struct PictureScaler::State {
    PictureNormalizer normalizer;
    PictureResampler resampler;
    CanvasFrames frames;
    ColorRows rows;
    AlignedBuffer turnedSource[3];
    AlignedBuffer scaled[3];
    AlignedBuffer turned[3];
    PictureColor color;
    std::shared_ptr<const ColorConverter> converter;

    void turnSource(PlanarPicture& picture, PicturePlacement& placement);
    Result<void> drawPlanes(const PlanarPicture& picture, const PicturePlacement& placement, const AVFrame& out);
    Result<PlaneView> scalePlane(int plane, const PlanarPicture& picture, const PicturePlacement& placement,
                                 const SampleGrid& grid, const PixelRect& covered, int depth, const PlaneSpan* direct);
};

/// Turns the shown part of the source ahead of scaling, where it has fewer pixels than the canvas.
void PictureScaler::State::turnSource(PlanarPicture& picture, PicturePlacement& placement) {
    // Filters reach two samples past the part; whole blocks keep subsampled planes on their grids.
    constexpr int margin = 16;
    const auto before = [](double edge) {
        return std::max(0, static_cast<int>(std::floor((edge - margin) / margin)) * margin);
    };
    const auto behind = [](double edge, int end) {
        return std::min(end, static_cast<int>(std::ceil((edge + margin) / margin)) * margin);
    };
    Rect& source = placement.source;
    const int left = before(source.x);
    const int top = before(source.y);
    const int width = behind(source.x + source.width, picture.width) - left;
    const int height = behind(source.y + source.height, picture.height) - top;
    const PictureOrientation orientation = placement.orientation;
    for (int i = 0; i < 3; ++i) {
        SampleGrid& grid = picture.grids[i];
        grid.width = std::min((width + grid.stepX - 1) / grid.stepX, grid.width - left / grid.stepX);
        grid.height = std::min((height + grid.stepY - 1) / grid.stepY, grid.height - top / grid.stepY);
        const PlaneView part = picture.planes[i].part(left / grid.stepX, top / grid.stepY, grid.width, grid.height);
        grid = grid.turned(orientation, width, height);
        const PlaneSpan to = turnedSource[i].plane(grid.width, grid.height, part.bytesPerSample);
        turnPlane(part, to, orientation);
        picture.planes[i] = to.view();
    }
    source = orientation.apply(Rect{source.x - left, source.y - top, source.width, source.height}, width, height);
    placement.target = orientation.apply(placement.target, placement.width, placement.height);
    if (orientation.turned) {
        std::swap(placement.width, placement.height);
        std::swap(picture.width, picture.height);
    }
    placement.orientation = {};
}

/// The samples of a plane at the canvas's scale: where they already lie, in memory of this object, or in `direct`.
Result<PlaneView> PictureScaler::State::scalePlane(int plane, const PlanarPicture& picture,
                                                   const PicturePlacement& placement, const SampleGrid& grid,
                                                   const PixelRect& covered, int depth, const PlaneSpan* direct) {
    const PlaneView& from = picture.planes[plane];
    const Rect region = planeSource(placement.source, placement.target, picture.grids[plane], grid, covered);
    if (depth == picture.color.depth && isCopy(region, covered, from))
        return from.part(static_cast<int>(region.x), static_cast<int>(region.y), covered.width, covered.height);
    const PlaneSpan to =
        direct != nullptr ? *direct : scaled[plane].plane(covered.width, covered.height, depth > 8 ? 2 : 1);
    if (auto done = resampler.resample(from, picture.color.depth, region, to, depth); !done) return fail(done.error());
    return to.view();
}

Result<void> PictureScaler::State::drawPlanes(const PlanarPicture& picture, const PicturePlacement& placement,
                                              const AVFrame& out) {
    const PictureOrientation& orientation = placement.orientation;
    const bool convert = !picture.color.isRec709();
    if (convert && (!converter || color != picture.color)) {
        converter = ColorConverter::forColor(picture.color);
        color = picture.color;
    }
    PlaneView views[3];
    PlaneSpan targets[3];
    for (int i = 0; i < 3; ++i) {
        const SampleGrid grid =
            canvasGrid(i, out.width, out.height).turned(inverse(orientation), out.width, out.height);
        const PixelRect covered = planeTarget(placement.target, grid);
        const PixelRect shown = orientation.apply(covered, grid.width, grid.height);
        targets[i] = canvasPlane(out, i).part(shown.x, shown.y, shown.width, shown.height);
        // Whole rows can be written in place, with what the scaler writes past their ends.
        const bool direct = !convert && orientation.isUpright() && covered.width == grid.width;
        const auto view = scalePlane(i, picture, placement, grid, covered, convert ? picture.color.depth : 8,
                                     direct ? &targets[i] : nullptr);
        if (!view) return fail(view.error());
        views[i] = *view;
        if (view->data == targets[i].data) continue;
        if (!convert) {
            turnPlane(*view, targets[i], orientation);
        } else if (!orientation.isUpright()) {
            const PlaneSpan to = turned[i].plane(shown.width, shown.height, view->bytesPerSample);
            turnPlane(*view, to, orientation);
            views[i] = to.view();
        }
    }
    if (convert) converter->convert(views, targets, rows);
    return {};
}

PictureScaler::PictureScaler() : state_(std::make_unique<State>()) {}
PictureScaler::~PictureScaler() = default;

Result<SharedFrame> PictureScaler::draw(const AVFrame& frame, Size naturalSize, const AffineTransform& transform,
                                        Size canvas) {
    const auto size = wholeSize(canvas);
    if (!size) return fail(size.error());
    if (frame.width <= 0 || frame.height <= 0) return fail("A picture without an image can't be shown.");
    PicturePlacement placement =
        placePicture(frame.width, frame.height, naturalSize, transform, size->width, size->height);
    if (placement.isEmpty()) return black(canvas);
    if (isCanvasPicture(frame, placement)) {
        auto shared = CanvasFrames::sharing(frame);
        if (!shared) return fail(shared.error());
        return SharedFrame(std::move(*shared));
    }

    auto picture = state_->normalizer.normalize(frame);
    if (!picture) return fail(picture.error());
    auto out = state_->frames.take(size->width, size->height);
    if (!out) return fail(out.error());
    if (!placement.coversCanvas()) fillBlack(**out);
    const double sourceArea = placement.source.width * placement.source.height;
    const double targetArea = static_cast<double>(placement.target.width) * placement.target.height;
    if (!placement.orientation.isUpright() && sourceArea < 0.9 * targetArea) state_->turnSource(*picture, placement);
    if (auto done = state_->drawPlanes(*picture, placement, **out); !done) return fail(done.error());
    return SharedFrame(std::move(*out));
}

Result<SharedFrame> PictureScaler::black(Size canvas) {
    const auto size = wholeSize(canvas);
    if (!size) return fail(size.error());
    auto frame = CanvasFrames().take(size->width, size->height);
    if (!frame) return fail(frame.error());
    fillBlack(**frame);
    return SharedFrame(std::move(*frame));
}

}  // namespace kelvane
