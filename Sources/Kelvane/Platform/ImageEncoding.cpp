#include "ImageEncoding.h"

#include <QBuffer>
#include <QImage>

namespace kelvane {

namespace {
/// Percent, as of libjpeg: a project card of 1024 points shows no blocks at this quality, at about 100 kB.
constexpr int jpegQuality = 85;
}  // namespace

std::optional<std::string> jpegData(const StillImage& image) {
    if (image.width <= 0 || image.height <= 0) {
        return std::nullopt;
    }
    const QImage picture(image.pixels.data(), image.width, image.height, image.width * 4, QImage::Format_RGBX8888);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    if (!buffer.open(QIODevice::WriteOnly) || !picture.save(&buffer, "JPEG", jpegQuality)) {
        return std::nullopt;
    }
    return bytes.toStdString();
}

}  // namespace kelvane
