#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <QImage>
#include <array>
#include <csignal>
#include <regex>

#include "Inspection/InspectionSheet.h"
#include "InspectionFixture.h"
#include "Platform/ImageEncoding.h"
#include "Support/UnprivilegedUser.h"

namespace kelvane::CLIMediaInspection {
namespace {

using namespace kelvane::testing;

using Pixel = std::array<int, 3>;

Pixel pixelAt(const StillImage& image, int x, int y) {
    const std::size_t at = (static_cast<std::size_t>(y) * image.width + x) * 4;
    return {image.pixels[at], image.pixels[at + 1], image.pixels[at + 2]};
}

Pixel gray(int level) { return {level, level, level}; }

Sheet sheetOf(int count, std::string_view title = "", std::string_view subtitle = "") {
    return *Sheet::make(title, subtitle, count);
}

std::string repeated(const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
}

TEST(Sheet, GrowsByARowForEveryFourFrames) {
    struct Row {
        int count, height;
    };
    for (const auto& row : {Row{1, 334}, {4, 334}, {5, 610}, {8, 610}, {9, 886}, {24, 1714}}) {
        const auto sheet = Sheet::make("", "", row.count);
        ASSERT_TRUE(sheet) << row.count;
        EXPECT_EQ(sheet->height(), row.height) << row.count;
        EXPECT_EQ(sheet->canvas().width(), 1280);
        EXPECT_LE(sheet->height(), BitmapCanvas::maximumSide);
    }
}

TEST(Sheet, TakesFromOneToTwentyFourFrames) {
    for (const int count : {-1, 0, 25, 1000}) {
        const auto sheet = Sheet::make("", "", count);
        ASSERT_FALSE(sheet) << count;
        EXPECT_EQ(sheet.error(), Error("A contact sheet needs 1–24 frames."));
    }
}

TEST(Sheet, IsDarkGrayAllOverAtFirst) {
    const Sheet sheet = sheetOf(1);
    EXPECT_EQ(sheet.canvas().image().pixels, plainStill(1280, 334, 20, 20, 20).pixels);
}

TEST(Sheet, HasItsTextsInWhiteAtTheirPlaces) {
    Sheet sheet = sheetOf(6, "Source · Holiday", "Asset · original");
    sheet.add(plainStill(300, 216, 0, 0, 255), 5, "06 · 1.000 s", "Source 2.000 s");

    auto expected = BitmapCanvas::make(1280, 610);
    expected->fill(CanvasColor::gray(0.08));
    expected->drawText("Source · Holiday", 12, 610 - 24, 17, CanvasColor::gray(1));
    expected->drawText("Asset · original", 12, 610 - 46, 13, CanvasColor::gray(1));
    expected->drawImage(plainStill(300, 216, 0, 0, 255), {330, 48, 300, 216});
    expected->drawText("06 · 1.000 s", 330, 27, 13, CanvasColor::gray(1));
    expected->drawText("Source 2.000 s", 330, 9, 12, CanvasColor::gray(1));
    EXPECT_EQ(sheet.canvas().image().pixels, expected->image().pixels);
}

TEST(Sheet, StandsItsLettersOnTheirBaselines) {
    // An H is white on the row above its baseline, and the row below is the sheet's own.
    struct Row {
        const char* what;
        int x, baseline;
    };
    Sheet sheet = sheetOf(1, "HHHHHHHH", "HHHHHHHH");
    sheet.add(plainStill(1, 1, 20, 20, 20), 0, "HHHHHHHH", "HHHHHHHH");
    for (const auto& row :
         {Row{"title", 12, 24}, {"subtitle", 12, 46}, {"label", 10, 334 - 27}, {"detail", 10, 334 - 9}}) {
        int brightest = 0;
        int brightestBelow = 0;
        for (int x = row.x; x < row.x + 60; ++x) {
            brightest = std::max(brightest, pixelAt(sheet.canvas().image(), x, row.baseline - 1)[0]);
            brightestBelow = std::max(brightestBelow, pixelAt(sheet.canvas().image(), x, row.baseline)[0]);
        }
        EXPECT_GT(brightest, 180) << row.what;
        EXPECT_EQ(brightestBelow, 20) << row.what;
        EXPECT_EQ(pixelAt(sheet.canvas().image(), row.x - 1, row.baseline - 1), gray(20)) << row.what;
    }
}

TEST(Sheet, DrawsNothingForAnEmptyDetail) {
    Sheet sheet = sheetOf(1);
    sheet.add(plainStill(1, 1, 20, 20, 20), 0, "", "");
    EXPECT_EQ(sheet.canvas().image().pixels, plainStill(1280, 334, 20, 20, 20).pixels);
}

TEST(Sheet, CentresStillsInTheirBoxes) {
    struct Row {
        int width, height, slot;
        // Of the drawn picture, from the top left of a sheet of five.
        Rect drawn;
    };
    for (const auto& row : {
             Row{640, 360, 0, {10, 58 + 12 + 23.625, 300, 168.75}},
             Row{360, 640, 0, {99.25, 70, 121.5, 216}},
             Row{300, 216, 3, {970, 70, 300, 216}},
             Row{30, 20, 2, {650, 78, 300, 200}},
             Row{1, 1, 1, {372, 70, 216, 216}},
             // Its lower edge lies at 610 - 58 - 552 + 48 above the sheet's.
             Row{300, 216, 4, {10, 610 - 48 - 216, 300, 216}},
         }) {
        Sheet sheet = sheetOf(5);
        sheet.add(plainStill(row.width, row.height, 255, 255, 255), row.slot, "", "");
        auto expected = BitmapCanvas::make(1280, 610);
        expected->fill(CanvasColor::gray(0.08));
        const double bottom = 610 - row.drawn.y - row.drawn.height;
        expected->fillRect({row.drawn.x, bottom, row.drawn.width, row.drawn.height}, CanvasColor::gray(1));
        EXPECT_EQ(sheet.canvas().image().pixels, expected->image().pixels) << row.width << "x" << row.height;
    }
}

TEST(Sheet, DrawsTheEdgesOfStillsByTheirShare) {
    Sheet wide = sheetOf(1);
    wide.add(plainStill(640, 360, 255, 255, 255), 0, "", "");
    const StillImage& image = wide.canvas().image();
    EXPECT_EQ(pixelAt(image, 160, 92), gray(20));
    EXPECT_EQ(pixelAt(image, 160, 93), gray(108));
    EXPECT_EQ(pixelAt(image, 160, 94), gray(255));
    EXPECT_EQ(pixelAt(image, 160, 261), gray(255));
    EXPECT_EQ(pixelAt(image, 160, 262), gray(108));
    EXPECT_EQ(pixelAt(image, 160, 263), gray(20));
    EXPECT_EQ(pixelAt(image, 9, 170), gray(20));
    EXPECT_EQ(pixelAt(image, 10, 170), gray(255));
    EXPECT_EQ(pixelAt(image, 309, 170), gray(255));
    EXPECT_EQ(pixelAt(image, 310, 170), gray(20));

    Sheet tall = sheetOf(1);
    tall.add(plainStill(90, 160, 255, 255, 255), 0, "", "");
    EXPECT_EQ(pixelAt(tall.canvas().image(), 98, 170), gray(20));
    EXPECT_EQ(pixelAt(tall.canvas().image(), 99, 170), gray(196));
    EXPECT_EQ(pixelAt(tall.canvas().image(), 100, 170), gray(255));
    EXPECT_EQ(pixelAt(tall.canvas().image(), 219, 170), gray(255));
    EXPECT_EQ(pixelAt(tall.canvas().image(), 220, 170), gray(196));
    EXPECT_EQ(pixelAt(tall.canvas().image(), 221, 170), gray(20));
}

TEST(Sheet, CutsItsHeaderAsAReaderCounts) {
    // A narrow letter with an accent of its own: two characters of Unicode, one of a reader.
    const std::string letter = "i\xCC\x81";
    struct Row {
        int title, subtitle;
        int sameTitle, sameSubtitle;
    };
    for (const auto& row : {Row{131, 161, 130, 160}, Row{5000, 5000, 130, 160}, Row{3, 4, 3, 4}}) {
        EXPECT_EQ(
            sheetOf(1, repeated(letter, row.title), repeated(letter, row.subtitle)).canvas().image().pixels,
            sheetOf(1, repeated(letter, row.sameTitle), repeated(letter, row.sameSubtitle)).canvas().image().pixels);
    }
    EXPECT_NE(sheetOf(1, repeated("i", 130)).canvas().image().pixels,
              sheetOf(1, repeated("i", 129)).canvas().image().pixels);
    EXPECT_NE(sheetOf(1, "", repeated("i", 160)).canvas().image().pixels,
              sheetOf(1, "", repeated("i", 159)).canvas().image().pixels);
}

TEST(Sheet, LetsLongTextRunIntoTheNextCell) {
    Sheet sheet = sheetOf(2);
    sheet.add(plainStill(1, 1, 20, 20, 20), 0, repeated("long ", 20), "");
    bool isWritten = false;
    for (int x = 330; x < 400; ++x) isWritten |= pixelAt(sheet.canvas().image(), x, 334 - 28) != gray(20);
    EXPECT_TRUE(isWritten);
}

TEST(Sheet, SavesANewJpegInAFolderThatItMakes) {
    const TempFolder folder;
    Sheet sheet = sheetOf(5, "Title", "Subtitle");
    sheet.add(plainStill(300, 216, 200, 60, 60), 4, "05", "");
    const auto first = sheet.save(folder.url("AI/Kelvane - One/Contact Sheets"), "source-X");
    const auto second = sheet.save(folder.url("AI/Kelvane - One/Contact Sheets"), "source-X");
    ASSERT_TRUE(first && second);
    EXPECT_NE(*first, *second);
    EXPECT_EQ(normalized(*first, folder), "FOLDER/AI/Kelvane - One/Contact Sheets/source-X-NEW-ID.jpg");
    EXPECT_EQ(fileCount(folder), 2U);

    const QImage read(QString::fromStdString(*first));
    ASSERT_EQ(read.size(), QSize(1280, 610));
    EXPECT_NEAR(read.pixelColor(700, 400).red(), 20, 1);
    EXPECT_NEAR(read.pixelColor(160, 450).red(), 200, 2);
    EXPECT_NEAR(read.pixelColor(160, 450).green(), 60, 2);
}

TEST(Sheet, SaysWhyItIsNotSavedAndLeavesNothing) {
    const TempFolder folder;
    const Sheet sheet = sheetOf(1);
    folder.write("file", "a file");
    EXPECT_EQ(sheet.save(folder.url("file/Sheets"), "s").error().message,
              "The folder “Sheets” could not be made: Not a directory.");
    {
        folder.makeFolder("closed");
        ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
        ASSERT_EQ(chmod(folder.path("closed").c_str(), 0555), 0);
        const UnprivilegedUser user;
        EXPECT_EQ(sheet.save(folder.url("closed"), "s").error(), Error("Could not write an inspection image."));
    }
    {
        // A disk that takes no more than a kilobyte.
        struct rlimit old{};
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
        const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        const struct rlimit tight{1024, old.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
        const auto saved = sheet.save(folder.url("full"), "s");
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
        std::signal(SIGXFSZ, oldHandler);
        ASSERT_FALSE(saved);
        EXPECT_EQ(saved.error(), Error("Could not finish an inspection image."));
    }
    EXPECT_EQ(fileCount(folder), 0U);
}

}  // namespace
}  // namespace kelvane::CLIMediaInspection
