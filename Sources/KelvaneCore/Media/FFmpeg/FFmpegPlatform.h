#pragma once

#include <list>
#include <mutex>
#include <string>
#include <unordered_map>

#include "Media/FFmpeg/Source/FFmpegAsset.h"
#include "Media/MediaPlatform.h"

namespace kelvane {

/// The media engine over FFmpeg's libraries. Remembers opened sources by path, size and modification time. Any thread.
class FFmpegPlatform final : public MediaPlatform {
public:
    Result<MediaAssetPtr> openAsset(const FileURL& url, std::stop_token stop) override;
    Result<StillImagePtr> image(const MediaAssetPtr& asset, MediaTime time, Size maximum,
                                std::stop_token stop) override;
    Result<void> sourceStills(const FileURL& url, const std::vector<MediaTime>& times, Size maximum,
                              const StillConsumer& consume, std::stop_token stop) override;
    Result<void> timelineStills(const EditedMediaPtr& media, const std::vector<MediaTime>& times, Size maximum,
                                const StillConsumer& consume, std::stop_token stop) override;
    Result<void> readSamples(const MediaTrackPtr& track, const std::string& name, double start,
                             std::optional<double> end, const SampleConsumer& consume, std::stop_token stop) override;
    Result<bool> yieldsSound(const MediaTrackPtr& track, const std::string& name, std::stop_token stop) override;
    std::unique_ptr<ExportSession> makeExportSession(EditedMediaPtr media) override;

    /// How many files were opened and probed so far; for tests and benchmarks.
    [[nodiscard]] int probeCount() const;

private:
    struct Remembered {
        FileIdentity identity;
        MediaAssetPtr asset;
    };
    mutable std::mutex mutex_;
    std::unordered_map<std::string, Remembered> remembered_;
    std::list<std::string> order_;
    int probeCount_ = 0;
};

}  // namespace kelvane
