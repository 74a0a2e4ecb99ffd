#include "ExportPumps.h"

#include <algorithm>
#include <thread>

#include "ExportQuality.h"
#include "Media/FFmpeg/Picture/PictureRenderer.h"
#include "Media/FFmpeg/Sound/Limiter.h"
#include "Media/FFmpeg/Sound/SoundRenderer.h"

namespace kelvane {

namespace {

/// Sound packets that may wait, of 1024 samples: the encoder of pictures gives out its first one some forty pictures
/// late.
constexpr std::size_t soundPacketsAhead = 256;
/// Samples rendered at a time.
constexpr std::int64_t soundStretch = 8192;

/// The encoder keeps all cores busy; as many decoder threads again only wait in line, at 3% of processor time on two
/// cores.
int decoderThreads() { return std::max(1, static_cast<int>(std::thread::hardware_concurrency() / 2)); }

/// Pictures of 8 bits, 4:2:0, that may wait for the encoder.
std::size_t picturesAhead(const ExportPlan& plan) {
    const std::int64_t bytes = std::max<std::int64_t>(std::int64_t{plan.width} * plan.height * 3 / 2, 1);
    return static_cast<std::size_t>(
        std::max(ExportQuality::pictureBytesAhead / bytes, ExportQuality::leastPicturesAhead));
}

}  // namespace

PicturePump::PicturePump(const ExportPlan& plan, std::vector<PictureStretch> stretches, ExportRun& run)
    : run_(run),
      queue_(picturesAhead(plan)),
      thread_([this, plan, stretches = std::move(stretches)] { work(plan, stretches); }) {}

void PicturePump::work(const ExportPlan& plan, const std::vector<PictureStretch>& stretches) {
    const auto token = run_.token();
    PictureRenderer renderer(plan.media, {.decoderThreads = decoderThreads(), .skipUnneeded = true});
    for (const PictureStretch& stretch : stretches) {
        for (std::int64_t i = 0; i < stretch.count; ++i) {
            auto picture = renderer.picture(plan.pictureTime(stretch.first + i), token);
            if (!picture) return run_.fail(picture.error());
            if (!queue_.push(std::move(*picture), token)) return;
        }
    }
    queue_.finish();
}

SoundPump::SoundPump(const ExportPlan& plan, std::unique_ptr<SoundEncoder> encoder, ExportRun& run)
    : run_(run), encoder_(std::move(encoder)), queue_(soundPacketsAhead), thread_([this, plan] {
          if (auto worked = work(plan); !worked) run_.fail(worked.error());
      }) {}

Result<void> SoundPump::work(const ExportPlan& plan) {
    const auto token = run_.token();
    const PacketSink sink = [&](PacketPtr packet) -> Result<void> {
        return queue_.push(std::move(packet), token) ? Result<void>() : fail(Error::cancelled());
    };
    SoundRenderer renderer(plan.media);
    Limiter limiter;
    std::vector<float> mix;
    std::vector<float> limited;
    for (std::int64_t done = 0; done < plan.soundLength; done += soundStretch) {
        const auto count = std::min(soundStretch, plan.soundLength - done);
        mix.resize(static_cast<std::size_t>(count) * 2);
        if (auto rendered = renderer.render(plan.soundFirst + done, mix, token); !rendered) return rendered;
        limited.clear();
        limiter.process(mix, limited);
        if (auto encoded = encoder_->encode(limited, sink); !encoded) return encoded;
    }
    limited.clear();
    limiter.finish(limited);
    if (auto encoded = encoder_->encode(limited, sink); !encoded) return encoded;
    if (auto finished = encoder_->finish(sink); !finished) return finished;
    queue_.finish();
    return {};
}

}  // namespace kelvane
