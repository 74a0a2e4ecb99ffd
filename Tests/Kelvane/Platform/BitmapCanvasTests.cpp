#include <gmock/gmock.h>

#include <QImage>
#include <array>
#include <cmath>
#include <functional>
#include <span>
#include <thread>

#include "Platform/BitmapCanvas.h"
#include "Platform/ImageEncoding.h"

namespace kelvane {
namespace {

using Pixel = std::array<int, 3>;

/// Counted from the top left.
Pixel pixelAt(const StillImage& image, int x, int y) {
    const std::size_t at = (static_cast<std::size_t>(y) * image.width + x) * 4;
    return {image.pixels[at], image.pixels[at + 1], image.pixels[at + 2]};
}

StillImage imageOf(int width, int height, const std::function<Pixel(int, int)>& color) {
    StillImage image{width, height, {}};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (const int part : color(x, y)) image.pixels.push_back(static_cast<std::uint8_t>(part));
            image.pixels.push_back(255);
        }
    }
    return image;
}

/// The reds of one row or one column.
std::vector<int> reds(const StillImage& image, bool row) {
    std::vector<int> values;
    for (int i = 0; i < (row ? image.width : image.height); ++i)
        values.push_back(row ? pixelAt(image, i, 0)[0] : pixelAt(image, 0, i)[0]);
    return values;
}

struct Ink {
    int left = 1 << 20;
    int top = 1 << 20;
    int right = -1;
    int bottom = -1;
    bool operator==(const Ink&) const = default;
};
/// The smallest box of what isn't black, both ends included, from the top left.
Ink inkOf(const StillImage& image) {
    Ink ink;
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            if (pixelAt(image, x, y) == Pixel{0, 0, 0}) continue;
            ink.left = std::min(ink.left, x);
            ink.right = std::max(ink.right, x);
            ink.top = std::min(ink.top, y);
            ink.bottom = std::max(ink.bottom, y);
        }
    }
    return ink;
}

StillImage drawn(std::string_view text, int size = 17) {
    auto canvas = BitmapCanvas::make(600, 100);
    canvas->drawText(text, 10, 50, size, CanvasColor::gray(1));
    return canvas->image();
}

TEST(BitmapCanvas, IsBlackAndOpaqueAtFirst) {
    const auto canvas = BitmapCanvas::make(3, 2);
    ASSERT_TRUE(canvas);
    EXPECT_EQ(canvas->width(), 3);
    EXPECT_EQ(canvas->height(), 2);
    EXPECT_EQ(canvas->image().pixels, (std::vector<std::uint8_t>{0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255,  //
                                                                 0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255}));
}

TEST(BitmapCanvas, HasSidesFromOneToTwoThousand) {
    struct Row {
        int width, height;
        bool made;
    };
    for (const auto& row : {Row{1, 1, true},
                            {2000, 2000, true},
                            {0, 1, false},
                            {1, 0, false},
                            {-1, 5, false},
                            {2001, 1, false},
                            {1, 2001, false}}) {
        EXPECT_EQ(BitmapCanvas::make(row.width, row.height).has_value(), row.made) << row.width << "x" << row.height;
    }
}

TEST(BitmapCanvas, FillsWithTheNearestLevel) {
    auto canvas = BitmapCanvas::make(1, 1);
    canvas->fill(CanvasColor::gray(0.08));
    EXPECT_EQ(pixelAt(canvas->image(), 0, 0), (Pixel{20, 20, 20}));
    canvas->fill({0.2, 0.65, 1});
    EXPECT_EQ(pixelAt(canvas->image(), 0, 0), (Pixel{51, 166, 255}));
    canvas->fill({-1, 2, 0});
    EXPECT_EQ(pixelAt(canvas->image(), 0, 0), (Pixel{0, 255, 0}));
    canvas->fillRect({0, 0, 1, 1}, {0.08, -1, 7});
    EXPECT_EQ(pixelAt(canvas->image(), 0, 0), (Pixel{20, 0, 255}));
}

