#pragma once

#include <memory>
#include <stop_token>
#include <string>

#include "FFmpegAsset.h"

namespace kelvane {

/// An opened source file that hands out the packets of one stream. Reading, opening and seeking end early when a stop
/// was requested, and have limits, so that a broken file can't hang or fill memory. One thread at a time.
class SourceDemuxer {
public:
    /// Opens the file of `track`, within `openingLimit`. A file that changed since it was probed fails with
    /// MediaError::invalidClip of `name`, as does one that can no longer be read. `stop` counts until `setStop`.
    static Result<std::unique_ptr<SourceDemuxer>> open(const FFmpegTrack& track, std::string name,
                                                       std::stop_token stop = {});
    /// With the file's name without its extension, as clips are called.
    static Result<std::unique_ptr<SourceDemuxer>> open(const FFmpegTrack& track, std::stop_token stop = {});
    ~SourceDemuxer();

    /// Whose stop requests count from now on.
    void setStop(std::stop_token stop);
    /// Next packet of the stream, or nullptr at its end. Damaged stretches are passed over, and packets with a time
    /// beyond `farthestStamp`. A file that changed since it was opened fails with MediaError::invalidClip, a disk's
    /// failure in words; so do seeks.
    Result<PacketPtr> next();
    /// Goes to the last key frame at or before `timestamp` (stream time base, file's own zero), as far as the file
    /// tells; INT64_MIN is the beginning, and so is every time stamp in a file that can't be sought.
    Result<void> seek(std::int64_t timestamp);
    /// Time stamp of the last key frame at or before `timestamp` as the file's index says, or AV_NOPTS_VALUE.
    [[nodiscard]] std::int64_t keyFrameBefore(std::int64_t timestamp) const;
    /// Whether `keyFrameBefore` knows every key frame of the file.
    [[nodiscard]] bool hasFullIndex() const;
    /// Whether packets behind a seek come with their own times, as of `SourceFile::keepsTimeInSeeks`.
    [[nodiscard]] bool keepsTimeInSeeks() const;
    /// The stream of the file as last opened: don't hold it over a call of `next` or `seek`, and ask after neither
    /// failed.
    [[nodiscard]] const AVStream& stream() const;

private:
    struct State;
    explicit SourceDemuxer(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

}  // namespace kelvane
