#pragma once

#include "SampleCanvas.h"

/// Scenes that the program draws by itself, so that there is footage to try it on. Each is good for three seconds; any
/// thread, each with a canvas of its own.
namespace kelvane::sample {

inline constexpr int frameCount = 90;
/// Frames a second.
inline constexpr double frameRate = 30;

/// The sun sets behind a boat and a lighthouse, on 1280 × 720.
void drawCoast(Canvas& canvas, int number);
/// Balloons rise over hills, on 1080 × 1920.
void drawBalloons(Canvas& canvas, int number);

}  // namespace kelvane::sample
