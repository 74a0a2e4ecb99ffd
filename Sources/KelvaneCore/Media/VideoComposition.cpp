#include "VideoComposition.h"

#include <algorithm>

namespace kelvane {

const VideoInstruction* VideoComposition::instructionAt(MediaTime time) const {
    const auto behind =
        std::upper_bound(instructions.begin(), instructions.end(), time,
                         [](MediaTime wanted, const VideoInstruction& one) { return wanted < one.timeRange.start; });
    if (behind == instructions.begin()) return nullptr;
    const VideoInstruction& instruction = *std::prev(behind);
    return instruction.timeRange.contains(time) ? &instruction : nullptr;
}

}  // namespace kelvane
