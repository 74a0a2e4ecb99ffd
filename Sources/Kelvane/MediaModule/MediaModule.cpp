// The media engine as a library of its own: it brings some two hundred others along, whose loading no window waits for.
#include "Media/MediaModule.h"

#include "Media/FFmpeg/DrawnMovieWriter.h"
#include "Media/FFmpeg/FFmpegPlatform.h"

/// The library's only name. Good until the process ends.
extern "C" __attribute__((visibility("default"))) const kelvane::MediaModule* kelvaneMediaModule() {
    static constexpr kelvane::MediaModule module{
        .makePlatform = []() -> std::unique_ptr<kelvane::MediaPlatform> {
            return std::make_unique<kelvane::FFmpegPlatform>();
        },
        .writeDrawnMovie = kelvane::writeDrawnMovieFile,
    };
    return &module;
}
