#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"
#include "Timeline/Framing.h"
#include "Views/Timeline/TimelineTiles.h"

namespace kelvane::testing {
namespace {

using Lines = std::vector<std::string>;

MediaTime units(std::int64_t value) { return {value, 600}; }

/// The times of all tiles of a clip, units of 1/600 s.
std::vector<std::int64_t> timesOf(const Clip& clip, double pointsPerSecond) {
    std::vector<std::int64_t> times;
    for (double left = 0; left < clip.duration() * pointsPerSecond; left += 72)
        times.push_back(TimelineTiles::timeOf(clip, left, pointsPerSecond).value);
    return times;
}

TEST(TimelineTileTimes, AreTheRoundestInTheMiddleOfTheTile) {
    const struct {
        double start;
        double end;
        double left;
        double pointsPerSecond;
        std::int64_t units;
    } rows[] = {
        {0, 10, 0, 32, 1024},           // 0 to 1350, and 169 to 1181 in the middle
        {0, 10, 72, 32, 2048},          // 1350 to 2700
        {0, 10, 288, 32, 5632},         // 5400 to 6000, cut off at the end
        {3, 10, 0, 32, 2048},           // 1800 to 3150
        {0, 10, 0, 192, 128},           // 0 to 225
        {0, 36000, 0, 0.035, 1048576},  // 0 to 1234286
        {5, 5.0 + 1.0 / 30, 0, 32, 3008},
        {5, 5.001, 0, 32, 3000},  // narrower than a unit
    };
    for (const auto& row : rows) {
        const Clip clip = videoClip(1).stretch(row.start, row.end);
        EXPECT_EQ(TimelineTiles::timeOf(clip, row.left, row.pointsPerSecond), units(row.units))
            << row.start << " " << row.left << " " << row.pointsPerSecond;
    }
}

TEST(TimelineTileTimes, LieWithinTheirTilesWhateverTheClipAndTheScale) {
    for (const double scale : {0.01, 0.3, 7.0, 32.0, 100.0, 192.0})
        for (const double start : {0.0, 0.013, 1.0 / 3, 17.9, 35'999.0})
            for (const double length : {1.0 / 30, 0.5, 3.7, 61.0, 36'000.0}) {
                const Clip clip = videoClip(1).stretch(start, start + length);
                const double step = std::max(72.0, std::floor(length * scale / 50 / 72) * 72);
                for (double left = 0; left < length * scale; left += step) {
                    const double time = TimelineTiles::timeOf(clip, left, scale).seconds();
                    const double from = start + left / scale;
                    const double to = std::min(from + 72 / scale, clip.end);
                    // Narrower than two units, a stretch may hold none.
                    const double slack = to - from < 2.0 / 600 ? 1.0 / 600 : 0;
                    EXPECT_GE(time, from - slack) << scale << " " << start << " " << length << " " << left;
                    EXPECT_LE(time, to + slack) << scale << " " << start << " " << length << " " << left;
                }
            }
}

TEST(TimelineTileTimes, StayWhereTheyAreWhileTheStartIsTrimmed) {
    std::set<std::int64_t> seen;
    std::size_t tiles = 0;
    for (int step = 0; step <= 100; ++step) {
        const auto times = timesOf(videoClip(1).stretch(step * 0.1, 60), 32);
        seen.insert(times.begin(), times.end());
        tiles = std::max(tiles, times.size());
    }
    // Each of the hundred steps moves every tile; two pictures a tile serve them all.
    EXPECT_LE(seen.size(), 2 * tiles);
}

TEST(TimelineTileTimes, AreMostlyThereAlreadyWhenAClipIsZoomed) {
    const Clip clip = videoClip(1).stretch(0, 60);
    const auto before = timesOf(clip, 64);
    const std::set<std::int64_t> known(before.begin(), before.end());
    for (const double zoom : {1.25, 1 / 1.25}) {
        const auto times = timesOf(clip, 64 * zoom);
        const auto found = std::ranges::count_if(times, [&](std::int64_t time) { return known.contains(time); });
        EXPECT_GT(found, std::ssize(times) / 2) << zoom;
    }
}

TEST(TimelineTileParts, AreTheClipsFramingInTheMiddleOfTheCanvas) {
    // The canvas is 9 × 16, and a tile as wide shows 10.75 of its 16.
    const double share = 86.0 / 128;
    const struct {
        QSizeF picture;
        double zoom;
        double horizontal;
        double vertical;
        QRectF part;
    } rows[] = {
        {{1080, 1920}, 1, 0, 0, {0, 960 * (1 - share), 1080, 1920 * share}},
        {{540, 960}, 1, 0, 0, {0, 480 * (1 - share), 540, 960 * share}},
        {{1080, 1920}, 2, 0, 0, {270, 960 - 480 * share, 540, 960 * share}},
        {{1080, 1920}, 2, -1, 1, {0, 1440 - 480 * share, 540, 960 * share}},
        {{1920, 1080}, 1, 0, 0, {960 - 303.75, 540 * (1 - share), 607.5, 1080 * share}},
        {{1920, 1080}, 1, -1, 0, {0, 540 * (1 - share), 607.5, 1080 * share}},
        {{1920, 1080}, 1, 1, 0, {1920 - 607.5, 540 * (1 - share), 607.5, 1080 * share}},
    };
    for (const auto& row : rows) {
        const Clip clip = videoClip(1).zoom(row.zoom).position(row.horizontal, row.vertical);
        const QRectF part = TimelineTiles::shownPart(row.picture, clip);
        EXPECT_NEAR(part.x(), row.part.x(), 1e-6);
        EXPECT_NEAR(part.y(), row.part.y(), 1e-6);
        EXPECT_NEAR(part.width(), row.part.width(), 1e-6);
        EXPECT_NEAR(part.height(), row.part.height(), 1e-6);
    }
}

/// Tiles over a project of two files of 60 s, of which each picture takes 16 bytes.
class TimelineTilesTests : public EditorFixture {
protected:
    TimelineTilesTests() {
        a = makeManaged("a.mov", FakeFile::video(60));
        b = makeManaged("b.mov", FakeFile::video(60, {1920, 1080}));
        load({video(a, 60), video(b, 60)});
        settlePreview();
        media.clearCalls();
        make(TimelineTiles::defaultLimit);
    }
    ~TimelineTilesTests() override {
        tiles.reset();
        context.settle();
    }
    void make(std::size_t limit) {
        tiles = std::make_unique<TimelineTiles>(limit);
        tiles->setEditor(editor);
        QObject::connect(tiles.get(), &TimelineTiles::changed, [this] { ++changes; });
    }
    /// A tile of a file at some second, so far from the middle.
    static TileRequest tile(const FileURL& file, int second, double distance = 0) {
        return {file, units(second * 600), distance};
    }
    [[nodiscard]] StillImagePtr picture(const FileURL& file, int second) const {
        return tiles->picture(file, units(second * 600));
    }
    /// The seconds of a file that have a picture.
    [[nodiscard]] std::vector<int> kept(const FileURL& file) const {
        std::vector<int> seconds;
        for (int second = 0; second < 60; ++second)
            if (picture(file, second)) seconds.push_back(second);
        return seconds;
    }
    /// What was decoded, as "a 3" for the third second of the file.
    [[nodiscard]] Lines decoded() const {
        Lines lines;
        for (const std::string& line : media.calls("sourceStill")) {
            const auto at = line.find(" at ");
            const int second = std::stoi(line.substr(at + 4)) / 600;
            lines.push_back(fmt::format("{} {}", line.substr(12, 1), second));
        }
        return lines;
    }
    [[nodiscard]] std::size_t waiting() const { return context.waitingInBackground(Lane::longWork); }

    FileURL a;
    FileURL b;
    std::unique_ptr<TimelineTiles> tiles;
    int changes = 0;
};

TEST_F(TimelineTilesTests, WhatIsInSightIsMadeInTheBackgroundAndAnnounced) {
    tiles->want({tile(a, 1), tile(a, 2)});
    EXPECT_EQ(picture(a, 1), nullptr);
    EXPECT_EQ(media.calls(), Lines()) << "the main thread opens nothing";
    EXPECT_EQ(waiting(), 1U);
    EXPECT_EQ(changes, 0);
    context.settle();
    EXPECT_NE(picture(a, 1), nullptr);
    EXPECT_NE(picture(a, 2), nullptr);
    EXPECT_EQ(picture(a, 3), nullptr);
    EXPECT_EQ(picture(b, 1), nullptr);
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(tiles->bytes(), 32U);
}

TEST_F(TimelineTilesTests, APictureIsShownAsSoonAsItIsThere) {
    media.setObserver([this](const std::string& line) {
        if (line.starts_with("sourceStill a.mov at 1200/600")) context.runPosted();
    });
    std::vector<int> during;
    QObject::connect(tiles.get(), &TimelineTiles::changed, [&] { during = kept(a); });
    tiles->want({tile(a, 1), tile(a, 2)});
    (void)context.stepBackground();
    EXPECT_EQ(during, std::vector<int>{1}) << "before the pass ends";
    media.setObserver({});
}

TEST_F(TimelineTilesTests, PicturesAreMadeAtTheSizeDrawn) {
    const struct {
        double ratio;
        std::string upright;
        std::string wide;
    } rows[] = {
        {1, "72x128", "228x128"},  {2, "144x256", "456x256"},  {1.5, "108x192", "342x192"},
        {3, "144x256", "456x256"}, {0.5, "72x128", "228x128"},
    };
    for (const auto& row : rows) {
        make(TimelineTiles::defaultLimit);
        tiles->setDevicePixelRatio(row.ratio);
        media.clearCalls();
        tiles->want({tile(a, 1, 0), tile(b, 1, 1)});
        context.settle();
        EXPECT_EQ(media.calls("sourceStill"), (Lines{"sourceStill a.mov at 600/600 within " + row.upright,
                                                     "sourceStill b.mov at 600/600 within " + row.wide}));
    }
}

TEST_F(TimelineTilesTests, ATurnedFileIsMeasuredAsItIsShown) {
    const FileURL turned = makeManaged("turned.mov", FakeFile::video(60, {1920, 1080}, {0, 1, -1, 0, 1080, 0}));
    tiles->want({tile(turned, 1)});
    context.settle();
    EXPECT_EQ(media.calls("sourceStill"), Lines{"sourceStill turned.mov at 600/600 within 72x128"});
}

TEST_F(TimelineTilesTests, AFilesTimesAreAskedForInOnePassInTheirOrder) {
    tiles->want({tile(a, 9), tile(a, 2), tile(a, 30), tile(a, 2), tile(a, 5)});
    EXPECT_EQ(waiting(), 1U);
    context.drain();
    EXPECT_EQ(decoded(), (Lines{"a 2", "a 5", "a 9", "a 30"}));
    EXPECT_EQ(media.count("openAsset a.mov"), 2U) << "once to measure, once to decode";
}

TEST_F(TimelineTilesTests, OneFileIsReadAtATimeAndTheOneNearestTheMiddleFirst) {
    tiles->want({tile(a, 1, 300), tile(b, 1, 40), tile(a, 2, 80), tile(b, 2, 500)});
    EXPECT_EQ(waiting(), 1U);
    (void)context.stepBackground();
    EXPECT_EQ(decoded(), (Lines{"b 1", "b 2"}));
    context.settle();
    EXPECT_EQ(decoded(), (Lines{"b 1", "b 2", "a 1", "a 2"}));
}

TEST_F(TimelineTilesTests, OfManyTilesThoseNearestTheMiddleAreInTheFirstPass) {
    std::vector<TileRequest> row;
    for (int second = 0; second < 40; ++second) row.push_back(tile(a, second, std::abs(second - 25.5)));
    tiles->want(row);
    (void)context.stepBackground();
    Lines first;
    for (int second = 14; second < 38; ++second) first.push_back(fmt::format("a {}", second));
    EXPECT_EQ(decoded(), first);
    context.settle();
    EXPECT_EQ(decoded().size(), 40U);
    EXPECT_EQ(kept(a).size(), 40U);
}

TEST_F(TimelineTilesTests, WhatIsKeptIsNotMadeAgain) {
    tiles->want({tile(a, 1), tile(a, 2)});
    context.settle();
    media.clearCalls();
    tiles->want({tile(a, 2), tile(a, 3)});
    context.settle();
    tiles->want({tile(a, 1), tile(a, 2), tile(a, 3)});
    context.settle();
    EXPECT_EQ(decoded(), Lines{"a 3"});
}

TEST_F(TimelineTilesTests, WishesThatStayTheSameAskForNothing) {
    tiles->want({tile(a, 1, 10)});
    tiles->want({tile(a, 1, 20)});
    EXPECT_EQ(waiting(), 1U);
    context.settle();
    tiles->want({tile(a, 1, 30)});
    EXPECT_FALSE(context.hasWork());
}

TEST_F(TimelineTilesTests, AChangeOfDistancesAloneDecidesWhatComesNext) {
    tiles->want({tile(a, 1, 0), tile(a, 2, 1), tile(b, 1, 20)});
    const FileURL c = makeManaged("c.mov", FakeFile::video(60));
    tiles->want({tile(a, 1, 0), tile(b, 1, 20), tile(c, 1, 30)});
    tiles->want({tile(a, 1, 40), tile(b, 1, 20), tile(c, 1, 10)});
    context.settle();
    EXPECT_EQ(decoded(), (Lines{"a 1", "a 2", "c 1", "b 1"}));
}

TEST_F(TimelineTilesTests, AnotherRowOfTilesIsMadeInsteadOfOneThatHasNotBegun) {
    tiles->want({tile(a, 1)});
    tiles->want({tile(b, 1)});
    context.settle();
    EXPECT_EQ(decoded(), Lines{"b 1"});
    EXPECT_EQ(picture(a, 1), nullptr);
}

TEST_F(TimelineTilesTests, APassEndsAmidstItsFileWhenNothingOfItIsInSightAnyMore) {
    media.setObserver([this](const std::string& line) {
        if (!line.starts_with("sourceStill a.mov at 1200/600")) return;
        context.runPosted();
        tiles->want({tile(b, 1)});
        media.imageGate.close();
    });
    tiles->want({tile(a, 1), tile(a, 2), tile(a, 3)});
    // The gate lets go of what was asked to stop alone.
    (void)context.stepBackground();
    media.setObserver({});
    media.imageGate.open();
    EXPECT_EQ(decoded(), (Lines{"a 1", "a 2"}));
    context.settle();
    EXPECT_EQ(decoded(), (Lines{"a 1", "a 2", "b 1"}));
    EXPECT_EQ(kept(a), std::vector<int>{1}) << "what was made is kept";
    // And the file that was left is no worse for it.
    tiles->want({tile(a, 2)});
    context.settle();
    EXPECT_EQ(kept(a), (std::vector<int>{1, 2}));
}

TEST_F(TimelineTilesTests, APassGoesOnWhileSomeOfItIsInSight) {
    tiles->want({tile(a, 1), tile(a, 2), tile(a, 3)});
    tiles->want({tile(a, 3), tile(a, 4)});
    context.settle();
    EXPECT_EQ(decoded(), (Lines{"a 1", "a 2", "a 3", "a 4"}));
    EXPECT_EQ(kept(a), (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(TimelineTilesTests, TheLimitHoldsAndWhatWasLeastRecentlyWantedGoesFirst) {
    make(5 * 16);
    tiles->want({tile(a, 1)});
    context.settle();
    tiles->want({tile(a, 2), tile(a, 3)});
    context.settle();
    tiles->want({tile(a, 1), tile(b, 1)});
    context.settle();
    tiles->want({tile(b, 2)});
    context.settle();
    EXPECT_EQ(kept(a), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(tiles->bytes(), 5U * 16);
    tiles->want({tile(b, 3), tile(b, 4)});
    context.settle();
    EXPECT_EQ(kept(a), std::vector<int>{1});
    EXPECT_EQ(kept(b), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(tiles->bytes(), 5U * 16);
}

TEST_F(TimelineTilesTests, MoreInSightThanThereIsRoomForKeepsTheNearestAndStops) {
    make(3 * 16);
    const std::vector<TileRequest> row{tile(a, 1, 0), tile(b, 1, 9), tile(a, 2, 1), tile(b, 2, 8)};
    tiles->want(row);
    context.settle();
    EXPECT_EQ(kept(a), (std::vector<int>{1, 2}));
    EXPECT_EQ(kept(b).size(), 1U);
    EXPECT_EQ(tiles->bytes(), 3U * 16);
    media.clearCalls();
    tiles->want(row);
    EXPECT_FALSE(context.hasWork()) << "it isn't tried again and again";
    tiles->want({tile(b, 1), tile(b, 2)});
    context.settle();
    EXPECT_EQ(kept(b), (std::vector<int>{1, 2})) << "other wishes are";
}

TEST_F(TimelineTilesTests, AFileThatFailsIsLeftAloneUntilTheClipsChange) {
    media.failOn("sourceStill a.mov at 1200/600", Error("broken"));
    tiles->want({tile(a, 1), tile(a, 2), tile(a, 3), tile(b, 1, 9)});
    context.settle();
    EXPECT_EQ(kept(a), std::vector<int>{1});
    EXPECT_EQ(kept(b), std::vector<int>{1}) << "the others go on";
    EXPECT_TRUE(tiles->hasFailed(a));
    EXPECT_FALSE(tiles->hasFailed(b));
    EXPECT_EQ(changes, 3) << "two pictures, and that there will be no more";
    media.clearCalls();
    tiles->want({tile(a, 3), tile(a, 4)});
    EXPECT_FALSE(context.hasWork());
    // What isn't the project's clips or assets changes nothing.
    editor->setLibraryName("Other");
    context.settle();
    EXPECT_EQ(decoded(), Lines());

    media.clearFailures();
    editor->update(editor->clips()[0].id, [](Clip& clip) { clip.volume = 0.5; });
    context.settle();
    EXPECT_EQ(decoded(), (Lines{"a 3", "a 4"}));
    EXPECT_EQ(kept(a), (std::vector<int>{1, 3, 4}));
}

TEST_F(TimelineTilesTests, AFileThatCantBeOpenedOrMeasuredFailsLikewise) {
    const FileURL sound = makeManaged("sound.wav", FakeFile::audio(5));
    const FileURL gone = FileURL::fromPath("/media/gone.mov");
    for (const FileURL& file : {sound, gone}) {
        media.clearCalls();
        tiles->want({tile(file, 1)});
        context.settle();
        tiles->want({tile(file, 2)});
        context.settle();
        EXPECT_EQ(media.count("openAsset"), 1U) << file.fileName();
    }
    for (const char* step : {"loadTracks", "loadNaturalSize", "loadOrientation"}) {
        make(TimelineTiles::defaultLimit);
        media.failOn(step, "broken");
        tiles->want({tile(a, 1)});
        context.settle();
        tiles->want({tile(a, 2)});
        EXPECT_FALSE(context.hasWork()) << step;
        EXPECT_EQ(kept(a), std::vector<int>()) << step;
        media.clearFailures();
    }
}

TEST_F(TimelineTilesTests, NothingIsAskedForWhileNoWindowShowsTheProject) {
    tiles->want({tile(a, 1)});
    context.settle();
    tiles->want({tile(a, 2)});
    changes = 0;
    editor->setShown(false);
    EXPECT_EQ(tiles->bytes(), 0U);
    EXPECT_EQ(changes, 1);
    tiles->want({tile(a, 3)});
    media.clearCalls();
    context.settle();
    EXPECT_EQ(decoded(), Lines()) << "what was on its way ends as well";
    editor->setShown(true);
    tiles->want({tile(a, 3)});
    context.settle();
    EXPECT_EQ(kept(a), std::vector<int>{3});
}

TEST_F(TimelineTilesTests, WithoutAProjectNothingIsAskedFor) {
    tiles->setEditor(nullptr);
    tiles->want({tile(a, 1)});
    EXPECT_FALSE(context.hasWork());
}

TEST_F(TimelineTilesTests, AnotherProjectsPicturesAreDroppedAlsoThoseOnTheirWay) {
    tiles->want({tile(a, 1)});
    context.settle();
    tiles->want({tile(a, 2)});
    context.drain();
    const auto first = editor;
    makeEditor();
    tiles->setEditor(editor);
    EXPECT_EQ(kept(a), std::vector<int>());
    tiles->want({tile(a, 3)});
    context.settle();
    EXPECT_EQ(kept(a), std::vector<int>{3});
    EXPECT_EQ(tiles->bytes(), 16U);
}

TEST_F(TimelineTilesTests, PicturesForAnotherRatioAreDroppedAlsoThoseOnTheirWay) {
    tiles->want({tile(a, 1)});
    context.settle();
    tiles->want({tile(a, 2)});
    context.drain();
    changes = 0;
    tiles->setDevicePixelRatio(2);
    EXPECT_EQ(changes, 1);
    tiles->want({tile(a, 2), tile(a, 3)});
    media.clearCalls();
    context.settle();
    EXPECT_EQ(decoded(), (Lines{"a 2", "a 3"}));
    EXPECT_EQ(kept(a), (std::vector<int>{2, 3}));
}

TEST_F(TimelineTilesTests, TheirEndStopsWhatIsUnderWay) {
    tiles->want({tile(a, 1)});
    tiles.reset();
    context.settle();
    EXPECT_EQ(decoded(), Lines());
    make(TimelineTiles::defaultLimit);
    tiles->want({tile(a, 1)});
    context.drain();
    tiles.reset();
    context.settle();
    EXPECT_EQ(decoded(), Lines{"a 1"}) << "and what is on its way meets nobody";
}

}  // namespace
}  // namespace kelvane::testing
