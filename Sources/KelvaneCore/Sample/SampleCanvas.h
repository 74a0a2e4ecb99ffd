#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

/// What sample scenes are drawn with. Lengths are pixels, colours 0 to 1; edges are smooth.
namespace kelvane::sample {

struct Color {
    float red = 0;
    float green = 0;
    float blue = 0;
};

inline Color mix(const Color& a, const Color& b, float part) {
    return {a.red + (b.red - a.red) * part, a.green + (b.green - a.green) * part, a.blue + (b.blue - a.blue) * part};
}

inline Color scaled(const Color& color, float by) { return {color.red * by, color.green * by, color.blue * by}; }

struct Point {
    double x = 0;
    double y = 0;
};

struct Stop {
    double at = 0;
    Color color;
};

/// The colour at a place of a gradient whose stops come in order.
inline Color colorAt(const std::vector<Stop>& stops, double at) {
    if (at <= stops.front().at) return stops.front().color;
    for (std::size_t i = 1; i < stops.size(); ++i)
        if (at < stops[i].at)
            return mix(stops[i - 1].color, stops[i].color,
                       static_cast<float>((at - stops[i - 1].at) / (stops[i].at - stops[i - 1].at)));
    return stops.back().color;
}

/// Repeats for the same place, and looks like chance: 0 to 1.
inline double noise(int x, int y) {
    auto bits = static_cast<std::uint32_t>(x) * 374761393U + static_cast<std::uint32_t>(y) * 668265263U;
    bits = (bits ^ (bits >> 13)) * 1274126177U;
    return static_cast<double>((bits ^ (bits >> 16)) & 0xffffU) / 65536;
}

inline double length(double x, double y) { return std::sqrt(x * x + y * y); }

/// How much of a pixel lies inside an edge that is `distance` pixels away; negative is inside.
inline float coverage(double distance) { return static_cast<float>(std::clamp(0.5 - distance, 0.0, 1.0)); }

class Canvas {
public:
    Canvas(int width, int height)
        : width_(width), height_(height), pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }

