#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <mutex>

#include "Media/FFmpeg/Picture/PicturePainter.h"
#include "Media/FFmpeg/Source/FFmpegAsset.h"
#include "Media/VideoPicture.h"

namespace kelvane {

/// What pictures were drawn from, and how: all of one key differ by the source's time alone.
struct PictureKey {
    FileIdentity source;
    int streamIndex = 0;
    AffineTransform transform;
    Size canvas;

    static PictureKey of(const PictureOrigin& shot, Size canvas);
    bool operator==(const PictureKey&) const = default;
};

/// Pictures drawn lately, found by the stamps of their source that show them (ShownFrame), so that a step back decodes
/// nothing. The ones used longest ago go first. Outlives edits, as the reader pool does. Any thread.
class PictureCache {
public:
    /// At a preview of 400 × 711 pixels 48 MB hold 112 pictures, more than three seconds in which to step to and fro;
    /// at 1080 × 1920, 15.
    static constexpr std::int64_t defaultBytes = 48'000'000;
    explicit PictureCache(std::int64_t mostBytes = defaultBytes) : mostBytes_(mostBytes) {}

    /// The picture that shows at `stamp`, or null.
    VideoPicturePtr find(const PictureKey& key, std::int64_t stamp);
    /// Keeps the picture that shows from `from` on and before `until`.
    void keep(const PictureKey& key, std::int64_t from, std::int64_t until, const VideoPicturePtr& picture);
    /// Lets go of all pictures on canvases of this size.
    void forget(Size canvas);

    [[nodiscard]] std::int64_t mostBytes() const { return mostBytes_; }
    [[nodiscard]] std::int64_t bytes() const;
    /// Memory of one picture on a canvas of this size.
    static std::int64_t bytesOf(int width, int height);

private:
    struct Entry {
        PictureKey key;
        std::int64_t from = 0;
        std::int64_t until = 0;
        VideoPicturePtr picture;
    };
    using Entries = std::list<Entry>;
    struct Shelf {
        PictureKey key;
        std::map<std::int64_t, Entries::iterator> pictures;
    };
    Shelf* shelfOf(const PictureKey& key);
    void drop(Entries::iterator entry);

    std::int64_t mostBytes_;
    mutable std::mutex mutex_;
    /// The one used last comes first.
    Entries entries_;
    std::list<Shelf> shelves_;
    std::int64_t bytes_ = 0;
};

}  // namespace kelvane
