#pragma once

#include <list>
#include <mutex>
#include <string>
#include <unordered_map>

#include "Media/FFmpeg/Playback/PictureCache.h"
#include "Media/FFmpeg/Playback/ReaderPool.h"
#include "Media/FFmpeg/Sound/SoundReaderPool.h"
#include "Media/FFmpeg/Source/FFmpegAsset.h"
#include "Media/MediaPlatform.h"

namespace kelvane {

/// The media engine over FFmpeg's libraries. Remembers opened sources by path, size and modification time, and keeps
/// what players' streams share: readers and drawn pictures. Any thread.
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
    std::unique_ptr<PictureStream> makePictureStream(EditedMediaPtr media, Size canvas) override;
    std::unique_ptr<SoundStream> makeSoundStream(EditedMediaPtr media) override;
    Result<std::unique_ptr<TakeWriter>> makeTakeWriter(const FileURL& file) override;

    /// How many files were opened and probed so far; for tests and benchmarks.
    [[nodiscard]] int probeCount() const;
    /// What the streams share; for tests and benchmarks.
    [[nodiscard]] const ReaderPool& readers() const { return *readers_; }
    [[nodiscard]] const SoundReaderPool& sounds() const { return *sounds_; }
    [[nodiscard]] const PictureCache& pictures() const { return *pictures_; }

private:
    struct Remembered {
        FileIdentity identity;
        MediaAssetPtr asset;
    };
    mutable std::mutex mutex_;
    std::unordered_map<std::string, Remembered> remembered_;
    std::list<std::string> order_;
    int probeCount_ = 0;
    const std::shared_ptr<ReaderPool> readers_ = ReaderPool::make();
    const std::shared_ptr<SoundReaderPool> sounds_ = std::make_shared<SoundReaderPool>();
    const std::shared_ptr<PictureCache> pictures_ = std::make_shared<PictureCache>();
};

}  // namespace kelvane
