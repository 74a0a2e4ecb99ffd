#include <gtest/gtest.h>

#include <QImage>
#include <atomic>
#include <cmath>
#include <limits>
#include <mutex>
#include <thread>

#include "Inspection/CLIMediaInspection.h"
#include "Inspection/InspectionSheet.h"
#include "InspectionFixture.h"
#include "Platform/ImageEncoding.h"
#include "Support/ClipBuilder.h"
#include "Support/Gate.h"

namespace kelvane::CLIMediaInspection {
namespace {

using namespace kelvane::testing;

using Times = std::vector<double>;

constexpr double infinity = std::numeric_limits<double>::infinity();

/// The frame that begins a hundredth of a second before the time asked for.
Result<TimedStill> earlier(std::size_t index, MediaTime time) {
    const int shade = 40 + 8 * static_cast<int>(index);
    return TimedStill{std::make_shared<StillImage>(plainStill(64, 36, shade, 255 - shade, 90)),
                      MediaTime{time.value - 6, 600}};
}

TEST(InspectionTimes, AreTheMiddlesOfEqualSlicesByDefault) {
    EXPECT_EQ(times(std::nullopt, 12, 6, 12), (Times{1, 3, 5, 7, 9, 11}));
    EXPECT_EQ(times(std::nullopt, 1, 1, 12), Times{0.5});
    EXPECT_EQ(times(std::nullopt, 10, 0, 12), Times{});
    EXPECT_EQ(times(std::nullopt, 0.3, 3, 12), (Times{0.5 * 0.3 / 3, 1.5 * 0.3 / 3, 2.5 * 0.3 / 3}));
}

TEST(InspectionTimes, NeedADuration) {
    for (const double duration : {0.0, -1.0, infinity, -infinity, std::nan("")}) {
        EXPECT_EQ(times(std::nullopt, duration, 6, 12).error(), Error("There is no video to inspect.")) << duration;
        EXPECT_EQ(times("", duration, 6, 12).error(), Error("There is no video to inspect.")) << duration;
    }
}

TEST(InspectionTimes, AreTakenAsGivenInTheirOrder) {
    EXPECT_EQ(times("5,1,1,0", 10, 6, 12), (Times{5, 1, 1, 0}));
    EXPECT_EQ(times("0.5,1e-1,+2,9.999999,-0,.5,5.", 10, 6, 12), (Times{0.5, 0.1, 2, 9.999999, -0.0, 0.5, 5}));
    EXPECT_EQ(times("1e-999", 10, 6, 12), Times{0});
    EXPECT_EQ(times("0,1,2,3,4,5,6,7,8,9,0,1", 10, 6, 12)->size(), 12U);
}

TEST(InspectionTimes, MustLieWithinTheVideo) {
    for (const char* text :
         {"",   ",",    "1,,2", "1,",    ",1",     " 1", "1 ",  "1, 2", "nan", "inf", "-inf", "infinity",
          "10", "10.0", "-0.1", "1e999", "-1e999", "x",  "0x1", "1x",   "+-1", "++1", "1\n",  "１"}) {
        EXPECT_EQ(times(text, 10, 6, 12).error(),
                  Error("Frame times must be finite timestamps within the video duration."))
            << text;
    }
    EXPECT_EQ(times(std::string("1\0", 2), 10, 6, 12).error(),
              Error("Frame times must be finite timestamps within the video duration."));
}

TEST(InspectionTimes, AreNoMoreThanTheLimit) {
    EXPECT_EQ(times("0,1,2,3,4,5,6,7,8,9,0,1,2", 10, 6, 12).error(), Error("Request 12 frames at a time."));
    EXPECT_EQ(times(std::string(24, ','), 10, 12, 24).error(), Error("Request 24 frames at a time."));
    EXPECT_EQ(times(std::string(12, ','), 10, 6, 12).error(), Error("Request 12 frames at a time."));
    EXPECT_EQ(times(std::string(11, ','), 10, 6, 12).error(),
              Error("Frame times must be finite timestamps within the video duration."));
}

class ContactSheet : public ::testing::Test {
protected:
    Result<JSONObject> render(const Times& at, bool compact = false, std::stop_token stop = {}) {
        return contactSheet(platform, asset, at, folder.url("Contact Sheets"), compact, stop);
    }

