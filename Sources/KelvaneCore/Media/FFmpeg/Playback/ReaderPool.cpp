#include "ReaderPool.h"

#include <algorithm>
#include <thread>
#include <tuple>
#include <utility>

#include "Media/FFmpeg/Source/PictureDecoder.h"
#include "Media/FFmpeg/Source/UnchangedTrack.h"
#include "Media/MediaError.h"

namespace kelvane {

namespace {

/// Threads of a decoder, at most one a core. Four play 2160p at 60 frames a second; more would only take memory.
constexpr unsigned mostThreads = 4;
/// Memory for what threads decode ahead: enough for two of them at 3840 × 2160 in ten bits.
constexpr std::int64_t bytesAhead = 100'000'000;
/// Readers given back last that are kept whatever they take.
constexpr std::size_t keptReaders = 2;
/// What an opened file takes besides pictures: the index of an hour, and buffers.
constexpr std::int64_t fileBytes = 4'000'000;

VideoFrameReaderOptions readerOptions() {
    const unsigned cores = std::max(std::thread::hardware_concurrency(), 1U);
    return {.threads = static_cast<int>(std::min(cores, mostThreads)), .bytesAhead = bytesAhead, .skipUnneeded = true};
}

std::int64_t readerBytes(const FFmpegTrack& track) {
    const std::int64_t picture = track.facts().pictureBytes;
    const int threads = pictureDecoderThreads(picture, readerOptions().threads, bytesAhead);
    return pictureDecoderBytes(picture, threads) + fileBytes;
}

}  // namespace

struct ReaderPool::Entry {
    std::shared_ptr<const FFmpegTrack> track;
    std::unique_ptr<VideoFrameReader> reader;
    std::int64_t bytes = 0;
    ReaderRole role = ReaderRole::showing;
    /// Whose last picture it showed; 0 for nobody's.
    std::uint64_t shownTo = 0;

