#pragma once

#include <memory>
#include <stop_token>

#include "DrawnMovie.h"
#include "MediaPlatform.h"

namespace kelvane {

/// What the library of the media engine offers to the program that opens it. Both are built from one tree, so that
/// types go between them as they are; no exception does.
struct MediaModule {
    /// A media engine of its own. Any thread.
    std::unique_ptr<MediaPlatform> (*makePlatform)() = nullptr;
    /// A `WriteDrawnMovie`.
    Result<void> (*writeDrawnMovie)(const FileURL& file, const DrawnMovie& movie, std::stop_token stop) = nullptr;
};

/// The file name of that library.
inline constexpr const char* mediaModuleLibrary = "libkelvane-media.so";
/// The name under which it shows a function without parameters that answers a `const MediaModule*`.
inline constexpr const char* mediaModuleEntry = "kelvaneMediaModule";

}  // namespace kelvane
