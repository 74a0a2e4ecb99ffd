#include "PictureCache.h"

#include <algorithm>
#include <iterator>

#include "Media/FFmpeg/Picture/PicturePlane.h"

namespace kelvane {

PictureKey PictureKey::of(const PictureOrigin& shot, Size canvas) {
    const FFmpegTrack::Facts& facts = shot.track->facts();
    return {facts.identity, facts.streamIndex, shot.transform, canvas};
}

std::int64_t PictureCache::bytesOf(int width, int height) {
    const std::int64_t luma = alignedStride(width, 1) * height;
    const std::int64_t chroma = alignedStride((width + 1) / 2, 1) * ((height + 1) / 2);
    return luma + 2 * chroma + 4 * planeAlignment;
}

PictureCache::Shelf* PictureCache::shelfOf(const PictureKey& key) {
    const auto found = std::ranges::find(shelves_, key, &Shelf::key);
    return found == shelves_.end() ? nullptr : &*found;
}

VideoPicturePtr PictureCache::find(const PictureKey& key, std::int64_t stamp) {
    const std::lock_guard lock(mutex_);
    Shelf* shelf = shelfOf(key);
    if (shelf == nullptr) return nullptr;
    auto behind = shelf->pictures.upper_bound(stamp);
    if (behind == shelf->pictures.begin()) return nullptr;
    const auto entry = std::prev(behind)->second;
    if (stamp >= entry->until) return nullptr;
    entries_.splice(entries_.begin(), entries_, entry);
    return entry->picture;
}

void PictureCache::keep(const PictureKey& key, std::int64_t from, std::int64_t until, const VideoPicturePtr& picture) {
    const std::lock_guard lock(mutex_);
    Shelf* shelf = shelfOf(key);
    if (shelf == nullptr) shelf = &shelves_.emplace_front(Shelf{key, {}});
    if (const auto known = shelf->pictures.find(from); known != shelf->pictures.end()) {
        known->second->until = std::max(known->second->until, until);
        entries_.splice(entries_.begin(), entries_, known->second);
        return;
    }
    entries_.push_front({key, from, until, picture});
    shelf->pictures.emplace(from, entries_.begin());
    bytes_ += bytesOf(picture->width, picture->height);
    while (bytes_ > mostBytes_ && !entries_.empty()) drop(std::prev(entries_.end()));
}

void PictureCache::drop(Entries::iterator entry) {
    bytes_ -= bytesOf(entry->picture->width, entry->picture->height);
    const auto shelf = std::ranges::find(shelves_, entry->key, &Shelf::key);
    shelf->pictures.erase(entry->from);
    if (shelf->pictures.empty()) shelves_.erase(shelf);
    entries_.erase(entry);
}

void PictureCache::forget(Size canvas) {
    const std::lock_guard lock(mutex_);
    for (auto place = entries_.begin(); place != entries_.end();) {
        const auto entry = place++;
        if (entry->key.canvas == canvas) drop(entry);
    }
}

std::int64_t PictureCache::bytes() const {
    const std::lock_guard lock(mutex_);
    return bytes_;
}

}  // namespace kelvane
