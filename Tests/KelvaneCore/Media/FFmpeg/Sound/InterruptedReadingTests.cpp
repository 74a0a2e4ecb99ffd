#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "Media/AudioSampleReader.h"
#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/MediaError.h"
#include "SoundTestFiles.h"
#include "Support/TempFolder.h"

namespace kelvane {
namespace {

using namespace testing;

TEST(SampleReading, AFileThatIsReplacedChangedOrRemovedMeanwhileFails) {
    using Act = std::function<void(const TempFolder&, const std::string&)>;
    const std::vector<std::pair<const char*, Act>> acts{
        {"replaced",
         [](const TempFolder& folder, const std::string& name) {
             std::filesystem::copy_file(folder.path(name), folder.path("other"));
             std::filesystem::rename(folder.path("other"), folder.path(name));
         }},
        {"removed",
         [](const TempFolder& folder, const std::string& name) { std::filesystem::remove(folder.path(name)); }},
        {"shortened",
         [](const TempFolder& folder, const std::string& name) {
             std::filesystem::resize_file(folder.path(name), std::filesystem::file_size(folder.path(name)) / 2);
         }},
        {"longer", [](const TempFolder& folder,
                      const std::string& name) { std::ofstream(folder.path(name), std::ios::app) << "more"; }},
    };
    for (const SoundFile& form : {SoundFile{"a.wav", "wav", "pcm_s16le"}, SoundFile{"a.m4a", "ipod", "aac"}}) {
        for (const auto& [what, act] : acts) {
            SCOPED_TRACE(form.name + " " + what);
            const TempFolder folder;
            SoundFile file = form;
            file.seconds = 20;
            ASSERT_TRUE(writeSound(folder.path(file.name), file));
            FFmpegPlatform platform;
            bool done = false;
            const auto read = AudioSampleReader::read(platform, folder.url(file.name), 0, {},
                                                      [&](double, float) {
                                                          if (!done) act(folder, file.name);
                                                          done = true;
                                                      },
                                                      {});
            ASSERT_FALSE(read);
            EXPECT_EQ(read.error(), MediaError::invalidClip(form.name));
        }
    }
}

/// Bytes that this thread has read from files.
std::int64_t bytesRead() {
    std::ifstream account("/proc/thread-self/io");
    std::string name;
    std::int64_t bytes = -1;
    account >> name >> bytes;
    EXPECT_EQ(name, "rchar:");
    return bytes;
}

TEST(SampleReading, AStopEndsItBeforeMoreIsRead) {
    const TempFolder folder;
    for (const SoundFile& form : {SoundFile{"a.wav", "wav", "pcm_s16le"}, SoundFile{"a.m4a", "ipod", "aac"},
                                  SoundFile{"a.mkv", "matroska", "aac"}}) {
        SCOPED_TRACE(form.name);
        SoundFile file = form;
        file.seconds = 30;
        ASSERT_TRUE(writeSound(folder.path(file.name), file));
        FFmpegPlatform platform;
        std::stop_source stop;
        std::size_t frames = 0;
        std::int64_t before = 0;
        const auto read = AudioSampleReader::read(
            platform, folder.url(file.name), 3, {},
            [&](double, float) {
                if (frames++ == 0) {
                    stop.request_stop();
                    before = bytesRead();
                }
            },
            stop.get_token());
        // What the count itself takes; one read of the file would be sixty times as much.
        EXPECT_LT(bytesRead() - before, 1024);
        ASSERT_FALSE(read);
        EXPECT_EQ(read.error(), Error::cancelled());
        EXPECT_LE(frames, AudioSampleReader::chunkFrames);
    }
}

}  // namespace
}  // namespace kelvane
