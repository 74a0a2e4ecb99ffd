#include "OwedFrames.h"

#include <algorithm>

#include "FFmpegVersions.h"

namespace kelvane {

namespace {

/// Key frames of a run that are counted.
constexpr std::size_t countedKeys = 5;

bool leansOnOthers(const AVFrame& frame) {
    // The second one of two fields may lean on the first.
    return !isKeyFrame(frame) && (frame.pict_type == AV_PICTURE_TYPE_P || frame.pict_type == AV_PICTURE_TYPE_B);
}

}  // namespace

std::int64_t earliestStamp(const AVPacket& packet) {
    if (packet.pts == AV_NOPTS_VALUE || packet.dts == AV_NOPTS_VALUE)
        return packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
    return std::min(packet.pts, packet.dts);
}

void OwedFrames::restart() {
    owed_.clear();
    skipped_.clear();
    keys_.clear();
    lastSkipped_ = start_ = firstDue_ = AV_NOPTS_VALUE;
    fed_ = refused_ = came_ = damaged_ = beganBadly_ = beganInBetween_ = false;
}

void OwedFrames::feed(const AVPacket& packet, bool skipped) {
    if (!fed_) {
        start_ = earliestStamp(packet);
        firstDue_ = packet.pts;
        firstShows_ = packet.pts != AV_NOPTS_VALUE && (packet.flags & AV_PKT_FLAG_DISCARD) == 0;
        fed_ = true;
    }
    if (packet.pts == AV_NOPTS_VALUE || (packet.flags & AV_PKT_FLAG_DISCARD) != 0) return;
    if ((packet.flags & AV_PKT_FLAG_KEY) != 0 && keys_.size() < countedKeys) keys_.push_back(packet.pts);
    if (skipped) lastSkipped_ = std::max(lastSkipped_, packet.pts);
    std::vector<std::int64_t>& missing = skipped ? skipped_ : owed_;
    if (skipped || !isGivenUp(packet.pts)) missing.insert(std::ranges::upper_bound(missing, packet.pts), packet.pts);
}

void OwedFrames::refuse() {
    refused_ = true;
    damaged_ = came_;
}

void OwedFrames::come(const AVFrame& frame) {
    for (const std::int64_t stamp : {frame.pts, frame.best_effort_timestamp}) {
        for (auto* missing : {&owed_, &skipped_}) {
            const auto place = std::ranges::lower_bound(*missing, stamp);
            if (place != missing->end() && *place == stamp) missing->erase(place);
        }
    }
    const bool isUnknown = firstDue_ == AV_NOPTS_VALUE;
    const bool isFirst = isUnknown ? !came_ : frame.best_effort_timestamp == firstDue_;
    if (isFirst && leansOnOthers(frame)) beganInBetween_ = beganBadly_ = true;
    const bool isLater = isUnknown || frame.best_effort_timestamp > firstDue_;
    if (!came_ && isLater && (refused_ || (firstShows_ && !keysMayHide_))) beganBadly_ = true;
    came_ = true;
}

void OwedFrames::settle(std::int64_t stamp) {
    for (auto* missing : {&owed_, &skipped_})
        missing->erase(missing->begin(), std::ranges::upper_bound(*missing, stamp));
}

void OwedFrames::giveUp(std::int64_t after, std::int64_t limit) {
    const auto from = std::ranges::upper_bound(owed_, after);
    const auto to = std::ranges::upper_bound(owed_, limit);
    givenUp_.insert(from, to);
    owed_.erase(from, to);
}

std::optional<std::int64_t> OwedFrames::lastOwed(std::int64_t after, std::int64_t limit) const {
    const auto end = std::ranges::upper_bound(owed_, limit);
    if (end == owed_.begin() || *std::prev(end) <= after) return std::nullopt;
    return *std::prev(end);
}

bool OwedFrames::isSkippedBetween(std::int64_t after, std::int64_t limit) const {
    const auto first = std::ranges::upper_bound(skipped_, after);
    return first != skipped_.end() && *first <= limit;
}

std::optional<std::int64_t> OwedFrames::firstMissing(std::int64_t after) const {
    std::optional<std::int64_t> first;
    for (const auto* missing : {&owed_, &skipped_}) {
        const auto place = std::ranges::upper_bound(*missing, after);
        if (place != missing->end() && (!first || *place < *first)) first = *place;
    }
    return first;
}

bool OwedFrames::skippedAfter(std::int64_t after) const {
    return lastSkipped_ != AV_NOPTS_VALUE && lastSkipped_ > after;
}

int OwedFrames::keysBy(std::int64_t stamp) const {
    return static_cast<int>(std::ranges::count_if(keys_, [&](std::int64_t key) { return key <= stamp; }));
}

}  // namespace kelvane
