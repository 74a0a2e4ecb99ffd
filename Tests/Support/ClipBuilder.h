#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include "Timeline/Clip.h"
#include "Timeline/Project.h"

namespace kelvane::testing {

/// The identifier whose last bytes are `number`: uuid(1) is 00000000-0000-0000-0000-000000000001.
constexpr UUID uuid(std::uint64_t number) {
    UUID id;
    for (std::size_t i = 0; i < 8; ++i) id.bytes[15 - i] = static_cast<std::uint8_t>(number >> (8 * i));
    return id;
}

/// Builds one clip from what a test cares about; the rest is a fresh import's. Converts to Clip by itself:
///
///     Clip talk = audioClip(3, "/media/talk.wav", 12).at(4).lane(uuid(9));
class ClipBuilder {
public:
    explicit ClipBuilder(Clip clip) : clip_(std::move(clip)) {}
    operator Clip() const { return clip_; }  // NOLINT: meant to convert
    [[nodiscard]] Clip clip() const { return clip_; }

    /// The stretch [start, end) of the source, seconds.
    ClipBuilder& stretch(double start, double end) {
        clip_.start = start;
        clip_.end = end;
        return *this;
    }
    /// Timeline position, seconds.
    ClipBuilder& at(double seconds) {
        clip_.timelineStart = seconds;
        return *this;
    }
    ClipBuilder& lane(UUID lane) {
        clip_.audioTrackID = lane;
        return *this;
    }
    ClipBuilder& zoom(double zoom) {
        clip_.zoom = zoom;
        return *this;
    }
    ClipBuilder& position(double horizontal, double vertical) {
        clip_.horizontal = horizontal;
        clip_.vertical = vertical;
        return *this;
    }
    ClipBuilder& volume(double volume) {
        clip_.volume = volume;
        return *this;
    }
    ClipBuilder& original(FileURL url) {
        clip_.originalURL = std::move(url);
        return *this;
    }

private:
    Clip clip_;
};

/// A whole file of `seconds` as a video clip.
inline ClipBuilder videoClip(std::uint64_t id, FileURL url, double seconds = 10) {
    Clip clip;
    clip.id = uuid(id);
    clip.url = std::move(url);
    clip.sourceDuration = seconds;
    clip.end = seconds;
    return ClipBuilder(std::move(clip));
}
inline ClipBuilder videoClip(std::uint64_t id, std::string_view path = "/media/video.mov", double seconds = 10) {
    return videoClip(id, FileURL::fromPath(path), seconds);
}

/// A whole file of `seconds` as an audio clip without a position or a lane of its own.
inline ClipBuilder audioClip(std::uint64_t id, FileURL url, double seconds = 10) {
    Clip clip = videoClip(id, std::move(url), seconds);
    clip.audioOnly = true;
    return ClipBuilder(std::move(clip));
}
inline ClipBuilder audioClip(std::uint64_t id, std::string_view path = "/media/sound.wav", double seconds = 10) {
    return audioClip(id, FileURL::fromPath(path), seconds);
}

}  // namespace kelvane::testing
