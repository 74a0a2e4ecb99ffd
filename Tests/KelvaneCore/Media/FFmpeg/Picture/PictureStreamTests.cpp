extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/mastering_display_metadata.h>
}

#include "KelvaneCore/Media/FFmpeg/Source/SourceFixture.h"
#include "Media/FFmpeg/Picture/PictureColor.h"

namespace kelvane::testing {
namespace {

PictureColor colorAt(VideoFrameReader& reader, MediaTime time) {
    const auto frame = reader.frame(time, {});
    EXPECT_TRUE(frame && *frame);
    if (!frame || !*frame) return {};
    const auto* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>((*frame)->format));
    return PictureColor::of(**frame, format->comp[0].depth);
}

TEST(PictureStream, UntaggedGrayOfTheStandardsCodecsIsLimited) {
    skipWithoutTool();
    const TempFolder folder;
    struct Row {
        const char* name;
        std::vector<std::string> words;
        bool full;
        const char* format = "gray";
    };
    const std::vector<Row> rows{
        {"hevc.mp4", {"-c:v", "libx265", "-pix_fmt", "gray", "-x265-params", "log-level=none"}, false},
        {"hevc10.mp4", {"-c:v", "libx265", "-pix_fmt", "gray10", "-x265-params", "log-level=none"}, false, "gray10"},
        {"av1.mp4", {"-c:v", "libaom-av1", "-cpu-used", "8", "-pix_fmt", "gray"}, false},
        {"h264.mp4", {"-c:v", "libx264", "-pix_fmt", "gray"}, false},
        // A lossless store of pictures: gray as pictures have it.
        {"ffv1.mkv", {"-c:v", "ffv1", "-pix_fmt", "gray"}, true},
    };
    for (const Row& row : rows) {
        const FileURL file = folder.url(row.name);
        std::vector<std::string> words{
            "-f",  "lavfi",
            "-i",  "color=c=gray:s=160x96:d=0.2",
            "-vf", std::string("format=gray,format=") + row.format + ",setparams=range=unspecified"};
        words.insert(words.end(), row.words.begin(), row.words.end());
        words.push_back(file.path());
        runSampleTool(words);
        const auto reader = openReader(file);
        ASSERT_TRUE(reader) << row.name;
        EXPECT_EQ(colorAt(*reader, {0, 600}).fullRange, row.full) << row.name;
    }
}

/// Copies a movie's packets into `to`, whose container tells the stream's brightest light.
void copyWithLight(const FileURL& from, const FileURL& to, unsigned contentPeak, int displayPeak) {
    AVFormatContext* in = nullptr;
    ASSERT_EQ(avformat_open_input(&in, from.path().c_str(), nullptr, nullptr), 0);
    ASSERT_GE(avformat_find_stream_info(in, nullptr), 0);
    AVFormatContext* out = nullptr;
    ASSERT_GE(avformat_alloc_output_context2(&out, nullptr, nullptr, to.path().c_str()), 0);
    AVStream* stream = avformat_new_stream(out, nullptr);
    ASSERT_GE(avcodec_parameters_copy(stream->codecpar, in->streams[0]->codecpar), 0);
    stream->codecpar->codec_tag = 0;
    stream->time_base = in->streams[0]->time_base;
    if (contentPeak > 0) {
        auto* light = reinterpret_cast<AVContentLightMetadata*>(
            av_stream_new_side_data(stream, AV_PKT_DATA_CONTENT_LIGHT_LEVEL, sizeof(AVContentLightMetadata)));
        *light = {contentPeak, 100};
    }
    auto* display = reinterpret_cast<AVMasteringDisplayMetadata*>(
        av_stream_new_side_data(stream, AV_PKT_DATA_MASTERING_DISPLAY_METADATA, sizeof(AVMasteringDisplayMetadata)));
    *display = {};
    display->has_luminance = 1;
    display->max_luminance = {displayPeak, 1};
    display->min_luminance = {1, 1000};
    display->has_primaries = 1;
    const AVRational points[4][2] = {
        {{17, 25}, {8, 25}}, {{53, 200}, {69, 100}}, {{3, 20}, {3, 50}}, {{3127, 10000}, {329, 1000}}};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 2; ++j) display->display_primaries[i][j] = points[i][j];
    for (int j = 0; j < 2; ++j) display->white_point[j] = points[3][j];
    ASSERT_GE(avio_open(&out->pb, to.path().c_str(), AVIO_FLAG_WRITE), 0);
    ASSERT_GE(avformat_write_header(out, nullptr), 0);
    const PacketPtr packet(av_packet_alloc());
    while (av_read_frame(in, packet.get()) >= 0) {
        av_packet_rescale_ts(packet.get(), in->streams[0]->time_base, stream->time_base);
        packet->pos = -1;
        ASSERT_GE(av_interleaved_write_frame(out, packet.get()), 0);
    }
    ASSERT_EQ(av_write_trailer(out), 0);
    avio_closep(&out->pb);
    avformat_free_context(out);
    avformat_close_input(&in);
}

TEST(PictureStream, LightThatTheContainerTellsCountsForEveryFrame) {
    skipWithoutTool();
    const TempFolder folder;
    const FileURL plain = folder.url("plain.mkv");
    runSampleTool({"-f", "lavfi", "-i", "testsrc=s=160x96:d=2:r=10", "-vf",
                   "setparams=color_primaries=bt2020:color_trc=smpte2084:colorspace=bt2020nc", "-c:v", "libx265",
                   "-pix_fmt", "yuv420p10le", "-x265-params", "log-level=none:keyint=10:colorprim=9:transfer=16",
                   plain.path()});
    const auto untold = openReader(plain);
    ASSERT_TRUE(untold);
    EXPECT_EQ(colorAt(*untold, {0, 600}).peakNits, 1000);
    struct Row {
        const char* name;
        unsigned content;
        int display;
        double peak;
    };
    for (const Row& row : {Row{"a.mkv", 640, 4000, 640}, Row{"b.mkv", 0, 800, 800}, Row{"a.mp4", 640, 4000, 640},
                           Row{"b.mov", 0, 800, 800}}) {
        const FileURL file = folder.url(row.name);
        copyWithLight(plain, file, row.content, row.display);
        const auto reader = openReader(file);
        ASSERT_TRUE(reader);
        // The last one first: it isn't the first frame that tells.
        for (const int n : {19, 0, 7}) {
            const PictureColor color = colorAt(*reader, {n, 10});
            EXPECT_EQ(color.transfer, TransferKind::pq);
            EXPECT_EQ(color.peakNits, row.peak) << row.name << " " << n;
        }
    }
}

}  // namespace
}  // namespace kelvane::testing
