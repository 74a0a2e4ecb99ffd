#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>
#include <utility>

#include "Media/FFmpeg/Export/ExportRun.h"
#include "Media/FFmpeg/Export/MovieEncoders.h"
#include "Media/FFmpeg/Export/MovieWriter.h"
#include "Support/TempFolder.h"

namespace {

/// Why the next calls of sync_file_range fail, an errno value; 0 when they don't. A call that waits fails if
/// `failsWaiting`, the others if not.
int rangeFailure = 0;
bool failsWaiting = false;

}  // namespace

/// Takes the system's place in this program, so that a disk can be seen to fail.
extern "C" int sync_file_range(int file, off64_t at, off64_t count, unsigned flags) {
    if (rangeFailure != 0 && ((flags & SYNC_FILE_RANGE_WAIT_AFTER) != 0) == failsWaiting) {
        // The system tells a failure once.
        errno = std::exchange(rangeFailure, 0);
        return -1;
    }
    return static_cast<int>(::syscall(SYS_sync_file_range, file, at, count, flags));
}

namespace kelvane {
namespace {

using namespace testing;

FramePtr grey(int size) {
    FramePtr frame(av_frame_alloc());
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = frame->height = size;
    av_frame_get_buffer(frame.get(), 0);
    for (int plane = 0; plane < 3; ++plane) {
        const int rows = plane == 0 ? size : size / 2;
        std::memset(frame->data[plane], 128, static_cast<std::size_t>(frame->linesize[plane] * rows));
    }
    return frame;
}

/// A movie of `count` grey pictures and, with `lone` false, as much sound.
struct Movie {
    std::unique_ptr<PictureEncoder> pictures;
    std::unique_ptr<SoundEncoder> sound;
    MovieLayout layout;
    std::unique_ptr<MovieWriter> writer;

