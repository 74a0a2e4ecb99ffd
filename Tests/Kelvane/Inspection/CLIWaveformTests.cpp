#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <QImage>
#include <cmath>
#include <csignal>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <regex>

#include "Inspection/CLIWaveform.h"
#include "Media/MediaError.h"
#include "Support/ClipBuilder.h"
#include "Support/FakeMediaPlatform.h"
#include "Support/TempFolder.h"
#include "Support/UnprivilegedUser.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::FakeFile;
using testing::FakeMediaPlatform;
using testing::FakeSamples;
using testing::TempFolder;
using testing::UnprivilegedUser;
using testing::uuid;
using testing::videoClip;
using Lines = std::vector<std::string>;

constexpr QRgb dark = qRgb(20, 20, 20);
constexpr QRgb blue = qRgb(77, 166, 255);
const Error require("Require 0 <= start < end <= source duration and count 1...1000.");

class WaveformTest : public ::testing::Test {
protected:
    WaveformTest() { describe({0.5F, 0.25F, 1, 0}); }

    /// The asset's sound: frames at 1 a second from time 0, or at `rate`.
    void describe(std::vector<float> samples, double rate = 1, std::int64_t position = 0) {
        FakeFile file = FakeFile::audio(10);
        file.sound = {FakeSamples{std::move(samples), 1, rate, position}};
        platform_.addFile(asset_.url, std::move(file));
    }
    Result<JSONObject> inspect(double start, double end, int count, double gain = 1, std::optional<UUID> clipID = {}) {
        return CLIWaveform::inspect(platform_, asset_, start, end, count, folder(), gain, clipID, stop_.get_token());
    }
    [[nodiscard]] FileURL folder() const { return temp_.url("AI/Kelvane - Film/Waveforms"); }
    static nlohmann::json parsed(const Result<JSONObject>& document) {
        EXPECT_TRUE(document) << (document ? "" : document.error().message);
        return document ? nlohmann::json::parse(document->text()) : nlohmann::json();
    }
    static QImage pictureOf(const Result<JSONObject>& document) {
        const QImage picture(QString::fromStdString(parsed(document)["path"].get<std::string>()));
        EXPECT_EQ(picture.size(), QSize(1280, 240));
        EXPECT_FALSE(picture.hasAlphaChannel());
        return picture.convertToFormat(QImage::Format_RGB32);
    }
    /// The rows of a column that have the bars' colour, first and last; both -1 for none.
    static std::pair<int, int> barIn(const QImage& picture, int x) {
        std::pair rows{-1, -1};
        for (int y = 0; y < picture.height(); ++y) {
            if (picture.pixel(x, y) != blue) continue;
            if (rows.first < 0) rows.first = y;
            rows.second = y;
        }
        return rows;
    }

    TempFolder temp_;
    FakeMediaPlatform platform_;
    Clip asset_ = audioClip(7, "/media/take.wav", 4);
    std::stop_source stop_;
};

// The document

std::string withoutNames(std::string text, const std::string& folder) {
    text = std::regex_replace(text, std::regex("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\\.png"), "<UUID>.png");
    const auto at = text.find(folder);
    return at == std::string::npos ? text : text.replace(at, folder.size(), "<folder>");
}

TEST_F(WaveformTest, TheDocumentOfASource) {
    const auto document = inspect(0, 4, 4);
    ASSERT_TRUE(document) << document.error().message;
    EXPECT_EQ(
        withoutNames(document->text(), folder().path()),
        R"({"assetID":"00000000-0000-0000-0000-000000000007","binSeconds":1,"context":"Linear source amplitude per )"
        R"(bin (0=silence, 1=full scale); no volume edits or speech analysis. Image runs left to right from start )"
        R"(to end.","end":4,"path":"<folder>/waveform-00000000-0000-0000-0000-000000000007-<UUID>.png","peak":1,)"
        R"("peaks":[0.5,0.25,1,0],"scope":"source","start":0})");
}

