#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "MainContext.h"
#include "Media/MediaStreams.h"

namespace kelvane {

/// A take on its way from a device to its file: samples wait in memory until a thread of the pool has written them, so
/// that who brings them never waits for the disk.
class TakePipe final : public std::enable_shared_from_this<TakePipe> {
public:
    /// Samples that wait at most; a disk that is further behind fails the take.
    static constexpr std::int64_t capacity = std::int64_t{30} * soundSampleRate;

    /// `ended` is called once on the main thread: when all was written and the file is whole, after `close`, or at once
    /// with the sentence of what failed.
    TakePipe(MainContext& context, std::unique_ptr<TakeWriter> writer, std::function<void(const Result<void>&)> ended);

    /// Takes samples, unless the take is closed or has failed. One thread; never waits.
    void push(std::span<const float> samples);
    /// Nothing more comes. Any thread; harmless when it was closed before.
    void close();
    /// Samples taken. Any thread.
    [[nodiscard]] std::int64_t length() const;
    /// The loudest sample since the last call, full scale 1. Any thread.
    float takePeak();

private:
    void wake(std::unique_lock<std::mutex>& lock);
    void drain();
    void end(Result<void> result);

    MainContext& context_;
    /// Of the one thread that drains.
    std::unique_ptr<TakeWriter> writer_;
    /// Of the main thread.
    std::function<void(const Result<void>&)> ended_;

    mutable std::mutex mutex_;
    std::vector<float> waiting_;
    std::int64_t length_ = 0;
    float peak_ = 0;
    /// A thread of the pool is on its way or at work.
    bool isDraining_ = false;
    bool isClosed_ = false;
    bool isFull_ = false;
};

}  // namespace kelvane
