#include "NumberedFootage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <numeric>

#include "Integration/LiveApplication.h"

namespace kelvane::testing {

namespace numbered {

namespace {

constexpr int sampleRate = 48000;
/// Between them, a bar is neither.
constexpr int darkest = 70;
constexpr int lightest = 185;
/// Points by which a round corner narrows a picture at its upper and lower end.
constexpr int roundest = 12;
/// Seconds of an overlay that isn't heard.
constexpr double mutedLength = 0.5;

/// Whether a bar of a frame is lit, from the top.
bool isLit(int code, int bar) { return ((code >> (7 - bar % 8) & 1) != 0) == (bar < 8); }

/// A file's tones, mono, as a WAV file's bytes.
std::string wave(int file, double seconds) {
    const auto count = static_cast<std::uint32_t>(std::lround(seconds * sampleRate));
    std::string bytes;
    const auto put = [&bytes](std::uint32_t value, int size) {
        for (int i = 0; i < size; ++i) bytes.push_back(static_cast<char>(value >> (8 * i)));
    };
    bytes += "RIFF";
    put(36 + 2 * count, 4);
    bytes += "WAVEfmt ";
    put(16, 4);
    put(1, 2);
    put(1, 2);
    put(sampleRate, 4);
    put(2 * sampleRate, 4);
    put(2, 2);
    put(16, 2);
    bytes += "data";
    put(2 * count, 4);
    double phase = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        put(static_cast<std::uint32_t>(std::lround(amplitude * 32767 * std::sin(phase))), 2);
        phase += 2 * std::numbers::pi * frequencyOf(file, static_cast<int>(i / (sampleRate / 10))) / sampleRate;
    }
    return bytes;
}

/// A small picture of each frame, a point to a bar.
std::string drawings(int file, int frames) {
    std::string bytes;
    for (int frame = 0; frame < frames; ++frame)
        for (int bar = 0; bar < bars; ++bar) bytes.append(9, isLit(codeOf(file, frame), bar) ? '\xff' : '\0');
    return bytes;
}

}  // namespace

std::string makeMovie(const TempFolder& folder, int file, int frames) {
    const auto path = folder.path("Numbered " + std::to_string(file) + ".mp4");
    const auto sound = folder.path("Tones " + std::to_string(file) + ".wav");
    folder.write("Tones " + std::to_string(file) + ".wav", wave(file, static_cast<double>(frames) / framesPerSecond));
    const auto made = runProcess({"ffmpeg",
                                  "-v",
                                  "error",
                                  "-y",
                                  "-f",
                                  "rawvideo",
                                  "-pixel_format",
                                  "gray",
                                  "-video_size",
                                  "9x16",
                                  "-framerate",
                                  "30",
                                  "-i",
                                  "-",
                                  "-i",
                                  sound,
                                  "-map",
                                  "0:v",
                                  "-map",
                                  "1:a",
                                  "-af",
                                  "pan=stereo|c0=c0|c1=c0",
                                  "-vf",
                                  "scale=270:480:flags=neighbor:in_range=pc:out_range=tv,format=yuv420p,"
                                  "setparams=range=tv:color_primaries=bt709:color_trc=bt709:colorspace=bt709",
                                  "-c:v",
                                  "libx264",
                                  "-preset",
                                  "veryfast",
                                  "-crf",
                                  "12",
                                  "-g",
                                  "30",
                                  "-bf",
                                  "2",
                                  "-color_primaries",
                                  "bt709",
                                  "-color_trc",
                                  "bt709",
                                  "-colorspace",
                                  "bt709",
                                  "-color_range",
                                  "tv",
                                  "-c:a",
                                  "aac",
                                  "-b:a",
                                  "192k",
                                  path},
                                 drawings(file, frames));
    EXPECT_EQ(made.status, 0) << made.errors;
    return path;
}

std::string makeSound(const TempFolder& folder, double seconds) {
    folder.write("Overlay.wav", wave(overlayFile, seconds));
    return folder.path("Overlay.wav");
}

std::pair<int, int> lightStretch(const ScreenImage& image, int y) {
    std::pair<int, int> longest{0, 0};
    int begin = 0;
    for (int x = 0; x < image.width; ++x) {
        if (image.luma(x, y) < lightest) begin = x + 1;
        if (x + 1 - begin > longest.second) longest = {begin, x + 1 - begin};
    }
    return longest;
}

std::optional<ScreenRect> findPicture(const ScreenImage& image) {
    // No letter, knob or line is light over such a width.
    const int least = image.width / 12;
    std::optional<ScreenRect> found;
    for (int y = 0; y < image.height; ++y) {
        const auto [x, width] = lightStretch(image, y);
        if (width < least) continue;
        if (!found) found = ScreenRect{x, y, width, 0};
        // Its corners may be round. The timeline below shows pictures of its own.
        const bool isCentred = std::abs(2 * x + width - 2 * found->x - found->width) <= 4;
        if (!isCentred || std::abs(width - found->width) > 2 * roundest) continue;
        if (width > found->width) {
            found->x = x;
            found->width = width;
        }
        found->height = y + 1 - found->y;
    }
    if (!found || found->height < found->width * 3 / 2) return std::nullopt;
    return found;
}

int codeIn(const ScreenImage& image) {
    if (image.pixels.empty()) return unreadable;
    int code = 0;
    for (int bar = 0; bar < bars; ++bar) {
        // The middle third, away from what scaling and coding soften.
        const int top = image.height * (3 * bar + 1) / (3 * bars);
        const int foot = image.height * (3 * bar + 2) / (3 * bars);
        int darkestSeen = 255;
        int lightestSeen = 0;
        for (int y = top; y < foot; ++y) {
            for (int x = 0; x < image.width; ++x) {
                darkestSeen = std::min(darkestSeen, image.luma(x, y));
                lightestSeen = std::max(lightestSeen, image.luma(x, y));
            }
        }
        if (lightestSeen > darkest && darkestSeen < lightest) return unreadable;
        const bool lit = darkestSeen >= lightest;
        if (bar < 8)
            code = 2 * code + (lit ? 1 : 0);
        else if (lit != isLit(code, bar))
            return unreadable;
    }
    return code;
}

}  // namespace numbered

