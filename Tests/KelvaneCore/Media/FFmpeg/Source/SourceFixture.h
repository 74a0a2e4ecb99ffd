#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include "Media/FFmpeg/Source/FFmpegAsset.h"
#include "Media/FFmpeg/Source/VideoFrameReader.h"
#include "Support/SampleMedia.h"
#include "Support/TempFolder.h"
#include "Support/TestData.h"

namespace kelvane::testing {

inline std::shared_ptr<const FFmpegAsset> openSource(const FileURL& url) {
    auto asset = FFmpegAsset::open(url, {});
    EXPECT_TRUE(asset) << asset.error().message;
    return asset ? *asset : nullptr;
}

inline std::vector<std::shared_ptr<const FFmpegTrack>> tracksOf(const FFmpegAsset& asset, MediaType type) {
    std::vector<std::shared_ptr<const FFmpegTrack>> tracks;
    const auto loaded = asset.loadTracks(type);
    for (const MediaTrackPtr& track : *loaded) tracks.push_back(std::dynamic_pointer_cast<const FFmpegTrack>(track));
    return tracks;
}

inline std::shared_ptr<const FFmpegTrack> firstTrack(const FileURL& url, MediaType type) {
    const auto asset = openSource(url);
    const auto tracks = asset ? tracksOf(*asset, type) : std::vector<std::shared_ptr<const FFmpegTrack>>();
    return tracks.empty() ? nullptr : tracks.front();
}

inline std::unique_ptr<VideoFrameReader> openReader(const FileURL& url, VideoFrameReaderOptions options = {}) {
    const auto track = firstTrack(url, MediaType::video);
    if (!track) return nullptr;
    auto reader = VideoFrameReader::open(track, options);
    EXPECT_TRUE(reader) << reader.error().message;
    return reader ? std::move(*reader) : nullptr;
}

/// The number of a decoded sample picture; -1 for no picture, -2 for one without a readable number.
inline int numberOf(const SharedFrame& frame) {
    if (!frame) return -1;
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame->format));
    const int depth = format->comp[0].depth;
    const auto number = readSampleNumber([&](double x, double y) {
        const std::uint8_t* row = frame->data[0] + static_cast<std::ptrdiff_t>(y * frame->height) * frame->linesize[0];
        const auto column = static_cast<std::ptrdiff_t>(x * frame->width);
        return depth == 8 ? row[column] : reinterpret_cast<const std::uint16_t*>(row)[column] >> (depth - 8);
    });
    return number.value_or(-2);
}

/// The number shown at a time; failures are the test's.
inline int numberAt(VideoFrameReader& reader, MediaTime time) {
    const auto frame = reader.frame(time, {});
    EXPECT_TRUE(frame) << frame.error().message;
    return frame ? numberOf(*frame) : -3;
}

/// Overwrites the samples `from` to `to` of a movie's pictures with zeros: all of each one, or that part of it at its
/// end.
inline void wipeFrames(const FileURL& file, int from, int to, double part = 1) {
    const auto track = firstTrack(file, MediaType::video);
    ASSERT_TRUE(track);
    auto demuxer = SourceDemuxer::open(*track);
    ASSERT_TRUE(demuxer);
    // All are found before the first is written: a file that changes is read no further.
    std::vector<std::pair<std::int64_t, int>> places;
    for (int i = 0; i <= to; ++i) {
        const auto packet = (*demuxer)->next();
        ASSERT_TRUE(packet && *packet);
        if (i >= from) places.emplace_back((*packet)->pos, (*packet)->size);
    }
    const int descriptor = ::open(file.path().c_str(), O_WRONLY);
    for (const auto& [position, size] : places) {
        const std::vector<char> zeros(static_cast<std::size_t>(size * part), 0);
        const auto place = static_cast<off_t>(position + size - static_cast<int>(zeros.size()));
        ASSERT_EQ(::pwrite(descriptor, zeros.data(), zeros.size(), place), static_cast<ssize_t>(zeros.size()));
    }
    ::close(descriptor);
}

/// Encoder words for small H.264 pictures whose numbers stay readable.
inline std::vector<std::string> x264(const std::string& parameters) {
    return {"-c:v", "libx264", "-preset", "veryfast", "-qp", "16", "-pix_fmt", "yuv420p", "-x264-params", parameters};
}

inline void skipWithoutTool() {
    if (!hasSampleTool()) GTEST_SKIP() << "the ffmpeg command line isn't here";
}

}  // namespace kelvane::testing
