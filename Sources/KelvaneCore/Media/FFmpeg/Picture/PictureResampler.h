#pragma once

#include <zimg.h>

#include <list>
#include <memory>

#include "PicturePlane.h"
#include "Support/Error.h"
#include "Support/Geometry.h"

namespace kelvane {

/// Scales single planes with a bicubic filter (Catmull-Rom, widened when it shrinks), fractions of samples in the crop
/// honoured. Keeps the filters of like planes. One thread at a time.
class PictureResampler {
public:
    /// Fills `to` with `region` of `from`. `region` may reach past the edges by a few samples, where the edge repeats.
    /// Depths are bits of a sample; a change of depth keeps limited-range levels (a shift). Rows of `to` are written up
    /// to the next multiple of the alignment; `to` is aligned.
    Result<void> resample(const PlaneView& from, int fromDepth, const Rect& region, const PlaneSpan& to, int toDepth);

private:
    struct Key {
        int fromWidth = 0;
        int fromHeight = 0;
        int fromDepth = 0;
        int toWidth = 0;
        int toHeight = 0;
        int toDepth = 0;
        Rect region;
        bool operator==(const Key&) const = default;
    };
    struct GraphDeleter {
        void operator()(zimg_filter_graph* graph) const { zimg_filter_graph_free(graph); }
    };
    struct Graph {
        Key key;
        std::unique_ptr<zimg_filter_graph, GraphDeleter> graph;
        std::size_t scratchBytes = 0;
    };

    Result<const Graph*> graphFor(const Key& key);
    /// `from` where vector code may read it: aligned rows.
    PlaneView aligned(const PlaneView& from);

    std::list<Graph> graphs_;
    AlignedBuffer scratch_;
    AlignedBuffer realigned_;
};

}  // namespace kelvane
