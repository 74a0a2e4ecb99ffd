#pragma once

#include <compare>
#include <cstdint>

namespace kelvane {

/// Timescale of all positions in a composition: 600 units a second holds whole frames at 24, 25, 30, 50 and 60 fps, and
/// whole samples at 48 kHz (80 a unit).
inline constexpr std::int32_t compositionTimescale = 600;

/// An exact time: `value` / `timescale` seconds. A plain value; comparison is by the time meant, so 1/2 equals 300/600.
struct MediaTime {
    std::int64_t value = 0;
    std::int32_t timescale = compositionTimescale;

    /// Nearest representable time, halves away from zero. `seconds` must be finite.
    static MediaTime fromSeconds(double seconds, std::int32_t timescale = compositionTimescale);
    [[nodiscard]] constexpr double seconds() const { return static_cast<double>(value) / timescale; }
    /// The same time at another timescale, rounded down.
    [[nodiscard]] MediaTime floored(std::int32_t newTimescale) const;

    /// Exact while the common timescale fits 32 bits; else rounded to the finer of the two timescales.
    friend MediaTime operator+(MediaTime a, MediaTime b);
    friend MediaTime operator-(MediaTime a, MediaTime b);
    friend std::strong_ordering operator<=>(MediaTime a, MediaTime b);
    friend bool operator==(MediaTime a, MediaTime b);
};

/// The stretch [start, start + duration).
struct MediaTimeRange {
    MediaTime start;
    MediaTime duration;

    [[nodiscard]] MediaTime end() const { return start + duration; }
    [[nodiscard]] bool contains(MediaTime time) const { return start <= time && time < end(); }
    /// What both ranges cover; of duration zero when they don't meet.
    [[nodiscard]] MediaTimeRange intersection(const MediaTimeRange& other) const;
    bool operator==(const MediaTimeRange&) const = default;
};

}  // namespace kelvane