    void blend(int x, int y, const Color& color, float part) {
        if (part <= 0) return;
        Color& pixel =
            pixels_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x)];
        pixel = part >= 1 ? color : mix(pixel, color, part);
    }

    /// Calls `paint(x, y)` for each pixel between the corners that lies on the canvas.
    template <class Paint>
    void eachWithin(double left, double top, double right, double bottom, Paint paint) {
        const int fromX = std::max(0, static_cast<int>(std::floor(left)));
        const int fromY = std::max(0, static_cast<int>(std::floor(top)));
        const int toX = std::min(width_, static_cast<int>(std::ceil(right)) + 1);
        const int toY = std::min(height_, static_cast<int>(std::ceil(bottom)) + 1);
        for (int y = fromY; y < toY; ++y)
            for (int x = fromX; x < toX; ++x) paint(x, y);
    }

    void rows(double top, double bottom, const std::vector<Stop>& stops) {
        for (int y = std::max(0, static_cast<int>(top)); y < std::min(height_, static_cast<int>(bottom)); ++y) {
            const Color color = colorAt(stops, (y - top) / (bottom - top));
            for (int x = 0; x < width_; ++x) blend(x, y, color, 1);
        }
    }

    void disc(Point center, double radius, const Color& color, float opacity = 1) {
        eachWithin(center.x - radius - 1, center.y - radius - 1, center.x + radius + 1, center.y + radius + 1,
                   [&](int x, int y) {
                       const double distance = length(x + 0.5 - center.x, y + 0.5 - center.y) - radius;
                       blend(x, y, color, opacity * coverage(distance));
                   });
    }

    /// An ellipse that fades out toward its edge, as light and clouds do.
    void glow(Point center, double radiusX, double radiusY, const Color& color, float opacity) {
        eachWithin(center.x - radiusX, center.y - radiusY, center.x + radiusX, center.y + radiusY, [&](int x, int y) {
            const double across = (x + 0.5 - center.x) / radiusX;
            const double down = (y + 0.5 - center.y) / radiusY;
            const double rest = 1 - across * across - down * down;
            if (rest > 0) blend(x, y, color, opacity * static_cast<float>(rest * rest));
        });
    }

    /// A shape without dents whose corners come clockwise.
    void polygon(const std::vector<Point>& corners, const Color& color, float opacity = 1) {
        const auto [left, right] = std::ranges::minmax(corners, {}, &Point::x);
        const auto [top, bottom] = std::ranges::minmax(corners, {}, &Point::y);
        eachWithin(left.x - 1, top.y - 1, right.x + 1, bottom.y + 1, [&](int x, int y) {
            double outside = -1e9;
            for (std::size_t i = 0; i < corners.size(); ++i) {
                const Point& a = corners[i];
                const Point& b = corners[(i + 1) % corners.size()];
                const double side = length(b.x - a.x, b.y - a.y);
                outside = std::max(
                    outside, ((b.y - a.y) * (x + 0.5 - a.x) - (b.x - a.x) * (y + 0.5 - a.y)) / std::max(side, 1e-9));
            }
            blend(x, y, color, opacity * coverage(outside));
        });
    }

    void line(Point a, Point b, double thickness, const Color& color) {
        const double half = thickness / 2;
        eachWithin(std::min(a.x, b.x) - half - 1, std::min(a.y, b.y) - half - 1, std::max(a.x, b.x) + half + 1,
                   std::max(a.y, b.y) + half + 1, [&](int x, int y) {
                       const double dx = b.x - a.x;
                       const double dy = b.y - a.y;
                       const double along = ((x + 0.5 - a.x) * dx + (y + 0.5 - a.y) * dy) / (dx * dx + dy * dy);
                       const double t = std::clamp(along, 0.0, 1.0);
                       const double distance = length(x + 0.5 - a.x - t * dx, y + 0.5 - a.y - t * dy);
                       blend(x, y, color, coverage(distance - half));
                   });
    }

    void box(Point at, double width, double height, double corner, const Color& color, float opacity = 1) {
        eachWithin(at.x - 1, at.y - 1, at.x + width + 1, at.y + height + 1, [&](int x, int y) {
            const double dx = std::abs(x + 0.5 - at.x - width / 2) - width / 2 + corner;
            const double dy = std::abs(y + 0.5 - at.y - height / 2) - height / 2 + corner;
            const double outside = length(std::max(dx, 0.0), std::max(dy, 0.0)) + std::min(std::max(dx, dy), 0.0);
            blend(x, y, color, opacity * coverage(outside - corner));
        });
    }

    /// Land below the line `top(x)`; its colour changes from `head` to `foot` between two heights, as mist makes it.
    template <class Top>
    void land(Top top, double headAt, double footAt, const Color& head, const Color& foot) {
        std::vector<double> edges;
        for (int x = 0; x < width_; ++x) edges.push_back(top(x + 0.5));
        for (int y = std::max(0, static_cast<int>(std::ranges::min(edges)) - 1); y < height_; ++y) {
            const auto part = static_cast<float>(std::clamp((y + 0.5 - headAt) / (footAt - headAt), 0.0, 1.0));
            const Color color = mix(head, foot, part);
            for (int x = 0; x < width_; ++x) blend(x, y, color, coverage(edges[static_cast<std::size_t>(x)] - y - 0.5));
        }
    }

    /// The frame in bytes; `turned` is as a camera held upright stores it.
    [[nodiscard]] std::vector<std::uint8_t> bytes(bool turned) const {
        std::vector<std::uint8_t> all(pixels_.size() * 3);
        auto out = all.begin();
        // A grain of less than a step keeps skies from showing bands.
        std::array<std::array<float, 64>, 64> grain{};
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 64; ++x)
                grain[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] = static_cast<float>(noise(x, y));
        const auto put = [&](int x, int y) {
            const Color& pixel =
                pixels_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x)];
            for (const float value : {pixel.red, pixel.green, pixel.blue})
                *out++ = static_cast<std::uint8_t>(
                    std::clamp(value * 255 + grain[static_cast<std::size_t>(y) % 64][static_cast<std::size_t>(x) % 64],
                               0.0F, 255.0F));
        };
        for (int row = 0; row < (turned ? width_ : height_); ++row)
            for (int column = 0; column < (turned ? height_ : width_); ++column)
                turned ? put(width_ - 1 - row, column) : put(column, row);
        return all;
    }

private:
    int width_;
    int height_;
    std::vector<Color> pixels_;
};

}  // namespace kelvane::sample
