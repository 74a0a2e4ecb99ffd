#include "FFmpegExportSession.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "ExportEstimate.h"
#include "ExportPlan.h"
#include "ExportPumps.h"
#include "ExportRun.h"
#include "Media/MediaError.h"
#include "MovieEncoders.h"
#include "MovieWriter.h"
#include "SoundRenderer.h"

namespace kelvane {

namespace {

/// The part of a run that is the calling thread's: it encodes the pictures and puts both tracks into the file in the
/// order of their decoding times.
class MovieRun {
public:
    MovieRun(const ExportPlan& plan, ExportRun& run, std::atomic<float>& progress)
        : plan_(plan), run_(run), progress_(progress) {}

    Result<void> operator()(const FileURL& file, ExportContainer container, bool indexAtHead);

private:
    Result<void> openEncoders();
    Result<void> encodePictures();
    Result<void> writePicture(PacketPtr packet);
    /// Writes the sound that is decoded no later than a picture; all the rest without one.
    Result<void> writeSound(const AVPacket* before);
    void report(double done);
    /// Ends the threads when `result` is a failure, whatever it was, and says what the run came to.
    Result<void> settled(Result<void> result);

    const ExportPlan& plan_;
    ExportRun& run_;
    std::atomic<float>& progress_;
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
        if (!encoder) {
            return fail(encoder.error());
        }
        pictureEncoder_ = std::move(*encoder);
    }
    if (plan_.hasSound) {
        auto encoder = SoundEncoder::open();
        if (!encoder) {
            return fail(encoder.error());
        }
        soundEncoder_ = std::move(*encoder);
    }
    return {};
}

Result<void> MovieRun::operator()(const FileURL& file, ExportContainer container, bool indexAtHead) {
    if (auto opened = openEncoders(); !opened) {
        return opened;
    }
    const MovieLayout layout{.container = container,
                             .picture = pictureEncoder_ ? &pictureEncoder_->context() : nullptr,
                             .sound = soundEncoder_ ? &soundEncoder_->context() : nullptr,
                             .pictureCount = plan_.pictureCount,
                             .soundLength = plan_.soundLength,
                             .indexAtHead = indexAtHead};
    auto writer = MovieWriter::create(file, layout, run_.token());
    if (!writer) {
        return fail(writer.error());
    }
    writer_ = std::move(*writer);
    if (plan_.hasSound) {
        sound_.emplace(plan_, std::move(soundEncoder_), run_);
    }
    if (plan_.hasPicture) {
        pictures_.emplace(plan_, std::vector{PictureStretch{0, plan_.pictureCount}}, run_);
        if (auto encoded = settled(encodePictures()); !encoded) {
            return encoded;
        }
    }
    if (auto written = settled(writeSound(nullptr)); !written) {
        return written;
    }
    return settled(writer_->finish());
}

Result<void> MovieRun::encodePictures() {
    const PacketSink sink = [this](PacketPtr packet) { return writePicture(std::move(packet)); };
    for (std::int64_t number = 0; auto picture = pictures_->next(); ++number) {
        if (auto encoded = pictureEncoder_->encode(**picture, number, false, sink); !encoded) {
            return encoded;
        }
    }
    if (run_.token().stop_requested()) {
        return fail(Error::cancelled());
    }
    return pictureEncoder_->finish(sink);
}

Result<void> MovieRun::writePicture(PacketPtr packet) {
    if (auto written = writeSound(packet.get()); !written) {
        return written;
    }
    if (auto written = writer_->write(MovieWriter::Track::picture, std::move(packet)); !written) {
        return written;
    }
    ++picturesWritten_;
    report(static_cast<double>(picturesWritten_) / static_cast<double>(plan_.pictureCount));
    return {};
}

Result<void> MovieRun::writeSound(const AVPacket* before) {
    const AVRational soundBase{1, soundSampleRate};
    while (sound_) {
        if (!heldSound_) {
            heldSound_ = sound_->next();
        }
        if (!heldSound_) {
            break;
        }
        const AVPacket& packet = **heldSound_;
        if (before != nullptr &&
            av_compare_ts(packet.dts, soundBase, before->dts, pictureEncoder_->context().time_base) > 0) {
            break;
        }
        const double end = static_cast<double>(packet.pts + packet.duration);
        if (auto written = writer_->write(MovieWriter::Track::sound, std::move(*heldSound_)); !written) {
            return written;
        }
        heldSound_.reset();
        if (!plan_.hasPicture) {
            report(end / static_cast<double>(plan_.soundLength));
        }
    }
    return run_.token().stop_requested() ? fail(Error::cancelled()) : Result<void>();
}

void MovieRun::report(double done) {
    // 1 is kept for the finished file.
    const auto value = static_cast<float>(std::min(done, 0.999));
    if (value > progress_.load()) {
        progress_.store(value);
    }
}

Result<void> MovieRun::settled(Result<void> result) {
    if (result) {
        return result;
    }
    run_.fail(result.error());
    return fail(run_.failure().value_or(result.error()));
}

class FFmpegExportSession final : public ExportSession {
public:
    explicit FFmpegExportSession(EditedMediaPtr media) : media_(std::move(media)) {}

    [[nodiscard]] std::vector<ExportContainer> supportedFileTypes() const override {
        return {ExportContainer::mp4, ExportContainer::mov};
    }

    Result<void> exportTo(const FileURL& file, ExportContainer container, std::stop_token stop) override {
        ExportRun run(std::move(stop), cancel_.get_token());
        if (run.token().stop_requested()) {
            return fail(Error::cancelled());
        }
        auto plan = ExportPlan::make(*media_, *this);
        if (!plan) {
            return fail(plan.error());
        }
        MovieRun movie(*plan, run, progress_);
        auto made = movie(file, container, shouldOptimizeForNetworkUse);
        if (made) {
            progress_.store(1);
        }
        return made;
    }

    Result<std::int64_t> estimateOutputFileLength(std::stop_token stop) override {
        ExportRun run(std::move(stop), cancel_.get_token());
        if (run.token().stop_requested()) {
            return fail(Error::cancelled());
        }
        auto plan = ExportPlan::make(*media_, *this);
        if (!plan) {
            return fail(plan.error());
        }
        return estimateExport(*plan, outputFileType.value_or(ExportContainer::mp4), shouldOptimizeForNetworkUse, run);
    }

    [[nodiscard]] float progress() const override { return progress_.load(); }
    void cancelExport() override { cancel_.request_stop(); }

private:
    EditedMediaPtr media_;
    std::stop_source cancel_;
    std::atomic<float> progress_ = 0;
};

}  // namespace

std::unique_ptr<ExportSession> makeFFmpegExportSession(EditedMediaPtr media) {
    if (!hasMovieEncoders()) {
        return nullptr;
    }
    return std::make_unique<FFmpegExportSession>(std::move(media));
}

}  // namespace kelvane
