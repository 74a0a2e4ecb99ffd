#include "ImageNode.h"

#include <QSGImageNode>
#include <QSGTexture>

namespace kelvane {

QSGNode* imageNode(QQuickWindow& window, QSGNode* old, const QImage& image, const QRectF& rect, bool isNew,
                   QQuickWindow::CreateTextureOptions options) {
    auto* node = static_cast<QSGImageNode*>(old);
    if (image.isNull()) {
        delete node;
        return nullptr;
    }
    const bool isFirst = node == nullptr;
    if (isFirst) {
        node = window.createImageNode();
        node->setOwnsTexture(true);
        node->setFiltering(QSGTexture::Linear);
    }
    if (isNew || isFirst) node->setTexture(window.createTextureFromImage(image, options));
    node->setRect(rect);
    return node;
}

}  // namespace kelvane
