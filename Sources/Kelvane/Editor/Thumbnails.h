#pragma once

#include <cstddef>
#include <deque>
#include <map>

#include "Media/StillImage.h"
#include "Support/FileURL.h"
#include "Support/Geometry.h"

namespace kelvane {

/// The pictures of a project's assets, keyed by the asset's file, at the size at which they are drawn and bounded in
/// bytes: what finds no room pushes out the pictures that have lain longest. One owner.
class Thumbnails {
public:
    /// Pixels that a picture covers. The largest places where one is drawn are, at two pixels a point, an item of the
    /// assets pane (144 × 81 points), a tile on the timeline (72 × 86) and the project's card (86 × 152); each is
    /// filled, and what lies outside is cut off.
    static constexpr Size covered{288, 304};
    /// Bytes of pixels. A picture of 16:9 or 9:16 takes about 0.6 MB, so that these are more than 200.
    static constexpr std::size_t defaultLimit = std::size_t{128} << 20;

    /// `picture` reduced to the smallest size of its shape that covers `covered`; as it is where that would enlarge it.
    /// Nothing for nothing. Any thread; takes some milliseconds.
    static StillImagePtr reduced(StillImagePtr picture);

    explicit Thumbnails(std::size_t limit = defaultLimit) : limit_(limit) {}

    /// Keeps `picture` in place of what was kept for `url`. A picture of more than the limit is not kept.
    void store(const FileURL& url, StillImagePtr picture);
    /// Harmless when there is none.
    void remove(const FileURL& url);
    void clear();

    [[nodiscard]] const std::map<FileURL, StillImagePtr>& pictures() const { return pictures_; }
    /// Of the pixels that are kept, at most the limit.
    [[nodiscard]] std::size_t bytes() const { return bytes_; }
    /// Whether the next picture of the size that the last one had pushes none out.
    [[nodiscard]] bool hasRoom() const { return bytes_ + lastBytes_ <= limit_; }

private:
    std::size_t limit_;
    std::size_t bytes_ = 0;
    std::size_t lastBytes_ = 0;
    std::map<FileURL, StillImagePtr> pictures_;
    /// The keys of `pictures_`, the longest kept first.
    std::deque<FileURL> order_;
};

}  // namespace kelvane
