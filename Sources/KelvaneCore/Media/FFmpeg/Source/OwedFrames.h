#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "Handles.h"

namespace kelvane {

/// Keeps account of one run of a decoder: which frames its packets owe and which came out. So a frame that was lost is
/// told from one that isn't due, and a run that began badly from one that began well. Stamps are the stream's own. One
/// thread at a time.
class OwedFrames {
public:
    /// Key frames may stay hidden without fault: H.264's decoder gives none back before a gradual refresh is complete.
    void letKeysHide() { keysMayHide_ = true; }
    /// The decoder begins a new run.
    void restart();
    /// The decoder gets `packet`; with `skipped` it may keep the frame to itself.
    void feed(const AVPacket& packet, bool skipped);
    /// A packet was refused, or gave a damaged frame.
    void refuse();
    /// A frame came out whole.
    void come(const AVFrame& frame);
    /// Frames up to `stamp` are asked for no more.
    void settle(std::int64_t stamp);
    /// Frames of these packets won't come in any run: they owe nothing from now on.
    void giveUp(std::int64_t after, std::int64_t limit);

    /// Stamp of the last frame due after `after` and by `limit` that is owed still. It is lost once a later frame came,
    /// or the decoder was emptied.
    [[nodiscard]] std::optional<std::int64_t> lastOwed(std::int64_t after, std::int64_t limit) const;
    /// Whether the frame of this stamp was given up.
    [[nodiscard]] bool isGivenUp(std::int64_t stamp) const { return givenUp_.contains(stamp); }
    /// Whether a frame due after `after` and by `limit` was skipped in this run and didn't come all the same.
    [[nodiscard]] bool isSkippedBetween(std::int64_t after, std::int64_t limit) const;
    /// Stamp of the first frame due after `after` that was skipped or is owed still.
    [[nodiscard]] std::optional<std::int64_t> firstMissing(std::int64_t after) const;
    /// Whether a frame due after `after` was skipped in this run.
    [[nodiscard]] bool skippedAfter(std::int64_t after) const;
    /// How many key frames shown by `stamp` this run was given; counted up to five.
    [[nodiscard]] int keysBy(std::int64_t stamp) const;
    /// The earlier one of the first packet's stamps; AV_NOPTS_VALUE before it, or when it has none.
    [[nodiscard]] std::int64_t start() const { return start_; }
    /// Whether the run's first packet, a key frame by the file's word, failed or leans on others: what follows it is
    /// drawn on a picture that isn't there. Known once its frame came, or a later one instead.
    [[nodiscard]] bool beganBadly() const { return beganBadly_; }
    /// Whether a packet was refused or a frame damaged since the run's first frame came; before it that means no more
    /// than that frames lean on ones before the run.
    [[nodiscard]] bool isDamaged() const { return damaged_; }
    /// Whether the run's first frame leans on others although its packet was a key frame by the file's word.
    [[nodiscard]] bool beganInBetween() const { return beganInBetween_; }

private:
    /// In order of the stamps.
    std::vector<std::int64_t> owed_;
    std::vector<std::int64_t> skipped_;
    std::set<std::int64_t> givenUp_;
    std::vector<std::int64_t> keys_;
    std::int64_t lastSkipped_ = AV_NOPTS_VALUE;
    bool keysMayHide_ = false;
    bool fed_ = false;
    std::int64_t start_ = AV_NOPTS_VALUE;
    /// When the first packet is shown, and whether it is meant to be.
    std::int64_t firstDue_ = AV_NOPTS_VALUE;
    bool firstShows_ = false;
    bool refused_ = false;
    bool came_ = false;
    bool damaged_ = false;
    bool beganBadly_ = false;
    bool beganInBetween_ = false;
};

/// The earlier one of a packet's stamps, or AV_NOPTS_VALUE.
std::int64_t earliestStamp(const AVPacket& packet);

}  // namespace kelvane
