#include "Framing.h"

#include <algorithm>

namespace kelvane::Framing {

namespace {

/// Pixels by which a turned size may miss the canvas through rounding.
constexpr double pixelSlack = 0.001;

}  // namespace

bool supports(Size canvas, Size source, const AffineTransform& orientation, double zoom) {
    const Rect rect = orientation.boundingRect({0, 0, source.width, source.height});
    return canvas.width * zoom <= rect.width + pixelSlack && canvas.height * zoom <= rect.height + pixelSlack;
}

AffineTransform transform(Size size, const AffineTransform& orientation, double zoom, double horizontal,
                          double vertical, Size canvas) {
    const Rect rect = orientation.boundingRect({0, 0, size.width, size.height});
    const double scale = std::max(canvas.width / rect.width, canvas.height / rect.height) * zoom;
    const double width = rect.width * scale;
    const double height = rect.height * scale;
    const double x = (canvas.width - width) * 0.5 - (width - canvas.width) * horizontal * 0.5;
    const double y = (canvas.height - height) * 0.5 - (height - canvas.height) * vertical * 0.5;
    return orientation.then(AffineTransform::translation(-rect.x, -rect.y))
        .then(AffineTransform::scaling(scale, scale))
        .then(AffineTransform::translation(x, y));
}

}  // namespace kelvane::Framing