    Movie(const FileURL& file, int count, std::stop_token stop) {
        pictures = *PictureEncoder::open(32, 32, {1, 60});
        sound = *SoundEncoder::open();
        layout = {.container = ExportContainer::mp4,
                  .picture = &pictures->context(),
                  .sound = &sound->context(),
                  .pictureCount = count,
                  .soundLength = count * 800,
                  .indexAtHead = true};
        writer = *MovieWriter::create(file, layout, std::move(stop));
        const auto frame = grey(32);
        const std::vector<float> silence(1600);
        for (int n = 0; n < count; ++n) {
            // Every other picture a key frame: the largest index there is.
            EXPECT_TRUE(pictures->encode(*frame, n, n % 2 == 0, to(MovieWriter::Track::picture)));
            EXPECT_TRUE(sound->encode(silence, to(MovieWriter::Track::sound)));
        }
        EXPECT_TRUE(pictures->finish(to(MovieWriter::Track::picture)));
        EXPECT_TRUE(sound->finish(to(MovieWriter::Track::sound)));
    }
    PacketSink to(MovieWriter::Track track) {
        return [this, track](PacketPtr packet) { return writer->write(track, std::move(packet)); };
    }
};

/// Length of the first box of this name that lies at the top of a file.
std::uint64_t boxLength(const std::string& bytes, const char* name) {
    const auto number = [&](std::size_t at) {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
        return value;
    };
    for (std::size_t at = 0; at + 8 <= bytes.size(); at += std::max<std::uint64_t>(number(at), 8))
        if (bytes.compare(at + 4, 4, name) == 0) return number(at);
    return 0;
}

TEST(MovieWriter, TheIndexFitsInTheRoomThatIsLeftForIt) {
    const TempFolder folder;
    for (const int count : {1, 60, 3000}) {
        const std::string name = std::to_string(count) + ".mp4";
        Movie movie(folder.url(name), count, {});
        ASSERT_TRUE(movie.writer->finish()) << count;
        const auto length = boxLength(folder.read(name), "moov");
        EXPECT_GT(length, 0U);
        EXPECT_LE(length + 8, static_cast<std::uint64_t>(movieIndexLimit(movie.layout))) << count;
    }
}

TEST(MovieWriter, AStopBeforeTheEndIsTakenNoticeOf) {
    const TempFolder folder;
    std::stop_source stop;
    Movie movie(folder.url("out.mp4"), 60, stop.get_token());
    stop.request_stop();
    EXPECT_EQ(movie.writer->finish(), std::unexpected(Error::cancelled()));
}

TEST(MovieWriter, ADiskThatFailsWhileItIsWaitedForFailsTheMovie) {
    const TempFolder folder;
    struct Row {
        int number;
        Result<void> end;
    };
    const std::vector<Row> rows{
        {EIO, fail(Error::posix("“out.mp4” could not be written", EIO))},
        {ENOSPC, fail(Error::posix("“out.mp4” could not be written", ENOSPC))},
        {EINVAL, {}},
        {ESPIPE, {}},
        {ENOSYS, {}},
        {EOPNOTSUPP, {}},
    };
    for (const Row& row : rows) {
        ::unlink(folder.path("out.mp4").c_str());
        Movie movie(folder.url("out.mp4"), 4, {});
        failsWaiting = true;
        rangeFailure = row.number;
        EXPECT_EQ(movie.writer->finish(), row.end) << row.number;
        EXPECT_EQ(rangeFailure, 0);
    }
}

TEST(MovieWriter, ADiskThatFailsInTheBackgroundFailsTheMovie) {
    for (const int number : {EIO, EINVAL}) {
        const TempFolder folder;
        Movie movie(folder.url("out.mp4"), 4, {});
        failsWaiting = false;
        rangeFailure = number;
        Result<void> written;
        for (int n = 4; n < 24 && written; ++n) {
            PacketPtr packet(av_packet_alloc());
            ASSERT_EQ(av_new_packet(packet.get(), 1 << 20), 0);
            std::memset(packet->data, 0xaa, 1 << 20);
            std::memcpy(packet->data, "\0\0\1\x41", 4);
            packet->pts = packet->dts = n;
            packet->duration = 1;
            written = movie.writer->write(MovieWriter::Track::picture, std::move(packet));
        }
        EXPECT_EQ(rangeFailure, 0);
        if (number == EINVAL) {
            EXPECT_EQ(written, Result<void>());
            EXPECT_EQ(movie.writer->finish(), Result<void>());
        } else {
            const Result<void> failed = fail(Error::posix("“out.mp4” could not be written", EIO));
            EXPECT_EQ(written, failed);
            EXPECT_EQ(movie.writer->finish(), failed);
            EXPECT_EQ(failed.error().message, "“out.mp4” could not be written: Input/output error.");
        }
    }
}

TEST(ExportRun, TheFirstFailureIsTheRunsAndEndsIt) {
    std::stop_source outer;
    std::stop_source own;
    ExportRun run(outer.get_token(), own.get_token());
    EXPECT_EQ(run.failure(), std::nullopt);
    run.fail(Error("First."));
    run.fail(Error("Second."));
    EXPECT_EQ(run.failure(), Error("First."));
    EXPECT_TRUE(run.token().stop_requested());
}

TEST(ExportRun, EitherTokenCancelsIt) {
    for (const bool first : {true, false}) {
        std::stop_source outer;
        std::stop_source own;
        ExportRun run(outer.get_token(), own.get_token());
        (first ? outer : own).request_stop();
        EXPECT_EQ(run.failure(), Error::cancelled());
        // What a thread runs into because of it doesn't count.
        run.fail(Error("Late."));
        EXPECT_EQ(run.failure(), Error::cancelled());
    }
}

TEST(ExportRun, WorkThatCannotBeInterruptedIsLeftBehindWhenTheRunEnds) {
    std::stop_source outer;
    auto run = std::make_shared<ExportRun>(outer.get_token(), std::stop_token());
    auto release = std::make_shared<BoundedQueue<int>>(1);
    auto ended = std::make_shared<BoundedQueue<int>>(1);
    const auto result = doBeside<int>(run, [run, release, ended, &outer]() -> Result<int> {
        outer.request_stop();
        (void)release->pop({});
        ended->push(1, {});
        return 7;
    });
    EXPECT_EQ(result, std::unexpected(Error::cancelled()));
    release->push(1, {});
    EXPECT_EQ(ended->pop({}), 1);
    EXPECT_EQ(
        doBeside<int>(std::make_shared<ExportRun>(std::stop_token(), std::stop_token()), [] { return Result<int>(7); }),
        7);
}

TEST(BoundedQueue, WaitsEndWithTheRunOnEitherSide) {
    BoundedQueue<int> queue(1);
    std::stop_source stop;
    EXPECT_TRUE(queue.push(1, stop.get_token()));
    std::jthread other([&] { stop.request_stop(); });
    EXPECT_FALSE(queue.push(2, stop.get_token()));
    EXPECT_EQ(queue.pop(stop.get_token()), std::nullopt);
}

TEST(BoundedQueue, WhatWasPushedComesBeforeTheEnd) {
    BoundedQueue<int> queue(2);
    queue.push(1, {});
    queue.push(2, {});
    queue.finish();
    EXPECT_EQ(queue.pop({}), 1);
    EXPECT_EQ(queue.pop({}), 2);
    EXPECT_EQ(queue.pop({}), std::nullopt);
}

}  // namespace
}  // namespace kelvane
