#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "Media/MediaError.h"
#include "Media/MediaStreams.h"
#include "SimulatedThreads.h"

namespace kelvane::testing {

/// What a picture of FakePictureStream says of itself.
struct PictureTag {
    MediaTime time;
    Size canvas;
};

/// A picture that holds nothing but what it is of.
inline VideoPicturePtr taggedPicture(MediaTime time, Size canvas) {
    auto picture = std::make_shared<VideoPicture>();
    picture->width = static_cast<int>(canvas.width);
    picture->height = static_cast<int>(canvas.height);
    picture->memory = std::make_shared<PictureTag>(time, canvas);
    return picture;
}
inline const PictureTag& tagOf(const VideoPicturePtr& picture) {
    return *static_cast<const PictureTag*>(picture->memory.get());
}

/// How the sources behind fake streams behave. Shared by the streams of one test, and looked at from their threads,
/// of which one runs at a time.
struct FakeSources {
    SimulatedThreads* threads = nullptr;
    /// Frames of the source, and how many of them lean on one key frame.
    MediaTime frame{20};
    std::int64_t group = 30;
    /// What it costs to decode one frame and to draw one picture, and to open a cut that wasn't prepared.
    std::chrono::nanoseconds decoding{0};
    std::chrono::nanoseconds drawing{0};
    std::chrono::nanoseconds opening{0};
    /// What it costs to go to a key frame.
    std::chrono::nanoseconds seeking{0};
    std::vector<MediaTime> cuts;
    /// Pictures and sound that can't be had.
    std::optional<MediaTimeRange> broken;
    /// What it costs to render one block of sound.
    std::chrono::nanoseconds rendering{0};

    /// What was done: the moments that were asked for, the frames decoded, failures told, and streams that haven't
    /// ended.
    std::vector<MediaTime> asked;
    std::vector<MediaTime> prepared;
    int decoded = 0;
    int failures = 0;
    int soundReads = 0;
    int soundFailures = 0;
    std::atomic<int> alive = 0;
    /// Calls of one stream that ran beside each other although they mustn't.
    int collisions = 0;
};

/// Pictures that carry their time. Decodes forward from where it is, or from the key frame before, one frame after the
/// other.
class FakePictureStream final : public PictureStream {
public:
    FakePictureStream(std::shared_ptr<FakeSources> sources, Size canvas)
        : sources_(std::move(sources)), canvas_(canvas) {
        ++sources_->alive;
    }
    ~FakePictureStream() override { --sources_->alive; }

    void setCanvas(Size pixels) override { canvas_ = pixels; }
    void overtake(std::uint64_t number) override { overtaken_ = std::max(overtaken_, number); }

    Result<StreamPicture> picture(MediaTime time, std::uint64_t number, std::stop_token stop) override {
        if (isDecoding_) ++sources_->collisions;
        isDecoding_ = true;
        auto answer = decode(time, number, stop);
        isDecoding_ = false;
        return answer;
    }

    void prepareCut(MediaTime from, MediaTime ahead, std::stop_token) override {
        if (isPreparing_) ++sources_->collisions;
        isPreparing_ = true;
        for (const MediaTime cut : sources_->cuts) {
            if (cut <= from || cut > from + ahead) continue;
            sources_->threads->sleep(sources_->opening);
            sources_->prepared.push_back(cut);
            opened_.push_back(cut);
            break;
        }
        isPreparing_ = false;
    }

private:
    Result<StreamPicture> decode(MediaTime time, std::uint64_t number, const std::stop_token& stop) {
        sources_->asked.push_back(time);
        if (sources_->broken && sources_->broken->contains(time)) {
            ++sources_->failures;
            return fail(MediaError::invalidClip("broken"));
        }
        open(time);
        const Size canvas = canvas_;
        const auto wanted = frameAt(time);
        const auto key = wanted - wanted % sources_->group;
        std::optional<std::int64_t> came;
        if (wanted < at_ || at_ < key - 1) {
            sources_->threads->sleep(sources_->seeking);
            at_ = key - 1;
        }
        while (at_ < wanted) {
            if (stop.stop_requested()) return fail(Error::cancelled());
            if (number < overtaken_) return nearest(came, canvas);
            sources_->threads->sleep(sources_->decoding);
            ++sources_->decoded;
            came = ++at_;
        }
        sources_->threads->sleep(sources_->drawing);
        return StreamPicture{taggedPicture(time, canvas), time, true};
    }
    void open(MediaTime time) {
        for (const MediaTime cut : sources_->cuts) {
            if (cut > time || std::ranges::find(opened_, cut) != opened_.end()) continue;
            if (time < cut + MediaTime(600)) sources_->threads->sleep(sources_->opening);
            opened_.push_back(cut);
        }
    }
    [[nodiscard]] StreamPicture nearest(std::optional<std::int64_t> frame, Size canvas) const {
        if (!frame) return {};
        const MediaTime time{*frame * sources_->frame.value, sources_->frame.timescale};
        return {taggedPicture(time, canvas), time, false};
    }
    [[nodiscard]] std::int64_t frameAt(MediaTime time) const {
        return time.floored(sources_->frame.timescale).value / sources_->frame.value;
    }

    std::shared_ptr<FakeSources> sources_;
    Size canvas_;
    std::uint64_t overtaken_ = 0;
    /// The frame that the decoder came to last.
    std::int64_t at_ = -1;
    std::vector<MediaTime> opened_;
    bool isDecoding_ = false;
    bool isPreparing_ = false;
};

/// Sound that carries its time: the left channel of sample n is n modulo a million, in millionths, the right its
/// millions.
class FakeSoundStream final : public SoundStream {
public:
    explicit FakeSoundStream(std::shared_ptr<FakeSources> sources) : sources_(std::move(sources)) { ++sources_->alive; }
    ~FakeSoundStream() override { --sources_->alive; }

    static constexpr std::int64_t period = 1'000'000;

    Result<void> read(std::int64_t first, std::span<float> out, std::stop_token stop) override {
        if (isReading_) ++sources_->collisions;
        isReading_ = true;
        ++sources_->soundReads;
        sources_->threads->sleep(sources_->rendering);
        isReading_ = false;
        if (stop.stop_requested()) return fail(Error::cancelled());
        if (sources_->broken && sources_->broken->contains({first, soundSampleRate})) {
            ++sources_->soundFailures;
            return fail(MediaError::invalidClip("broken"));
        }
        for (std::size_t i = 0; i < out.size() / 2; ++i) {
            const auto sample = first + static_cast<std::int64_t>(i);
            out[2 * i] = static_cast<float>(sample % period + 1) / static_cast<float>(period + 1);
            out[2 * i + 1] = static_cast<float>(sample / period) / static_cast<float>(period);
        }
        return {};
    }

    /// The sample that says this; none of silence.
    static std::optional<std::int64_t> sampleOf(float left, float right) {
        if (left == 0) return std::nullopt;
        const auto low = std::llround(left * static_cast<float>(period + 1)) - 1;
        return std::llround(right * static_cast<float>(period)) * period + low;
    }

private:
    std::shared_ptr<FakeSources> sources_;
    bool isReading_ = false;
};

}  // namespace kelvane::testing
