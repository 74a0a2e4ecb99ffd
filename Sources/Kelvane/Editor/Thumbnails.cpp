#include "Thumbnails.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Platform/PictureScaling.h"

namespace kelvane {

StillImagePtr Thumbnails::reduced(StillImagePtr picture) {
    if (!picture || picture->width <= 0 || picture->height <= 0) return picture;
    const double scale = std::max(covered.width / picture->width, covered.height / picture->height);
    if (scale >= 1) return picture;
    const auto pixels = [scale](int length) { return std::max(static_cast<int>(std::lround(length * scale)), 1); };
    return std::make_shared<const StillImage>(resized(*picture, pixels(picture->width), pixels(picture->height)));
}

void Thumbnails::store(const FileURL& url, StillImagePtr picture) {
    remove(url);
    lastBytes_ = picture->pixels.size();
    if (lastBytes_ > limit_) return;
    while (bytes_ + lastBytes_ > limit_) remove(FileURL(order_.front()));
    bytes_ += lastBytes_;
    order_.push_back(url);
    pictures_.emplace(url, std::move(picture));
}

void Thumbnails::remove(const FileURL& url) {
    const auto found = pictures_.find(url);
    if (found == pictures_.end()) return;
    bytes_ -= found->second->pixels.size();
    std::erase(order_, url);
    pictures_.erase(found);
}

void Thumbnails::clear() {
    pictures_.clear();
    order_.clear();
    bytes_ = 0;
}

}  // namespace kelvane
