#include <gtest/gtest.h>

#include <QBuffer>
#include <QImage>
#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "Inspection/CLIMediaInspection.h"
#include "InspectionFixture.h"
#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/MediaEngine.h"
#include "Support/ClipBuilder.h"
#include "Support/SampleMedia.h"
#include "Timeline/Framing.h"

namespace kelvane::CLIMediaInspection {
namespace {

using namespace kelvane::testing;

using Json = nlohmann::json;

/// A picture file as a reader of it sees it.
QImage pictureAt(const Json& path) { return QImage(QString::fromStdString(path.get<std::string>())); }

/// The number of the sample picture that fills `box` of `image`, -1 without one. The sample may have been cut to `box`
/// from a wider or a taller picture about its middle: `across` and `down` say how much of it is left.
int numberIn(const QImage& image, QRectF box, double across = 1, double down = 1) {
    return readSampleNumber([&](double x, double y) {
               const double left = (x - 0.5) / across + 0.5;
               const double top = (y - 0.5) / down + 0.5;
               const QPointF at(box.x() + left * box.width(), box.y() + top * box.height());
               return qGray(image.pixel(std::clamp(static_cast<int>(at.x()), 0, image.width() - 1),
                                        std::clamp(static_cast<int>(at.y()), 0, image.height() - 1)));
           })
        .value_or(-1);
}

/// Where a still of this shape lies on a sheet of so many rows, from the top left.
QRectF boxOf(int slot, double width, double height) {
    const double scale = std::min(300 / width, 216 / height);
    const double left = slot % 4 * 320 + (320 - width * scale) / 2;
    const double top = 58 + slot / 4 * 276 + 12 + (216 - height * scale) / 2;
    return {left, top, width * scale, height * scale};
}

class RealMedia : public ::testing::Test {
protected:
    void SetUp() override {
        if (!hasSampleTool()) GTEST_SKIP() << "the ffmpeg command line is not here";
    }

    TempFolder folder;
    FFmpegPlatform platform;
};

TEST_F(RealMedia, SheetsShowTheFramesOfTheirTimestamps) {
    SampleMovie movie;
    movie.width = 640;
    movie.height = 360;
    movie.frames = 90;
    movie.firstNumber = 100;
    const FileURL file = makeSampleMovie(folder.path(), "wide.mp4", movie);
    const Clip asset = videoClip(1, file, 3);
    const std::vector<double> at{2.95, 0, 1.01, 0.5, 2.0, 0.99};
    const auto sheet = contactSheet(platform, asset, at, folder.url("Sheets"), false, {});
    ASSERT_TRUE(sheet) << sheet.error().message;
    const Json document = Json::parse(sheet->text());
    const QImage image = pictureAt(document["path"]);
    ASSERT_EQ(image.size(), QSize(1280, 610));
    for (std::size_t i = 0; i < at.size(); ++i) {
        const int frame = static_cast<int>(std::floor(at[i] * 30 + 1e-9));
        EXPECT_EQ(numberIn(image, boxOf(static_cast<int>(i), 640, 360)), 100 + frame) << at[i];
        EXPECT_NEAR(document["frames"][i]["timestamp"].get<double>(), frame / 30.0, 1e-4) << at[i];
        EXPECT_EQ(document["frames"][i]["requestedTime"], at[i]);
    }
}

TEST_F(RealMedia, FramesAreLargerFilesOfTheSameMoments) {
    SampleMovie movie;
    movie.width = 1920;
    movie.height = 1080;
    movie.frames = 20;
    const Clip asset = videoClip(1, makeSampleMovie(folder.path(), "large.mp4", movie), 20 / 30.0);
    const auto taken = frames(platform, asset, {0.5, 0.1}, folder.url("Frames"), {});
    ASSERT_TRUE(taken) << taken.error().message;
    const int numbers[] = {15, 3};
    for (std::size_t i = 0; i < 2; ++i) {
        const Json entry = Json::parse(taken->at(i).text());
        const QImage image = pictureAt(entry["path"]);
        ASSERT_EQ(image.size(), QSize(1280, 720));
        EXPECT_EQ(numberIn(image, QRectF(image.rect())), numbers[i]);
        EXPECT_NEAR(entry["timestamp"].get<double>(), numbers[i] / 30.0, 1e-4);
    }
}

/// The mean difference of two pictures, levels of 255.
double meanDifference(const QImage& one, const QImage& other) {
    double sum = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x) {
            const QColor a = one.pixelColor(x, y);
            const QColor b = other.pixelColor(x, y);
            sum += std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) + std::abs(a.blue() - b.blue());
        }
    }
    return sum / 3 / one.width() / one.height();
}

