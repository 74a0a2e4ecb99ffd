#pragma once

#include <QImage>
#include <QQuickWindow>
#include <QRectF>

class QSGNode;

namespace kelvane {

/// The node of an item that shows one image: `old`, which is that item's node so far or null, or a new one. None for a
/// null image. `isNew` tells that the image is another than at the last call. To be called where an item updates its
/// paint node.
QSGNode* imageNode(QQuickWindow& window, QSGNode* old, const QImage& image, const QRectF& rect, bool isNew,
                   QQuickWindow::CreateTextureOptions options);

}  // namespace kelvane