    [[nodiscard]] bool isOf(const FFmpegTrack& other) const {
        const FFmpegTrack::Facts& mine = track->facts();
        return mine.streamIndex == other.facts().streamIndex && mine.identity == other.facts().identity;
    }
};

ReaderPool::Lease::Lease(std::shared_ptr<ReaderPool> pool, std::unique_ptr<Entry> entry)
    : pool_(std::move(pool)), entry_(std::move(entry)) {}
ReaderPool::Lease::Lease(Lease&&) noexcept = default;
ReaderPool::Lease::~Lease() {
    if (entry_) pool_->giveBack(std::move(entry_));
}
VideoFrameReader* ReaderPool::Lease::operator->() const { return entry_->reader.get(); }
VideoFrameReader& ReaderPool::Lease::operator*() const { return *entry_->reader; }
void ReaderPool::Lease::discard() { pool_->drop(std::move(entry_)); }

std::shared_ptr<ReaderPool> ReaderPool::make(ReaderLimits limits) {
    return std::shared_ptr<ReaderPool>(new ReaderPool(limits));
}

ReaderPool::ReaderPool(ReaderLimits limits) : limits_(limits) {}
ReaderPool::~ReaderPool() = default;

std::uint64_t ReaderPool::newUser() {
    const std::lock_guard lock(mutex_);
    return ++users_;
}

Result<ReaderPool::Lease> ReaderPool::lease(const std::shared_ptr<const FFmpegTrack>& track, MediaTime time,
                                            ReaderRole role, std::uint64_t user, std::stop_token stop) {
    if (stop.stop_requested()) return fail(Error::cancelled());
    if (!isUnchanged(*track)) {
        const std::lock_guard lock(mutex_);
        for (auto place = idle_.begin(); place != idle_.end();) {
            const auto entry = place++;
            if ((*entry)->isOf(*track)) close(entry);
        }
        return fail(MediaError::invalidClip(track->url().baseName()));
    }
    auto entry = take(*track, time, role, user);
    if (!entry) {
        auto opened = open(track, role, user, std::move(stop));
        if (!opened) return fail(opened.error());
        entry = std::move(*opened);
    }
    return Lease(shared_from_this(), std::move(entry));
}

bool ReaderPool::hasRoom(std::int64_t bytes) const {
    return count_ < limits_.readers && bytes_ + bytes <= limits_.bytes;
}

/// The best of the readers that aren't on loan, or none where one should be opened.
std::unique_ptr<ReaderPool::Entry> ReaderPool::take(const FFmpegTrack& track, MediaTime time, ReaderRole role,
                                                    std::uint64_t user) {
    const std::int64_t wanted = VideoFrameReader::stampAt(track, time).value_or(INT64_MIN);
    // Before the time and near; else not prepared for another; else used longest ago, which comes last.
    using Rank = std::tuple<bool, std::int64_t, bool>;
    const auto rank = [&](const Entry& entry) {
        const auto stands = entry.reader->position();
        const bool leads = stands && *stands <= wanted;
        return Rank(leads, leads ? *stands : 0, entry.role == role);
    };
    const std::lock_guard lock(mutex_);
    auto best = idle_.end();
    for (auto place = idle_.begin(); place != idle_.end(); ++place) {
        const Entry& entry = **place;
        if (!entry.isOf(track) || (role == ReaderRole::preparing && entry.shownTo == user)) continue;
        if (best == idle_.end() || rank(entry) >= rank(**best)) best = place;
    }
    if (best == idle_.end()) return nullptr;
    const bool isPreparedForLater = role == ReaderRole::showing && (*best)->role == ReaderRole::preparing;
    if (isPreparedForLater && !std::get<0>(rank(**best)) && hasRoom((*best)->bytes)) return nullptr;
    auto entry = std::move(*best);
    idle_.erase(best);
    entry->role = role;
    if (role == ReaderRole::showing)
        for (const auto& other : idle_)
            if (other->shownTo == user) other->shownTo = 0;
    entry->shownTo = role == ReaderRole::showing ? user : 0;
    return entry;
}

Result<std::unique_ptr<ReaderPool::Entry>> ReaderPool::open(const std::shared_ptr<const FFmpegTrack>& track,
                                                            ReaderRole role, std::uint64_t user, std::stop_token stop) {
    auto entry = std::make_unique<Entry>();
    entry->track = track;
    entry->bytes = readerBytes(*track);
    entry->role = role;
    {
        const std::lock_guard lock(mutex_);
        // Before the new one opens, so that both never hold memory; but not the one that shows while it opens.
        for (auto behind = idle_.end(); behind != idle_.begin() && !hasRoom(entry->bytes);) {
            const auto oldest = std::prev(behind);
            const bool shows = role == ReaderRole::preparing && (*oldest)->shownTo == user;
            if (shows)
                behind = oldest;
            else
                close(oldest);
        }
        if (role == ReaderRole::showing) {
            entry->shownTo = user;
            for (const auto& other : idle_)
                if (other->shownTo == user) other->shownTo = 0;
        }
        ++count_;
        bytes_ += entry->bytes;
        ++opened_;
    }
    auto reader = VideoFrameReader::open(track, readerOptions(), std::move(stop));
    if (!reader) {
        const std::lock_guard lock(mutex_);
        --count_;
        bytes_ -= entry->bytes;
        return fail(reader.error());
    }
    entry->reader = std::move(*reader);
    return entry;
}

/// Of one that isn't on loan; under the lock.
void ReaderPool::close(std::list<std::unique_ptr<Entry>>::iterator place) {
    packetsOfClosed_ += (*place)->reader->packetsDecoded();
    --count_;
    bytes_ -= (*place)->bytes;
    idle_.erase(place);
}

void ReaderPool::giveBack(std::unique_ptr<Entry> entry) {
    const std::lock_guard lock(mutex_);
    idle_.push_front(std::move(entry));
    while (idle_.size() > keptReaders && (count_ > limits_.readers || bytes_ > limits_.bytes))
        close(std::prev(idle_.end()));
}

void ReaderPool::drop(std::unique_ptr<Entry> entry) {
    const std::lock_guard lock(mutex_);
    idle_.push_front(std::move(entry));
    close(idle_.begin());
}

std::size_t ReaderPool::count() const {
    const std::lock_guard lock(mutex_);
    return count_;
}

std::int64_t ReaderPool::bytes() const {
    const std::lock_guard lock(mutex_);
    return bytes_;
}

std::int64_t ReaderPool::openedCount() const {
    const std::lock_guard lock(mutex_);
    return opened_;
}

std::int64_t ReaderPool::packetsDecoded() const {
    const std::lock_guard lock(mutex_);
    std::int64_t packets = packetsOfClosed_;
    for (const auto& entry : idle_) packets += entry->reader->packetsDecoded();
    return packets;
}

}  // namespace kelvane
