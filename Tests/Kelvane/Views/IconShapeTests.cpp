#include <gtest/gtest.h>

#include <QDir>
#include <QImage>

#include "Views/Controls/IconShape.h"

namespace kelvane::testing {
namespace {

QRectF boundsOf(const char* path) {
    const auto read = svgPath(QString::fromLatin1(path));
    return read ? read->boundingRect() : QRectF();
}

TEST(SVGPath, ReadsLinesOfBothKinds) {
    EXPECT_EQ(boundsOf("M2 3L10 3 10 9z"), QRectF(2, 3, 8, 6));
    EXPECT_EQ(boundsOf("m2 3h8v6h-8z"), QRectF(2, 3, 8, 6));
    EXPECT_EQ(boundsOf("M2,3H10V9"), QRectF(2, 3, 8, 6));
    EXPECT_EQ(boundsOf("M4.5.5l-1.25.75"), QRectF(3.25, 0.5, 1.25, 0.75)) << "numbers need no gaps";
}

TEST(SVGPath, ReadsArcsAsTheyTurn) {
    // A circle of two halves, both ways round.
    for (const char* circle : {"M20 12a8 8 0 1 1-16 0a8 8 0 0 1 16 0z", "M20 12a8 8 0 1 0-16 0a8 8 0 0 0 16 0z"}) {
        const QRectF bounds = boundsOf(circle);
        EXPECT_NEAR(bounds.left(), 4, 0.01) << circle;
        EXPECT_NEAR(bounds.right(), 20, 0.01) << circle;
        EXPECT_NEAR(bounds.top(), 4, 0.01) << circle;
        EXPECT_NEAR(bounds.bottom(), 20, 0.01) << circle;
    }
    // A quarter, clockwise from the top to the right.
    const auto quarter = svgPath(u"M12 4A8 8 0 0 1 20 12");
    ASSERT_TRUE(quarter);
    const QPointF half = quarter->pointAtPercent(0.5);
    EXPECT_NEAR(half.x(), 12 + 8 * M_SQRT1_2, 0.01);
    EXPECT_NEAR(half.y(), 12 - 8 * M_SQRT1_2, 0.01);
    EXPECT_EQ(quarter->currentPosition(), QPointF(20, 12));
}

TEST(SVGPath, RefusesWhatItDoesNotKnow) {
    for (const char* path : {"M1", "M1 2Q3 4 5 6", "M1 2L3", "M1 2z3", "M1 2A3 3 45 0 1 9 9", "1 2", "M1 x"})
        EXPECT_FALSE(svgPath(QString::fromLatin1(path))) << path;
}

TEST(IconShape, EveryIconIsUnderstoodAndDrawsSomethingInsideItsSquare) {
    const QStringList files = QDir(":/Views/Icons").entryList();
    EXPECT_GT(files.size(), 40);
    for (const QString& file : files) {
        const IconShape& shape = IconShape::named(QString(file).chopped(4));
        ASSERT_FALSE(shape.isEmpty()) << file.toStdString();
        QImage image(48, 48, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        shape.paint(painter, {12, 12, 24, 24}, Qt::red);
        painter.end();
        int inside = 0;
        int outside = 0;
        for (int y = 0; y < 48; ++y)
            for (int x = 0; x < 48; ++x)
                if (qAlpha(image.pixel(x, y)) > 0) ++(QRect(13, 13, 22, 22).contains(x, y) ? inside : outside);
        EXPECT_GT(inside, 20) << file.toStdString();
        EXPECT_EQ(outside, 0) << file.toStdString();
    }
    EXPECT_TRUE(IconShape::named("no such icon").isEmpty());
}

TEST(IconShape, RefusesADocumentThatItDoesNotKnow) {
    EXPECT_TRUE(IconShape::parsed("<svg><path d=\"M1 2L3 4\" stroke=\"currentColor\" stroke-width=\"2\"/></svg>"));
    EXPECT_FALSE(IconShape::parsed("<svg><circle r=\"3\"/></svg>"));
    EXPECT_FALSE(IconShape::parsed("<svg><path d=\"M1 2"));
}

}  // namespace
}  // namespace kelvane::testing
