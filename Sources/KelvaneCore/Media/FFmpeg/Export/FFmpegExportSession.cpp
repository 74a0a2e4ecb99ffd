#include "FFmpegExportSession.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "ExportEstimate.h"
#include "ExportPlan.h"
#include "ExportPumps.h"
#include "ExportRun.h"
#include "Media/FFmpeg/Sound/SoundRenderer.h"
#include "Media/MediaError.h"
#include "MovieEncoders.h"
#include "MovieWriter.h"

namespace kelvane {

namespace {

using Progress = std::atomic<float>;

/// One run: it encodes the pictures and puts both tracks into the file in the order of their decoding times, while the
/// pumps render ahead.
class MovieRun {
public:
    MovieRun(ExportPlan plan, std::shared_ptr<ExportRun> run, std::shared_ptr<Progress> progress)
        : plan_(std::move(plan)), run_(std::move(run)), progress_(std::move(progress)) {}

    /// Opens the encoders and creates the file.
    Result<void> open(const FileURL& file, const ExportSession& session, ExportContainer container);
    /// Makes the movie; once, after `open`.
    Result<void> make();

private:
    Result<void> openEncoders();
    Result<void> encodePictures();
    Result<void> writePicture(PacketPtr packet);
    /// Writes the sound that is decoded no later than a picture; all the rest without one.
    Result<void> writeSound(const AVPacket* before);
    void report(double done);
    /// Ends the threads when `result` is a failure, whatever it was, and says what the run came to.
    Result<void> settled(Result<void> result);

    const ExportPlan plan_;
    const std::shared_ptr<ExportRun> run_;
    const std::shared_ptr<Progress> progress_;
    std::unique_ptr<PictureEncoder> pictureEncoder_;
    std::unique_ptr<SoundEncoder> soundEncoder_;
    std::unique_ptr<MovieWriter> writer_;
    std::optional<PicturePump> pictures_;
    std::optional<SoundPump> sound_;
    std::optional<PacketPtr> heldSound_;
    std::int64_t picturesWritten_ = 0;
};

Result<void> MovieRun::openEncoders() {
    if (plan_.hasPicture) {
        auto encoder = PictureEncoder::open(plan_.width, plan_.height, plan_.frameDuration);
        if (!encoder) return fail(encoder.error());
        pictureEncoder_ = std::move(*encoder);
    }
    if (plan_.hasSound) {
        auto encoder = SoundEncoder::open();
        if (!encoder) return fail(encoder.error());
        soundEncoder_ = std::move(*encoder);
    }
    return {};
}

Result<void> MovieRun::open(const FileURL& file, const ExportSession& session, ExportContainer container) {
    if (auto opened = openEncoders(); !opened) return opened;
    const MovieLayout layout{.name = session.shownName,
                             .container = container,
                             .picture = pictureEncoder_ ? &pictureEncoder_->context() : nullptr,
                             .sound = soundEncoder_ ? &soundEncoder_->context() : nullptr,
                             .pictureCount = plan_.pictureCount,
                             .soundLength = plan_.soundLength,
                             .indexAtHead = session.indexAtHead};
    auto writer = MovieWriter::create(file, layout, run_->token());
    if (!writer) return fail(writer.error());
    writer_ = std::move(*writer);
    return {};
}

Result<void> MovieRun::make() {
    if (plan_.hasSound) sound_.emplace(plan_, std::move(soundEncoder_), *run_);
    if (plan_.hasPicture) {
        pictures_.emplace(plan_, std::vector{PictureStretch{0, plan_.pictureCount}}, *run_);
        if (auto encoded = settled(encodePictures()); !encoded) return encoded;
    }
    if (auto written = settled(writeSound(nullptr)); !written) return written;
    return settled(writer_->finish());
}

Result<void> MovieRun::encodePictures() {
    const PacketSink sink = [this](PacketPtr packet) { return writePicture(std::move(packet)); };
    for (std::int64_t number = 0; auto picture = pictures_->next(); ++number)
        if (auto encoded = pictureEncoder_->encode(**picture, number, false, sink); !encoded) return encoded;
    if (run_->token().stop_requested()) return fail(Error::cancelled());
    return pictureEncoder_->finish(sink);
}

Result<void> MovieRun::writePicture(PacketPtr packet) {
    if (auto written = writeSound(packet.get()); !written) return written;
    if (auto written = writer_->write(MovieWriter::Track::picture, std::move(packet)); !written) return written;
    ++picturesWritten_;
    report(static_cast<double>(picturesWritten_) / static_cast<double>(plan_.pictureCount));
    return {};
}

Result<void> MovieRun::writeSound(const AVPacket* before) {
    const AVRational soundBase{1, soundSampleRate};
    while (sound_) {
        if (!heldSound_) heldSound_ = sound_->next();
        if (!heldSound_) break;
        const AVPacket& packet = **heldSound_;
        if (before != nullptr &&
            av_compare_ts(packet.dts, soundBase, before->dts, pictureEncoder_->context().time_base) > 0) {
            break;
        }
        const double end = static_cast<double>(packet.pts + packet.duration);
        if (auto written = writer_->write(MovieWriter::Track::sound, std::move(*heldSound_)); !written) return written;
        heldSound_.reset();
        if (!plan_.hasPicture) report(end / static_cast<double>(plan_.soundLength));
    }
    return run_->token().stop_requested() ? fail(Error::cancelled()) : Result<void>();
}

void MovieRun::report(double done) {
    // 1 is kept for the finished file.
    const auto value = static_cast<float>(std::min(done, 0.999));
    if (value > progress_->load()) progress_->store(value);
}

Result<void> MovieRun::settled(Result<void> result) {
    if (result) return result;
    run_->fail(result.error());
    return fail(run_->failure().value_or(result.error()));
}

class FFmpegExportSession final : public ExportSession {
public:
    explicit FFmpegExportSession(EditedMediaPtr media) : media_(std::move(media)) {}

