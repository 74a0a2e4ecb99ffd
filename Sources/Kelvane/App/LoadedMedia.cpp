#include "LoadedMedia.h"

#include <dlfcn.h>

#include <cstdio>

namespace kelvane {

void LoadedMedia::open() {
    // Its functions stay for as long as the process: the library is never closed.
    void* library = dlopen(library_.c_str(), RTLD_LAZY | RTLD_LOCAL);
    using Entry = const MediaModule* (*)();
    const auto entry = library != nullptr ? reinterpret_cast<Entry>(dlsym(library, mediaModuleEntry)) : nullptr;
    if (entry == nullptr) {
        const char* why = dlerror();
        std::fprintf(stderr, "kelvane: %s\n", why != nullptr ? why : library_.c_str());
        return;
    }
    module_ = entry();
    engine_ = module_->makePlatform();
}

MediaPlatform* LoadedMedia::engine() {
    std::call_once(opening_, [this] { open(); });
    return engine_.get();
}

std::unexpected<Error> LoadedMedia::missing() const {
    return fail("Kelvane cannot work with media: its library " + library_ + " is missing; reinstall it.");
}

Result<MediaAssetPtr> LoadedMedia::openAsset(const FileURL& url, std::stop_token stop) {
    auto* media = engine();
    if (media == nullptr) return missing();
    return media->openAsset(url, std::move(stop));
}

Result<StillImagePtr> LoadedMedia::image(const MediaAssetPtr& asset, MediaTime time, Size maximum,
                                         std::stop_token stop) {
    auto* media = engine();
    if (media == nullptr) return missing();
    return media->image(asset, time, maximum, std::move(stop));
}

Result<void> LoadedMedia::sourceStills(const FileURL& url, const std::vector<MediaTime>& times, Size maximum,
                                       const StillConsumer& consume, std::stop_token stop) {
    auto* media = engine();
    if (media == nullptr) return missing();
    return media->sourceStills(url, times, maximum, consume, std::move(stop));
}

Result<void> LoadedMedia::timelineStills(const EditedMediaPtr& edited, const std::vector<MediaTime>& times,
                                         Size maximum, const StillConsumer& consume, std::stop_token stop) {
    auto* media = engine();
    if (media == nullptr) return missing();
    return media->timelineStills(edited, times, maximum, consume, std::move(stop));
}

Result<void> LoadedMedia::readSamples(const MediaTrackPtr& track, const std::string& name, double start,
                                      std::optional<double> end, const SampleConsumer& consume, std::stop_token stop) {
    auto* media = engine();
    if (media == nullptr) return missing();
    return media->readSamples(track, name, start, end, consume, std::move(stop));
}

Result<bool> LoadedMedia::yieldsSound(const MediaTrackPtr& track, const std::string& name, std::stop_token stop) {
    auto* media = engine();
    if (media == nullptr) return missing();
    return media->yieldsSound(track, name, std::move(stop));
}

std::unique_ptr<ExportSession> LoadedMedia::makeExportSession(EditedMediaPtr edited) {
    auto* media = engine();
    return media != nullptr ? media->makeExportSession(std::move(edited)) : nullptr;
}

std::unique_ptr<PictureStream> LoadedMedia::makePictureStream(EditedMediaPtr edited, Size canvas) {
    auto* media = engine();
    return media != nullptr ? media->makePictureStream(std::move(edited), canvas) : nullptr;
}

std::unique_ptr<SoundStream> LoadedMedia::makeSoundStream(EditedMediaPtr edited) {
    auto* media = engine();
    return media != nullptr ? media->makeSoundStream(std::move(edited)) : nullptr;
}

Result<std::unique_ptr<TakeWriter>> LoadedMedia::makeTakeWriter(const FileURL& file) {
    auto* media = engine();
    if (media == nullptr) return missing();
    return media->makeTakeWriter(file);
}

Result<void> LoadedMedia::writeDrawnMovie(const FileURL& file, const DrawnMovie& movie, std::stop_token stop) {
    if (engine() == nullptr) return missing();
    return module_->writeDrawnMovie(file, movie, std::move(stop));
}

}  // namespace kelvane
