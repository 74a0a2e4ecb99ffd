#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <functional>

extern "C" {
#include <libavutil/cpu.h>
}

#include "KelvaneCore/Media/FFmpeg/Source/SourceFixture.h"
#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/MediaEngine.h"

namespace kelvane::testing {
namespace {

constexpr int width = 4096;
constexpr int height = 2304;
/// 4:2:0 in ten bits, which takes two bytes a sample.
constexpr double frameMegabytes = width * height * 1.5 * 2 / 1e6;
/// References that the stream may keep, as its encoder is told.
constexpr int references = 4;
/// What an import or a still may take: its references and three pictures, and a fixed share.
constexpr double boundMegabytes = (references + 3) * frameMegabytes + 100;

/// Megabytes that `work` takes at its peak, in a process of its own that believes to have sixteen cores; -1 when it
/// fails.
double peakMegabytes(const std::function<bool()>& work) {
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe(ends.data()), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        av_cpu_force_count(16);
        rusage before{};
        ::getrusage(RUSAGE_SELF, &before);
        const bool worked = work();
        rusage after{};
        ::getrusage(RUSAGE_SELF, &after);
        const double grown = worked ? static_cast<double>(after.ru_maxrss - before.ru_maxrss) * 1024 / 1e6 : -1;
        const bool told = ::write(ends[1], &grown, sizeof grown) == sizeof grown;
        ::_exit(told ? 0 : 1);
    }
    ::close(ends[1]);
    double grown = -1;
    EXPECT_EQ(::read(ends[0], &grown, sizeof grown), static_cast<ssize_t>(sizeof grown));
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return grown;
}

/// Large pictures in ten bits, each of which leans on others.
class PictureMemory : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!hasSampleTool()) return;
        folder_ = new TempFolder;
        std::vector<std::string> words{
            "-f",           "lavfi",
            "-i",           std::string("color=c=gray:s=4096x2304:r=24,format=yuv420p10le,") + plainColorFilter,
            "-frames:v",    "10",
            "-c:v",         "libx265",
            "-preset",      "ultrafast",
            "-x265-params", "log-level=none:ref=4:bframes=3:b-adapt=0:keyint=60",
            "-tag:v",       "hvc1"};
        words.insert(words.end(), plainColorWords().begin(), plainColorWords().end());
        words.push_back(file().path());
        runSampleTool(words);
    }
    static void TearDownTestSuite() {
        delete folder_;
        folder_ = nullptr;
    }
    void SetUp() override {
        skipWithoutTool();
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        GTEST_SKIP() << "a sanitizer's own memory would be measured";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
        GTEST_SKIP() << "a sanitizer's own memory would be measured";
#endif
#endif
    }
    static FileURL file() { return folder_->url("large.mp4"); }

    static TempFolder* folder_;
};
TempFolder* PictureMemory::folder_ = nullptr;

TEST_F(PictureMemory, OfAnImportIsThatOfItsReferences) {
    const double peak = peakMegabytes([] {
        FFmpegPlatform platform;
        const auto imported = MediaEngine::importClip(platform, file(), {});
        return imported && imported->picture != nullptr;
    });
    EXPECT_GT(peak, frameMegabytes);
    EXPECT_LT(peak, boundMegabytes);
}

TEST_F(PictureMemory, OfStillsIsThatOfTheirReferences) {
    for (const std::vector<MediaTime>& times :
         {std::vector<MediaTime>{{5, 24}}, {{1, 24}, {3, 24}, {5, 24}, {7, 24}, {9, 24}}}) {
        const double peak = peakMegabytes([&] {
            FFmpegPlatform platform;
            const auto taken = [](std::size_t, const TimedStill&) -> Result<void> { return {}; };
            return platform.sourceStills(file(), times, {640, 640}, taken, {}).has_value();
        });
        EXPECT_GT(peak, frameMegabytes) << times.size();
        EXPECT_LT(peak, boundMegabytes) << times.size();
    }
}

TEST_F(PictureMemory, OfATimelinesStillsIsThatOfTheirReferences) {
    const double peak = peakMegabytes([] {
        FFmpegPlatform platform;
        const auto imported = MediaEngine::importClip(platform, file(), {});
        if (!imported) return false;
        std::vector<Clip> clips(2, imported->clip);
        clips[0].end = 0.3;
        const auto media = MediaEngine::build(platform, clips, {1080, 1920}, {1, 30}, {});
        const auto taken = [](std::size_t, const TimedStill&) -> Result<void> { return {}; };
        return media && platform.timelineStills(*media, {{1, 10}, {2, 10}, {6, 10}}, {640, 640}, taken, {}).has_value();
    });
    EXPECT_GT(peak, frameMegabytes);
    EXPECT_LT(peak, boundMegabytes);
}

}  // namespace
}  // namespace kelvane::testing
