#include "FileSize.h"

#include <fmt/format.h>

#include <array>
#include <cmath>

namespace kelvane {

namespace {

struct Unit {
    const char* name;
    double bytes;
    /// Behind the point.
    int digits;
};

constexpr std::array units{Unit{"KB", 1e3, 0}, Unit{"MB", 1e6, 1}, Unit{"GB", 1e9, 2}, Unit{"TB", 1e12, 2},
                           Unit{"PB", 1e15, 2}};

std::string withoutZeros(std::string number) {
    if (number.find('.') == std::string::npos) return number;
    number.erase(number.find_last_not_of('0') + 1);
    if (number.ends_with('.')) number.pop_back();
    return number;
}

}  // namespace

std::string fileSizeText(std::int64_t bytes) {
    if (bytes <= 0) return "Zero KB";
    if (bytes == 1) return "1 byte";
    if (bytes < 1000) return fmt::format("{} bytes", bytes);
    for (const Unit& unit : units) {
        const double scale = std::pow(10, unit.digits);
        const double rounded = std::round(static_cast<double>(bytes) / unit.bytes * scale) / scale;
        // What rounds to a thousand is one of the next.
        if (rounded >= 1000 && &unit != &units.back()) continue;
        return withoutZeros(fmt::format("{:.{}f}", rounded, unit.digits)) + " " + unit.name;
    }
    return {};
}

}  // namespace kelvane