/// What `frame` looks like when it is drawn over `box`, cut to the whole pixels of `inner`: each the mean of the area
/// that it covers, by the plainest of arithmetic.
QImage reduced(const QImage& frame, QRectF box, QRect inner) {
    QImage scaled(inner.size(), QImage::Format_RGB32);
    const double scale = frame.height() / box.height();
    for (int y = 0; y < inner.height(); ++y) {
        for (int x = 0; x < inner.width(); ++x) {
            const double left = (inner.x() + x - box.x()) * scale;
            const double top = (inner.y() + y - box.y()) * scale;
            double sums[3] = {};
            for (int v = static_cast<int>(top); v < top + scale && v < frame.height(); ++v) {
                for (int u = static_cast<int>(left); u < left + scale && u < frame.width(); ++u) {
                    const double share = (std::min(v + 1.0, top + scale) - std::max<double>(v, top)) *
                                         (std::min(u + 1.0, left + scale) - std::max<double>(u, left));
                    const QRgb pixel = frame.pixel(u, v);
                    sums[0] += share * qRed(pixel);
                    sums[1] += share * qGreen(pixel);
                    sums[2] += share * qBlue(pixel);
                }
            }
            for (double& sum : sums) sum /= scale * scale;
            scaled.setPixel(x, y, qRgb(qRound(sums[0]), qRound(sums[1]), qRound(sums[2])));
        }
    }
    return scaled;
}

/// `sheet` with `tile` drawn over it, as a JPEG file of a sheet's quality gives it back.
QImage asSaved(const QImage& sheet, const QImage& tile, QPoint at) {
    QImage whole = sheet.convertToFormat(QImage::Format_RGB32);
    for (int y = 0; y < tile.height(); ++y)
        for (int x = 0; x < tile.width(); ++x) whole.setPixel(at + QPoint(x, y), tile.pixel(x, y));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    whole.save(&buffer, "JPEG", 90);
    return QImage::fromData(bytes, "JPEG");
}

