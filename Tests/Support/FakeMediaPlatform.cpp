#include "FakeMediaPlatform.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <utility>

#include "FakeMediaJournal.h"

namespace kelvane::testing {

// Descriptions

namespace {

FakeTrack trackOf(double seconds) {
    FakeTrack track;
    track.timeRange.duration = MediaTime::fromSeconds(seconds);
    return track;
}

StillImagePtr greyPicture() {
    StillImage picture{2, 2, std::vector<std::uint8_t>(16, 0x80)};
    for (std::size_t alpha = 3; alpha < picture.pixels.size(); alpha += 4) picture.pixels[alpha] = 0xff;
    return std::make_shared<const StillImage>(std::move(picture));
}

}  // namespace

FakeFile FakeFile::video(double seconds, Size naturalSize, AffineTransform transform, float rate) {
    FakeFile file = silentVideo(seconds, naturalSize, transform, rate);
    file.audioTracks.push_back(trackOf(seconds));
    return file;
}

FakeFile FakeFile::silentVideo(double seconds, Size naturalSize, AffineTransform transform, float rate) {
    FakeTrack track = trackOf(seconds);
    track.naturalSize = naturalSize;
    track.orientation = transform;
    track.nominalFrameRate = rate;
    return {seconds, {track}, {}};
}

FakeFile FakeFile::audio(double seconds) { return {seconds, {}, {trackOf(seconds)}}; }

FakeFile FakeFile::neither(double seconds) { return {seconds, {}, {}}; }

namespace {

class FakeMediaTrack final : public MediaTrack {
public:
    FakeMediaTrack(std::shared_ptr<FakeMediaPlatform::Journal> journal, FileURL url, MediaType type, std::size_t index,
                   FakeTrack facts, std::vector<FakeSamples> sound = {})
        : journal_(std::move(journal)),
          url_(std::move(url)),
          type_(type),
          facts_(std::move(facts)),
          sound_(std::move(sound)) {
        name_ = fmt::format("{} {}", url_.fileName(), FakeMediaPlatform::describe(type_));
        if (index > 0) name_ += fmt::format("#{}", index + 1);
    }

    [[nodiscard]] MediaType type() const override { return type_; }
    [[nodiscard]] const FileURL& url() const override { return url_; }
    Result<Size> loadNaturalSize() const override { return load("loadNaturalSize", facts_.naturalSize); }
    Result<AffineTransform> loadOrientation() const override { return load("loadOrientation", facts_.orientation); }
    Result<float> loadNominalFrameRate() const override {
        return load("loadNominalFrameRate", facts_.nominalFrameRate);
    }
    Result<MediaTimeRange> loadTimeRange() const override { return load("loadTimeRange", facts_.timeRange); }

    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] const std::vector<FakeSamples>& sound() const { return sound_; }

private:
    template <class T>
    Result<T> load(std::string_view what, const T& value) const {
        return answer(journal_->record([&] { return fmt::format("{} {}", what, name_); }), value);
    }

    std::shared_ptr<FakeMediaPlatform::Journal> journal_;
    FileURL url_;
    MediaType type_;
    FakeTrack facts_;
    std::vector<FakeSamples> sound_;
    std::string name_;
};

class FakeMediaAsset final : public MediaAsset {
public:
    FakeMediaAsset(std::shared_ptr<FakeMediaPlatform::Journal> journal, const FileURL& url, FakeFile file)
        : journal_(std::move(journal)), name_(url.fileName()), file_(std::move(file)) {
        for (std::size_t i = 0; i < file_.videoTracks.size(); ++i) {
            video_.push_back(
                std::make_shared<FakeMediaTrack>(journal_, url, MediaType::video, i, file_.videoTracks[i]));
        }
        for (std::size_t i = 0; i < file_.audioTracks.size(); ++i) {
            audio_.push_back(std::make_shared<FakeMediaTrack>(journal_, url, MediaType::audio, i, file_.audioTracks[i],
                                                              file_.sound));
        }
    }

    Result<std::vector<MediaTrackPtr>> loadTracks(MediaType type) const override {
        return answer(
            journal_->record([&] { return fmt::format("loadTracks {} {}", name_, FakeMediaPlatform::describe(type)); }),
            type == MediaType::video ? video_ : audio_);
    }
    Result<double> loadDuration() const override {
        return answer(journal_->record([&] { return fmt::format("loadDuration {}", name_); }), file_.duration);
    }
    [[nodiscard]] bool hasCoverPicture() const override { return file_.hasCoverPicture; }

    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] StillImagePtr picture() const { return file_.picture ? file_.picture : greyPicture(); }

private:
    std::shared_ptr<FakeMediaPlatform::Journal> journal_;
    std::string name_;
    FakeFile file_;
    std::vector<MediaTrackPtr> video_;
    std::vector<MediaTrackPtr> audio_;
};

}  // namespace

