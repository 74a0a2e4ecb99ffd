#include "DrawnMovieWriter.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <memory>

#include "Media/FFmpeg/Export/MovieEncoders.h"
#include "Media/FFmpeg/Export/MovieWriter.h"
#include "Media/FFmpeg/Sound/SoundRenderer.h"
#include "Media/MediaError.h"

namespace kelvane {

namespace {

/// Samples made at a time.
constexpr std::int64_t soundStretch = 8192;

/// The shares of red, green and blue in luma, and what blue and red are divided by beyond it (ITU-R BT.709).
constexpr double redShare = 0.2126;
constexpr double greenShare = 0.7152;
constexpr double blueShare = 0.0722;
constexpr double blueSpan = 1.8556;
constexpr double redSpan = 1.5748;

std::uint8_t byteOf(double value) { return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L)); }

/// A pixel's luma and colour differences, of values up to 255.
struct Parts {
    double luma;
    double blue;
    double red;
};

Parts partsOf(const std::uint8_t* pixel) {
    const double luma = redShare * pixel[0] + greenShare * pixel[1] + blueShare * pixel[2];
    return {luma, (pixel[2] - luma) / blueSpan, (pixel[0] - luma) / redSpan};
}

/// The picture in the encoder's form: 8 bits, 4:2:0 with the colour sited on the left, studio range.
Result<FramePtr> frameOf(const std::vector<std::uint8_t>& pixels, int width, int height) {
    FramePtr frame(av_frame_alloc());
    if (!frame || pixels.size() != static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3)
        return fail("A picture could not be drawn.");
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = width;
    frame->height = height;
    if (av_frame_get_buffer(frame.get(), 0) < 0) return fail("A picture could not be drawn.");
    const auto at = [&](int x, int y) {
        return partsOf(pixels.data() + 3 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                                            static_cast<std::size_t>(std::clamp(x, 0, width - 1))));
    };
    for (int y = 0; y < height; y += 2) {
        for (int x = 0; x < width; x += 2) {
            double blue = 0;
            double red = 0;
            for (int row = y; row < y + 2; ++row) {
                const Parts left = at(x - 1, row);
                const Parts own = at(x, row);
                const Parts right = at(x + 1, row);
                blue += (left.blue + 2 * own.blue + right.blue) / 8;
                red += (left.red + 2 * own.red + right.red) / 8;
                auto* luma = frame->data[0] + static_cast<std::ptrdiff_t>(row) * frame->linesize[0] + x;
                luma[0] = byteOf(16 + own.luma * 219 / 255);
                luma[1] = byteOf(16 + right.luma * 219 / 255);
            }
            frame->data[1][static_cast<std::ptrdiff_t>(y / 2) * frame->linesize[1] + x / 2] =
                byteOf(128 + blue * 224 / 255);
            frame->data[2][static_cast<std::ptrdiff_t>(y / 2) * frame->linesize[2] + x / 2] =
                byteOf(128 + red * 224 / 255);
        }
    }
    return frame;
}

/// One movie on its way into its file.
class DrawnMovieRun {
public:
    DrawnMovieRun(const DrawnMovie& movie, std::stop_token stop) : movie_(movie), stop_(std::move(stop)) {}

    Result<void> write(const FileURL& file) {
        if (auto opened = open(file); !opened) return opened;
        if (auto encoded = encodeSound(); !encoded) return encoded;
        if (auto encoded = encodePictures(); !encoded) return encoded;
        if (auto written = writeSound(nullptr); !written) return written;
        return writer_->finish();
    }

private:
    Result<void> open(const FileURL& file) {
        MovieLayout layout{.pictureCount = movie_.pictureCount, .soundLength = movie_.soundLength, .indexAtHead = true};
        if (movie_.pictureCount > 0) {
            auto encoder = PictureEncoder::open(movie_.width, movie_.height, movie_.frameDuration);
            if (!encoder) return fail(encoder.error());
            pictures_ = *std::move(encoder);
            layout.picture = &pictures_->context();
        }
        if (movie_.soundLength > 0) {
            auto encoder = SoundEncoder::open();
            if (!encoder) return fail(encoder.error());
            sound_ = *std::move(encoder);
            layout.sound = &sound_->context();
        }
        auto writer = MovieWriter::create(file, layout, stop_);
        if (!writer) return fail(writer.error());
        writer_ = *std::move(writer);
        return {};
    }

    /// All at once: the sound of such a movie is short.
    Result<void> encodeSound() {
        const PacketSink keep = [this](PacketPtr packet) -> Result<void> {
            waiting_.push_back(std::move(packet));
            return {};
        };
        std::vector<float> samples;
        for (std::int64_t first = 0; first < movie_.soundLength; first += soundStretch) {
            samples.assign(static_cast<std::size_t>(std::min(soundStretch, movie_.soundLength - first)) * 2, 0);
            movie_.sound(first, samples);
            if (auto encoded = sound_->encode(samples, keep); !encoded) return encoded;
        }
        return sound_ ? sound_->finish(keep) : Result<void>();
    }

    Result<void> encodePictures() {
        if (!pictures_) return {};
        const PacketSink sink = [this](PacketPtr packet) -> Result<void> {
            if (auto written = writeSound(packet.get()); !written) return written;
            return writer_->write(MovieWriter::Track::picture, std::move(packet));
        };
        for (std::int64_t number = 0; number < movie_.pictureCount; ++number) {
            if (stop_.stop_requested()) return fail(Error::cancelled());
            const auto frame = frameOf(movie_.picture(number), movie_.width, movie_.height);
            if (!frame) return fail(frame.error());
            if (auto encoded = pictures_->encode(**frame, number, false, sink); !encoded) return encoded;
            if (movie_.progress) movie_.progress(number + 1);
        }
        return pictures_->finish(sink);
    }

    /// Writes the sound that is decoded no later than a picture; all the rest without one.
    Result<void> writeSound(const AVPacket* before) {
        const AVRational base{1, soundSampleRate};
        while (!waiting_.empty()) {
            if (before != nullptr &&
                av_compare_ts(waiting_.front()->dts, base, before->dts, pictures_->context().time_base) > 0)
                break;
            if (auto written = writer_->write(MovieWriter::Track::sound, std::move(waiting_.front())); !written)
                return written;
            waiting_.pop_front();
        }
        return stop_.stop_requested() ? fail(Error::cancelled()) : Result<void>();
    }

    const DrawnMovie& movie_;
    const std::stop_token stop_;
    std::unique_ptr<PictureEncoder> pictures_;
    std::unique_ptr<SoundEncoder> sound_;
    std::unique_ptr<MovieWriter> writer_;
    std::deque<PacketPtr> waiting_;
};

}  // namespace

Result<void> writeDrawnMovieFile(const FileURL& file, const DrawnMovie& movie, std::stop_token stop) {
    DrawnMovieRun run(movie, std::move(stop));
    return run.write(file);
}

}  // namespace kelvane
