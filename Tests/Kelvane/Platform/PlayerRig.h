#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/TimelinePlayer.h"
#include "Support/App/FakeMainContext.h"
#include "Support/App/FakeSoundOutput.h"
#include "Support/App/FakeStreams.h"
#include "Support/App/SimulatedThreads.h"

namespace kelvane::testing {

using namespace std::chrono_literals;

class StubTrack final : public MediaTrack {
public:
    explicit StubTrack(MediaType type) : type_(type) {}
    [[nodiscard]] MediaType type() const override { return type_; }
    [[nodiscard]] const FileURL& url() const override { return url_; }
    Result<Size> loadNaturalSize() const override { return Size{1080, 1920}; }
    Result<AffineTransform> loadOrientation() const override { return AffineTransform(); }
    Result<float> loadNominalFrameRate() const override { return 30.0F; }
    Result<MediaTimeRange> loadTimeRange() const override { return MediaTimeRange(); }

private:
    MediaType type_;
    FileURL url_ = FileURL::fromPath("/source");
};

/// An item of `duration` at 30 frames a second, with cuts at `cuts`.
inline EditedMediaPtr itemOf(MediaTime duration, const std::vector<MediaTime>& cuts = {}, bool sounds = true) {
    auto media = std::make_shared<EditedMedia>();
    media->video.renderSize = {1080, 1920};
    media->video.frameDuration = {1, 30};
    auto fill = [&](MediaType type) {
        const auto source = std::make_shared<StubTrack>(type);
        const auto track = media->composition.addTrack(type);
        MediaTime at;
        for (std::size_t i = 0; i <= cuts.size(); ++i) {
            const MediaTime end = i < cuts.size() ? cuts[i] : duration;
            EXPECT_TRUE(media->composition.insert(track, source, {at, end - at}, at).has_value());
            at = end;
        }
    };
    fill(MediaType::video);
    if (sounds) fill(MediaType::audio);
    return media;
}
inline EditedMediaPtr itemOf(double seconds) { return itemOf(MediaTime::fromSeconds(seconds)); }

/// A player with a surface, a device and sources in simulated time. What was shown and heard is kept.
class PlayerRig {
public:
    explicit PlayerRig(bool hasOutput = true) {
        sources->threads = &threads;
        if (hasOutput) output = std::make_shared<FakeSoundOutput>(context);
        player = std::make_unique<TimelinePlayer>(services());
        feed().setPictureObserver([this] { pictureCame(); });
        feed().setSurfaceSize({400, 711});
        player->setTimeObserver(33333333ns, [this](double seconds) { told.push_back(seconds); });
        player->setEndObserver([this](const EditedMediaPtr& item) {
            EXPECT_EQ(player->rate(), 0);
            ended.push_back(item);
        });
    }
    ~PlayerRig() {
        player.reset();
        threads.run(1s);
        context.settle();
        EXPECT_EQ(sources->alive, 0);
        EXPECT_EQ(sources->collisions, 0);
        if (output) EXPECT_FALSE(output->isPlaying());
    }

    PlayerServices services() {
        PlayerServices services{.context = &context};
        services.makePictureStream = [this](const EditedMediaPtr&, Size canvas) -> std::unique_ptr<PictureStream> {
            return std::make_unique<FakePictureStream>(sources, canvas);
        };
        services.makeSoundStream = [this](const EditedMediaPtr&) -> std::unique_ptr<SoundStream> {
            return std::make_unique<FakeSoundStream>(sources);
        };
        services.output = output;
        return services;
    }
    PictureFeed& feed() { return *player->pictures(); }
    void run(std::chrono::nanoseconds duration) { threads.run(duration); }
    /// Puts `item` in and shows its beginning.
    void show(EditedMediaPtr item) {
        player->replaceItem(std::move(item));
        player->seek(0);
        run(1s);
        forget();
    }
    /// Forgets what was kept.
    void forget() {
        shown.clear();
        told.clear();
        ended.clear();
        sources->asked.clear();
        greatestDistance = 0;
        distances = 0;
        player->resetStatistics();
    }
    /// The moment of the picture that is shown; none without one.
    std::optional<MediaTime> shownTime() {
        const auto picture = feed().picture();
        if (!picture) return std::nullopt;
        return tagOf(picture).time;
    }
    Size shownCanvas() { return tagOf(feed().picture()).canvas; }
    /// The numbers of the grid's frames that were shown.
    [[nodiscard]] std::vector<std::int64_t> frames() const {
        std::vector<std::int64_t> frames;
        for (const MediaTime time : shown) frames.push_back(time.floored(30).value);
        return frames;
    }
    /// What is heard, seconds of the item.
    [[nodiscard]] std::optional<double> heard() const {
        const auto sample = output ? output->heard() : std::nullopt;
        if (!sample) return std::nullopt;
        return static_cast<double>(*sample) / soundSampleRate;
    }

    FakeMainContext context;
    SimulatedThreads threads{context};
    std::shared_ptr<FakeSources> sources = std::make_shared<FakeSources>();
    std::shared_ptr<FakeSoundOutput> output;
    std::unique_ptr<TimelinePlayer> player;
    std::vector<MediaTime> shown;
    std::vector<double> told;
    std::vector<EditedMediaPtr> ended;
    /// Between a picture that came while it played and what was heard then, seconds; and how often both were there.
    double greatestDistance = 0;
    int distances = 0;

private:
    void pictureCame() {
        const auto time = shownTime();
        if (!time) return;
        shown.push_back(*time);
        const auto sound = heard();
        if (player->rate() == 0 || !sound) return;
        ++distances;
        greatestDistance = std::max(greatestDistance, std::abs(time->seconds() - *sound));
    }
};

inline std::vector<std::int64_t> framesFrom(std::int64_t first, std::int64_t last) {
    std::vector<std::int64_t> frames;
    for (auto frame = first; frame <= last; ++frame) frames.push_back(frame);
    return frames;
}

}  // namespace kelvane::testing
