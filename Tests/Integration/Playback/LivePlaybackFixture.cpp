#include "LivePlaybackFixture.h"

#include <algorithm>
#include <cstdio>

#include "Support/Patience.h"

namespace kelvane::testing {

using namespace std::chrono_literals;
using nlohmann::json;

namespace {

constexpr int movieFrames = 96;
constexpr double overlaySeconds = 1.6;
/// After so much silence nothing more is coming.
constexpr auto silence = 300ms;
/// A key that had no effect for so long wasn't taken.
constexpr auto retry = 5s;

}  // namespace

void LivePlayback::SetUp() {
    if (!SoundServer::isInstalled()) GTEST_SKIP() << "no pulseaudio here";
    if (!PrivateDisplay::isInstalled()) GTEST_SKIP() << "no Xvfb here";
}

void LivePlayback::start() {
    ASSERT_TRUE(sound.start()) << sound.log();
    ASSERT_TRUE(display.start()) << display.log();
    ear = std::make_unique<SoundEar>();
    folder.write("First Film.kelvane", "{\"clips\":[],\"version\":1}");
    // Drawn by the processor, so that no driver of this machine has a part in it.
    const std::vector<std::string> surroundings{"QT_QPA_PLATFORM=xcb", "QT_QUICK_BACKEND=software",
                                                "DISPLAY=" + display.name()};
    app = std::make_unique<LiveApplication>(folder, std::vector{folder.path("First Film.kelvane")}, surroundings);
    ASSERT_TRUE(app->waitForProject()) << folder.read("application.log");
    window = std::make_unique<LiveWindow>(display.name());
    ASSERT_TRUE(window->waitForIt()) << folder.read("application.log");
}

void LivePlayback::open(NumberedTimeline edit) {
    ASSERT_NO_FATAL_FAILURE(start());
    const json files{numbered::makeMovie(folder, 0, movieFrames), numbered::makeMovie(folder, 1, movieFrames),
                     numbered::makeSound(folder, overlaySeconds)};
    assets = app->result({"import", "--revision", app->revision(), "--json", files.dump()})
                 .value("imported", std::vector<std::string>());
    ASSERT_EQ(assets.size(), files.size());
    lay(std::move(edit));
    std::optional<ScreenRect> picture;
    ASSERT_TRUE(eventually([&] { return (picture = findPicture()).has_value(); })) << "no picture in the window";
    picture_ = *picture;
    eye = std::make_unique<PictureEye>(display.name(), picture_);
    ASSERT_TRUE(eventually([this] { return eye->code() == timeline.codeAt(0); })) << eye->code();
}

void LivePlayback::lay(NumberedTimeline edit) {
    timeline = std::move(edit);
    app->result({"timeline", "--revision", app->revision(), "--json", timeline.entries(assets).dump()});
}

std::optional<ScreenRect> LivePlayback::findPicture() const {
    const ScreenImage image = window->screen().image(window->rect());
    if (image.pixels.empty()) return std::nullopt;
    auto found = numbered::findPicture(image);
    if (!found) return std::nullopt;
    found->x += window->rect().x;
    found->y += window->rect().y;
    return found;
}

bool LivePlayback::sees(int atLeast, std::chrono::nanoseconds begun) const {
    return eventually([&] {
        return std::ranges::any_of(since(begun).sights, [&](const Sight& sight) {
            const auto index = timeline.indexOf(sight.code);
            return index && *index >= atLeast && *index < timeline.frames() - 1;
        });
    });
}

bool LivePlayback::fallsSilent(std::chrono::nanoseconds since) const {
    return eventually([&] {
        const auto last = ear->lastLoud(numbered::amplitude / 4);
        return last && *last > since && ear->heardUntil() > *last + silence;
    });
}

bool LivePlayback::picturesEnd() const {
    const auto asked = now();
    return eventually([this, asked] {
        const auto last = eye->sights().back();
        return last.until > std::max(last.notAfter, asked) + silence;
    });
}

LivePlayback::Play LivePlayback::since(std::chrono::nanoseconds begun) const {
    Play play{eye->sights(), ear->heard(begun)};
    std::erase_if(play.sights, [begun](const Sight& sight) { return sight.notAfter < begun; });
    return play;
}

void LivePlayback::pressToPlay() {
    const double stood = playhead();
    const auto end = now() + patience;
    for (bool hasBegun = false; !hasBegun && now() < end;) {
        window->press(' ');
        const auto pressed = now();
        (void)eventually([&] {
            hasBegun = playhead() != stood;
            return hasBegun || now() > pressed + retry;
        });
    }
}

LivePlayback::Play LivePlayback::playToTheEnd() {
    const auto begun = now();
    pressToPlay();
    EXPECT_TRUE(sees(1, begun));
    EXPECT_TRUE(eventually([this] { return playhead() > timeline.seconds() - 1e-9; }));
    EXPECT_TRUE(fallsSilent(begun));
    const auto ended = state();
    const auto isSound = [](const json& entry) { return entry.contains("timelineStart"); };
    const bool isBehindPictures = ended.value("playhead", 0.0) >= ended.value("duration", 0.0);
    const bool saysSo = isBehindPictures && std::ranges::any_of(ended["timeline"], isSound);
    const int last = saysSo ? numbered::unreadable : timeline.codeAt(timeline.frames() - 1);
    EXPECT_TRUE(eventually([&] { return eye->code() == last; })) << eye->code();
    Play play = since(begun);
    if (saysSo) play.sights.pop_back();
    return play;
}

double LivePlayback::expectRest() {
    double at = 0;
    EXPECT_TRUE(eventually([&] {
        at = playhead();
        const auto asked = now();
        return eventually([asked] { return now() > asked + silence; }) && playhead() == at;
    }));
    EXPECT_TRUE(eventually([&] { return eye->code() == timeline.codeAtTime(at); }))
        << "at " << at << " s there is " << timeline.codeAtTime(at) << ", and " << eye->code() << " is seen";
    const auto seen = eye->sights().size();
    EXPECT_EQ(playhead(), at);
    EXPECT_EQ(eye->sights().size(), seen) << "another picture followed";
    return at;
}

ScreenImage LivePlayback::sheetOf(double seconds) const {
    const auto path = app->result({"preview", "--times", std::to_string(seconds)}).value("path", std::string());
    const auto measured = runProcess({"ffprobe", "-v", "error", "-show_entries", "stream=width,height", "-of",
                                      "default=noprint_wrappers=1:nokey=1", path});
    const auto decoded = runProcess({"ffmpeg", "-v", "error", "-i", path, "-f", "rawvideo", "-pix_fmt", "bgr0", "-"});
    ScreenImage sheet{.pixels = {decoded.output.begin(), decoded.output.end()}};
    EXPECT_EQ(std::sscanf(measured.output.c_str(), "%d %d", &sheet.width, &sheet.height), 2) << measured.errors;
    return sheet;
}

int LivePlayback::codeInspectedAt(double seconds) {
    // Where the tile is shows in one that begins and ends with light.
    if (!tile_) tile_ = numbered::findPicture(sheetOf(0));
    EXPECT_TRUE(tile_);
    if (!tile_) return numbered::unreadable;
    return numbered::codeIn(sheetOf(seconds).part({tile_->x + tile_->width / 2, tile_->y, 1, tile_->height}));
}

std::optional<ScreenRect> LivePlayback::findPlayhead() const {
    // It stands in the window's middle. Its head is wider than a letter's line, and lighter than all around it.
    constexpr int head = 9;
    constexpr int around = 16;
    const ScreenRect& whole = window->rect();
    const int top = picture_.y + picture_.height + 1;
    const ScreenRect below{whole.x + whole.width / 2 - around, top, 2 * around, whole.y + whole.height - top};
    const ScreenImage image = window->screen().image(below);
    if (image.pixels.empty()) return std::nullopt;
    for (int y = 0; y < image.height; ++y) {
        const auto [x, width] = numbered::lightStretch(image, y);
        if (width >= head) return ScreenRect{below.x + x, below.y + y, width, width};
    }
    return std::nullopt;
}

}  // namespace kelvane::testing