TEST_F(RealMedia, PreviewTilesAreTheExportedFrames) {
    SampleMovie wide;
    wide.width = 640;
    wide.height = 360;
    wide.frames = 60;
    wide.output = {"-colorspace", "bt709", "-color_primaries", "bt709", "-color_trc", "bt709"};
    SampleMovie tall = wide;
    tall.width = 360;
    tall.height = 640;
    tall.firstNumber = 1000;
    const std::vector<Clip> clips{videoClip(1, makeSampleMovie(folder.path(), "wide.mp4", wide), 2).stretch(0.5, 1.5),
                                  videoClip(2, makeSampleMovie(folder.path(), "tall.mp4", tall), 2).stretch(0, 1),
                                  audioClip(3, makeSampleSound(folder.path(), "talk.wav", 3), 3)};
    const auto media = MediaEngine::build(platform, clips, Framing::size, {1, 30}, {});
    ASSERT_TRUE(media) << media.error().message;

    const auto times = previewTimes(clips);
    const auto sheet = preview(platform, clips, "Trip", times, folder.url("Previews"), false, *media, {});
    ASSERT_TRUE(sheet) << sheet.error().message;
    const Json document = Json::parse(sheet->text());
    const QImage image = pictureAt(document["path"]);
    ASSERT_EQ(image.size(), QSize(1280, 58 + 276 * static_cast<int>((times.size() + 3) / 4)));

    auto session = MediaEngine::exporter(platform, *media, ExportContainer::mp4);
    ASSERT_TRUE(session) << session.error().message;
    const auto exported = (*session)->exportTo(folder.url("out.mp4"), ExportContainer::mp4, {});
    ASSERT_TRUE(exported) << exported.error().message;

    int pictures = 0;
    for (std::size_t i = 0; i < times.size(); ++i) {
        const Json& entry = document["frames"][i];
        const QRectF box = boxOf(static_cast<int>(i), 1080, 1920);
        const QRect inner = box.toAlignedRect().adjusted(1, 1, -1, -1);
        const double time = entry["timestamp"];
        const std::string name = folder.path("frame" + std::to_string(i) + ".png");
        runSampleTool({"-i", folder.path("out.mp4"), "-vf",
                       "select=gte(n\\," + std::to_string(static_cast<int>(std::floor(time * 30 + 1e-6))) +
                           "),scale=in_color_matrix=bt709:out_range=full,format=rgb24",
                       "-frames:v", "1", name});
        const QImage frame(QString::fromStdString(name));
        ASSERT_EQ(frame.size(), QSize(1080, 1920));
        // Through a JPEG file of the same kind, which halves what it keeps of colour.
        const QImage scaled = asSaved(image, reduced(frame, box, inner), inner.topLeft()).copy(inner);
        const double difference = meanDifference(image.copy(inner), scaled);
        EXPECT_LT(difference, 2) << i << " at " << time;
        RecordProperty("difference " + std::to_string(i), std::to_string(difference));
        if (entry.contains("kind")) {
            EXPECT_EQ(image.pixelColor(inner.center()), QColor(0, 0, 0));
            continue;
        }
        ++pictures;
        const bool isWide = entry["clipIndex"] == 1;
        // A frame of 16:9 is cut to 9:16 across; the sample's number lies in its middle.
        const double across = isWide ? 9 / 16.0 * 9 / 16.0 : 1;
        const int number = static_cast<int>(std::floor(entry["sourceTime"].get<double>() * 30 + 1e-6));
        EXPECT_EQ(numberIn(image, box, across), (isWide ? 0 : 1000) + number) << i << " at " << time;
    }
    EXPECT_EQ(pictures, 5);
    EXPECT_EQ(document["frames"].size(), 8U);
}

TEST_F(RealMedia, EightInspectionsRunAtOnce) {
    SampleMovie movie;
    movie.frames = 60;
    const Clip asset = videoClip(1, makeSampleMovie(folder.path(), "a.mp4", movie), 2);
    const auto at = *times(std::nullopt, 2, 8, 24);
    std::vector<std::string> faults(8);
    {
        std::vector<std::jthread> threads;
        for (std::size_t i = 0; i < faults.size(); ++i) {
            threads.emplace_back([&, i] {
                const FileURL place = folder.url("Out " + std::to_string(i));
                if (i % 2 == 0) {
                    const auto sheet = contactSheet(platform, asset, at, place, true, {});
                    if (!sheet) faults[i] = sheet.error().message;
                } else {
                    const auto sheet = preview(platform, {asset}, "Trip", at, place, true, nullptr, {});
                    if (!sheet) faults[i] = sheet.error().message;
                }
            });
        }
    }
    EXPECT_EQ(faults, std::vector<std::string>(8));
    EXPECT_EQ(fileCount(folder), 8U);
}

TEST_F(RealMedia, ThatIsDamagedOrSoundAloneHasASentenceAndNoFile) {
    const Clip sound = videoClip(1, makeSampleSound(folder.path(), "talk.wav", 1), 1);
    const Clip text = videoClip(2, folder.write("notes.mp4", "not a movie at all"), 1);
    const Clip gone = videoClip(3, folder.url("gone.mp4"), 1);
    for (const Clip& asset : {sound, text, gone}) {
        const auto sheet = contactSheet(platform, asset, {0.5}, folder.url("Sheets"), false, {});
        const auto taken = frames(platform, asset, {0.5}, folder.url("Sheets"), {});
        ASSERT_FALSE(sheet || taken) << asset.name();
        EXPECT_EQ(sheet.error(), taken.error());
        EXPECT_TRUE(sheet.error().message.ends_with('.')) << sheet.error().message;
    }
    EXPECT_EQ(fileCount(folder), 0U);
}

}  // namespace
}  // namespace kelvane::CLIMediaInspection