    TempFolder folder;
    StillPlatform platform;
    Clip asset = videoClip(7, "/media/Holiday · 海.final.mov", 20);
};

TEST_F(ContactSheet, TellsTheTimesOfTheFramesShown) {
    platform.still = earlier;
    const auto full = render({0.5, 3, 1.25});
    ASSERT_TRUE(full);
    EXPECT_EQ(normalized(full->text(), folder), golden("contact-sheet.json"));
    const auto compact = render({0.5, 3, 1.25}, true);
    ASSERT_TRUE(compact);
    EXPECT_EQ(normalized(compact->text(), folder), golden("contact-sheet-compact.json"));
    EXPECT_EQ(platform.requests, std::vector<std::string>(2,
                                                          "Holiday · 海.final.mov within 640x640: 300/600 1800/600 "
                                                          "750/600"));
    EXPECT_EQ(fileCount(folder), 2U);
}

TEST_F(ContactSheet, DrawsEveryStillInItsOwnCell) {
    platform.still = earlier;
    const auto document = render({0.5, 3, 1.25, 7, 19.9995});
    ASSERT_TRUE(document);
    auto expected = Sheet::make("Source · Holiday · 海.final",
                                "Asset 00000000-0000-0000-0000-000000000007 · original aspect ratio", 5);
    const char* labels[] = {"01 · 0.490 s", "02 · 2.990 s", "03 · 1.240 s", "04 · 6.990 s", "05 · 19.990 s"};
    for (int i = 0; i < 5; ++i) expected->add(*earlier(i, {})->image, i, labels[i], "");
    const auto names = folder.entries();
    ASSERT_EQ(names.size(), 2U);
    EXPECT_EQ(folder.read(names.back()), *jpegData(expected->canvas().image(), 0.9));
}

TEST_F(ContactSheet, RefusesTooFewAndTooManyTimesBeforeAnythingIsDecoded) {
    for (const std::size_t count : {0U, 25U})
        EXPECT_EQ(render(Times(count)).error(), Error("A contact sheet needs 1–24 frames."));
    EXPECT_EQ(render({1, std::nan("")}).error(),
              Error("Frame times must be finite timestamps within the video duration."));
    EXPECT_TRUE(platform.requests.empty());
    EXPECT_TRUE(folder.entries().empty());
}

TEST_F(ContactSheet, PassesThePlatformsFailureOnAndLeavesNothing) {
    platform.still = [](std::size_t index, MediaTime time) -> Result<TimedStill> {
        if (index == 0) return fail("“a.mov” holds no picture.");
        return earlier(index, time);
    };
    EXPECT_EQ(render({1, 2}).error(), Error("“a.mov” holds no picture."));
    EXPECT_TRUE(folder.entries().empty());
}

TEST_F(ContactSheet, EndsAsCancelledInTheMiddleAndAtTheEnd) {
    for (const std::size_t at : {1U, 0U}) {
        std::stop_source source;
        platform.still = [&](std::size_t index, MediaTime time) {
            if (index == at) source.request_stop();
            return earlier(index, time);
        };
        EXPECT_TRUE(render({1, 2}, false, source.get_token()).error().isCancelled());
    }
    EXPECT_TRUE(folder.entries().empty());
}

class Frames : public ContactSheet {
protected:
    Result<std::vector<JSONObject>> take(const Times& at, std::stop_token stop = {},
                                         WhenStopped whenStopped = WhenStopped::removes) {
        return frames(platform, asset, at, folder.url("AI/Frames"), stop, whenStopped);
    }
};

TEST_F(Frames, AreFilesOfTheirOwnInTheOrderAskedFor) {
    platform.still = earlier;
    const auto taken = take({3, 0.5});
    ASSERT_TRUE(taken);
    std::string text;
    for (const auto& entry : *taken) text += entry.text() + "\n";
    EXPECT_EQ(normalized(text, folder), golden("frames.json") + "\n");
    EXPECT_EQ(platform.requests, std::vector<std::string>{"Holiday · 海.final.mov within 1280x1280: 1800/600 300/600"});
    EXPECT_EQ(fileCount(folder), 2U);
    for (std::size_t i = 0; i < 2; ++i) {
        const std::string path = taken->at(i).raw("path");
        const QImage read(QString::fromStdString(path.substr(1, path.size() - 2)));
        ASSERT_EQ(read.size(), QSize(64, 36));
        EXPECT_NEAR(read.pixelColor(30, 20).red(), 40 + 8 * static_cast<int>(i), 2);
    }
}

TEST_F(Frames, OfAFailedCallAreAllRemoved) {
    folder.write("AI/Frames/mine.jpg", "an older file");
    platform.still = [](std::size_t index, MediaTime time) -> Result<TimedStill> {
        if (index == 0) return fail("“a.mov” could not be decoded.");
        return earlier(index, time);
    };
    EXPECT_EQ(take({1, 2, 3}).error(), Error("“a.mov” could not be decoded."));

    platform.still = [](std::size_t index, MediaTime time) -> Result<TimedStill> {
        if (index == 0) return TimedStill{std::make_shared<StillImage>(), time};
        return earlier(index, time);
    };
    EXPECT_EQ(take({1, 2, 3}).error(), Error("Could not finish an inspection image."));

    std::stop_source source;
    platform.still = [&](std::size_t index, MediaTime time) {
        if (index == 0) source.request_stop();
        return earlier(index, time);
    };
    EXPECT_TRUE(take({1, 2, 3}, source.get_token()).error().isCancelled());
    EXPECT_EQ(folder.entries(), (std::vector<std::string>{"AI", "AI/Frames", "AI/Frames/mine.jpg"}));
}

TEST_F(Frames, ThatAreKeptAreThoseBeforeTheStopAlone) {
    std::stop_source source;
    std::size_t taken = 0;
    platform.still = [&](std::size_t index, MediaTime time) {
        if (++taken == 3) source.request_stop();
        return earlier(index, time);
    };
    EXPECT_TRUE(take({1, 2, 3}, source.get_token(), WhenStopped::keeps).error().isCancelled());
    EXPECT_EQ(fileCount(folder), 2U);

    taken = 0;
    platform.still = [&](std::size_t index, MediaTime time) -> Result<TimedStill> {
        if (++taken == 3) return fail("“a.mov” could not be decoded.");
        return earlier(index, time);
    };
    EXPECT_FALSE(take({1, 2, 3}, {}, WhenStopped::keeps));
    EXPECT_EQ(fileCount(folder), 2U) << "a failure removes its own";
}

TEST_F(Frames, NeedAFolder) {
    folder.write("AI", "a file");
    EXPECT_EQ(take({1}).error().message, "The folder “Frames” could not be made: Not a directory.");
    EXPECT_TRUE(platform.requests.empty());
}

TEST_F(Frames, OfAnAudioAssetFailInThePlatformsWords) {
    platform.still = [](std::size_t, MediaTime) -> Result<TimedStill> { return fail("“talk.wav” holds no picture."); };
    asset = audioClip(3, "/media/talk.wav", 12);
    EXPECT_EQ(take({1}).error(), Error("“talk.wav” holds no picture."));
    EXPECT_EQ(render({1}).error(), Error("“talk.wav” holds no picture."));
}

JSONObject documentOf(const Clip& asset) {
    JSONObject document;
    document.set("assetID", std::string_view(asset.id.upper()));
    return document;
}

TEST(ContactSheets, GoOnBehindAFailureAndKeepTheirOrder) {
    const std::vector<Clip> assets{videoClip(1), videoClip(2), videoClip(3)};
    Gate gate;
    gate.close();
    const auto render = [&](const Clip& asset) -> Result<JSONObject> {
        // The first ends last.
        if (asset.id == uuid(1)) (void)gate.pass({});
        if (asset.id == uuid(3)) gate.open();
        if (asset.id == uuid(2)) return fail("“b.mov” could not be opened.");
        return documentOf(asset);
    };
    EXPECT_EQ(contactSheets(assets, render).text(), golden("contact-sheets.json"));
}

TEST(ContactSheets, OfNothingAreComplete) {
    const auto never = [](const Clip&) -> Result<JSONObject> { return fail("never"); };
    EXPECT_EQ(contactSheets({}, never).text(), R"({"complete":true,"errors":[],"sheets":[]})");
}

TEST(ContactSheets, AreRenderedTwoAtATime) {
    std::vector<Clip> assets;
    for (std::uint64_t i = 1; i <= 6; ++i) assets.push_back(videoClip(i));
    Gate gate;
    gate.close();
    std::atomic<int> now = 0;
    std::atomic<int> most = 0;
    std::mutex mutex;
    std::vector<UUID> started;
    const auto render = [&](const Clip& asset) -> Result<JSONObject> {
        const int running = ++now;
        for (int seen = most; seen < running && !most.compare_exchange_weak(seen, running);) {
        }
        {
            const std::scoped_lock lock(mutex);
            started.push_back(asset.id);
        }
        (void)gate.pass({});
        --now;
        return documentOf(asset);
    };
    JSONObject document;
    {
        const std::jthread caller([&] { document = contactSheets(assets, render); });
        ASSERT_TRUE(gate.waitForArrivals(2));
        const std::scoped_lock lock(mutex);
        std::ranges::sort(started);
        EXPECT_EQ(started, (std::vector{uuid(1), uuid(2)}));
        gate.open();
    }
    EXPECT_EQ(most, 2);
    EXPECT_EQ(started.size(), 6U);
    EXPECT_EQ(document.raw("complete"), "true");
}

TEST(ContactSheets, ThatAreStoppedSaySo) {
    const std::vector<Clip> assets{videoClip(1), videoClip(2), videoClip(3)};
    std::stop_source source;
    source.request_stop();
    const auto render = [](const Clip& asset) -> Result<JSONObject> { return documentOf(asset); };
    const std::string all =
        R"({"complete":false,"errors":[)"
        R"({"assetID":"00000000-0000-0000-0000-000000000001","error":"Inspection was interrupted."},)"
        R"({"assetID":"00000000-0000-0000-0000-000000000002","error":"Inspection was interrupted."},)"
        R"({"assetID":"00000000-0000-0000-0000-000000000003","error":"Inspection was interrupted."}],"sheets":[]})";
    EXPECT_EQ(contactSheets(assets, render, source.get_token()).text(), all);

    const auto cancelled = [](const Clip&) -> Result<JSONObject> { return fail(Error::cancelled()); };
    EXPECT_EQ(contactSheets(assets, cancelled).text(), all);
}

TEST(ContactSheets, OfSixtyFourAssetsStayBelowAReplysSize) {
    const TempFolder folder;
    StillPlatform platform;
    std::mutex mutex;
    std::vector<Clip> assets;
    for (std::uint64_t i = 1; i <= 64; ++i) assets.push_back(videoClip(i, "/media/a.mov", 1000.0 / 3));
    const auto render = [&](const Clip& asset) {
        const std::scoped_lock lock(mutex);
        return contactSheet(platform, asset, *times(std::nullopt, asset.sourceDuration, 24, 24), folder.url("S"), false,
                            {});
    };
    const auto document = contactSheets(assets, render);
    EXPECT_EQ(document.raw("complete"), "true");
    EXPECT_LT(document.text().size(), std::size_t{1} << 19);
    EXPECT_EQ(fileCount(folder), 64U);
}

}  // namespace
}  // namespace kelvane::CLIMediaInspection
