#include "TakePipe.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kelvane {

TakePipe::TakePipe(MainContext& context, std::unique_ptr<TakeWriter> writer,
                   std::function<void(const Result<void>&)> ended)
    : context_(context), writer_(std::move(writer)), ended_(std::move(ended)) {}

void TakePipe::push(std::span<const float> samples) {
    std::unique_lock lock(mutex_);
    if (isClosed_) return;
    if (static_cast<std::int64_t>(waiting_.size() + samples.size()) > capacity) {
        isFull_ = isClosed_ = true;
    } else {
        waiting_.insert(waiting_.end(), samples.begin(), samples.end());
        length_ += static_cast<std::int64_t>(samples.size());
        for (const float sample : samples) peak_ = std::max(peak_, std::abs(sample));
    }
    wake(lock);
}

void TakePipe::close() {
    std::unique_lock lock(mutex_);
    if (std::exchange(isClosed_, true)) return;
    wake(lock);
}

std::int64_t TakePipe::length() const {
    const std::scoped_lock lock(mutex_);
    return length_;
}

float TakePipe::takePeak() {
    const std::scoped_lock lock(mutex_);
    return std::exchange(peak_, 0.0F);
}

void TakePipe::wake(std::unique_lock<std::mutex>& lock) {
    if (std::exchange(isDraining_, true)) return;
    lock.unlock();
    // What lies here longer than a second is more than a crash may cost, and exports fill the lane of long works.
    context_.runInBackground([pipe = shared_from_this()] { pipe->drain(); }, Lane::shortWork);
}

void TakePipe::drain() {
    std::vector<float> samples;
    while (true) {
        samples.clear();
        {
            const std::scoped_lock lock(mutex_);
            std::swap(samples, waiting_);
            if (samples.empty()) {
                if (!isClosed_) {
                    isDraining_ = false;
                    return;
                }
                break;
            }
        }
        if (const auto written = writer_->write(samples); !written) return end(written);
    }
    // All is written, and `isDraining_` stays: nothing comes after the end.
    end(isFull_ ? Result<void>(fail("The disk is too slow to record on.")) : writer_->finish());
}

void TakePipe::end(Result<void> result) {
    {
        const std::scoped_lock lock(mutex_);
        isClosed_ = true;
        waiting_ = {};
    }
    writer_ = nullptr;
    context_.post([pipe = shared_from_this(), result = std::move(result)] {
        if (const auto ended = std::exchange(pipe->ended_, nullptr)) ended(result);
    });
}

}  // namespace kelvane
