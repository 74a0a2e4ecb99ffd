#pragma once

#include <functional>

#include "Media/VideoPicture.h"
#include "Support/Geometry.h"

namespace kelvane {

/// What a player shows, for the surface that paints it. The main thread.
class PictureFeed {
public:
    virtual ~PictureFeed() = default;
    /// The picture to show now; none while there is nothing to show.
    [[nodiscard]] virtual VideoPicturePtr picture() const = 0;
    /// Whether a moment is wanted whose picture is still to come, so that `picture` is that of another one.
    [[nodiscard]] virtual bool isAwaited() const = 0;
    /// Pixels of the screen that it is painted on. A change has the present picture drawn anew.
    virtual void setSurfaceSize(Size pixels) = 0;
    /// Called after `picture` changed; an empty one takes it away.
    virtual void setPictureObserver(std::function<void()> observer) = 0;
};

}  // namespace kelvane
