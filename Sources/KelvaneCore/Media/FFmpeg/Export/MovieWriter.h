#pragma once

#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>

#include "Media/ExportSettings.h"
#include "Media/FFmpeg/Source/Handles.h"

namespace kelvane {

/// What a movie will hold, known before its first byte is written.
struct MovieLayout {
    /// What failures call the movie; its file's own name when empty.
    std::string name;
    ExportContainer container = ExportContainer::mp4;
    /// The encoders, opened; null for a track that the movie doesn't have.
    const AVCodecContext* picture = nullptr;
    const AVCodecContext* sound = nullptr;
    std::int64_t pictureCount = 0;
    /// Samples at 48 kHz.
    std::int64_t soundLength = 0;
    /// Index at the head of the file: room is left for it, and nothing has to be moved at the end.
    bool indexAtHead = false;
};

/// Bytes at most that the index of such a movie takes.
std::int64_t movieIndexLimit(const MovieLayout& layout);

/// Writes packets to a movie file. Both tracks begin at time zero, the encoders' delays signalled by edit lists.
/// Failures name the file and what the system said: "“movie.mp4” could not be written: No space left on device." One
/// thread at a time.
class MovieWriter {
public:
    enum class Track { picture, sound };

    /// Creates `file`, which must not exist. From now on, a stop request ends every call as cancelled.
    static Result<std::unique_ptr<MovieWriter>> create(const FileURL& file, const MovieLayout& layout,
                                                       std::stop_token stop);
    ~MovieWriter();

    /// Packets of one track come in decoding order, times in their encoder's time base.
    Result<void> write(Track track, PacketPtr packet);
    /// Writes the index, brings the file to disk and closes it.
    Result<void> finish();

private:
    struct State;
    explicit MovieWriter(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

}  // namespace kelvane