    [[nodiscard]] std::vector<ExportContainer> supportedFileTypes() const override {
        return {ExportContainer::mp4, ExportContainer::mov};
    }

    Result<void> exportTo(const FileURL& file, ExportContainer container, std::stop_token stop) override {
        auto run = std::make_shared<ExportRun>(std::move(stop), cancel_.get_token());
        auto plan = begin(*run);
        if (!plan) return fail(plan.error());
        auto movie = std::make_shared<MovieRun>(std::move(*plan), run, progress_);
        // The file is there, or not, before anything is left to a thread.
        if (auto opened = movie->open(file, *this, container); !opened) return opened;
        auto made = doBeside<void>(run, [movie = std::move(movie)] { return movie->make(); });
        if (made) progress_->store(1);
        return made;
    }

    Result<std::int64_t> estimateOutputFileLength(std::stop_token stop) override {
        auto run = std::make_shared<ExportRun>(std::move(stop), cancel_.get_token());
        auto plan = begin(*run);
        if (!plan) return fail(plan.error());
        return doBeside<std::int64_t>(
            run, [run, plan = std::move(*plan), container = outputFileType.value_or(ExportContainer::mp4),
                  atHead = indexAtHead] { return estimateExport(plan, container, atHead, *run); });
    }

    [[nodiscard]] float progress() const override { return progress_->load(); }
    void cancelExport() override { cancel_.request_stop(); }

private:
    [[nodiscard]] Result<ExportPlan> begin(const ExportRun& run) const {
        return run.token().stop_requested() ? fail(Error::cancelled()) : ExportPlan::make(*media_, *this);
    }

    EditedMediaPtr media_;
    std::stop_source cancel_;
    std::shared_ptr<Progress> progress_ = std::make_shared<Progress>(0.0F);
};

}  // namespace

std::unique_ptr<ExportSession> makeFFmpegExportSession(EditedMediaPtr media) {
    if (!hasMovieEncoders()) return nullptr;
    return std::make_unique<FFmpegExportSession>(std::move(media));
}

}  // namespace kelvane