TEST(BitmapCanvas, CountsFromTheBottomLeft) {
    auto canvas = BitmapCanvas::make(3, 4);
    canvas->fillRect({1, 0, 2, 1}, CanvasColor::gray(1));
    EXPECT_EQ(inkOf(canvas->image()), (Ink{1, 3, 2, 3}));
}

TEST(BitmapCanvas, CoversFractionalEdgesInPart) {
    struct Row {
        Rect rect;
        std::vector<int> row;
    };
    for (const auto& row :
         {Row{{0.5, 0, 2, 1}, {128, 255, 128, 0}}, Row{{1.25, 0, 0.5, 1}, {0, 128, 0, 0}},
          Row{{1, 0, 1, 0.25}, {0, 64, 0, 0}}, Row{{-5, -5, 50, 50}, {255, 255, 255, 255}},
          Row{{3.75, 0, 1e9, 1}, {0, 0, 0, 64}}, Row{{1, 0, 0, 1}, {0, 0, 0, 0}}, Row{{1, 0, -1, 1}, {0, 0, 0, 0}},
          Row{{NAN, 0, 1, 1}, {0, 0, 0, 0}}, Row{{0, 0, INFINITY, 1}, {0, 0, 0, 0}}, Row{{7, 0, 1, 1}, {0, 0, 0, 0}}}) {
        auto canvas = BitmapCanvas::make(4, 1);
        canvas->fillRect(row.rect, CanvasColor::gray(1));
        EXPECT_EQ(reds(canvas->image(), true), row.row) << row.rect.x << " " << row.rect.width;
    }
}

TEST(BitmapCanvas, KeepsAPictureOfTheSameSizeAsItIs) {
    const auto picture = imageOf(7, 5, [](int x, int y) { return Pixel{x * 30, y * 50, (x * y * 7) % 256}; });
    auto canvas = BitmapCanvas::make(7, 5);
    canvas->drawImage(picture, {0, 0, 7, 5});
    EXPECT_EQ(canvas->image().pixels, picture.pixels);
}

TEST(BitmapCanvas, DrawsPicturesUprightWhereTheyBelong) {
    const auto picture = imageOf(2, 2, [](int x, int y) { return Pixel{50 + 100 * x, 50 + 100 * y, 0}; });
    auto canvas = BitmapCanvas::make(4, 4);
    canvas->drawImage(picture, {1, 2, 2, 2});
    EXPECT_EQ(inkOf(canvas->image()), (Ink{1, 0, 2, 1}));
    EXPECT_EQ(pixelAt(canvas->image(), 2, 0), (Pixel{150, 50, 0}));
    EXPECT_EQ(pixelAt(canvas->image(), 1, 1), (Pixel{50, 150, 0}));
}

TEST(BitmapCanvas, ReducesToTheMeanOfTheAreaOnBothSides) {
    for (const bool row : {true, false}) {
        const auto step = [row](int x, int y) {
            const int i = row ? x : y;
            return Pixel{i < 3 ? i * 10 : 90, 0, 0};
        };
        // 0 10 20 | 90 90 90, and at 2 to 5: (0, 10, half of 20), (half of 20, 90, 90)…
        const auto six = row ? imageOf(6, 1, step) : imageOf(1, 6, step);
        auto canvas = row ? BitmapCanvas::make(2, 1) : BitmapCanvas::make(1, 2);
        canvas->drawImage(six, row ? Rect{0, 0, 2, 1} : Rect{0, 0, 1, 2});
        EXPECT_EQ(reds(canvas->image(), row), (std::vector{10, 90}));

        const auto five = row ? imageOf(5, 1, step) : imageOf(1, 5, step);
        canvas->drawImage(five, row ? Rect{0, 0, 2, 1} : Rect{0, 0, 1, 2});
        EXPECT_EQ(reds(canvas->image(), row), (std::vector{8, 76}));
    }
}

