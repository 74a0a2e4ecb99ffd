#include "BitmapCanvas.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>

#include "PictureScaling.h"

namespace kelvane {

namespace {

/// How much of the pixel [index, index + 1) the stretch [from, to) covers.
double coverage(int index, double from, double to) {
    return std::max(0.0, std::min(to, index + 1.0) - std::max(from, static_cast<double>(index)));
}

std::uint8_t level(double value) { return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 1.0) * 255)); }

/// The pixels that [from, to) touches, within [0, limit).
struct Span {
    int first = 0;
    int last = 0;
};
Span pixels(double from, double to, int limit) {
    return {static_cast<int>(std::clamp(std::floor(from), 0.0, static_cast<double>(limit))),
            static_cast<int>(std::clamp(std::ceil(to), 0.0, static_cast<double>(limit)))};
}

bool isDrawable(const Rect& rect) {
    return std::isfinite(rect.x) && std::isfinite(rect.y) && std::isfinite(rect.width) && std::isfinite(rect.height) &&
           rect.width > 0 && rect.height > 0;
}

/// `value` is 0 to 255, `share` 0 to 1.
void blend(std::uint8_t& target, double value, double share) {
    // Nothing here is negative, so that cutting off rounds; the library's rounding costs more than all the rest.
    target = static_cast<std::uint8_t>(target + (value - target) * share + 0.5);
}

}  // namespace

std::optional<BitmapCanvas> BitmapCanvas::make(int width, int height) {
    if (width < 1 || height < 1 || width > maximumSide || height > maximumSide) return std::nullopt;
    StillImage image;
    image.width = width;
    image.height = height;
    try {
        image.pixels.resize(static_cast<std::size_t>(4) * width * height);
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
    BitmapCanvas canvas(std::move(image));
    canvas.fill(CanvasColor::gray(0));
    return canvas;
}

void BitmapCanvas::fill(CanvasColor color) {
    const std::uint8_t pixel[4] = {level(color.red), level(color.green), level(color.blue), 0xff};
    for (std::size_t at = 0; at < image_.pixels.size(); at += 4) std::copy_n(pixel, 4, image_.pixels.begin() + at);
}

void BitmapCanvas::fillRect(const Rect& rect, CanvasColor color) {
    if (!isDrawable(rect)) return;
    double pixel[3] = {color.red, color.green, color.blue};
    for (double& part : pixel) part = std::clamp(part, 0.0, 1.0) * 255;
    const double top = height() - rect.y - rect.height;
    const double bottom = height() - rect.y;
    const Span columns = pixels(rect.x, rect.x + rect.width, width());
    const Span rows = pixels(top, bottom, height());
    for (int row = rows.first; row < rows.last; ++row) {
        const double rowShare = coverage(row, top, bottom);
        for (int column = columns.first; column < columns.last; ++column) {
            const double share = rowShare * coverage(column, rect.x, rect.x + rect.width);
            std::uint8_t* at = &image_.pixels[(static_cast<std::size_t>(row) * width() + column) * 4];
            for (int part = 0; part < 3; ++part) blend(at[part], pixel[part], share);
        }
    }
}

void BitmapCanvas::drawImage(const StillImage& image, const Rect& rect) {
    if (!isDrawable(rect) || image.width < 1 || image.height < 1) return;
    const double top = height() - rect.y - rect.height;
    const ScaledAxis across(image.width, rect.x, rect.width, width());
    const ScaledAxis down(image.height, top, rect.height, height());
    // Rows first: they lie side by side in memory, and there are few of them afterwards.
    std::vector<float> row;
    for (const auto& pixel : down.pixels()) {
        mixRows(image, pixel, row);
        std::uint8_t* const target = &image_.pixels[static_cast<std::size_t>(pixel.target) * width() * 4];
        for (const auto& column : across.pixels()) {
            const auto color = mixSamples(row, column);
            for (std::size_t part = 0; part < 3; ++part) {
                blend(target[static_cast<std::size_t>(column.target) * 4 + part], std::clamp(color[part], 0.0F, 255.0F),
                      column.coverage * pixel.coverage);
            }
        }
    }
}

}  // namespace kelvane
