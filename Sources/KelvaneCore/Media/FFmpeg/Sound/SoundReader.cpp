#include "SoundReader.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/mathematics.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>

#include "SoundLayout.h"
#include "SoundRenderer.h"

namespace kelvane {

namespace {

/// Samples that the resampler runs before the first one that counts, so that its filter is full; ten times its length.
constexpr std::int64_t warmUp = 2048;
/// Samples read and thrown away rather than sought over.
constexpr std::int64_t longestSkip = 2 * soundSampleRate;
/// Behind every sample of any source.
constexpr std::int64_t noLimit = std::numeric_limits<std::int64_t>::max() / 2;
/// Seconds that a seek which landed late is tried again earlier by.
constexpr std::array retries{0.0, 2.0, 10.0};

std::int64_t floorTo(std::int64_t value, std::int64_t step) {
    const std::int64_t rest = ((value % step) + step) % step;
    return value - rest;
}

/// The output sample at or before a source position.
std::int64_t outputIndex(std::int64_t position, int rate) {
    return av_rescale_rnd(position, soundSampleRate, rate, AV_ROUND_DOWN);
}

ResamplerPtr makeResampler(int rate) {
    AVChannelLayout stereo = stereoLayout();
    SwrContext* made = nullptr;
    if (swr_alloc_set_opts2(&made, &stereo, AV_SAMPLE_FMT_FLT, soundSampleRate, &stereo, AV_SAMPLE_FMT_FLT, rate, 0,
                            nullptr) < 0) {
        return nullptr;
    }
    ResamplerPtr resampler(made);
    // Whole-number phases: the filter's phase repeats exactly, however long it runs.
    av_opt_set_int(made, "exact_rational", 1, 0);
    return swr_init(made) < 0 ? nullptr : std::move(resampler);
}

}  // namespace

Result<std::unique_ptr<SoundReader>> SoundReader::open(std::shared_ptr<const FFmpegTrack> track, std::stop_token stop) {
    auto decoder = SoundDecoder::open(std::move(track), std::move(stop));
    if (!decoder) return fail(decoder.error());
    return std::unique_ptr<SoundReader>(new SoundReader(std::move(*decoder)));
}

std::int64_t SoundReader::readyEnd() const { return readyFirst_ + static_cast<std::int64_t>(ready_.size() / 2); }

Result<void> SoundReader::read(std::int64_t first, std::span<float> out, std::stop_token stop) {
    const std::int64_t from = readyFirst_ + static_cast<std::int64_t>(readyOffset_ / 2);
    const bool near = started_ && first >= from && first <= std::max(readyEnd(), from) + longestSkip;
    // Behind the source's end there is nothing to seek for.
    const bool behind = started_ && ended_ && first >= from;
    if (!near && !behind) {
        if (auto restarted = restart(first, stop); !restarted) return restarted;
    }
    const auto count = static_cast<std::int64_t>(out.size() / 2);
    bool silent = false;
    while (!ended_ && !silent && readyEnd() < first + count) {
        auto advanced = advance(first + count, stop);
        if (!advanced) {
            started_ = false;
            return fail(advanced.error());
        }
        silent = !*advanced;
        dropBefore(first);
    }
    dropBefore(first);
    const std::int64_t have = std::clamp<std::int64_t>(readyEnd() - first, 0, count);
    std::copy_n(ready_.data() + readyOffset_, have * 2, out.begin());
    std::fill(out.begin() + have * 2, out.end(), 0.0F);
    dropBefore(first + count);
    return {};
}

void SoundReader::dropBefore(std::int64_t position) {
    const std::int64_t drop =
        std::clamp<std::int64_t>(position - readyFirst_, 0, static_cast<std::int64_t>(ready_.size() / 2));
    readyOffset_ = std::max(readyOffset_, static_cast<std::size_t>(drop) * 2);
    // Moving the rest to the front is worth it only now and then.
    if (readyOffset_ >= ready_.size()) {
        readyFirst_ = std::max(readyEnd(), position);
        ready_.clear();
        readyOffset_ = 0;
    } else if (readyOffset_ > 65536) {
        ready_.erase(ready_.begin(), ready_.begin() + static_cast<std::ptrdiff_t>(readyOffset_));
        readyFirst_ += static_cast<std::int64_t>(readyOffset_ / 2);
        readyOffset_ = 0;
    }
}

Result<void> SoundReader::restart(std::int64_t first, std::stop_token stop) {
    started_ = false;
    run_.reset();
    ready_.clear();
    readyOffset_ = 0;
    readyFirst_ = first;
    ended_ = false;
    const double goal = static_cast<double>(first - warmUp) / soundSampleRate;
    for (const double back : retries) {
        if (auto moved = decoder_->seek(goal - back, stop); !moved) return moved;
        auto block = decoder_->next(stop);
        if (!block) return fail(block.error());
        pending_ = std::move(*block);
        const bool late = !pending_ || pending_->position > goal * pending_->rate;
        if (!late || goal - back <= 0) break;
    }
    started_ = true;
    return {};
}

Result<bool> SoundReader::advance(std::int64_t wantedEnd, std::stop_token stop) {
    std::optional<SoundBlock> block = std::exchange(pending_, std::nullopt);
    if (!block) {
        auto decoded = decoder_->next(stop);
        if (!decoded) return fail(decoded.error());
        block = std::move(*decoded);
    }
    if (!block) {
        endRun(noLimit);
        ended_ = true;
        return true;
    }
    const std::int64_t start = outputIndex(block->position, block->rate);
    const bool hole = run_ && block->position - run_->in > block->rate / 2;
    if (run_ && (run_->rate != block->rate || hole)) endRun(start);
    if (!run_ && start - warmUp > wantedEnd) {
        pending_ = std::move(block);
        return false;
    }
    if (!run_ && !startRun(*block)) return true;
    if (block->position > run_->in) feedSilence(block->position - run_->in, noLimit);
    const std::int64_t known = std::clamp<std::int64_t>(run_->in - block->position, 0, block->count());
    feed(std::span<const float>(block->samples).subspan(static_cast<std::size_t>(known) * 2), noLimit);
    return true;
}

bool SoundReader::startRun(const SoundBlock& block) {
    auto run = std::make_unique<Run>();
    run->rate = block.rate;
    const std::int64_t earliest = std::max(readyEnd(), outputIndex(block.position, block.rate)) - warmUp;
    if (block.rate == soundSampleRate) {
        run->in = run->out = earliest;
    } else {
        const std::int64_t common = std::gcd(block.rate, soundSampleRate);
        const std::int64_t anchor = floorTo(earliest, soundSampleRate / common);
        run->in = anchor / (soundSampleRate / common) * (block.rate / common);
        run->out = anchor;
        run->resampler = makeResampler(block.rate);
        if (!run->resampler) return false;
    }
    run_ = std::move(run);
    return true;
}

void SoundReader::endRun(std::int64_t limit) {
    if (run_ && run_->resampler) {
        // Pushes out what the filter holds.
        feedSilence(run_->rate / 20 + 256, limit);
    }
    run_.reset();
}

void SoundReader::feedSilence(std::int64_t count, std::int64_t limit) {
    static constexpr std::array<float, 4096> silence{};
    while (count > 0) {
        const std::int64_t part = std::min<std::int64_t>(count, silence.size() / 2);
        feed(std::span(silence).first(static_cast<std::size_t>(part) * 2), limit);
        count -= part;
    }
}

void SoundReader::feed(std::span<const float> samples, std::int64_t limit) {
    const auto count = static_cast<std::int64_t>(samples.size() / 2);
    run_->in += count;
    std::span<const float> made = samples;
    if (run_->resampler && count > 0) {
        const int room = swr_get_out_samples(run_->resampler.get(), static_cast<int>(count));
        scratch_.resize(static_cast<std::size_t>(std::max(room, 0)) * 2);
        std::array<std::uint8_t*, 1> out{reinterpret_cast<std::uint8_t*>(scratch_.data())};
        std::array<const std::uint8_t*, 1> in{reinterpret_cast<const std::uint8_t*>(samples.data())};
        const int got = swr_convert(run_->resampler.get(), out.data(), room, in.data(), static_cast<int>(count));
        made = std::span<const float>(scratch_).first(static_cast<std::size_t>(std::max(got, 0)) * 2);
    }
    const std::int64_t at = run_->out;
    run_->out += static_cast<std::int64_t>(made.size() / 2);
    const std::int64_t allowed = std::clamp<std::int64_t>(limit - at, 0, static_cast<std::int64_t>(made.size() / 2));
    append(at, made.first(static_cast<std::size_t>(allowed) * 2));
}

void SoundReader::append(std::int64_t at, std::span<const float> samples) {
    const std::int64_t end = readyEnd();
    const auto known = std::clamp<std::int64_t>(end - at, 0, static_cast<std::int64_t>(samples.size() / 2));
    samples = samples.subspan(static_cast<std::size_t>(known) * 2);
    if (samples.empty()) return;
    const std::int64_t hole = at + known - end;
    if (hole > 0) ready_.resize(ready_.size() + static_cast<std::size_t>(hole) * 2, 0.0F);
    ready_.insert(ready_.end(), samples.begin(), samples.end());
}

}  // namespace kelvane
