#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "LiveWindow.h"
#include "Support/TempFolder.h"

namespace kelvane::testing {

/// Footage that can be told by eye and ear. A frame, upright, is sixteen bars one above the other, lit or dark: a bit
/// that tells which of two files it is of, seven of its number from the highest, and all eight again the other way
/// round, so that half of one frame and half of another are none. Each tenth of a second has a tone of its own.
namespace numbered {

inline constexpr int framesPerSecond = 30;
inline constexpr int bars = 16;
/// Of the two files with pictures, and of one with sound alone.
inline constexpr int files = 2;
inline constexpr int overlayFile = 2;
/// A file has fewer frames than that.
inline constexpr int framesPerFile = 128;
/// Where a bar can't be told for lit or dark, or they contradict each other.
inline constexpr int unreadable = -1;
/// Of a tone in the file; full scale is 1.
inline constexpr double amplitude = 0.2;

/// What tells a frame of both files from all others.
constexpr int codeOf(int file, int frame) { return file * framesPerFile + frame; }
/// The tone of a tenth of a second of a file, Hz. They lie apart by at least 40 Hz, those of the overlay above all.
constexpr double frequencyOf(int file, int tenth) { return 600 + 1800 * file + 40 * tenth; }

/// Makes a file of the two in the folder: H.264 of 270 × 480 with a key frame each second, and AAC.
std::string makeMovie(const TempFolder& folder, int file, int frames);
/// Makes a file of the overlay's tones.
std::string makeSound(const TempFolder& folder, double seconds);

/// The longest stretch of light points in a row: where it begins, and its length.
std::pair<int, int> lightStretch(const ScreenImage& image, int y);
/// Where a picture stands that begins and ends with a lit bar; nothing where none does.
std::optional<ScreenRect> findPicture(const ScreenImage& image);
/// The code of a picture of which `image` is a column from the top to the foot, or `unreadable`.
int codeIn(const ScreenImage& image);

}  // namespace numbered

/// A tone that a timeline sounds, seconds.
struct ExpectedTone {
    double from = 0;
    double until = 0;
    double frequency = 0;
};

/// An edit of numbered footage that shows no frame twice.
struct NumberedTimeline {
    /// Frames of a file, one after the other.
    struct Piece {
        int file = 0;
        int from = 0;
        int until = 0;
        double volume = 1;
    };
    std::vector<Piece> pieces;
    /// Where the overlay begins and how long it is, seconds.
    double overlayFrom = 0;
    double overlayLength = 0;
    /// Lanes of an overlay that isn't heard.
    int mutedLanes = 0;

    [[nodiscard]] int frames() const;
    [[nodiscard]] double seconds() const { return static_cast<double>(frames()) / numbered::framesPerSecond; }
    /// The code of the frame that shows from `index` / 30 s on; the last one behind the end.
    [[nodiscard]] int codeAt(int index) const;
    /// The code of what stands at a time, in seconds, to 1/600 s.
    [[nodiscard]] int codeAtTime(double seconds) const;
    /// Which frame of the timeline has this code, if it has it.
    [[nodiscard]] std::optional<int> indexOf(int code) const;
    /// Tones of the pieces, in their order.
    [[nodiscard]] std::vector<ExpectedTone> tones() const;
    [[nodiscard]] std::vector<ExpectedTone> overlayTones() const;
    /// Entries for the client's `timeline` command, given the assets' ids by file.
    [[nodiscard]] nlohmann::json entries(const std::vector<std::string>& assets) const;
};

}  // namespace kelvane::testing
