extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/mastering_display_metadata.h>
#include <libavutil/opt.h>
}

#include <algorithm>

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

/// How gray is stored, and how it is to be taken.
struct GrayRow {
    const char* name;
    const char* encoder;
    AVPixelFormat format;
    bool full;
    /// The encoder's own options.
    const char* key = nullptr;
    const char* value = nullptr;
};

/// Hands the encoder's packets to the muxer.
void writePackets(AVCodecContext* encoder, AVFormatContext* out, const AVFrame* frame) {
    ASSERT_GE(avcodec_send_frame(encoder, frame), 0);
    const PacketPtr packet(av_packet_alloc());
    while (avcodec_receive_packet(encoder, packet.get()) >= 0) {
        av_packet_rescale_ts(packet.get(), encoder->time_base, out->streams[0]->time_base);
        ASSERT_GE(av_interleaved_write_frame(out, packet.get()), 0);
    }
}

/// Writes gray pictures without telling the encoder of a range: the command line tool's newer versions always tell one.
void writeUntaggedGray(const FileURL& file, const GrayRow& row) {
    AVFormatContext* out = nullptr;
    ASSERT_GE(avformat_alloc_output_context2(&out, nullptr, nullptr, file.path().c_str()), 0);
    const AVCodec* codec = avcodec_find_encoder_by_name(row.encoder);
    ASSERT_NE(codec, nullptr) << row.encoder;
    const CodecContextPtr encoder(avcodec_alloc_context3(codec));
    encoder->width = 160;
    encoder->height = 96;
    encoder->pix_fmt = row.format;
    encoder->time_base = {1, 25};
    encoder->framerate = {25, 1};
    encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (row.key != nullptr) av_opt_set(encoder->priv_data, row.key, row.value, 0);
    ASSERT_GE(avcodec_open2(encoder.get(), codec, nullptr), 0);
    AVStream* stream = avformat_new_stream(out, nullptr);
    avcodec_parameters_from_context(stream->codecpar, encoder.get());
    stream->time_base = encoder->time_base;
    ASSERT_GE(avio_open(&out->pb, file.path().c_str(), AVIO_FLAG_WRITE), 0);
    ASSERT_GE(avformat_write_header(out, nullptr), 0);
    const FramePtr frame(av_frame_alloc());
    frame->format = row.format;
    frame->width = encoder->width;
    frame->height = encoder->height;
    ASSERT_GE(av_frame_get_buffer(frame.get(), 0), 0);
    for (frame->pts = 0; frame->pts < 5; ++frame->pts) {
        ASSERT_GE(av_frame_make_writable(frame.get()), 0);
        std::fill_n(frame->data[0], static_cast<std::ptrdiff_t>(frame->linesize[0]) * frame->height, std::uint8_t{1});
        writePackets(encoder.get(), out, frame.get());
    }
    writePackets(encoder.get(), out, nullptr);
    ASSERT_EQ(av_write_trailer(out), 0);
    avio_closep(&out->pb);
    avformat_free_context(out);
}

TEST(PictureStream, UntaggedGrayOfTheStandardsCodecsIsLimited) {
    const TempFolder folder;
    const std::vector<GrayRow> rows{
        {"hevc.mp4", "libx265", AV_PIX_FMT_GRAY8, false, "x265-params", "log-level=none"},
        {"hevc10.mp4", "libx265", AV_PIX_FMT_GRAY10, false, "x265-params", "log-level=none"},
        {"av1.mp4", "libaom-av1", AV_PIX_FMT_GRAY8, false, "cpu-used", "8"},
        {"h264.mp4", "libx264", AV_PIX_FMT_GRAY8, false},
        // A lossless store of pictures: gray as pictures have it.
        {"ffv1.mkv", "ffv1", AV_PIX_FMT_GRAY8, true},
    };
    for (const GrayRow& row : rows) {
        const FileURL file = folder.url(row.name);
        writeUntaggedGray(file, row);
        const auto reader = openReader(file);
        ASSERT_TRUE(reader) << row.name;
        EXPECT_EQ(colorAt(*reader, {0, 600}).fullRange, row.full) << row.name;
    }
}

/// Room for side data of a whole stream, as the muxer reads it.
std::uint8_t* addSideData(AVStream& stream, AVPacketSideDataType type, std::size_t size) {
#if LIBAVFORMAT_VERSION_MAJOR >= 61
    AVCodecParameters& parameters = *stream.codecpar;
    AVPacketSideData* const data =
        av_packet_side_data_new(&parameters.coded_side_data, &parameters.nb_coded_side_data, type, size, 0);
    return data != nullptr ? data->data : nullptr;
#else
    return av_stream_new_side_data(&stream, type, size);
#endif
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
            addSideData(*stream, AV_PKT_DATA_CONTENT_LIGHT_LEVEL, sizeof(AVContentLightMetadata)));
        *light = {contentPeak, 100};
    }
    auto* display = reinterpret_cast<AVMasteringDisplayMetadata*>(
        addSideData(*stream, AV_PKT_DATA_MASTERING_DISPLAY_METADATA, sizeof(AVMasteringDisplayMetadata)));
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
    runSampleTool({"-f", "lavfi", "-i", "testsrc=s=160x96:d=2:r=10,format=rgb24", "-vf",
                   "scale=out_color_matrix=bt2020:out_range=tv,format=yuv420p10le,"
                   "setparams=range=tv:color_primaries=bt2020:color_trc=smpte2084:colorspace=bt2020nc",
                   "-c:v", "libx265", "-x265-params",
                   "log-level=none:keyint=10:colorprim=bt2020:transfer=smpte2084:colormatrix=bt2020nc:range=limited",
                   "-color_primaries", "bt2020", "-color_trc", "smpte2084", "-colorspace", "bt2020nc", "-color_range",
                   "tv", plain.path()});
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
