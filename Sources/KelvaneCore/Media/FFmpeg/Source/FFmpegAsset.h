#pragma once

#include <sys/types.h>

#include <optional>
#include <stop_token>

#include "Handles.h"
#include "Media/MediaAsset.h"

namespace kelvane {

/// What a source file was when it was opened. A file that no longer has this identity was replaced or changed.
struct FileIdentity {
    std::string path;
    off_t size = 0;
    std::int64_t modifiedNanoseconds = 0;
    ino_t inode = 0;
    bool operator==(const FileIdentity&) const = default;

    /// Of a regular file; another kind of file or a missing one fails in words.
    static Result<FileIdentity> of(const FileURL& url);
};

/// A track as probed. Immutable.
class FFmpegTrack final : public MediaTrack {
public:
    struct Facts {
        MediaType type = MediaType::video;
        FileURL url;
        FileIdentity identity;
        /// Index of the stream in its file.
        int streamIndex = 0;
        AVRational timeBase{1, 1};
        /// The asset's time zero in the stream's time base: subtract it from a packet's time stamp.
        std::int64_t zero = 0;
        Size naturalSize;
        AffineTransform orientation;
        float nominalFrameRate = 0;
        /// What one decoded picture takes in memory.
        std::int64_t pictureBytes = 0;
        MediaTimeRange timeRange;
        int sampleRate = 0;
        int channels = 0;
    };
    explicit FFmpegTrack(Facts facts) : facts_(std::move(facts)) {}

    [[nodiscard]] const Facts& facts() const { return facts_; }
    [[nodiscard]] MediaType type() const override { return facts_.type; }
    [[nodiscard]] const FileURL& url() const override { return facts_.url; }
    Result<Size> loadNaturalSize() const override { return facts_.naturalSize; }
    Result<AffineTransform> loadOrientation() const override { return facts_.orientation; }
    Result<float> loadNominalFrameRate() const override { return facts_.nominalFrameRate; }
    Result<MediaTimeRange> loadTimeRange() const override { return facts_.timeRange; }

private:
    Facts facts_;
};

/// A source file as probed. Immutable; holds no open file.
class FFmpegAsset final : public MediaAsset {
public:
    FFmpegAsset(std::vector<std::shared_ptr<const FFmpegTrack>> tracks, double duration, bool hasCoverPicture = false)
        : tracks_(std::move(tracks)), duration_(duration), hasCoverPicture_(hasCoverPicture) {}

    /// Opens, probes, measures and closes a file. Stops within 0.2 s of a stop request. A file that can't be read fails
    /// in words with its name; one that holds nothing playable, or a still or animated picture, gives an asset without
    /// tracks.
    static Result<std::shared_ptr<const FFmpegAsset>> open(const FileURL& url, std::stop_token stop);

    Result<std::vector<MediaTrackPtr>> loadTracks(MediaType type) const override;
    Result<double> loadDuration() const override { return duration_; }
    [[nodiscard]] bool hasCoverPicture() const override { return hasCoverPicture_; }

private:
    std::vector<std::shared_ptr<const FFmpegTrack>> tracks_;
    double duration_ = 0;
    bool hasCoverPicture_ = false;
};

}  // namespace kelvane
