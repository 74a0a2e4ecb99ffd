#include "SoundReaderPool.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "Media/FFmpeg/Source/UnchangedTrack.h"
#include "Media/MediaError.h"

namespace kelvane {

bool SoundReaderPool::Entry::isOf(const FFmpegTrack& other) const {
    const FFmpegTrack::Facts& mine = track->facts();
    return mine.streamIndex == other.facts().streamIndex && mine.identity == other.facts().identity;
}

Result<std::unique_ptr<SoundReader>> SoundReaderPool::take(const std::shared_ptr<const FFmpegTrack>& track,
                                                           std::stop_token stop) {
    const bool isThere = isUnchanged(*track);
    // Closed outside of the lock: files and decoders take their time.
    std::list<Entry> gone;
    {
        const std::lock_guard lock(mutex_);
        for (auto place = waiting_.begin(); place != waiting_.end();) {
            const auto entry = place++;
            if (!entry->isOf(*track)) continue;
            gone.splice(gone.end(), waiting_, entry);
            if (isThere) return std::move(gone.front().reader);
        }
        if (isThere) ++opened_;
    }
    if (!isThere) return fail(MediaError::invalidClip(track->url().baseName()));
    return SoundReader::open(track, std::move(stop));
}

void SoundReaderPool::giveBack(std::shared_ptr<const FFmpegTrack> track, std::unique_ptr<SoundReader> reader) {
    std::list<Entry> tooMany;
    const std::lock_guard lock(mutex_);
    waiting_.push_front({std::move(track), std::move(reader)});
    if (waiting_.size() > most_) tooMany.splice(tooMany.end(), waiting_, std::prev(waiting_.end()));
}

std::size_t SoundReaderPool::count() const {
    const std::lock_guard lock(mutex_);
    return waiting_.size();
}

std::int64_t SoundReaderPool::openedCount() const {
    const std::lock_guard lock(mutex_);
    return opened_;
}

}  // namespace kelvane