TEST(BitmapCanvas, TurnsFineStripesToGrey) {
    const auto stripes =
        imageOf(640, 360, [](int x, int y) { return (x + y) % 2 != 0 ? Pixel{255, 255, 255} : Pixel{}; });
    auto canvas = BitmapCanvas::make(300, 169);
    canvas->fill(CanvasColor::gray(0.5));
    canvas->drawImage(stripes, {0, 0.125, 300, 168.75});
    for (int y = 0; y < 169; ++y)
        for (int x = 0; x < 300; ++x) ASSERT_NEAR(pixelAt(canvas->image(), x, y)[0], 127.5, 16) << x << " " << y;
}

TEST(BitmapCanvas, CoversTheFractionalEdgesOfPicturesInPart) {
    const auto white = imageOf(16, 16, [](int, int) { return Pixel{255, 255, 255}; });
    for (const double scale : {0.25, 1.0, 3.0}) {
        auto canvas = BitmapCanvas::make(50, 1);
        canvas->drawImage(white, {0.5, 0, 16 * scale, 1});
        auto expected = std::vector<int>(50, 0);
        std::fill_n(expected.begin() + 1, static_cast<int>(16 * scale) - 1, 255);
        expected[0] = expected[static_cast<std::size_t>(16 * scale)] = 128;
        EXPECT_EQ(reds(canvas->image(), true), expected) << scale;
    }
}

TEST(BitmapCanvas, EnlargesSmoothlyAndKeepsStraightRamps) {
    const auto ramp = imageOf(8, 1, [](int x, int) { return Pixel{x * 32, 0, 0}; });
    auto canvas = BitmapCanvas::make(32, 1);
    canvas->drawImage(ramp, {0, 0, 32, 1});
    const auto values = reds(canvas->image(), true);
    EXPECT_TRUE(std::ranges::is_sorted(values));
    // Between the second sample's middle and the second last's, where no edge is near: 8 for each pixel.
    for (int x = 6; x < 26; ++x) EXPECT_NEAR(values[x], (x + 0.5) * 8 - 16, 0.51) << x;
}

TEST(BitmapCanvas, DrawsAPictureThatReachesOutOfItCutOff) {
    const auto white = imageOf(4, 4, [](int, int) { return Pixel{255, 255, 255}; });
    auto canvas = BitmapCanvas::make(4, 4);
    canvas->drawImage(white, {-2, 2, 4, 4});
    EXPECT_EQ(inkOf(canvas->image()), (Ink{0, 0, 1, 1}));
    canvas->drawImage(white, {40, 40, 4, 4});
    canvas->drawImage({}, {0, 0, 4, 4});
    canvas->drawImage(white, {0, 0, NAN, 4});
    EXPECT_EQ(inkOf(canvas->image()), (Ink{0, 0, 1, 1}));
}

TEST(CanvasText, StandsOnItsBaselineFromItsLeftEnd) {
    // The H of Helvetica: 1466/2048 high, its stem 1.6 in from the left at this size.
    const Ink ink = inkOf(drawn("HHH", 100));
    EXPECT_EQ(ink.bottom, 49);
    const Ink small = inkOf(drawn("HHH", 17));
    EXPECT_EQ(small.bottom, 49);
    EXPECT_NEAR(small.top, 50 - 17 * 0.716, 1);
    EXPECT_NEAR(small.left, 10 + 17 * 0.08, 1);
    // Three letters of 1479/2048.
    EXPECT_NEAR(small.right, 10 + 3 * 17 * 0.722 - 17 * 0.08, 1.5);
}

TEST(CanvasText, HasTheWidthsOfHelvetica) {
    // Advances in thousandths of the size, as in the face's published measures.
    struct Row {
        const char* text;
        int advances;
    };
    for (const auto& row : {Row{"0123456789", 5560}, Row{"Source", 667 + 556 + 556 + 333 + 500 + 556},
                            Row{"Timeline", 611 + 222 + 833 + 556 + 222 + 222 + 556 + 556}}) {
        const Ink one = inkOf(drawn(std::string(row.text) + "|", 40));
        const Ink none = inkOf(drawn("|", 40));
        EXPECT_NEAR(one.right - none.right, row.advances * 0.04, 2) << row.text;
    }
}

