#pragma once

namespace kelvane {

/// How wide the assets pane is beside the preview, points, as a rule of numbers alone.
namespace AssetsPaneWidth {

inline constexpr double startFraction = 1.0 / 3;
inline constexpr double least = 200;
/// What the pane leaves of its row to what stands beside it.
inline constexpr double leftToPreview = 360;
/// By what part of the row a step of the divider moves it.
inline constexpr double step = 0.05;

/// `width` held to what a row so wide allows. The least width holds even where nothing is left to the preview.
double held(double width, double rowWidth);

}  // namespace AssetsPaneWidth

}  // namespace kelvane
