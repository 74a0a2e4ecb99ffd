#include <algorithm>
#include <fstream>

#include "SourceFixture.h"

namespace kelvane::testing {
namespace {

constexpr int groupLength = 20;

/// How a movie is stored, and how much of its second key frame is lost.
struct Damage {
    const char* name;
    const char* file;
    std::vector<std::string> video;
    double part = 1;
};
void PrintTo(const Damage& damage, std::ostream* stream) { *stream << damage.name; }

/// A frame's planes without what lies beside them.
std::vector<std::uint8_t> pixelsOf(const AVFrame& frame) {
    std::vector<std::uint8_t> pixels;
    for (int plane = 0; plane < 3; ++plane) {
        const int half = plane == 0 ? 1 : 2;
        for (int y = 0; y < frame.height / half; ++y) {
            const std::uint8_t* row = frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane];
            pixels.insert(pixels.end(), row, row + frame.width / half);
        }
    }
    return pixels;
}

std::vector<std::uint8_t> pixelsAt(VideoFrameReader& reader, int number) {
    const auto frame = reader.frame({number, 30}, {});
    EXPECT_TRUE(frame && *frame);
    return frame && *frame ? pixelsOf(**frame) : std::vector<std::uint8_t>();
}

class DamagedKeyFrame : public ::testing::TestWithParam<Damage> {
protected:
    void SetUp() override { skipWithoutTool(); }
};

TEST_P(DamagedKeyFrame, IsPassedInASeekAsInAPassFromTheBeginning) {
    const Damage& damage = GetParam();
    TempFolder folder;
    SampleMovie movie;
    movie.width = 160;
    movie.height = 96;
    movie.frames = 3 * groupLength;
    movie.video = damage.video;
    const FileURL file = makeSampleMovie(folder.path(), damage.file, movie);
    wipeFrames(file, groupLength, groupLength, damage.part);
    const auto pass = openReader(file, {.threads = 1});
    ASSERT_TRUE(pass);
    std::vector<std::vector<std::uint8_t>> expected;
    for (int n = 0; n < movie.frames; ++n) expected.push_back(pixelsAt(*pass, n));
    for (const int n : {20, 21, 22, 30, 39, 40, 41, 59, 19}) {
        const auto alone = openReader(file, {.threads = 1});
        EXPECT_TRUE(pixelsAt(*alone, n) == expected[n]) << "frame " << n;
        EXPECT_TRUE(pixelsAt(*pass, n) == expected[n]) << "frame " << n << " after others";
    }
}

std::vector<std::string> ofGroups(std::vector<std::string> video) {
    for (const char* word : {"-g", "20", "-bf", "0"}) video.emplace_back(word);
    return video;
}

std::vector<Damage> damages() {
    const std::vector<std::string> h264{
        "-c:v", "libx264",  "-preset", "veryfast",     "-qp",
        "16",   "-pix_fmt", "yuv420p", "-x264-params", "keyint=20:min-keyint=20:scenecut=0:bframes=2"};
    const std::vector<std::string> hevc{
        "-c:v",      "libx265",      "-preset",
        "ultrafast", "-x265-params", "log-level=none:keyint=20:min-keyint=20:scenecut=0:bframes=2:qp=16"};
    const std::vector<std::string> mpeg4 = ofGroups({"-c:v", "mpeg4", "-qscale:v", "2"});
    const std::vector<std::string> mpeg2 = ofGroups({"-c:v", "mpeg2video", "-qscale:v", "2"});
    const std::vector<std::string> vp9 =
        ofGroups({"-c:v", "libvpx-vp9", "-crf", "10", "-b:v", "0", "-deadline", "realtime"});
    return {{"H264", "a.mp4", h264},
            {"H264InPart", "a.mp4", h264, 0.5},
            {"H264InMatroskaInPart", "a.mkv", h264, 0.5},
            {"HEVC", "a.mp4", hevc},
            {"HEVCInPart", "a.mp4", hevc, 0.5},
            {"MPEG4", "a.mp4", mpeg4},
            {"MPEG4InPart", "a.mp4", mpeg4, 0.5},
            {"MPEG2", "a.mov", mpeg2},
            {"MPEG2InPart", "a.mov", mpeg2, 0.5},
            {"VP9", "a.mp4", vp9},
            {"VP9InPart", "a.mp4", vp9, 0.5}};
}

INSTANTIATE_TEST_SUITE_P(Codecs, DamagedKeyFrame, ::testing::ValuesIn(damages()),
                         [](const auto& info) { return std::string(info.param.name); });

/// Takes the list of key frames out of a movie: its frames all count as key frames then.
void forgetKeyFrames(const FileURL& file) {
    std::ifstream input(file.path(), std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(input)), {});
    input.close();
    const std::size_t place = bytes.find("stss");
    ASSERT_NE(place, std::string::npos);
    bytes.replace(place, 4, "free");
    std::ofstream(file.path(), std::ios::binary) << bytes;
}

TEST(FalseKeyFrames, AreNotBegunWith) {
    skipWithoutTool();
    for (const Damage& storage : damages()) {
        if (storage.part < 1 || std::string(storage.name) == "MPEG2") continue;
        SCOPED_TRACE(storage.name);
        TempFolder folder;
        SampleMovie movie;
        movie.width = 160;
        movie.height = 96;
        movie.frames = 3 * groupLength;
        movie.video = storage.video;
        const FileURL file = makeSampleMovie(folder.path(), storage.file, movie);
        forgetKeyFrames(file);
        for (const int n : {25, 39, 40, 50, 59}) {
            const auto alone = openReader(file, {.threads = 1});
            EXPECT_EQ(numberAt(*alone, {n, 30}), n);
        }
        const auto batch = openReader(file, {.threads = 1, .skipUnneeded = true});
        for (const int n : {3, 7, 25, 39, 40, 50, 59, 10}) EXPECT_EQ(numberAt(*batch, {n, 30}), n);
    }
}

}  // namespace
}  // namespace kelvane::testing