// The platform

FakeMediaPlatform::FakeMediaPlatform()
    : journal_(std::make_shared<Journal>()), progress_(std::make_shared<std::atomic<float>>(0.0F)) {}

FakeMediaPlatform::~FakeMediaPlatform() {
    openGate.open();
    imageGate.open();
    sampleGate.open();
    exportGate.open();
    estimateGate.open();
}

void FakeMediaPlatform::addFile(const FileURL& url, FakeFile file) {
    const std::scoped_lock lock(mutex_);
    files_[url] = std::move(file);
    assets_.erase(url);
}

void FakeMediaPlatform::addFileNamed(std::string name, FakeFile file) {
    const std::scoped_lock lock(mutex_);
    filesByName_[std::move(name)] = std::move(file);
    assets_.clear();
}

void FakeMediaPlatform::removeFile(const FileURL& url) {
    const std::scoped_lock lock(mutex_);
    files_.erase(url);
    assets_.erase(url);
}

void FakeMediaPlatform::failOn(std::string prefix, Error error, int times, int passes) {
    const std::scoped_lock lock(journal_->mutex);
    journal_->failures.push_back({std::move(prefix), std::move(error), times, passes});
}

void FakeMediaPlatform::clearFailures() {
    const std::scoped_lock lock(journal_->mutex);
    journal_->failures.clear();
}

void FakeMediaPlatform::setObserver(std::function<void(const std::string&)> observer) {
    const std::scoped_lock lock(journal_->mutex);
    journal_->observer = std::move(observer);
}

std::vector<std::string> FakeMediaPlatform::calls() const { return calls(""); }

std::vector<std::string> FakeMediaPlatform::calls(std::string_view prefix) const {
    const std::scoped_lock lock(journal_->mutex);
    std::vector<std::string> found;
    std::ranges::copy_if(journal_->lines, std::back_inserter(found),
                         [prefix](const std::string& line) { return line.starts_with(prefix); });
    return found;
}

void FakeMediaPlatform::clearCalls() {
    const std::scoped_lock lock(journal_->mutex);
    journal_->lines.clear();
}

void FakeMediaPlatform::setRecording(bool recording) {
    const std::scoped_lock lock(journal_->mutex);
    journal_->recording = recording;
}

void FakeMediaPlatform::setProgress(float progress) { progress_->store(progress); }

std::vector<FakeExportRecord> FakeMediaPlatform::exportRecords() const {
    const std::scoped_lock lock(mutex_);
    std::vector<FakeExportRecord> records;
    for (const auto& state : exportStates_) {
        const std::scoped_lock stateLock(state->mutex);
        records.push_back(state->record);
    }
    return records;
}

void FakeMediaPlatform::cancelAllExports() {
    const std::scoped_lock lock(mutex_);
    for (const auto& state : exportStates_) state->cancel.request_stop();
}

Result<MediaAssetPtr> FakeMediaPlatform::openAsset(const FileURL& url, std::stop_token stop) {
    const Result<void> recorded = journal_->record([&] { return fmt::format("openAsset {}", url.fileName()); });
    if (const Result<void> passed = openGate.pass(stop); !passed) return fail(passed.error());
    if (!recorded) return fail(recorded.error());
    const std::scoped_lock lock(mutex_);
    if (const auto known = assets_.find(url); known != assets_.end()) return known->second;
    const FakeFile* file = nullptr;
    if (const auto found = files_.find(url); found != files_.end())
        file = &found->second;
    else if (const auto named = filesByName_.find(url.fileName()); named != filesByName_.end())
        file = &named->second;
    if (file == nullptr) return fail(fmt::format("“{}” could not be opened.", url.fileName()));
    return assets_[url] = std::make_shared<FakeMediaAsset>(journal_, url, *file);
}

Result<StillImagePtr> FakeMediaPlatform::image(const MediaAssetPtr& asset, MediaTime time, Size maximum,
                                               std::stop_token stop) {
    const auto& fake = dynamic_cast<const FakeMediaAsset&>(*asset);
    const Result<void> recorded = journal_->record([&] {
        return fmt::format("image {} at {} within {}x{}", fake.name(), describe(time), maximum.width, maximum.height);
    });
    if (const Result<void> passed = imageGate.pass(stop); !passed) return fail(passed.error());
    return answer(recorded, fake.picture());
}

