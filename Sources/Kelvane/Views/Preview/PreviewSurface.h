#pragma once

#include <QImage>
#include <QPointer>
#include <QQuickItem>

#include "Media/VideoPicture.h"
#include "PreviewView.h"

namespace kelvane {

/// Paints what a preview shows, scaled to fit in the middle. Pictures come drawn at the size of the screen's pixels;
/// the one before is stretched until they do. The main thread; its node is made while that one waits.
class PreviewSurface : public QQuickItem {
    Q_OBJECT
    Q_PROPERTY(kelvane::PreviewView* view READ view WRITE setView NOTIFY viewChanged)
    /// Whether there is a picture.
    Q_PROPERTY(bool filled READ filled NOTIFY filledChanged)
    /// Where the picture lies, in the item.
    Q_PROPERTY(QRectF pictureRect READ pictureRect NOTIFY pictureRectChanged)

public:
    explicit PreviewSurface(QQuickItem* parent = nullptr);

    [[nodiscard]] PreviewView* view() const { return view_; }
    void setView(PreviewView* view);
    [[nodiscard]] bool filled() const { return !image_.isNull(); }
    [[nodiscard]] QRectF pictureRect() const;

Q_SIGNALS:
    void viewChanged();
    void filledChanged();
    void pictureRectChanged();

protected:
    QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData* data) override;
    void geometryChange(const QRectF& now, const QRectF& before) override;
    void itemChange(ItemChange change, const ItemChangeData& data) override;

private:
    void takePicture();
    void tellSize();

    QPointer<PreviewView> view_;
    /// Of `image_`.
    VideoPicturePtr picture_;
    QImage image_;
    bool isNew_ = false;
};

}  // namespace kelvane
