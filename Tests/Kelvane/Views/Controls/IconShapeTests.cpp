#include <gtest/gtest.h>

#include <QDir>
#include <QImage>

#include "Views/Controls/IconShape.h"

namespace kelvane::testing {
namespace {

/// What an icon looks like on a transparent ground with a margin of half its size.
QImage painted(IconShape& shape, int size, const QColor& color) {
    QImage image(2 * size, 2 * size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    shape.paint(painter, QRectF(size / 2.0, size / 2.0, size, size), color);
    painter.end();
    return image;
}

/// How much of the image is covered, in pixels of full opacity.
double ink(const QImage& image) {
    double sum = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) sum += qAlpha(image.pixel(x, y)) / 255.0;
    return sum;
}

TEST(IconShape, EveryIconIsUnderstoodAndDrawsSomethingInsideItsSquare) {
    const QStringList files = QDir(":/Views/Icons").entryList();
    EXPECT_GT(files.size(), 40);
    for (const QString& file : files) {
        IconShape& shape = IconShape::named(QString(file).chopped(4));
        ASSERT_FALSE(shape.isEmpty()) << file.toStdString();
        const QImage image = painted(shape, 24, Qt::red);
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

TEST(IconShape, IsPaintedInTheColorThatIsAskedForAndInNoOther) {
    IconShape& trash = IconShape::named("trash");
    for (const QColor color : {QColor(0x4e, 0xcd, 0xb8), QColor(255, 0, 0), QColor(0x4e, 0xcd, 0xb8)}) {
        const QImage image = painted(trash, 24, color).convertToFormat(QImage::Format_ARGB32);
        int solid = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                if (qAlpha(image.pixel(x, y)) == 255) {
                    ++solid;
                    EXPECT_EQ(image.pixel(x, y), color.rgb());
                }
        EXPECT_GT(solid, 5);
    }
    QColor half(Qt::white);
    half.setAlphaF(0.5F);
    EXPECT_NEAR(ink(painted(trash, 24, half)), ink(painted(trash, 24, Qt::white)) / 2, 2);
}

TEST(IconShape, IsDrawnAnewAtEachSizeAndNotScaledUp) {
    // A stroke keeps an edge of one pixel however large it is: what is half covered doesn't grow with the surface.
    const auto halfCovered = [](int size) {
        const QImage image = painted(IconShape::named("stop"), size, Qt::white);
        int count = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                if (const int alpha = qAlpha(image.pixel(x, y)); alpha > 16 && alpha < 240) ++count;
        return count;
    };
    EXPECT_LE(halfCovered(96), 5 * halfCovered(24) + 40);
}

TEST(IconShape, WhatIsNoDrawingDrawsNothing) {
    for (const char* file : {"", "<svg", "no drawing", "<svg xmlns=\"http://www.w3.org/2000/svg\"/>"}) {
        IconShape shape{QByteArray(file)};
        EXPECT_EQ(ink(painted(shape, 24, Qt::white)), 0) << file;
    }
}

}  // namespace
}  // namespace kelvane::testing