TEST(CanvasText, IsDrawnInTheFullColor) {
    const auto image = drawn("HHH", 60);
    int white = 0;
    for (int x = 0; x < image.width; ++x) white += pixelAt(image, x, 40) == Pixel{255, 255, 255} ? 1 : 0;
    EXPECT_GT(white, 20);
    for (std::size_t at = 0; at < image.pixels.size(); at += 4) {
        ASSERT_EQ(image.pixels[at], image.pixels[at + 1]) << "coloured fringes";
        ASSERT_EQ(image.pixels[at], image.pixels[at + 2]) << "coloured fringes";
        ASSERT_EQ(image.pixels[at + 3], 255);
    }
}

TEST(CanvasText, StaysOneLineWhateverTheTextHolds) {
    struct Row {
        const char* text;
        const char* same;
    };
    for (const auto& row : {
             Row{"one\ntwo", "one two"},
             {"one\r\ntwo", "one two"},
             {"one\ttwo\x01", "one two"},
             {"one\xE2\x80\xA8two\xE2\x80\xA9", "one two"},
             {"one\xC2\x85two", "one two"},
             {"\xE2\x80\xAEone two", "one two"},
             {"one \xE2\x80\xAB\xE2\x81\xA7two\xE2\x80\xAC", "one two"},
             {"one\xE2\x80\x8F \xD8\x9Ctwo\xE2\x80\x8E", "one two"},
             {"one \xFFtwo", "one \xEF\xBF\xBDtwo"},
             {"one \xEF\xBF\xBCtwo", "one \xEF\xBF\xBDtwo"},
         }) {
        EXPECT_EQ(drawn(row.text).pixels, drawn(row.same).pixels) << row.text;
    }
    EXPECT_EQ(inkOf(drawn("")), Ink{});
    EXPECT_EQ(inkOf(drawn("\n\t ")), Ink{});
}

TEST(CanvasText, BeginsAtItsPlaceInEveryScript) {
    // Names as people write them; each has ink that begins at the line's left end and stays in its band.
    for (const char* text : {"Ça Größe Łódź", "Фильм", "Ταινία", "שלום עולם", "مرحبا بالعالم", "你好世界", "こんにちは",
                             "안녕하세요", "สวัสดี", "नमस्ते", "🎬🙂"}) {
        const Ink ink = inkOf(drawn(text, 20));
        ASSERT_GE(ink.right, 0) << text;
        EXPECT_NEAR(ink.left, 11, 4) << text;
        EXPECT_GE(ink.top, 50 - 29) << text;
        EXPECT_LE(ink.bottom, 50 + 12) << text;
    }
}

/// What Qt has complained about since the last look.
std::vector<std::string>& complaints() {
    static std::vector<std::string> lines;
    return lines;
}

TEST(CanvasText, HasItsFacesForEveryScript) {
    const auto old = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext&, const QString& line) { complaints().push_back(line.toStdString()); });
    // Two letters that a machine without the script's face would draw as one and the same box.
    struct Row {
        const char* one;
        const char* other;
    };
    for (const auto& row :
         {Row{"é", "ł"}, {"ж", "ю"}, {"ξ", "ψ"}, {"ש", "ל"}, {"م", "ح"}, {"你", "世"}, {"こ", "ん"}, {"カ", "メ"},
          {"안", "녕"},  {"ส", "ด"}, {"न", "म"}, {"ব", "ল"}, {"ਪ", "ਜ"}, {"ગ", "જ"},   {"ତ", "ମ"},   {"த", "ம"},
          {"త", "ల"},    {"ಕ", "ನ"}, {"മ", "ല"}, {"ස", "හ"}, {"ས", "བ"}, {"မ", "န"},   {"ខ", "រ"},   {"ລ", "ວ"},
          {"አ", "ማ"},    {"ქ", "რ"}, {"Ն", "Ք"}, {"ܣ", "ܪ"}, {"Ꮳ", "Ꮃ"}, {"ߒ", "ߞ"},   {"🎬", "🙂"}, {"→", "✓"}}) {
        EXPECT_NE(drawn(row.one).pixels, drawn(row.other).pixels) << row.one << row.other;
        // Joined with what stands around it, too.
        EXPECT_GT(inkOf(drawn("a · " + std::string(row.one) + " 1 · b")).right, 40) << row.one;
    }
    qInstallMessageHandler(old);
    EXPECT_EQ(complaints(), std::vector<std::string>{});
}

