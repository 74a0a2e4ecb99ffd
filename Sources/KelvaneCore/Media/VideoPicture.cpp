#include "VideoPicture.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace kelvane {

namespace {

/// Rec. 709 limited range to R'G'B' 0…255, in 1/2^16 (ITU-R BT.709-6). The curve stays as it is: players send Rec. 709
/// to an sRGB screen unchanged, and a still has to look like the player.
struct ToRGB {
    int luma, redFromRed, greenFromBlue, greenFromRed, blueFromBlue;
};

ToRGB toRGB() {
    constexpr double red = 0.2126, blue = 0.0722, green = 1 - red - blue;
    const auto fixed = [](double factor) { return static_cast<int>(std::lround(factor * 65536)); };
    constexpr double scale = 255.0 / 224;
    return {fixed(255.0 / 219), fixed(2 * (1 - red) * scale), fixed(-2 * (1 - blue) * blue / green * scale),
            fixed(-2 * (1 - red) * red / green * scale), fixed(2 * (1 - blue) * scale)};
}

/// A line of colour differences times 8: three parts of the nearer chroma line, one of the other; at odd columns the
/// mean of both neighbours.
void chromaLine(const std::uint8_t* near, const std::uint8_t* far, int width, int* out) {
    const int last = (width + 1) / 2 - 1;
    for (int x = 0; x < width; ++x) {
        const int i = x / 2;
        const int j = std::min(i + x % 2, last);
        out[x] = 3 * (near[i] + near[j]) + far[i] + far[j] - 8 * 128;
    }
}

}  // namespace

StillImagePtr stillOf(const VideoPicture& picture) {
    const int width = picture.width;
    const int height = picture.height;
    auto image = std::make_shared<StillImage>();
    image->width = width;
    image->height = height;
    image->pixels.resize(static_cast<std::size_t>(width) * height * 4);

    static const ToRGB k = toRGB();
    std::vector<int> lines[2];
    for (auto& line : lines) line.resize(static_cast<std::size_t>(width));
    const auto part = [](int value) { return static_cast<std::uint8_t>(std::clamp(value >> 16, 0, 255)); };
    for (int y = 0; y < height; ++y) {
        const int near = y / 2;
        const int far = std::clamp(y % 2 == 0 ? near - 1 : near + 1, 0, (height + 1) / 2 - 1);
        for (int i = 0; i < 2; ++i) {
            const VideoPicture::Plane& plane = picture.planes[1 + i];
            chromaLine(plane.data + near * plane.stride, plane.data + far * plane.stride, width, lines[i].data());
        }
        const std::uint8_t* luma = picture.planes[0].data + y * picture.planes[0].stride;
        std::uint8_t* out = image->pixels.data() + static_cast<std::size_t>(y) * width * 4;
        for (int x = 0; x < width; ++x) {
            const int light = (luma[x] - 16) * k.luma + (1 << 15);
            const int blue = lines[0][x];
            const int red = lines[1][x];
            out[4 * x] = part(light + red * k.redFromRed / 8);
            out[4 * x + 1] = part(light + (blue * k.greenFromBlue + red * k.greenFromRed) / 8);
            out[4 * x + 2] = part(light + blue * k.blueFromBlue / 8);
            out[4 * x + 3] = 255;
        }
    }
    return image;
}

}  // namespace kelvane
