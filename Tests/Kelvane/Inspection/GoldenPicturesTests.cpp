#include <gtest/gtest.h>

#include <QImage>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "Inspection/CLIMediaInspection.h"
#include "Inspection/CLIWaveform.h"
#include "InspectionFixture.h"
#include "Support/ClipBuilder.h"
#include "Support/TestData.h"

namespace kelvane::CLIMediaInspection {
namespace {

using namespace kelvane::testing;

/// How far a picture may be from the one that is kept: letters are drawn a little differently by each version of the
/// font library. Boxes and colours are compared exactly elsewhere.
constexpr double meanTolerance = 1;
/// A pixel is another one when a part of it differs by more than this, of 255; so many of them may, as a share.
constexpr int pixelTolerance = 24;
constexpr double otherPixels = 0.005;

/// How far two pictures of one size are from each other: by mean, and as the share of other pixels.
struct Distance {
    double mean = 0;
    double others = 0;
    [[nodiscard]] bool isSmall() const { return mean < meanTolerance && others < otherPixels; }
};

Distance distanceOf(const QImage& drawn, const QImage& kept) {
    Distance distance;
    const double pixels = 1.0 * kept.width() * kept.height();
    for (int y = 0; y < kept.height(); ++y) {
        for (int x = 0; x < kept.width(); ++x) {
            const QRgb a = drawn.pixel(x, y);
            const QRgb b = kept.pixel(x, y);
            const int parts[] = {std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                                 std::abs(qBlue(a) - qBlue(b))};
            distance.mean += (parts[0] + parts[1] + parts[2]) / (3 * pixels);
            distance.others += *std::ranges::max_element(parts) > pixelTolerance ? 1 / pixels : 0;
        }
    }
    return distance;
}

/// Compares the picture of `document` with those kept under `names`, one for each way in which versions of Qt space
/// letters: it must be one of them. With KELVANE_NEW_PICTURES naming a folder, the picture is also left there, under
/// the first name, to be looked at and kept.
void expectGolden(const Result<JSONObject>& document, const std::vector<std::string>& names) {
    ASSERT_TRUE(document) << document.error().message;
    const auto path = nlohmann::json::parse(document->text())["path"].get<std::string>();
    const QImage drawn = QImage(QString::fromStdString(path)).convertToFormat(QImage::Format_RGB32);
    ASSERT_FALSE(drawn.isNull()) << path;
    if (const char* folder = std::getenv("KELVANE_NEW_PICTURES")) {
        std::filesystem::copy_file(path, std::string(folder) + "/" + names.front(),
                                   std::filesystem::copy_options::overwrite_existing);
    }
    bool found = false;
    std::string distances;
    for (const std::string& name : names) {
        const QImage kept =
            QImage(QString::fromStdString(testing::testDataPath(name))).convertToFormat(QImage::Format_RGB32);
        ASSERT_EQ(drawn.size(), kept.size()) << name;
        const Distance distance = distanceOf(drawn, kept);
        found = found || distance.isSmall();
        distances += name + ": " + std::to_string(distance.mean) + " by mean, " + std::to_string(distance.others) +
                     " of the pixels are others\n";
    }
    EXPECT_TRUE(found) << distances;
}

/// A picture with shades, edges and a mark in its upper left corner, so that a turned or mirrored one is another.
StillImage testCard(int width, int height, int hue) {
    StillImage image{width, height, {}};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const bool isMark = x < width / 4 && y < height / 4;
            const int shade = 255 * x / width;
            const int band = (8 * y / height) % 2 == 0 ? 60 : 0;
            for (const int part : {isMark ? 255 : shade, isMark ? 255 : std::min(hue + band, 255),
                                   isMark ? 255 : 255 * y / height, 255}) {
                image.pixels.push_back(static_cast<std::uint8_t>(part));
            }
        }
    }
    return image;
}

/// Has the platform show cards of this size.
void showCards(StillPlatform& platform, int width, int height) {
    platform.fake.addFileNamed("a.mov", FakeFile::video(100));
    platform.fake.addFileNamed("talk.wav", FakeFile::audio(100));
    platform.still = [=](std::size_t index, MediaTime time) {
        const int hue = 30 * static_cast<int>(index);
        return TimedStill{std::make_shared<StillImage>(testCard(width, height, hue)), time};
    };
}

TEST(GoldenPictures, AContactSheet) {
    const TempFolder folder;
    StillPlatform platform;
    showCards(platform, 320, 180);
    const Clip asset = videoClip(7, "/media/Beach at noon.mov", 20);
    expectGolden(contactSheet(platform, asset, {0.5, 3, 1.25, 7, 12}, folder.url("Sheets"), false, {}),
                 {"contact-sheet.jpg"});
}

TEST(GoldenPictures, APreviewWithABlackTail) {
    const TempFolder folder;
    StillPlatform platform;
    showCards(platform, 180, 320);
    const std::vector<Clip> clips{videoClip(1, "/media/a.mov", 100).stretch(10, 12),
                                  videoClip(2, "/media/a.mov", 100).stretch(30, 33),
                                  audioClip(90, "/media/talk.wav", 8)};
    expectGolden(preview(platform, clips, "Trip", previewTimes(clips), folder.url("Previews"), false, nullptr, {}),
                 {"preview.jpg", "preview-qt68.jpg"});
}

TEST(GoldenPictures, AWaveform) {
    const TempFolder folder;
    FakeMediaPlatform platform;
    const Clip asset = audioClip(7, "/media/take.wav", 4);
    // A tone that swells, stops and comes back too loud.
    std::vector<float> samples;
    for (int i = 0; i < 4000; ++i) {
        const double swell = i < 2000 ? i / 2000.0 : i < 2500 ? 0 : 1.5 * (i - 2500) / 1500.0;
        samples.push_back(static_cast<float>(swell * std::sin(i * 0.3)));
    }
    FakeFile file = FakeFile::audio(10);
    file.sound = {FakeSamples{std::move(samples), 1, 1000, 0}};
    platform.addFile(asset.url, std::move(file));
    expectGolden(CLIWaveform::inspect(platform, asset, 0, 4, 120, folder.url("Waveforms"), 1, std::nullopt, {}),
                 {"waveform.png"});
}

}  // namespace
}  // namespace kelvane::CLIMediaInspection
