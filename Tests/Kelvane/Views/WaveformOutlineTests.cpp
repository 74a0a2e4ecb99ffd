#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "Support/ClipBuilder.h"
#include "Views/Waveform/WaveformOutline.h"

namespace kelvane::testing {
namespace {

using Peaks = std::vector<float>;

/// Two seconds, 60 peaks: loud, then softer by three quarters.
Peaks loudThenSoft() {
    Peaks peaks(60, 1);
    std::fill(peaks.begin() + 30, peaks.end(), 0.25F);
    return peaks;
}

Clip clipOf(double start, double end, double volume = 1) {
    return audioClip(1, "/media/a.wav", 10).stretch(start, end).volume(volume);
}

std::vector<double> heights(const WaveformOutline& outline) {
    std::vector<double> heights;
    for (const QPointF& point : outline.points) heights.push_back(outline.baseline - point.y());
    return heights;
}

TEST(WaveformOutline, EachPointOfWidthIsAColumnUpToTheMost) {
    struct Row {
        double width;
        qsizetype columns;
    };
    for (const Row& row : {Row{0, 1}, Row{0.4, 1}, Row{1, 1}, Row{1.01, 2}, Row{200, 200}, Row{4095.5, 4096},
                           Row{4096, 4096}, Row{4097, 4096}, Row{700'000, 4096}}) {
        const auto outline = waveformOutline(Peaks{1}, clipOf(0, 2), {row.width, 88}, true);
        EXPECT_EQ(outline.points.size(), row.columns) << row.width;
        EXPECT_EQ(outline.points.first().x(), 0);
        EXPECT_DOUBLE_EQ(outline.points.last().x(),
                         static_cast<double>(row.columns - 1) / static_cast<double>(row.columns) * row.width);
        EXPECT_EQ(outline.width, row.width);
    }
}

TEST(WaveformOutline, TheBaselineLiesAtTheLowerEdgeOrSixPointsAbove) {
    EXPECT_EQ(waveformOutline(Peaks{1}, clipOf(0, 2), {4, 88}, true).baseline, 88);
    EXPECT_EQ(waveformOutline(Peaks{1}, clipOf(0, 2), {4, 88}, false).baseline, 82);
}

TEST(WaveformOutline, AColumnIsAsHighAsTheRootOfItsPeak) {
    // Half a second to a column.
    EXPECT_EQ(heights(waveformOutline(loudThenSoft(), clipOf(0, 2), {4, 88}, true)),
              (std::vector<double>{60, 60, 30, 30}));
    EXPECT_EQ(heights(waveformOutline(loudThenSoft(), clipOf(0, 2), {4, 88}, false)),
              (std::vector<double>{60, 60, 30, 30}));
    // What is quieter by far is still seen.
    EXPECT_NEAR(heights(waveformOutline(Peaks{0.01F}, clipOf(0, 2), {4, 88}, true))[0], 6, 1e-6);
}

TEST(WaveformOutline, TheVolumeScalesTheHeightAndAMutedClipIsFlat) {
    EXPECT_EQ(heights(waveformOutline(loudThenSoft(), clipOf(0, 2, 0.5), {4, 88}, true)),
              (std::vector<double>{30, 30, 15, 15}));
    EXPECT_EQ(heights(waveformOutline(loudThenSoft(), clipOf(0, 2, 0), {4, 88}, true)), std::vector<double>(4, 0));
}

TEST(WaveformOutline, OnlyTheStretchOfTheClipIsShown) {
    EXPECT_EQ(heights(waveformOutline(loudThenSoft(), clipOf(0.5, 1.5), {2, 88}, true)), (std::vector<double>{60, 30}));
    EXPECT_EQ(heights(waveformOutline(loudThenSoft(), clipOf(1, 2), {2, 88}, true)), (std::vector<double>{30, 30}));
}

TEST(WaveformOutline, BehindTheSoundsEndThereIsSilence) {
    EXPECT_EQ(heights(waveformOutline(loudThenSoft(), clipOf(1.5, 2.5), {4, 88}, true)),
              (std::vector<double>{30, 30, 0, 0}));
}

TEST(WaveformOutline, ColumnsWithinOnePeakShareIt) {
    EXPECT_EQ(heights(waveformOutline(Peaks{0, 1, 0, 0}, clipOf(0, 4.0 / 30), {8, 88}, true)),
              (std::vector<double>{0, 0, 60, 60, 0, 0, 0, 0}));
}

TEST(WaveformOutline, BelowTheHeadroomTheShapeLiesFlat) {
    for (const double height : {0.0, 10.0, 27.0, 28.0}) {
        const auto outline = waveformOutline(Peaks{1}, clipOf(0, 2), {2, height}, true);
        EXPECT_EQ(outline.points, QPolygonF(QList<QPointF>{{0, height}, {1, height}})) << height;
    }
    EXPECT_EQ(heights(waveformOutline(Peaks(60, 1), clipOf(0, 2), {1, 28.5}, true)), std::vector<double>{0.5});
}

TEST(WaveformOutline, WithoutPeaksThereIsNothingToDraw) {
    const auto outline = waveformOutline({}, clipOf(0, 2), {200, 88}, false);
    EXPECT_TRUE(outline.points.isEmpty());
    EXPECT_TRUE(outline.pointsBetween(0, 200).isEmpty());
    EXPECT_TRUE(outline.shapeOver(outline.points).isEmpty());
}

TEST(WaveformOutline, TheShapeRunsFromTheLeftEdgeToTheRight) {
    const auto outline = waveformOutline(loudThenSoft(), clipOf(0, 2), {4, 88}, false);
    EXPECT_EQ(outline.points, QPolygonF({{0, 22}, {1, 22}, {2, 52}, {3, 52}}));
    EXPECT_EQ(outline.shapeOver(outline.points), QPolygonF({{0, 82}, {0, 22}, {1, 22}, {2, 52}, {3, 52}, {4, 82}}));
}

TEST(WaveformOutline, APartOfTheShapeIsTheWholeOneWhereItIsSeen) {
    const auto outline = waveformOutline(loudThenSoft(), clipOf(0, 2), {6, 88}, true);
    EXPECT_EQ(outline.pointsBetween(0, 6), outline.points);
    EXPECT_EQ(outline.pointsBetween(-100, 100), outline.points);
    EXPECT_EQ(outline.pointsBetween(2.5, 3.5), outline.points.mid(2, 3));
    EXPECT_EQ(outline.pointsBetween(4, 6), outline.points.mid(3));
    const auto some = outline.pointsBetween(2.5, 3.5);
    EXPECT_EQ(outline.shapeOver(some), QPolygonF({{2, 88}, {2, 28}, {3, 58}, {4, 58}, {4, 88}}));
}

}  // namespace
}  // namespace kelvane::testing
