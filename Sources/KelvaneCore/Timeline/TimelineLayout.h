#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "Clip.h"

/// Where clips lie: pure functions shared by the editor, the command interface, the composition and the views, so
/// that a position computed in one place agrees with every other. Who asks more than once for one array asks its
/// `TimelinePlacement`, which answers the same. Times in seconds. Any thread.
namespace kelvane::TimelineLayout {

/// Length of the timeline: the end of whatever ends last. 0 when empty.
double duration(std::span<const Clip> clips);
/// Lane identities in lane order, the order of first appearance.
std::vector<UUID> audioTracks(std::span<const Clip> clips);
/// `clips` with its audio entries reordered, within the slots that audio holds, so that lanes come in the order
/// of `tracks`, new lanes last. `tracks` must not list a lane twice.
std::vector<Clip> preservingAudioTrackOrder(std::vector<Clip> clips, const std::vector<UUID>& tracks);
/// Array index at which a video clip dropped at `position` is inserted; a clip's exact middle counts as behind it.
std::size_t insertionIndex(double position, std::span<const Clip> clips);

struct Snap {
    double position = 0;
    double target = 0;
    bool operator==(const Snap&) const = default;
};
/// Best alignment of a dragged span with `edges` (offsets from `position`) on `targets`, within `tolerance`;
/// never before timeline zero. A later pair wins a tie.
std::optional<Snap> snap(double position, std::span<const double> edges, std::span<const double> targets,
                         double tolerance);
/// Which trim handle a point `x` hits on a clip drawn `width` points wide.
std::optional<TrimEdge> trimEdge(double x, double width);

struct ClipFrame {
    double inset = 0;
    double width = 0;
    bool operator==(const ClipFrame&) const = default;
};
/// How far a clip's drawing stands off its slot of `width` points, and what is left for it.
ClipFrame clipFrame(double width);

}  // namespace kelvane::TimelineLayout