TEST(CanvasText, StacksNoMarksBeyondItsBand) {
    std::string tower = "Z";
    for (int i = 0; i < 40; ++i) tower += "\xCC\x81\xCC\xA3";
    const Ink ink = inkOf(drawn(tower, 20));
    EXPECT_GE(ink.top, 50 - 29);
    EXPECT_LE(ink.bottom, 50 + 12);
}

TEST(CanvasText, IsTheSameFromEveryThread) {
    const auto expected = drawn("Source · 你好 مرحبا 01 · 1.000 s").pixels;
    std::vector<std::vector<std::uint8_t>> pictures(8);
    {
        std::vector<std::jthread> threads;
        for (auto& picture : pictures) {
            threads.emplace_back([&picture] {
                for (int i = 0; i < 20; ++i) picture = drawn("Source · 你好 مرحبا 01 · 1.000 s").pixels;
            });
        }
    }
    for (const auto& picture : pictures) EXPECT_EQ(picture, expected);
}

TEST(FirstCharacters, CountsAsAReaderDoes) {
    struct Row {
        const char* text;
        std::size_t count;
        const char* first;
    };
    for (const auto& row :
         {Row{"abc", 0, ""},
          {"abc", 2, "ab"},
          {"abc", 3, "abc"},
          {"abc", 9, "abc"},
          {"", 3, ""},
          {"e\xCC\x81xy", 1, "e\xCC\x81"},
          {"👨‍👩‍👧‍👦👍🏽🇩🇪🇫🇷x", 3, "👨‍👩‍👧‍👦👍🏽🇩🇪"},
          {"\r\nab", 2, "\r\na"},
          {"한국어", 2, "한국"},
          {"\xFF\xFE!", 2, "\xEF\xBF\xBD\xEF\xBF\xBD"}}) {
        EXPECT_EQ(firstCharacters(row.text, row.count), row.first) << row.text;
    }
}

TEST(ImageEncoding, WritesPngThatReadsBackExactly) {
    const auto picture = imageOf(40, 30, [](int x, int y) { return Pixel{x * 6, y * 8, (x * y) % 256}; });
    const auto data = pngData(picture);
    ASSERT_TRUE(data);
    const QImage read = QImage::fromData(QByteArray::fromStdString(*data), "PNG");
    EXPECT_FALSE(read.hasAlphaChannel());
    const QImage same = read.convertToFormat(QImage::Format_RGBX8888);
    ASSERT_EQ(same.size(), QSize(40, 30));
    EXPECT_TRUE(
        std::ranges::equal(std::span(same.constBits(), static_cast<std::size_t>(same.sizeInBytes())), picture.pixels));
}

TEST(ImageEncoding, WritesJpegOfItsSizeAndQuality) {
    const auto picture = imageOf(64, 48, [](int x, int y) { return Pixel{x * 4, y * 5, 128 + (x * y) % 64}; });
    const auto fine = jpegData(picture, 0.9);
    const auto coarse = jpegData(picture, 0.2);
    ASSERT_TRUE(fine && coarse);
    EXPECT_GT(fine->size(), coarse->size());
    const QImage read = QImage::fromData(QByteArray::fromStdString(*fine), "JPEG");
    ASSERT_EQ(read.size(), QSize(64, 48));
    EXPECT_NEAR(read.pixelColor(32, 24).red(), 128, 8);
    EXPECT_NEAR(read.pixelColor(32, 24).green(), 120, 8);
}

TEST(ImageEncoding, HasNothingForAnEmptyPicture) {
    EXPECT_EQ(jpegData({}), std::nullopt);
    EXPECT_EQ(pngData({}), std::nullopt);
}

}  // namespace
}  // namespace kelvane
