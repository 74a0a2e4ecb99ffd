#pragma once

#include <cstddef>
#include <span>

#include "AudioSampleReader.h"

/// Folds the reader's amplitudes into bins of time: what all that reduce a file's sound to peaks have in common.
namespace kelvane::AmplitudeBins {

/// The largest of amplitudes, none of which is negative or NaN; 0 of none.
float largest(std::span<const float> amplitudes);

/// Cuts a block into the runs of frames that lie in one bin each, in order, and calls `take(bin, peak)` with the
/// largest amplitude of each. `binAt` maps seconds to a bin and never falls with its argument; it is asked some ten
/// times for a run and not once for a frame.
template <class BinAt, class Take>
void fold(const AudioSampleReader::AmplitudeBlock& block, const BinAt& binAt, const Take& take) {
    const std::size_t count = block.amplitudes.size();
    for (std::size_t from = 0; from < count;) {
        const std::size_t bin = binAt(block.time(from));
        std::size_t end = count;
        if (binAt(block.time(count - 1)) != bin) {
            // Times never fall, so neither do bins: a bin's frames lie side by side, and their end is found by halving.
            std::size_t inside = from;
            while (end - inside > 1) {
                const std::size_t middle = inside + (end - inside) / 2;
                (binAt(block.time(middle)) == bin ? inside : end) = middle;
            }
        }
        take(bin, largest(block.amplitudes.subspan(from, end - from)));
        from = end;
    }
}

}  // namespace kelvane::AmplitudeBins
