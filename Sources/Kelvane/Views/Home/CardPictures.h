#pragma once

#include <QImage>
#include <QSize>
#include <optional>
#include <stop_token>
#include <string>

#include "Media/MediaPlatform.h"
#include "Storage/ProjectStore.h"

/// The pictures on projects' cards: where they come from, and how they are cut. Plain functions that block, for any
/// thread; none of them fails in words, as a card without a picture shows a placeholder.
namespace kelvane::CardPictures {

/// What a card shows of a picture: its middle, as large as covers `pixels`, with the corners of a card at `scale`
/// pixels a point. Null for a null picture or no room.
QImage cut(const QImage& picture, const QSize& pixels, double scale);

/// The picture that is stored with a project, cut; null where none can be read.
QImage stored(const ProjectStore& store, const UUID& project, const QSize& pixels, double scale);

struct Made {
    /// Cut.
    QImage image;
    /// The whole picture as JPEG, to be stored.
    std::string jpeg;
};
/// A picture of the project's first clip, or of its first asset where its timeline is empty. Nothing where there is
/// neither, where its document can't be read, and when a stop was requested.
std::optional<Made> made(const ProjectStore& store, MediaPlatform& media, const UUID& project, const QSize& pixels,
                         double scale, const std::stop_token& stop);

}  // namespace kelvane::CardPictures