Result<void> FakeMediaPlatform::sourceStills(const FileURL& url, const std::vector<MediaTime>& times, Size maximum,
                                             const StillConsumer& consume, std::stop_token stop) {
    auto asset = openAsset(url, stop);
    if (!asset) return fail(asset.error());
    const auto& fake = dynamic_cast<const FakeMediaAsset&>(**asset);
    for (std::size_t i = 0; i < times.size(); ++i) {
        const Result<void> recorded = journal_->record([&] {
            return fmt::format("sourceStill {} at {} within {}x{}", fake.name(), describe(times[i]), maximum.width,
                               maximum.height);
        });
        if (const Result<void> passed = imageGate.pass(stop); !passed) return passed;
        const auto image = answer(recorded, fake.picture());
        if (!image) return fail(image.error());
        if (auto taken = consume(i, {*image, times[i]}); !taken) return taken;
    }
    return {};
}

Result<void> FakeMediaPlatform::timelineStills(const EditedMediaPtr& media, const std::vector<MediaTime>& times,
                                               Size maximum, const StillConsumer& consume, std::stop_token stop) {
    auto grey = std::make_shared<StillImage>();
    grey->width = static_cast<int>(media->video.renderSize.width);
    grey->height = static_cast<int>(media->video.renderSize.height);
    grey->pixels.assign(static_cast<std::size_t>(4) * grey->width * grey->height, 128);
    const StillImagePtr picture = grey;
    for (std::size_t i = 0; i < times.size(); ++i) {
        const Result<void> recorded = journal_->record([&] {
            return fmt::format("timelineStill at {} within {}x{}", describe(times[i]), maximum.width, maximum.height);
        });
        if (const Result<void> passed = imageGate.pass(stop); !passed) return passed;
        if (!recorded) return recorded;
        if (auto taken = consume(i, {picture, times[i]}); !taken) return taken;
    }
    return {};
}

Result<void> FakeMediaPlatform::readSamples(const MediaTrackPtr& track, const std::string&, double start,
                                            std::optional<double> end, const SampleConsumer& consume,
                                            std::stop_token stop) {
    const auto& fake = dynamic_cast<const FakeMediaTrack&>(*track);
    const Result<void> recorded = journal_->record([&] {
        return fmt::format("readSamples {} from {} to {}", fake.name(), start,
                           end ? fmt::format("{}", *end) : "the end");
    });
    for (const FakeSamples& block : fake.sound()) {
        if (const Result<void> passed = sampleGate.pass(stop); !passed) return passed;
        if (stop.stop_requested()) return fail(Error::cancelled());
        consume({block.rate, block.channels, block.position, block.samples});
    }
    if (const Result<void> passed = sampleGate.pass(stop); !passed) return passed;
    return recorded;
}

std::unique_ptr<ExportSession> FakeMediaPlatform::makeExportSession(EditedMediaPtr media) {
    const Result<void> recorded = journal_->record([] { return std::string("makeExportSession"); });
    if (!recorded || !exports.available) return nullptr;
    auto state = std::make_shared<ExportState>();
    state->record.media = std::move(media);
    {
        const std::scoped_lock lock(mutex_);
        exportStates_.push_back(state);
    }
    return makeFakeExportSession(*this, journal_, std::move(state), progress_);
}

std::optional<CompositionTrackID> FakeMediaPlatform::addMutableTrack(Composition& composition, MediaType type) {
    if (!journal_->record([&] { return fmt::format("addMutableTrack {}", describe(type)); })) return std::nullopt;
    return MediaPlatform::addMutableTrack(composition, type);
}

Result<void> FakeMediaPlatform::insertTimeRange(Composition& composition, CompositionTrackID track,
                                                const MediaTrackPtr& source, const MediaTimeRange& range,
                                                MediaTime at) {
    const Result<void> recorded = journal_->record([&] {
        return fmt::format("insertTimeRange {} {} {} at {}", track, dynamic_cast<const FakeMediaTrack&>(*source).name(),
                           describe(range), describe(at));
    });
    return recorded ? MediaPlatform::insertTimeRange(composition, track, source, range, at) : recorded;
}

Result<void> FakeMediaPlatform::insertEmptyTimeRange(Composition& composition, CompositionTrackID track,
                                                     const MediaTimeRange& range) {
    const Result<void> recorded =
        journal_->record([&] { return fmt::format("insertEmptyTimeRange {} {}", track, describe(range)); });
    return recorded ? MediaPlatform::insertEmptyTimeRange(composition, track, range) : recorded;
}

void FakeMediaPlatform::removeTrack(Composition& composition, CompositionTrackID track) {
    (void)journal_->record([&] { return fmt::format("removeTrack {}", track); });
    MediaPlatform::removeTrack(composition, track);
}

std::string FakeMediaPlatform::describe(MediaTime time) { return fmt::format("{}/{}", time.value, time.timescale); }

std::string FakeMediaPlatform::describe(const MediaTimeRange& range) {
    return fmt::format("[{}, {})", describe(range.start), describe(range.end()));
}

std::string_view FakeMediaPlatform::describe(MediaType type) { return type == MediaType::video ? "video" : "audio"; }

}  // namespace kelvane::testing
