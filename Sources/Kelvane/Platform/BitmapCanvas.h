#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Media/StillImage.h"
#include "Support/Geometry.h"

namespace kelvane {

/// An opaque sRGB colour, each part 0 to 1.
struct CanvasColor {
    double red = 0;
    double green = 0;
    double blue = 0;
    static constexpr CanvasColor gray(double level) { return {level, level, level}; }
    bool operator==(const CanvasColor&) const = default;
};

/// A bitmap to draw on: 8-bit sRGB, opaque, black at first. Places are in pixels from the **bottom left** corner, y
/// upward, as in drawings on paper; a rectangle's x and y are its lower left corner. Fractional edges are drawn by
/// coverage: a pixel that is covered by half takes half of the colour. What lies outside the bitmap is cut off.
///
/// One owner at a time, on any thread. Text needs a QGuiApplication to exist somewhere; the rest doesn't.
class BitmapCanvas {
public:
    /// No picture that is handed out is larger than this, in pixels a side: what readers of pictures take unscaled.
    static constexpr int maximumSide = 2000;

    /// Nothing when a side is below 1 or above `maximumSide`, or when there is no memory.
    static std::optional<BitmapCanvas> make(int width, int height);

    [[nodiscard]] int width() const { return image_.width; }
    [[nodiscard]] int height() const { return image_.height; }

    void fill(CanvasColor color);
    void fillRect(const Rect& rect, CanvasColor color);
    /// Scales the picture into `rect`. Where it is reduced, each pixel is the mean of the area that it covers, so that
    /// fine detail turns to grey rather than to false patterns; where it is enlarged, it is interpolated by cubics.
    void drawImage(const StillImage& image, const Rect& rect);
    /// Draws one line of Helvetica, or of a face of the same measures, `pixelSize` pixels high, from `x` to the right
    /// on the baseline `baseline`. Never wrapped: control characters and line breaks are drawn as blanks, and marks
    /// that would turn the direction of what follows are left out. Characters that the face lacks come from other
    /// faces. Nothing is drawn above or below the line's own band, however high its marks are stacked.
    void drawText(std::string_view text, double x, double baseline, int pixelSize, CanvasColor color);

    /// What has been drawn.
    [[nodiscard]] const StillImage& image() const { return image_; }

private:
    explicit BitmapCanvas(StillImage image) : image_(std::move(image)) {}
    StillImage image_;
};

/// The first `count` characters of `text`, counted as a reader does: letters with their marks, flags and joined emoji
/// count as one. Bytes that are not UTF-8 become U+FFFD. Any thread.
std::string firstCharacters(std::string_view text, std::size_t count);

}  // namespace kelvane
