#include "SoundFeed.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace kelvane {

namespace {
constexpr std::int64_t channels = 2;
/// 50 ms: short beside what is ahead, and long beside what it costs to change threads.
constexpr std::int64_t block = soundSampleRate / 20;
/// 300 ms, as long as decoding may stand still at a cut or on a busy disk before it is heard.
constexpr std::int64_t ahead = 6 * block;
/// More than a device takes at once when it starts.
constexpr std::int64_t enoughToStart = 2 * block;
}  // namespace

struct SoundFeed::Bell {
    MainContext* context;
    std::weak_ptr<SoundFeed> feed;
    std::weak_ptr<SoundQueue> queue;
    std::atomic<bool> rung = false;

    static void ring(const std::shared_ptr<Bell>& bell) {
        const auto queue = bell->queue.lock();
        if (!queue || queue->room() < block || bell->rung.exchange(true)) return;
        auto work = [bell] {
            bell->rung = false;
            if (const auto feed = bell->feed.lock()) feed->render();
        };
        bell->context->runInBackground(std::move(work), Lane::playback);
    }
};

std::shared_ptr<SoundFeed> SoundFeed::make(MainContext& context, std::unique_ptr<SoundStream> stream,
                                           std::int64_t end) {
    return std::shared_ptr<SoundFeed>(new SoundFeed(context, std::move(stream), end));
}

std::shared_ptr<SoundQueue> SoundFeed::begin(std::int64_t first, bool muted, std::function<void()> ready) {
    end();
    const auto bell = std::make_shared<Bell>(context_, weak_from_this());
    auto run = std::make_shared<Run>();
    run->queue = std::make_shared<SoundQueue>(ahead, [bell] { Bell::ring(bell); });
    run->queue->setMuted(muted);
    bell->queue = run->queue;
    run->next = first;
    run->ready = std::move(ready);
    auto queue = run->queue;
    {
        const std::scoped_lock lock(mutex_);
        run_ = std::move(run);
    }
    Bell::ring(bell);
    return queue;
}

void SoundFeed::end() {
    const std::scoped_lock lock(mutex_);
    if (run_) run_->stop.request_stop();
    run_ = nullptr;
}

std::shared_ptr<SoundFeed::Run> SoundFeed::wanting(bool beginning) {
    const std::scoped_lock lock(mutex_);
    // Who renders already asks here again before it ends, and then sees the room that this call is about.
    if (beginning && rendering_) return nullptr;
    const bool wants = run_ && run_->next <= end_ && run_->queue->room() >= block;
    rendering_ = wants;
    return wants ? run_ : nullptr;
}

void SoundFeed::render() {
    for (auto run = wanting(true); run; run = wanting(false)) renderBlock(*run);
}

void SoundFeed::renderBlock(Run& run) {
    const auto count = std::min(block, end_ - run.next);
    std::vector<float> samples(static_cast<std::size_t>(count * channels), 0.0F);
    if (count > 0 && !run.silent && !stream_->read(run.next, samples, run.stop.get_token())) {
        if (run.stop.stop_requested()) return;
        run.silent = true;
        std::ranges::fill(samples, 0.0F);
    }
    run.queue->write(samples);
    run.next += count;
    const bool isOver = run.next >= end_;
    if (isOver) {
        run.queue->finish();
        // Past the end, so that nothing of this run is wanted any more.
        run.next = end_ + 1;
    }
    if (run.ready && (isOver || run.queue->held() >= enoughToStart)) context_->post(std::exchange(run.ready, nullptr));
}

}  // namespace kelvane
