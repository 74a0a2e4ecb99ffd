#include "SampleScenes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

namespace kelvane::sample {

namespace {

/// A ridge of hills, as sums of waves: how far it rises at `x`, -1 to 1.
double ridge(double x, double seed) {
    return 0.5 * std::sin(x + seed) + 0.3 * std::sin(2.3 * x + 1.7 * seed) + 0.2 * std::sin(5.1 * x + 2.9 * seed);
}

void drawBird(Canvas& canvas, Point at, double size, double phase, const Color& color) {
    const double lift = std::sin(phase) * size * 0.45;
    for (const double side : {-1.0, 1.0}) {
        const Point elbow{at.x + side * size * 0.5, at.y - size * 0.2 - lift * 0.6};
        canvas.line(at, elbow, size * 0.11, color);
        canvas.line(elbow, {at.x + side * size, at.y - lift * 1.1 + size * 0.1}, size * 0.08, color);
    }
}

// The coast

constexpr double horizon = 432;

void drawSea(Canvas& canvas, double seconds, double sunX) {
    canvas.rows(horizon, canvas.height(),
                {{0, {0.98F, 0.66F, 0.42F}},
                 {0.12, {0.72F, 0.40F, 0.45F}},
                 {0.5, {0.28F, 0.22F, 0.42F}},
                 {1, {0.08F, 0.10F, 0.24F}}});
    constexpr Color light{1.0F, 0.84F, 0.55F};
    for (int y = static_cast<int>(horizon); y < canvas.height(); ++y) {
        const double depth = (y - horizon) / (canvas.height() - horizon);
        const double wide = 60 + 230 * depth;
        const int band = static_cast<int>(std::sqrt(depth) * 46);
        for (int x = 0; x < canvas.width(); ++x) {
            const double wave = std::sin(x * (0.16 - 0.11 * depth) + band * 2.4 + seconds * (1.2 + band % 3)) +
                                std::sin(x * (0.06 - 0.035 * depth) - band * 1.3 - seconds * 1.6);
            const double away = std::abs(x - sunX) / wide;
            const double shine = std::clamp(wave * 0.5 - 0.1, 0.0, 1.0);
            const double near = std::max(0.0, 1 - away * away);
            canvas.blend(x, y, light, static_cast<float>(shine * (0.75 * near + 0.06)));
        }
    }
}

void drawBoat(Canvas& canvas, Point at, double lean) {
    constexpr Color sail{1.0F, 0.93F, 0.82F};
    constexpr Color shade{0.93F, 0.72F, 0.62F};
    constexpr Color hull{0.16F, 0.09F, 0.14F};
    const auto place = [&](double x, double y) {
        return Point{at.x + x * std::cos(lean) - y * std::sin(lean), at.y + x * std::sin(lean) + y * std::cos(lean)};
    };
    canvas.glow({at.x, at.y + 26}, 90, 16, hull, 0.6F);
    canvas.line(place(0, 4), place(0, -128), 3, hull);
    canvas.polygon({place(5, -124), place(62, -12), place(5, -8)}, sail);
    canvas.polygon({place(-5, -112), place(-5, -10), place(-44, -10)}, shade);
    canvas.polygon({place(-58, 0), place(68, 0), place(46, 22), place(-42, 22)}, hull);
    canvas.polygon({place(-55, 3), place(65, 3), place(62, 7), place(-52, 7)}, {0.80F, 0.28F, 0.24F});
}

void drawLighthouse(Canvas& canvas, double seconds) {
    constexpr Color rock{0.09F, 0.07F, 0.14F};
    canvas.land(
        [](double x) {
            const double rise = std::clamp((x - 610) / 160, 0.0, 1.0);
            return 745 - rise * rise * (3 - 2 * rise) * 260 + 7 * ridge(x / 16, 2) + 3 * ridge(x / 5, 5);
        },
        480, 700, {0.25F, 0.13F, 0.20F}, rock);
    const double x = 806;
    const Point lamp{x, 254};
    constexpr Color beam{1.0F, 0.93F, 0.70F};
    const double reach = 520 * std::sin(seconds * 2.1);
    canvas.eachWithin(
        lamp.x - std::abs(reach), lamp.y - 60, lamp.x + std::abs(reach), lamp.y + 60, [&](int px, int py) {
            const double along = (px + 0.5 - lamp.x) / reach;
            if (along <= 0 || along >= 1) return;
            const double away = std::abs(py + 0.5 - lamp.y) / (6 + 46 * along);
            canvas.blend(px, py, beam, static_cast<float>(std::max(0.0, 1 - away * away) * (1 - along) * 0.55));
        });
    const auto half = [](double y) { return 17 + (y - 270) * 0.055; };
    for (int band = 0; band < 5; ++band) {
        const double top = 270 + 46 * band;
        const Color paint = band % 2 == 0 ? Color{0.93F, 0.86F, 0.82F} : Color{0.72F, 0.19F, 0.20F};
        canvas.polygon({{x - half(top), top},
                        {x + half(top), top},
                        {x + half(top + 47), top + 47},
                        {x - half(top + 47), top + 47}},
                       paint);
        canvas.polygon({{x + 4, top}, {x + half(top), top}, {x + half(top + 47), top + 47}, {x + 6, top + 47}}, rock,
                       0.35F);
    }
    canvas.box({x - 24, 264}, 48, 7, 2, rock);
    canvas.box({x - 13, 242}, 26, 22, 2, {1.0F, 0.90F, 0.60F});
    canvas.polygon({{x, 222}, {x + 19, 243}, {x - 19, 243}}, {0.50F, 0.12F, 0.16F});
    canvas.glow(lamp, 90, 90, beam, static_cast<float>(0.35 + 0.25 * std::cos(seconds * 4.2)));
}

// The balloons

struct Balloon {
    Point at;
    double radius = 0;
    std::array<Color, 2> stripes;
    double turn = 0;
    bool burns = false;
};

void drawBalloon(Canvas& canvas, const Balloon& balloon) {
    const double radius = balloon.radius;
    // Round above, and below a tangent that leads to the mouth.
    const double leave = 0.42 * radius;
    const double foot = 1.28 * radius;
    const double widest = std::sqrt(radius * radius - leave * leave);
    const auto half = [&](double down) {
        if (down < leave) return std::sqrt(std::max(0.0, radius * radius - down * down));
        return widest + (0.17 * radius - widest) * (down - leave) / (foot - leave);
    };
    constexpr Color rope{0.25F, 0.19F, 0.17F};
    const Point basket{balloon.at.x, balloon.at.y + 1.62 * radius};
    for (const double side : {-1.0, 1.0})
        canvas.line({balloon.at.x + side * 0.16 * radius, balloon.at.y + foot},
                    {basket.x + side * 0.13 * radius, basket.y}, 3, rope);
    canvas.box({basket.x - 0.15 * radius, basket.y - 4}, 0.3 * radius, 0.24 * radius, 0.04 * radius,
               {0.48F, 0.30F, 0.18F});
    canvas.box({basket.x - 0.16 * radius, basket.y - 6}, 0.32 * radius, 0.05 * radius, 3, {0.30F, 0.18F, 0.12F});
    if (balloon.burns)
        canvas.glow({basket.x, balloon.at.y + 1.42 * radius}, 0.08 * radius, 0.2 * radius, {1.0F, 0.80F, 0.35F}, 1);
    canvas.eachWithin(balloon.at.x - radius - 1, balloon.at.y - radius - 1, balloon.at.x + radius + 1,
                      balloon.at.y + foot + 1, [&](int x, int y) {
                          const double down = y + 0.5 - balloon.at.y;
                          const double across = x + 0.5 - balloon.at.x;
                          const double side = half(down);
                          const double edge = down < leave ? length(across, down) - radius
                                                           : std::max(std::abs(across) - side, down - foot);
                          const float inside = coverage(edge);
                          if (inside <= 0 || side <= 0) return;
                          const double bulge = std::clamp(across / side, -1.0, 1.0);
                          const double gore = (std::asin(bulge) + balloon.turn) / (std::numbers::pi / 7);
                          const bool first = static_cast<int>(std::floor(gore)) % 2 == 0;
                          const double seam = std::abs(gore - std::round(gore)) * side * 0.4;
                          const Color cloth = mix(balloon.stripes[first ? 0 : 1], balloon.stripes[first ? 1 : 0],
                                                  static_cast<float>(std::clamp(0.5 - seam, 0.0, 0.5)));
                          const double light = 0.86 + 0.20 * bulge - 0.16 * bulge * bulge - 0.14 * (down / radius);
                          canvas.blend(x, y, scaled(cloth, static_cast<float>(light)), inside);
                      });
    canvas.box({balloon.at.x - 0.17 * radius, balloon.at.y + foot - 3}, 0.34 * radius, 0.06 * radius, 2,
               scaled(balloon.stripes[0], 0.6F));
}

void drawSky(Canvas& canvas, double seconds) {
    canvas.rows(0, 1500,
                {{0, {0.18F, 0.43F, 0.66F}},
                 {0.5, {0.53F, 0.76F, 0.84F}},
                 {0.85, {0.98F, 0.87F, 0.72F}},
                 {1, {1.0F, 0.80F, 0.62F}}});
    const Point sun{850, 330};
    canvas.glow(sun, 420, 420, {1.0F, 0.96F, 0.80F}, 0.8F);
    canvas.disc(sun, 74, {1.0F, 0.98F, 0.90F});
    for (int i = 0; i < 6; ++i) {
        const double x = std::fmod(noise(i, 21) * 1500 + seconds * (22 + 6 * i), 1500) - 210;
        const double y = 190 + 165.0 * i;
        for (int puff = 0; puff < 6; ++puff)
            canvas.glow({x - 110 + 44.0 * puff, y - 26 * std::sin(puff * 0.63) - 14 * noise(i, puff)}, 104,
                        50 + 16 * noise(puff, i), {1, 0.99F, 0.97F}, 0.62F);
    }
}

}  // namespace

void drawCoast(Canvas& canvas, int number) {
    const double seconds = number / frameRate;
    const Point sun{628, 352 + 13 * seconds};
    canvas.rows(0, horizon,
                {{0, {0.11F, 0.13F, 0.34F}},
                 {0.4, {0.42F, 0.24F, 0.50F}},
                 {0.75, {0.93F, 0.45F, 0.42F}},
                 {1, {1.0F, 0.76F, 0.44F}}});
    for (int i = 0; i < 60; ++i) {
        const Point star{noise(i, 1) * 1280, noise(i, 2) * 190};
        canvas.disc(star, 0.8 + noise(i, 3), {1, 0.96F, 0.9F},
                    static_cast<float>(0.25 + 0.25 * std::sin(seconds * 5 + i)));
    }
    canvas.glow(sun, 430, 330, {1.0F, 0.72F, 0.40F}, 0.75F);
    canvas.disc(sun, 62, {1.0F, 0.91F, 0.66F});
    for (int i = 0; i < 9; ++i) {
        const double x = std::fmod(noise(i, 7) * 1500 + seconds * (14 + 10 * noise(i, 8)), 1500) - 110;
        canvas.glow({x, 70 + 34.0 * i}, 130 + 90 * noise(i, 9), 9 + 5 * noise(i, 10), {1.0F, 0.70F, 0.62F}, 0.55F);
    }
    canvas.land([&](double x) { return horizon - 34 - 26 * ridge(x / 210 + seconds * 0.05, 1); }, 380, 440,
                {0.60F, 0.30F, 0.44F}, {0.82F, 0.44F, 0.44F});
    canvas.land([&](double x) { return horizon - 12 - 20 * ridge(x / 130 + seconds * 0.1, 4); }, 400, 440,
                {0.40F, 0.20F, 0.38F}, {0.62F, 0.32F, 0.42F});
    drawSea(canvas, seconds, sun.x);
    for (int i = 0; i < 5; ++i)
        drawBird(canvas, {470 + 46.0 * i + 34 * seconds, 210 + 22.0 * (i % 3) - 6 * seconds}, 17 + i % 2 * 5,
                 seconds * 9 + i, {0.14F, 0.09F, 0.20F});
    drawBoat(canvas, {520 + 38 * seconds, 536 + 4 * std::sin(seconds * 2.6)}, 0.05 * std::sin(seconds * 2.1));
    drawLighthouse(canvas, seconds);
}

void drawBalloons(Canvas& canvas, int number) {
    const double seconds = number / frameRate;
    drawSky(canvas, seconds);
    canvas.land(
        [&](double x) {
            return 1210 - 120 * ridge(x / 260 + seconds * 0.03, 2) - 34 * ridge(x / 60 + seconds * 0.13, 3);
        },
        1080, 1420, {0.50F, 0.62F, 0.74F}, {0.93F, 0.86F, 0.78F});
    drawBalloon(canvas, {{232 + 14 * seconds, 900 - 22 * seconds},
                         96,
                         {{{0.95F, 0.78F, 0.30F}, {0.20F, 0.52F, 0.56F}}},
                         seconds * 0.3,
                         false});
    canvas.land(
        [&](double x) {
            return 1350 - 90 * ridge(x / 190 + seconds * 0.07, 6) - 14 * ridge(x / 30 + seconds * 0.44, 1);
        },
        1270, 1570, {0.36F, 0.52F, 0.56F}, {0.74F, 0.78F, 0.72F});
    drawBalloon(canvas, {{862 - 20 * seconds, 1040 - 40 * seconds},
                         128,
                         {{{0.36F, 0.30F, 0.62F}, {0.95F, 0.90F, 0.86F}}},
                         -seconds * 0.25,
                         number % 45 > 30});
    canvas.land([&](double x) { return 1530 - 70 * ridge(x / 150 + seconds * 0.12, 9); }, 1470, 1730,
                {0.22F, 0.40F, 0.38F}, {0.52F, 0.64F, 0.54F});
    drawBalloon(canvas, {{508 + 10 * std::sin(seconds), 640 - 58 * seconds},
                         224,
                         {{{0.91F, 0.30F, 0.24F}, {0.99F, 0.93F, 0.82F}}},
                         seconds * 0.35,
                         number % 60 < 24});
    // A row of firs.
    canvas.land(
        [&](double x) {
            const double along = x + seconds * 46;
            const double tree = std::floor(along / 34);
            const double within = std::abs(along / 34 - tree - 0.5) * 2;
            const double tall = 60 + 60 * noise(static_cast<int>(tree), 40);
            return 1730 - 40 * ridge(along / 240, 4) - tall * (1 - within) + 8 * std::fmod(within * 5, 1.0);
        },
        1620, 1900, {0.06F, 0.17F, 0.19F}, {0.10F, 0.22F, 0.22F});
    for (int i = 0; i < 6; ++i)
        drawBird(canvas, {700 - 52.0 * i - 48 * seconds, 1230 + 26.0 * std::abs(i - 2) - 10 * seconds}, 26,
                 seconds * 8 + i * 0.9, {0.15F, 0.22F, 0.26F});
}

}  // namespace kelvane::sample
