#pragma once

#include "FakeMediaPlatform.h"

/// What the parts of the fake media platform share. Tests have no use for it.
namespace kelvane::testing {

struct FakeMediaPlatform::Journal {
    struct Failure {
        std::string prefix;
        Error error;
        int times = -1;
        int passes = 0;
    };

    mutable std::mutex mutex;
    bool recording = true;
    std::vector<std::string> lines;
    std::vector<Failure> failures;
    std::function<void(const std::string&)> observer;

    /// Records a call; answers the failure that was set for it. `line` is not formed when nobody looks.
    template <class Line>
    Result<void> record(Line&& line) {
        std::unique_lock lock(mutex);
        if (!recording) return {};
        lines.push_back(line());
        const std::string text = lines.back();
        Result<void> result;
        for (Failure& failure : failures) {
            if (!text.starts_with(failure.prefix)) continue;
            if (failure.passes > 0) {
                --failure.passes;
            } else if (failure.times != 0) {
                failure.times -= failure.times > 0 ? 1 : 0;
                result = fail(failure.error);
                break;
            }
        }
        const auto observe = observer;
        lock.unlock();
        if (observe) observe(text);
        return result;
    }
};

/// `value`, unless the call was to fail.
template <class T>
Result<T> answer(const Result<void>& recorded, const T& value) {
    if (!recorded) return fail(recorded.error());
    return value;
}

struct FakeMediaPlatform::ExportState {
    mutable std::mutex mutex;
    FakeExportRecord record;
    std::stop_source cancel;

    template <class Change>
    void change(Change&& change) {
        const std::scoped_lock lock(mutex);
        change(record);
    }
};

std::unique_ptr<ExportSession> makeFakeExportSession(FakeMediaPlatform& platform,
                                                     std::shared_ptr<FakeMediaPlatform::Journal> journal,
                                                     std::shared_ptr<FakeMediaPlatform::ExportState> state,
                                                     std::shared_ptr<std::atomic<float>> progress);

}  // namespace kelvane::testing
