// Draws the sample scenes of ./demo: raw RGB frames on standard output, for ffmpeg to encode.
//
//     demo-footage coast      1280 × 720: the sun sets behind a boat and a lighthouse
//     demo-footage balloons   1080 × 1920, written as a camera held upright stores it: a quarter turn to the left
//
// Each frame carries a plate with its number, in digits and as lamps: seven bits from the highest, the scene, the
// parity, and a patch of the scene's own colour. The plates of both scenes come to lie at the same place of a film of
// 720 × 1280, where ./demo reads them.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <vector>

#include "Sample/SampleScenes.h"

namespace {

using namespace kelvane::sample;

/// The digits 0 to 9 as fifteen cells each, three in a row from the top, the first in the highest bit.
constexpr std::array<unsigned, 10> digitCells{0x7b6f, 0x2c97, 0x73e7, 0x72cf, 0x5bc9,
                                              0x79cf, 0x79ef, 0x7252, 0x7bef, 0x7bcf};

/// The plate at the foot of a frame. Lengths are in `unit` pixels; `margin` are pixels below the plate.
void drawPlate(Canvas& canvas, double unit, double margin, int number, bool second, const Color& own) {
    constexpr Color dark{0.05F, 0.06F, 0.09F};
    constexpr Color unlit{0.16F, 0.18F, 0.24F};
    constexpr Color lit{1.0F, 0.95F, 0.82F};
    const Point corner{(canvas.width() - 92 * unit) / 2, canvas.height() - margin - 16 * unit};
    const auto place = [&](double x, double y) { return Point{corner.x + x * unit, corner.y + y * unit}; };
    canvas.box(corner, 92 * unit, 16 * unit, 3 * unit, dark, 0.94F);
    const int digits[] = {number / 100, number / 10 % 10, number % 10};
    for (int i = 0; i < 3; ++i)
        for (int cell = 0; cell < 15; ++cell)
            if ((digitCells[static_cast<std::size_t>(digits[i])] >> (14 - cell) & 1U) != 0)
                canvas.box(place(4 + 8 * i + 2 * (cell % 3), 3 + 2 * (cell / 3)), 2 * unit, 2 * unit, 0, lit);
    std::array<bool, 9> lamps{};
    for (int i = 0; i < 7; ++i) lamps[static_cast<std::size_t>(i)] = (number >> (6 - i) & 1) != 0;
    lamps[7] = second;
    lamps[8] = std::count(lamps.begin(), lamps.begin() + 8, true) % 2 == 0;
    for (int i = 0; i < 10; ++i) {
        const Color& color = i == 9 ? own : lamps[static_cast<std::size_t>(i)] ? lit : unlit;
        canvas.box(place(30 + 6 * i, 3), 5 * unit, 10 * unit, unit, color);
    }
}

}  // namespace

int main(int count, char** words) {
    const std::string_view scene = count == 2 ? words[1] : "";
    if (scene != "coast" && scene != "balloons") {
        std::fputs("Name a scene: coast or balloons.\n", stderr);
        return 2;
    }
    const bool coast = scene == "coast";
    Canvas canvas(coast ? 1280 : 1080, coast ? 720 : 1920);
    for (int number = 0; number < frameCount; ++number) {
        if (coast) {
            drawCoast(canvas, number);
            drawPlate(canvas, 3, 24, number, false, {0.93F, 0.45F, 0.25F});
        } else {
            drawBalloons(canvas, number);
            drawPlate(canvas, 8, 64, number, true, {0.20F, 0.52F, 0.56F});
        }
        const std::vector<std::uint8_t> bytes = canvas.bytes(!coast);
        if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size()) return 1;
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