using namespace numbered;

int NumberedTimeline::frames() const {
    return std::accumulate(pieces.begin(), pieces.end(), 0,
                           [](int sum, const Piece& piece) { return sum + piece.until - piece.from; });
}

int NumberedTimeline::codeAt(int index) const {
    for (const Piece& piece : pieces) {
        if (index < piece.until - piece.from) return codeOf(piece.file, piece.from + index);
        index -= piece.until - piece.from;
    }
    return codeOf(pieces.back().file, pieces.back().until - 1);
}

int NumberedTimeline::codeAtTime(double seconds) const {
    return codeAt(static_cast<int>(std::lround(seconds * 600) / (600 / framesPerSecond)));
}

std::optional<int> NumberedTimeline::indexOf(int code) const {
    for (int index = 0; index < frames(); ++index)
        if (codeAt(index) == code) return index;
    return std::nullopt;
}

std::vector<ExpectedTone> NumberedTimeline::tones() const {
    std::vector<ExpectedTone> tones;
    int before = 0;
    for (const Piece& piece : pieces) {
        // A tenth of a second is three frames.
        for (int at = piece.from; at < piece.until;) {
            const int next = std::min((at / 3 + 1) * 3, piece.until);
            if (piece.volume > 0)
                tones.push_back({static_cast<double>(before + at - piece.from) / framesPerSecond,
                                 static_cast<double>(before + next - piece.from) / framesPerSecond,
                                 frequencyOf(piece.file, at / 3)});
            at = next;
        }
        before += piece.until - piece.from;
    }
    return tones;
}

std::vector<ExpectedTone> NumberedTimeline::overlayTones() const {
    std::vector<ExpectedTone> tones;
    for (int tenth = 0; tenth < std::lround(overlayLength * 10); ++tenth)
        tones.push_back({overlayFrom + 0.1 * tenth, overlayFrom + 0.1 * (tenth + 1), frequencyOf(overlayFile, tenth)});
    return tones;
}

nlohmann::json NumberedTimeline::entries(const std::vector<std::string>& assets) const {
    auto entries = nlohmann::json::array();
    for (const Piece& piece : pieces)
        entries.push_back({{"assetID", assets.at(static_cast<std::size_t>(piece.file))},
                           {"start", static_cast<double>(piece.from) / framesPerSecond},
                           {"end", static_cast<double>(piece.until) / framesPerSecond},
                           {"volume", piece.volume}});
    if (overlayLength > 0)
        entries.push_back({{"assetID", assets.at(overlayFile)},
                           {"start", 0},
                           {"end", overlayLength},
                           {"timelineStart", overlayFrom}});
    for (int lane = 0; lane < mutedLanes; ++lane)
        entries.push_back({{"assetID", assets.at(overlayFile)},
                           {"start", 0},
                           {"end", mutedLength},
                           {"timelineStart", 0},
                           {"volume", 0}});
    return entries;
}

}  // namespace kelvane::testing
