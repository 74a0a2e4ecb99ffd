#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <vector>

#include "Media/MediaPlatform.h"

namespace kelvane {

/// A still that is wanted: its place among the times that were asked for, and where its source shows it.
struct StillRequest {
    std::size_t index = 0;
    MediaTime sourceTime;
};

/// All stills of one source, in the order of their source times.
using StillGroup = std::vector<StillRequest>;

/// Draws stills with decoders of its own. One thread at a time.
class StillArtist {
public:
    virtual ~StillArtist() = default;
    /// Where decoding starts for a request: those of equal starts cost one pass together. Nothing when that can't be
    /// told. Opens the source.
    virtual Result<std::optional<std::int64_t>> decodingStart(const StillRequest& request, std::stop_token stop) = 0;
    virtual Result<TimedStill> draw(const StillRequest& request, std::stop_token stop) = 0;
};

/// Makes an artist whose decoders have `threads` threads; 0 is as many as there are cores.
using StillArtistFactory = std::function<std::unique_ptr<StillArtist>(int threads)>;

/// Draws the stills of all groups. Two artists work side by side, one from the first group on and one from the last
/// back, until they meet: two decoders with a thread each are faster than one with two. Stills that share their
/// decoding start stay together, so that nothing is decoded twice; when all do, one artist has all the threads.
/// With `mostArtists` 1, one artist draws them all with all the threads. `consume` is called as MediaPlatform promises.
/// The first failure ends the run and is returned; a stop request ends it as cancelled.
Result<void> drawStills(std::vector<StillGroup> groups, const StillArtistFactory& makeArtist,
                        const StillConsumer& consume, std::stop_token stop, int mostArtists = 2);

}  // namespace kelvane
