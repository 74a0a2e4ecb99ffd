#pragma once

#include <QCoroTask>
#include <QImage>
#include <QPointer>
#include <QQuickItem>
#include <QString>

#include "AssetsView.h"

namespace kelvane {

/// Draws the picture of an asset so that it fills the item, whose corners are rounded; what lies outside is cut off.
/// The picture is brought to the size of the screen's pixels in the background, and nothing is drawn until then. The
/// main thread; its node is made while that one waits.
class AssetThumbnail : public QQuickItem {
    Q_OBJECT
    Q_PROPERTY(kelvane::AssetsView* view READ view WRITE setView NOTIFY viewChanged)
    /// Of the asset, for who looks for its picture.
    Q_PROPERTY(QString assetID READ assetID WRITE setAssetID NOTIFY assetIDChanged)
    Q_PROPERTY(kelvane::StillImagePtr picture READ picture WRITE setPicture NOTIFY pictureChanged)
    /// Of the corners, points.
    Q_PROPERTY(double radius MEMBER radius_ NOTIFY radiusChanged)
    /// Whether there is something to see.
    Q_PROPERTY(bool filled READ filled NOTIFY filledChanged)

public:
    /// Of the picture that a pointer carries, points.
    static constexpr QSizeF carriedSize{84, 47};
    static constexpr double carriedRadius = 4;

    explicit AssetThumbnail(QQuickItem* parent = nullptr);

    [[nodiscard]] AssetsView* view() const { return view_; }
    void setView(AssetsView* view);
    [[nodiscard]] const QString& assetID() const { return assetID_; }
    void setAssetID(const QString& id);
    [[nodiscard]] const StillImagePtr& picture() const { return picture_; }
    void setPicture(const StillImagePtr& picture);
    [[nodiscard]] bool filled() const { return !drawn_.image.isNull(); }
    /// The picture at `carriedSize`; null before there is one.
    [[nodiscard]] const QImage& carried() const { return drawn_.carried; }

Q_SIGNALS:
    void viewChanged();
    void assetIDChanged();
    void pictureChanged();
    void radiusChanged();
    void filledChanged();

protected:
    void updatePolish() override;
    QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData* data) override;
    void geometryChange(const QRectF& now, const QRectF& before) override;
    void itemChange(ItemChange change, const ItemChangeData& data) override;

private:
    /// What is drawn from which picture, at which size in points and with how many pixels to a point.
    struct Order {
        StillImagePtr picture;
        QSizeF size;
        double ratio = 1;
        double radius = 0;
        bool operator==(const Order&) const = default;
    };
    struct Drawn {
        QImage image;
        QImage carried;
    };

    static Drawn draw(const Order& order);
    static QCoro::Task<void> drawInBackground(QPointer<AssetThumbnail> item, MainContext* context, Order order);
    void take(const Order& order, Drawn drawn);

    QPointer<AssetsView> view_;
    QString assetID_;
    StillImagePtr picture_;
    double radius_ = 0;
    /// What is drawn, or is being drawn.
    Order order_;
    Drawn drawn_;
    bool isNew_ = false;
};

}  // namespace kelvane
