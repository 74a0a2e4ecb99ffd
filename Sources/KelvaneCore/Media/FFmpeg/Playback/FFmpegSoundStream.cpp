#include "FFmpegSoundStream.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "Media/FFmpeg/Sound/Limiter.h"
#include "Media/FFmpeg/Sound/SoundRenderer.h"

namespace kelvane {

namespace {

/// Samples rendered at a time.
constexpr std::int64_t soundStretch = 8192;

class FFmpegSoundStream final : public SoundStream {
public:
    FFmpegSoundStream(EditedMediaPtr media, std::shared_ptr<SoundReaderPool> readers)
        : renderer_(std::move(media), std::move(readers)) {}
    Result<void> read(std::int64_t first, std::span<float> out, std::stop_token stop) override;

private:
    void beginAt(std::int64_t first);
    Result<void> renderTo(std::int64_t end, const std::stop_token& stop);
    void dropBefore(std::int64_t position);

    SoundRenderer renderer_;
    Limiter limiter_;
    /// The sample at which the next range follows on; none at first and after a failure.
    std::optional<std::int64_t> next_;
    /// The next sample that goes into the limiter.
    std::int64_t rendered_ = 0;
    /// What came out of it and wasn't handed out, from `readyFirst_` on.
    std::vector<float> ready_;
    std::int64_t readyFirst_ = 0;
    std::vector<float> mix_;
};

void FFmpegSoundStream::beginAt(std::int64_t first) {
    // An export's limiter begins with the timeline.
    const std::int64_t start = std::min(first, std::max<std::int64_t>(0, first - Limiter::memory));
    limiter_ = Limiter();
    ready_.clear();
    rendered_ = readyFirst_ = start;
}

void FFmpegSoundStream::dropBefore(std::int64_t position) {
    const auto count =
        std::clamp<std::int64_t>(position - readyFirst_, 0, static_cast<std::int64_t>(ready_.size() / 2));
    ready_.erase(ready_.begin(), ready_.begin() + count * 2);
    readyFirst_ += count;
}

Result<void> FFmpegSoundStream::renderTo(std::int64_t end, const std::stop_token& stop) {
    while (rendered_ < end) {
        const std::int64_t count = std::min(soundStretch, end - rendered_);
        mix_.resize(static_cast<std::size_t>(count) * 2);
        if (auto rendered = renderer_.render(rendered_, mix_, stop); !rendered) return rendered;
        limiter_.process(mix_, ready_);
        rendered_ += count;
    }
    return {};
}

Result<void> FFmpegSoundStream::read(std::int64_t first, std::span<float> out, std::stop_token stop) {
    if (stop.stop_requested()) return fail(Error::cancelled());
    if (next_ != first) beginAt(first);
    next_.reset();
    const auto count = static_cast<std::int64_t>(out.size() / 2);
    if (auto rendered = renderTo(first + count + Limiter::lookAhead, stop); !rendered) return rendered;
    dropBefore(first);
    std::ranges::copy_n(ready_.begin(), count * 2, out.begin());
    dropBefore(first + count);
    next_ = first + count;
    return {};
}

}  // namespace

std::unique_ptr<SoundStream> makeFFmpegSoundStream(EditedMediaPtr media, std::shared_ptr<SoundReaderPool> readers) {
    return std::make_unique<FFmpegSoundStream>(std::move(media), std::move(readers));
}

}  // namespace kelvane
