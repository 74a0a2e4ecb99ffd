#include "StillRun.h"

#include <deque>
#include <mutex>
#include <system_error>
#include <thread>

namespace kelvane {

namespace {

/// In a file without a list of its key frames, stills further apart than this, seconds, may be decoded apart: a reader
/// seeks there rather than decode on.
constexpr double seekDistance = 4;

enum class End { front, back };

/// A group whose stills are dealt out in stretches that decode in one pass each. Any thread.
class DealtGroup {
public:
    explicit DealtGroup(StillGroup group) : group_(std::move(group)) {}

    /// The stretches, found by `artist` when nobody found them before.
    Result<std::size_t> plan(StillArtist& artist, const std::stop_token& stop) {
        const std::lock_guard lock(mutex_);
        if (auto planned = planLocked(artist, stop); !planned) return fail(planned.error());
        return runs_.size();
    }
    /// The next stretch from one end; empty when all are dealt out.
    Result<StillGroup> take(End end, StillArtist& artist, const std::stop_token& stop) {
        const std::lock_guard lock(mutex_);
        if (auto planned = planLocked(artist, stop); !planned) return fail(planned.error());
        if (runs_.empty()) return StillGroup();
        StillGroup run = std::move(end == End::front ? runs_.front() : runs_.back());
        end == End::front ? runs_.pop_front() : runs_.pop_back();
        return run;
    }

private:
    Result<void> planLocked(StillArtist& artist, const std::stop_token& stop) {
        if (planned_) return {};
        // One still needs no plan, and opens no file before its turn.
        if (group_.size() == 1) {
            runs_.push_back(std::move(group_));
            planned_ = true;
            return {};
        }
        std::optional<std::int64_t> before;
        for (std::size_t i = 0; i < group_.size(); ++i) {
            auto start = artist.decodingStart(group_[i], stop);
            if (!start) return fail(start.error());
            const bool apart = *start ? *start != before : isMiddleGap(i);
            if (runs_.empty() || apart) runs_.emplace_back();
            runs_.back().push_back(group_[i]);
            before = *start;
        }
        planned_ = true;
        return {};
    }
    /// Without knowing the key frames, more than one cut could mean decoding the same stretch again and again.
    [[nodiscard]] bool isMiddleGap(std::size_t i) const {
        return i == group_.size() / 2 && i > 0 &&
               (group_[i].sourceTime - group_[i - 1].sourceTime).seconds() > seekDistance;
    }

    std::mutex mutex_;
    StillGroup group_;
    std::deque<StillGroup> runs_;
    bool planned_ = false;
};

/// What both artists' threads share.
class Studio {
public:
    Studio(std::vector<StillGroup> groups, const StillConsumer& consume) : consume_(consume) {
        for (StillGroup& group : groups) groups_.emplace_back(std::move(group));
    }

    std::deque<DealtGroup>& groups() { return groups_; }
    std::stop_source& stop() { return stop_; }

    void work(StillArtist& artist, End end) {
        for (std::size_t i = 0; i < groups_.size(); ++i) {
            DealtGroup& group = groups_[end == End::front ? i : groups_.size() - 1 - i];
            if (auto drawn = drain(group, artist, end); !drawn) return stopFor(drawn.error());
        }
    }
    void stopFor(const Error& error) {
        const std::lock_guard lock(mutex_);
        if (!failure_) failure_ = error;
        stop_.request_stop();
    }
    Result<void> outcome() {
        const std::lock_guard lock(mutex_);
        return failure_ ? Result<void>(fail(*failure_)) : Result<void>();
    }

private:
    Result<void> drain(DealtGroup& group, StillArtist& artist, End end) {
        const std::stop_token stop = stop_.get_token();
        while (true) {
            const auto run = group.take(end, artist, stop);
            if (!run) return fail(run.error());
            if (run->empty()) return {};
            for (const StillRequest& request : *run) {
                const auto still = artist.draw(request, stop);
                if (!still) return fail(still.error());
                if (auto taken = hand(request.index, *still); !taken) return taken;
            }
        }
    }
    Result<void> hand(std::size_t index, const TimedStill& still) {
        const std::lock_guard lock(consumeMutex_);
        if (stop_.stop_requested()) return fail(Error::cancelled());
        return consume_(index, still);
    }

    const StillConsumer& consume_;
    std::deque<DealtGroup> groups_;
    std::stop_source stop_;
    std::mutex consumeMutex_;
    std::mutex mutex_;
    std::optional<Error> failure_;
};

}  // namespace

Result<void> drawStills(std::vector<StillGroup> groups, const StillArtistFactory& makeArtist,
                        const StillConsumer& consume, std::stop_token stop, int mostArtists) {
    if (stop.stop_requested()) return fail(Error::cancelled());
    if (groups.empty()) return {};
    Studio studio(std::move(groups), consume);
    const std::stop_callback passOn(stop, [&] { studio.stop().request_stop(); });

    std::size_t shares = mostArtists > 1 ? studio.groups().size() : 1;
    std::unique_ptr<StillArtist> artist = makeArtist(1);
    if (shares == 1 && mostArtists > 1) {
        const auto runs = studio.groups().front().plan(*artist, studio.stop().get_token());
        if (!runs) return fail(runs.error());
        shares = *runs;
    }
    if (shares == 1) {
        artist = makeArtist(0);
        studio.work(*artist, End::front);
        return studio.outcome();
    }
    {
        std::jthread other;
        try {
            other = std::jthread([&] { studio.work(*makeArtist(1), End::back); });
        } catch (const std::system_error&) {
            // The process may have no thread left to give; one artist draws them all then.
        }
        studio.work(*artist, End::front);
    }
    return studio.outcome();
}

}  // namespace kelvane
