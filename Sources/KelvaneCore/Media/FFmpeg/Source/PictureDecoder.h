#pragma once

#include <cstdint>

#include "Handles.h"

namespace kelvane {

/// Threads for a decoder of pictures that take `pictureBytes` each: as many as are wanted (0: one a core), as far as
/// what they decode ahead takes no more than `bytesAhead`.
int pictureDecoderThreads(std::int64_t pictureBytes, int wanted, std::int64_t bytesAhead);

/// What a decoder of such pictures with so many threads holds in memory at the most, bytes.
std::int64_t pictureDecoderBytes(std::int64_t pictureBytes, int threads);

/// A decoder for the pictures of a stream, or null when the libraries have none that takes it.
CodecContextPtr openPictureDecoder(const AVStream& stream, int threads);

}  // namespace kelvane