TEST_F(WaveformTest, TheDocumentOfAClip) {
    const auto document = inspect(0.5, 3.5, 2, 0.5, uuid(9));
    ASSERT_TRUE(document) << document.error().message;
    EXPECT_EQ(
        withoutNames(document->text(), folder().path()),
        R"({"assetID":"00000000-0000-0000-0000-000000000007","binSeconds":1.5,)"
        R"("clipID":"00000000-0000-0000-0000-000000000009","context":"Linear peak amplitude after this clip's )"
        R"(trim and volume gain (0=silence, 1=full scale). Image runs left to right in source seconds; no speech )"
        R"(analysis.","end":3.5,"muted":false,)"
        R"("path":"<folder>/waveform-00000000-0000-0000-0000-000000000009-<UUID>.png","peak":0.5,)"
        R"("peaks":[0.125,0.5],"scope":"clip","start":0.5,"volume":0.5,"volumePercent":50})");
}

TEST_F(WaveformTest, PeaksAreFloatsWidenedToDoubles) {
    describe({0.1F, 0.2F, 0.3F, 3.5F});
    const auto source = parsed(inspect(0, 4, 4));
    EXPECT_EQ(source["peaks"], (std::vector<double>{0.1F, 0.2F, 0.3F, 3.5F}));
    EXPECT_EQ(source["peak"], 3.5) << "over-range sound stays over range";
    const auto clip = parsed(inspect(0, 4, 4, 0.3, uuid(9)));
    EXPECT_EQ(clip["peaks"], (std::vector<double>{0.1F * 0.3F, 0.2F * 0.3F, 0.3F * 0.3F, 3.5F * 0.3F}));
    EXPECT_EQ(clip["volumePercent"], 30);
    EXPECT_EQ(parsed(inspect(0, 4, 4, 0.125, uuid(9)))["volumePercent"], 13) << "half a percent is rounded up";
}

TEST_F(WaveformTest, AGainOfAHalfHalvesThePeaks) {
    const auto whole = parsed(inspect(0, 4, 4));
    const auto half = parsed(inspect(0, 4, 4, 0.5, uuid(9)));
    EXPECT_EQ(whole["peaks"], (std::vector<double>{0.5, 0.25, 1, 0}));
    EXPECT_EQ(half["peaks"], (std::vector<double>{0.25, 0.125, 0.5, 0}));
    EXPECT_EQ(half["peak"], 0.5);
    EXPECT_EQ(half["volumePercent"], 50);
}

TEST_F(WaveformTest, AMutedClipIsSilentWithoutAnyReading) {
    platform_.failOn("", "nothing may be asked");
    const auto document = inspect(0, 4, 3, 0, uuid(9));
    const auto values = parsed(document);
    EXPECT_EQ(values["peaks"], (std::vector<double>{0, 0, 0}));
    EXPECT_EQ(values["peak"], 0);
    EXPECT_EQ(values["muted"], true);
    EXPECT_EQ(values["volume"], 0);
    EXPECT_EQ(values["volumePercent"], 0);
    EXPECT_EQ(platform_.calls(), Lines());
    const QImage picture = pictureOf(document);
    for (int x = 0; x < 1280; ++x)
        for (int y = 0; y < 240; ++y) ASSERT_EQ(picture.pixel(x, y), dark);
}

TEST_F(WaveformTest, EachCallHasAPictureOfItsOwn) {
    const auto first = parsed(inspect(0, 4, 4));
    const auto second = parsed(inspect(0, 4, 4));
    EXPECT_NE(first["path"], second["path"]);
    struct stat status{};
    for (const auto& document : {first, second}) {
        ASSERT_EQ(::stat(document["path"].get<std::string>().c_str(), &status), 0);
        EXPECT_GT(status.st_size, 0);
    }
}

// Bins

