#include "MediaTime.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace kelvane {

namespace {

using Wide = __int128;

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();

/// Times too far out for 64 bits stay at the end of the range, so that hostile numbers compare and add without
/// overflow.
std::int64_t saturated(Wide value) {
    return static_cast<std::int64_t>(std::clamp(value, -Wide{largest}, Wide{largest}));
}

Wide floorDivided(Wide dividend, Wide divisor) {
    const Wide quotient = dividend / divisor;
    return dividend % divisor < 0 ? quotient - 1 : quotient;
}

/// `time` in units of 1/`timescale` seconds, halves away from zero.
Wide rescaled(MediaTime time, std::int64_t timescale) {
    const Wide product = Wide{time.value} * timescale;
    const Wide half = time.timescale / 2;
    if (timescale % time.timescale == 0) return product / time.timescale;
    return (product + (product < 0 ? -half : half)) / time.timescale;
}

/// The timescale of a sum: the least common one, or the finer of the two when that does not fit.
std::int64_t commonTimescale(std::int32_t a, std::int32_t b) {
    const std::int64_t common = std::lcm(std::int64_t{a}, std::int64_t{b});
    return common <= std::numeric_limits<std::int32_t>::max() ? common : std::max(a, b);
}

}  // namespace

MediaTime MediaTime::fromSeconds(double seconds, std::int32_t timescale) {
    // The first double that 64 bits can't hold.
    constexpr double limit = 0x1p63;
    const double units = std::round(seconds * timescale);
    if (std::isnan(units)) return {0, timescale};
    if (std::abs(units) >= limit) return {units > 0 ? largest : -largest, timescale};
    return {static_cast<std::int64_t>(units), timescale};
}

MediaTime MediaTime::floored(std::int32_t newTimescale) const {
    return {saturated(floorDivided(Wide{value} * newTimescale, timescale)), newTimescale};
}

MediaTime operator+(MediaTime a, MediaTime b) {
    if (a.timescale == b.timescale) return {saturated(Wide{a.value} + b.value), a.timescale};
    const std::int64_t timescale = commonTimescale(a.timescale, b.timescale);
    return {saturated(rescaled(a, timescale) + rescaled(b, timescale)), static_cast<std::int32_t>(timescale)};
}

MediaTime operator-(MediaTime a, MediaTime b) {
    if (a.timescale == b.timescale) return {saturated(Wide{a.value} - b.value), a.timescale};
    const std::int64_t timescale = commonTimescale(a.timescale, b.timescale);
    return {saturated(rescaled(a, timescale) - rescaled(b, timescale)), static_cast<std::int32_t>(timescale)};
}

std::strong_ordering operator<=>(MediaTime a, MediaTime b) {
    const Wide left = Wide{a.value} * b.timescale;
    const Wide right = Wide{b.value} * a.timescale;
    if (left == right) return std::strong_ordering::equal;
    return left < right ? std::strong_ordering::less : std::strong_ordering::greater;
}

bool operator==(MediaTime a, MediaTime b) { return (a <=> b) == 0; }

MediaTimeRange MediaTimeRange::intersection(const MediaTimeRange& other) const {
    const MediaTime from = std::max(start, other.start);
    const MediaTime to = std::min(end(), other.end());
    if (to <= from) return {from, MediaTime{0, from.timescale}};
    return {from, to - from};
}

}  // namespace kelvane
