#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "Media/MediaModule.h"

namespace kelvane {

/// The media engine in a library of its own, which is loaded with the first call: the first window shows without it.
/// That call blocks for as long as the loading takes, and so do others meanwhile. The main thread asks for sessions and
/// streams of what an earlier call in the background has opened, and doesn't wait. Without the library every call fails
/// in words. Any thread.
class LoadedMedia final : public MediaPlatform {
public:
    /// `library` is what the dynamic loader is asked for.
    explicit LoadedMedia(std::string library = mediaModuleLibrary) : library_(std::move(library)) {}

    /// Loads the engine, if that isn't done.
    void load() { (void)engine(); }

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

    /// A `WriteDrawnMovie`.
    Result<void> writeDrawnMovie(const FileURL& file, const DrawnMovie& movie, std::stop_token stop);

private:
    /// Null when it can't be loaded.
    MediaPlatform* engine();
    void open();
    [[nodiscard]] std::unexpected<Error> missing() const;

    const std::string library_;
    std::once_flag opening_;
    const MediaModule* module_ = nullptr;
    std::unique_ptr<MediaPlatform> engine_;
};

}  // namespace kelvane