TEST_F(WaveformTest, EachBinHasItsLoudestFrame) {
    struct Row {
        const char* what;
        std::vector<float> samples;
        double rate;
        double start;
        double end;
        int count;
        std::vector<double> peaks;
    };
    const Row rows[] = {
        {"one bin spans the range", {0.5F, 0.25F, 1, 0}, 1, 0, 4, 1, {1}},
        {"the loudest is neither first nor last", {0.25F, 1, 0.5F, 0.125F}, 2, 0, 2, 2, {1, 0.5}},
        {"frames outside the range don't count", {1, 0.25F, 0.5F, 1}, 1, 1, 3, 2, {0.25, 0.5}},
        {"bins between frames are silent", {0.5F, 0.25F}, 1, 0, 2, 4, {0.5, 0, 0.25, 0}},
        {"bins behind the sound are silent", {0.5F}, 1, 0, 4, 4, {0.5, 0, 0, 0}},
        {"a range between two frames", {0.5F, 0.25F}, 1, 0.25, 0.75, 2, {0, 0}},
        {"frames are cut, not rounded", {0, 0, 0, 1}, 4, 0, 1.0 - 1e-9, 1, {1}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        describe(row.samples, row.rate);
        EXPECT_EQ(parsed(inspect(row.start, row.end, row.count))["peaks"], row.peaks);
    }
}

TEST_F(WaveformTest, EveryFrameGoesToTheBinOfItsTime) {
    // Odd rates and bins, so that a division rounds up as well as down; each frame's amplitude is its own.
    for (const double rate : {997.0, 44100.0, 48000.0}) {
        for (const auto& [start, end, count] :
             {std::tuple{0.0, 3.3, 7}, {0.1, 2.7, 1000}, {0.7, 0.9, 333}, {1.0 / 3, 4.0 / 3, 3}}) {
            std::vector<float> samples;
            for (std::size_t i = 0; i < static_cast<std::size_t>(3.5 * rate); ++i)
                samples.push_back(static_cast<float>((i * 7919) % 65536) / 65536);
            describe(samples, rate);
            std::vector<double> expected(static_cast<std::size_t>(count));
            const double binSeconds = (end - start) / count;
            for (std::size_t i = static_cast<std::size_t>(std::ceil(start * rate)); i < samples.size(); ++i) {
                if (static_cast<double>(i) >= std::ceil(end * rate)) break;
                const auto bin = static_cast<std::int64_t>((static_cast<double>(i) / rate - start) / binSeconds);
                double& peak = expected[static_cast<std::size_t>(std::clamp<std::int64_t>(bin, 0, count - 1))];
                peak = std::max(peak, static_cast<double>(samples[i]));
            }
            EXPECT_EQ(parsed(inspect(start, end, count))["peaks"], expected) << rate << " " << start;
        }
    }
}

TEST_F(WaveformTest, TheLastFrameLandsInTheLastBin) {
    // By the count of frames the seventh lies before 0.07, as the product is a hair above 7; its time divides to bin 7.
    describe({0, 0, 0, 0, 0, 0, 0, 0.5F}, 100);
    EXPECT_EQ(parsed(inspect(0, 0.07, 7))["peaks"], (std::vector<double>{0, 0, 0, 0, 0, 0, 0.5}));
    describe({0, 0, 0, 1}, 4);
    EXPECT_EQ(parsed(inspect(0, 1, 1000))["peaks"].get<std::vector<double>>()[750], 1);
    EXPECT_EQ(parsed(inspect(0, std::nextafter(0.75, 1.0), 1000))["peaks"].get<std::vector<double>>()[999], 1);
}

TEST_F(WaveformTest, ARangeTooShortForItsBinsIsStillBinned) {
    describe({0.5F});
    const auto peaks = parsed(inspect(0, std::numeric_limits<double>::denorm_min(), 3))["peaks"];
    EXPECT_EQ(peaks, (std::vector<double>{0.5, 0, 0}));
}

// The picture

TEST_F(WaveformTest, BarsAreCentredOnTheMiddleLine) {
    const QImage picture = pictureOf(inspect(0, 4, 4));
    // Heights 100, 50, 200 and none; 319 wide with one pixel between.
    EXPECT_EQ(barIn(picture, 0), (std::pair{70, 169}));
    EXPECT_EQ(barIn(picture, 318), (std::pair{70, 169}));
    EXPECT_EQ(barIn(picture, 319), (std::pair{-1, -1}));
    EXPECT_EQ(barIn(picture, 320), (std::pair{95, 144}));
    EXPECT_EQ(barIn(picture, 638), (std::pair{95, 144}));
    EXPECT_EQ(barIn(picture, 639), (std::pair{-1, -1}));
    EXPECT_EQ(barIn(picture, 640), (std::pair{20, 219}));
    EXPECT_EQ(barIn(picture, 959), (std::pair{-1, -1}));
    for (int x = 959; x < 1280; ++x)
        for (int y = 0; y < 240; ++y) ASSERT_EQ(picture.pixel(x, y), dark);
    int bars = 0;
    for (int x = 0; x < 1280; ++x) {
        for (int y = 0; y < 240; ++y) {
            const QRgb pixel = picture.pixel(x, y);
            ASSERT_TRUE(pixel == dark || pixel == blue);
            bars += pixel == blue ? 1 : 0;
        }
    }
    EXPECT_EQ(bars, 319 * (100 + 50 + 200));
}

TEST_F(WaveformTest, OneBarIsOnePixelShortOfThePicture) {
    const QImage picture = pictureOf(inspect(0, 4, 1));
    EXPECT_EQ(barIn(picture, 0), (std::pair{20, 219}));
    EXPECT_EQ(barIn(picture, 1278), (std::pair{20, 219}));
    EXPECT_EQ(barIn(picture, 1279), (std::pair{-1, -1}));
}

TEST_F(WaveformTest, SoundBeyondFullScaleIsDrawnAsFullScale) {
    describe({20, 1, 1.0001F, 0.25F});
    const QImage picture = pictureOf(inspect(0, 4, 4));
    for (const int x : {0, 320, 640}) EXPECT_EQ(barIn(picture, x), (std::pair{20, 219}));
}

TEST_F(WaveformTest, AThousandBarsAreOnePixelWideAtFractionalPlaces) {
    asset_.sourceDuration = 1000;
    std::vector<float> samples(1000);
    samples[0] = samples[1] = samples[500] = 1;
    describe(samples);
    const QImage picture = pictureOf(inspect(0, 1000, 1000));
    const auto mix = [](double covered) {
        const auto part = [&](int from, int to) { return static_cast<int>(std::lround(from + (to - from) * covered)); };
        return qRgb(part(20, 77), part(20, 166), part(20, 255));
    };
    const auto near = [&](int x, double covered) {
        const QRgb found = picture.pixel(x, 120);
        const QRgb expected = mix(covered);
        return std::abs(qRed(found) - qRed(expected)) <= 1 && std::abs(qGreen(found) - qGreen(expected)) <= 1 &&
               std::abs(qBlue(found) - qBlue(expected)) <= 1;
    };
    // Bars at 0 to 1, 1.28 to 2.28 and 640 to 641.
    EXPECT_TRUE(near(0, 1));
    EXPECT_TRUE(near(1, 0.72));
    EXPECT_TRUE(near(2, 0.28));
    EXPECT_TRUE(near(3, 0));
    EXPECT_TRUE(near(639, 0));
    EXPECT_TRUE(near(640, 1));
    EXPECT_TRUE(near(641, 0));
}

TEST_F(WaveformTest, AFractionOfARowIsDrawnByItsPart) {
    describe({0.1F / 20, 0, 0, 0});
    // One pixel high about the line between rows 119 and 120: half of either.
    const QImage picture = pictureOf(inspect(0, 4, 4));
    for (const int y : {119, 120}) {
        EXPECT_NEAR(qGreen(picture.pixel(5, y)), (20 + 166) / 2, 1);
        EXPECT_NEAR(qBlue(picture.pixel(5, y)), (20 + 255) / 2, 1);
    }
    EXPECT_EQ(picture.pixel(5, 118), dark);
    EXPECT_EQ(picture.pixel(5, 121), dark);
}

// Failures

TEST_F(WaveformTest, ArgumentsOutsideTheirRangesAreRefused) {
    constexpr double inf = std::numeric_limits<double>::infinity();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    struct Row {
        double start;
        double end;
        int count;
        double gain;
    };
    const Row rows[] = {
        {-0.001, 4, 120, 1}, {0, 4.0000001, 120, 1}, {0, std::nextafter(4.0, 5.0), 120, 1},
        {2, 2, 120, 1},      {3, 2, 120, 1},         {nan, 4, 120, 1},
        {0, nan, 120, 1},    {-inf, 4, 120, 1},      {0, inf, 120, 1},
        {0, 4, 0, 1},        {0, 4, -1, 1},          {0, 4, 1001, 1},
        {0, 4, 120, 1.0001}, {0, 4, 120, -0.1},      {0, 4, 120, nan},
        {0, 4, 120, inf},    {5, 6, 120, 0},
    };
    for (const Row& row : rows) {
        const auto document = inspect(row.start, row.end, row.count, row.gain, uuid(9));
        ASSERT_FALSE(document);
        EXPECT_EQ(document.error(), require) << row.start << " " << row.end << " " << row.count << " " << row.gain;
    }
    EXPECT_EQ(platform_.calls(), Lines());
    EXPECT_EQ(temp_.entries(), Lines());
    EXPECT_TRUE(inspect(0, 4, 1000));
}

TEST_F(WaveformTest, AnAssetWithoutSoundFails) {
    platform_.addFile(asset_.url, FakeFile::silentVideo(4));
    const auto document = inspect(0, 4, 120);
    ASSERT_FALSE(document);
    EXPECT_EQ(document.error(), Error("Asset has no audio track."));
    EXPECT_EQ(temp_.entries(), Lines());
}

TEST_F(WaveformTest, FailuresOfReadingArePassedOn) {
    platform_.failOn("readSamples", Error("“take.wav” could not be read: Input/output error."));
    const auto document = inspect(0, 4, 120);
    ASSERT_FALSE(document);
    EXPECT_EQ(document.error(), Error("“take.wav” could not be read: Input/output error."));
    platform_.removeFile(asset_.url);
    const auto missing = inspect(0, 4, 120);
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error(), Error("“take.wav” could not be opened."));
    EXPECT_EQ(temp_.entries(), Lines());
}

