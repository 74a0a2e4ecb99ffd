#pragma once

#include "SourceFile.h"

/// What a stream of an opened file says about itself. Pure functions of the demuxer's findings.
namespace kelvane::FFmpegProbe {

/// Whether the file is a still or animated picture in a movie's clothes (HEIC, AVIF), by its brand.
bool isPictureFile(const SourceFile& file);
/// Whether the stream is a track of the given type that can be decoded: no cover picture, a known codec with its
/// parameters, not encrypted.
bool isPlayable(const AVStream& stream, MediaType type);
/// What one decoded picture takes in memory, bytes. Without a known format, as if it had ten bits and 4:2:0.
std::int64_t pictureBytes(const AVStream& stream);
/// Stored height, and stored width times the pixel aspect, pixels.
Size naturalSize(AVFormatContext& context, AVStream& stream);
/// The stream's display matrix as a map whose image of the natural-size rectangle starts at (0, 0). A turn that is no
/// multiple of a quarter goes to the nearest one; a matrix that flattens the picture is passed over.
AffineTransform orientation(const AVStream& stream, Size naturalSize);
/// The map of a display matrix (nine numbers, the last column of 2.30 and the others of 16.16 fixed point).
AffineTransform orientation(const std::int32_t* matrix, Size naturalSize);

}  // namespace kelvane::FFmpegProbe
