#include "ImageEncoding.h"

#include <QBuffer>
#include <QImage>
#include <cmath>

namespace kelvane {

namespace {

constexpr int percent = 100;
/// The encoder's own choice.
constexpr int ownQuality = -1;

std::optional<std::string> encoded(const StillImage& image, const char* format, int quality) {
    if (image.width <= 0 || image.height <= 0) return std::nullopt;
    const QImage picture(image.pixels.data(), image.width, image.height, image.width * 4, QImage::Format_RGBX8888);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    if (!buffer.open(QIODevice::WriteOnly) || !picture.save(&buffer, format, quality)) return std::nullopt;
    return bytes.toStdString();
}

}  // namespace

std::optional<std::string> jpegData(const StillImage& image, double quality) {
    return encoded(image, "JPEG", static_cast<int>(std::lround(quality * percent)));
}

std::optional<std::string> pngData(const StillImage& image) { return encoded(image, "PNG", ownQuality); }

}  // namespace kelvane
