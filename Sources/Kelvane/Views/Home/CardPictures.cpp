#include "CardPictures.h"

#include <QBuffer>
#include <QImageReader>
#include <QPainter>
#include <QPainterPath>

#include "Media/MediaEngine.h"
#include "Platform/ImageEncoding.h"
#include "Storage/ProjectFile.h"
#include "Support/AtomicFile.h"
#include "Views/Theme.h"

namespace kelvane::CardPictures {

namespace {

/// Largest picture that is read, bytes.
constexpr std::size_t storedLimit = std::size_t{64} << 20;

/// The least size with the proportions of `picture` that covers `pixels`.
QSize covering(const QSize& picture, const QSize& pixels) {
    return picture.scaled(pixels, Qt::KeepAspectRatioByExpanding);
}

}  // namespace

QImage cut(const QImage& picture, const QSize& pixels, double scale) {
    if (picture.isNull() || pixels.isEmpty()) return {};
    const QSize size = covering(picture.size(), pixels);
    const QImage scaled =
        picture.size() == size ? picture : picture.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QImage card(pixels, QImage::Format_ARGB32_Premultiplied);
    card.fill(Qt::transparent);
    QPainter painter(&card);
    painter.setRenderHint(QPainter::Antialiasing);
    const double radius = Theme::controlRadius * scale;
    QPainterPath shape;
    shape.addRoundedRect(card.rect(), radius, radius);
    QBrush brush(scaled);
    QTransform middle;
    middle.translate((pixels.width() - size.width()) / 2, (pixels.height() - size.height()) / 2);
    brush.setTransform(middle);
    painter.fillPath(shape, brush);
    // The rim lies inside the picture.
    QPen rim(Theme::edge);
    rim.setWidthF(scale);
    painter.setPen(rim);
    const double half = scale / 2;
    painter.drawRoundedRect(QRectF(card.rect()).adjusted(half, half, -half, -half), radius - half, radius - half);
    return card;
}

QImage stored(const ProjectStore& store, const UUID& project, const QSize& pixels, double scale) {
    const auto data = readFile(store.thumbnailURL(project).path(), storedLimit);
    if (!data || data->empty()) return {};
    QByteArray bytes = QByteArray::fromRawData(data->data(), static_cast<qsizetype>(data->size()));
    QBuffer buffer(&bytes);
    QImageReader reader(&buffer, "jpeg");
    if (!reader.size().isValid()) return {};
    reader.setScaledSize(covering(reader.size(), pixels));
    return cut(reader.read(), pixels, scale);
}

std::optional<Made> made(const ProjectStore& store, MediaPlatform& media, const UUID& project, const QSize& pixels,
                         double scale, const std::stop_token& stop) {
    if (stop.stop_requested()) return std::nullopt;
    const auto document = ProjectFile::read(store.projectURL(project));
    if (!document) return std::nullopt;
    const Clip* first = nullptr;
    if (!document->clips.empty())
        first = &document->clips.front();
    else if (document->assets && !document->assets->empty())
        first = &document->assets->front();
    if (first == nullptr) return std::nullopt;
    const auto imported = MediaEngine::importClip(media, first->url, stop);
    if (!imported || !imported->picture || stop.stop_requested()) return std::nullopt;
    const StillImage& picture = *imported->picture;
    const QImage whole(picture.pixels.data(), picture.width, picture.height, 4 * picture.width,
                       QImage::Format_RGBX8888);
    Made made{.image = cut(whole, pixels, scale), .jpeg = {}};
    if (auto bytes = jpegData(picture)) made.jpeg = *std::move(bytes);
    return made;
}

}  // namespace kelvane::CardPictures
