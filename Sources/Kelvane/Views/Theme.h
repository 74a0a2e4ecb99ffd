#pragma once

#include <QRgb>

/// The window's colours by what they stand for, for what is painted rather than laid out.
namespace kelvane::Theme {

/// The main action, selection, focus, and sound.
inline constexpr QRgb accent = 0xff4ecdb8;
/// What is being recorded.
inline constexpr QRgb record = 0xffff5a52;

}  // namespace kelvane::Theme