TEST_F(WaveformTest, AStopLeavesNoFile) {
    platform_.setObserver([this](const std::string& line) {
        if (line.starts_with("readSamples")) stop_.request_stop();
    });
    const auto document = inspect(0, 4, 120);
    ASSERT_FALSE(document);
    EXPECT_EQ(document.error(), Error::cancelled());
    const auto muted = inspect(0, 4, 120, 0, uuid(9));
    ASSERT_FALSE(muted);
    EXPECT_EQ(muted.error(), Error::cancelled());
    EXPECT_EQ(temp_.entries(), Lines());
}

TEST_F(WaveformTest, AFolderThatCannotBeMadeFailsInTheSystemsWords) {
    temp_.write("AI", "a file in the way");
    const auto document = inspect(0, 4, 120);
    ASSERT_FALSE(document);
    EXPECT_EQ(document.error().message, "The folder “Waveforms” could not be made: Not a directory.");
    EXPECT_EQ(temp_.entries(), Lines{"AI"});
}

TEST_F(WaveformTest, AFolderThatCannotBeWrittenFails) {
    temp_.makeFolder("AI/Kelvane - Film/Waveforms");
    ASSERT_EQ(::chmod(temp_.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(folder().path().c_str(), 0555), 0);
    const UnprivilegedUser user;
    const auto document = inspect(0, 4, 120);
    ASSERT_FALSE(document);
    EXPECT_EQ(document.error(), Error("Could not write waveform."));
}

TEST_F(WaveformTest, AFullDiskFailsAndLeavesNoFile) {
    temp_.makeFolder("AI/Kelvane - Film/Waveforms");
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small{100, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const auto document = inspect(0, 4, 120);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    ASSERT_FALSE(document);
    EXPECT_EQ(document.error(), Error("Could not finish waveform."));
    EXPECT_EQ(temp_.entries(), (Lines{"AI", "AI/Kelvane - Film", "AI/Kelvane - Film/Waveforms"}));
}

}  // namespace
}  // namespace kelvane
