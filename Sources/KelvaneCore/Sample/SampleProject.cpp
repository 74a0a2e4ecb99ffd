#include "SampleProject.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <future>
#include <numbers>
#include <thread>
#include <utility>

#include "Media/MediaEngine.h"
#include "SampleScenes.h"

namespace kelvane {

namespace {

constexpr double sampleRate = 48'000;

double wave(double frequency, double seconds) { return std::sin(2 * std::numbers::pi * frequency * seconds); }

/// Waves that break on a shore: noise that swells, its sharp part worn off.
class Shore {
public:
    void fill(std::int64_t first, std::span<float> samples) {
        for (std::size_t i = 0; i < samples.size(); i += 2) {
            const auto number = first + static_cast<std::int64_t>(i / 2);
            const double swell = 0.35 + 0.3 * wave(0.45, static_cast<double>(number) / sampleRate);
            for (std::size_t side = 0; side < 2; ++side) {
                const double grain = sample::noise(static_cast<int>(number), static_cast<int>(side) + 60) - 0.5;
                worn_[side] += 0.06 * (grain - worn_[side]);
                samples[i + side] = static_cast<float>(worn_[side] * swell);
            }
        }
    }

private:
    std::array<double, 2> worn_{};
};

/// Wind, and a burner that breathes.
void fillWind(std::int64_t first, std::span<float> samples) {
    for (std::size_t i = 0; i < samples.size(); i += 2) {
        const double seconds = static_cast<double>(first + static_cast<std::int64_t>(i / 2)) / sampleRate;
        const double breath = 0.05 * (1 + wave(0.6, seconds));
        const double low = breath * (wave(98, seconds) + 0.5 * wave(147, seconds + 0.3 * wave(0.2, seconds)));
        samples[i] = samples[i + 1] = static_cast<float>(low);
    }
}

/// Plucked notes of a pentatonic scale.
void fillMelody(std::int64_t first, std::span<float> samples) {
    constexpr std::array notes = {440.0, 554.37, 659.26, 880.0, 739.99, 659.26, 554.37, 493.88};
    constexpr double beat = 0.4;
    for (std::size_t i = 0; i < samples.size(); i += 2) {
        const double seconds = static_cast<double>(first + static_cast<std::int64_t>(i / 2)) / sampleRate;
        double sound = 0;
        // A note rings on under the next ones.
        for (int back = 0; back < 3; ++back) {
            const auto number = static_cast<std::int64_t>(seconds / beat) - back;
            if (number < 0) continue;
            const double since = seconds - static_cast<double>(number) * beat;
            const double note = notes[static_cast<std::size_t>(number) % notes.size()] / 2;
            const double attack = std::min(1.0, since * 200);
            sound += attack * std::exp(-3.2 * since) * (wave(note, since) + 0.3 * wave(2 * note, since));
        }
        samples[i] = samples[i + 1] = static_cast<float>(0.16 * sound);
    }
}

using Scene = void (*)(sample::Canvas&, int);

/// Draws a scene's pictures on as many threads as there are cores, some ahead of the one that is wanted.
class Drawing {
public:
    Drawing(Scene scene, int width, int height) : scene_(scene), width_(width), height_(height) {}

    std::vector<std::uint8_t> next(std::int64_t number) {
        const auto ahead = std::max(1U, std::thread::hardware_concurrency());
        while (pending_.size() < ahead && begun_ < sample::frameCount) {
            auto draw = [scene = scene_, width = width_, height = height_, which = begun_] {
                sample::Canvas canvas(width, height);
                scene(canvas, which);
                return canvas.bytes(false);
            };
            pending_.push_back(std::async(std::launch::async, std::move(draw)));
            ++begun_;
        }
        check(number + static_cast<std::int64_t>(pending_.size()) == begun_, "pictures are asked for in order");
        auto picture = pending_.front().get();
        pending_.pop_front();
        return picture;
    }

private:
    Scene scene_;
    int width_;
    int height_;
    int begun_ = 0;
    std::deque<std::future<std::vector<std::uint8_t>>> pending_;
};

/// Tells of the pictures of both scenes.
constexpr std::size_t allPictures = 2 * static_cast<std::size_t>(sample::frameCount);

DrawnMovie movieOf(Drawing& drawing, int width, int height) {
    return {.width = width,
            .height = height,
            .pictureCount = sample::frameCount,
            .picture = [&drawing](std::int64_t number) { return drawing.next(number); },
            .soundLength = static_cast<std::int64_t>(sampleRate * sample::frameCount / sample::frameRate),
            .sound = {},
            .progress = {}};
}

/// One asset and what a timeline plays of it.
Clip occurrence(const Clip& asset, double start, double end) {
    Clip clip = asset;
    clip.id = UUID::random();
    clip.start = std::min(start, asset.end);
    clip.end = std::min(end, asset.end);
    return clip;
}

Result<void> drawFootage(const WriteDrawnMovie& write, const FileURL& folder, const std::stop_token& stop,
                         const ProgressReport& report) {
    const auto tell = [&report](std::size_t done) {
        if (report) report({.items = done, .totalItems = allPictures});
    };
    tell(0);
    Drawing coast(sample::drawCoast, 1280, 720);
    auto movie = movieOf(coast, 1280, 720);
    Shore shore;
    movie.sound = [&shore](std::int64_t first, std::span<float> samples) { shore.fill(first, samples); };
    movie.progress = [&](std::int64_t count) { tell(static_cast<std::size_t>(count)); };
    if (auto made = write(folder.appending("Coast.mp4"), movie, stop); !made) return made;
    Drawing balloons(sample::drawBalloons, 1080, 1920);
    movie = movieOf(balloons, 1080, 1920);
    movie.sound = fillWind;
    movie.progress = [&](std::int64_t count) { tell(static_cast<std::size_t>(sample::frameCount + count)); };
    if (auto made = write(folder.appending("Balloons.mp4"), movie, stop); !made) return made;
    const DrawnMovie melody{
        .picture = {}, .soundLength = static_cast<std::int64_t>(6.4 * sampleRate), .sound = fillMelody, .progress = {}};
    return write(folder.appending("Melody.m4a"), melody, stop);
}

}  // namespace

Result<Project> makeSampleProject(MediaPlatform& media, const WriteDrawnMovie& write, const FileURL& folder,
                                  const std::stop_token& stop, const ProgressReport& report) {
    if (auto drawn = drawFootage(write, folder, stop, report); !drawn) return fail(drawn.error());
    std::vector<Clip> assets;
    for (const char* name : {"Balloons.mp4", "Coast.mp4", "Melody.m4a"}) {
        auto imported = MediaEngine::importClip(media, folder.appending(name), stop);
        if (!imported) return fail(imported.error());
        assets.push_back(imported->clip);
    }
    Project project;
    project.clips = {occurrence(assets[0], 0, 2.4), occurrence(assets[1], 0.2, 2.8), occurrence(assets[0], 2.4, 3)};
    Clip melody = occurrence(assets[2], 0, 5.6);
    melody.timelineStart = 0;
    melody.volume = 0.8;
    project.clips.push_back(melody);
    project.assets = std::move(assets);
    return project;
}

}  // namespace kelvane
