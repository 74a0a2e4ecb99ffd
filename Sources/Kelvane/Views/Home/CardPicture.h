#pragma once

#include <QCoroTask>
#include <QImage>
#include <QPointer>
#include <QQuickItem>
#include <QString>
#include <stop_token>

#include "ProjectsHomeView.h"

namespace kelvane {

/// The picture on a project's card. It is read or made in the background once the card appears, again read when the
/// project is another or was saved, and no further when the card goes. Shows nothing until it is there. The main
/// thread.
class CardPicture : public QQuickItem {
    Q_OBJECT
    Q_PROPERTY(kelvane::ProjectsHomeView* view READ view WRITE setView NOTIFY requestChanged)
    Q_PROPERTY(QString projectID READ projectID WRITE setProjectID NOTIFY requestChanged)
    /// When the project was saved last.
    Q_PROPERTY(double stamp READ stamp WRITE setStamp NOTIFY requestChanged)
    /// Whether there is a picture.
    Q_PROPERTY(bool filled READ filled NOTIFY filledChanged)

public:
    explicit CardPicture(QQuickItem* parent = nullptr);
    ~CardPicture() override;

    [[nodiscard]] ProjectsHomeView* view() const { return view_; }
    void setView(ProjectsHomeView* view);
    [[nodiscard]] const QString& projectID() const { return projectID_; }
    void setProjectID(const QString& id);
    [[nodiscard]] double stamp() const { return stamp_; }
    void setStamp(double stamp);
    [[nodiscard]] bool filled() const { return !image_.isNull(); }
    [[nodiscard]] const QImage& image() const { return image_; }

Q_SIGNALS:
    void requestChanged();
    void filledChanged();

protected:
    void updatePolish() override;
    QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData* data) override;
    void geometryChange(const QRectF& now, const QRectF& before) override;
    void itemChange(ItemChange change, const ItemChangeData& data) override;

private:
    void ask();
    void stop();
    QCoro::Task<void> load(UUID project, QSize pixels, double scale, std::stop_token stop);
    void show(const QImage& image);

    QPointer<ProjectsHomeView> view_;
    QString projectID_;
    double stamp_ = 0;
    std::stop_source stop_;
    QImage image_;
    bool isNew_ = false;
    /// Whether the picture was made here, and not read.
    bool isMade_ = false;
};

}  // namespace kelvane
