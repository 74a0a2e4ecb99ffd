#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <stop_token>

#include "Media/FFmpeg/Source/VideoFrameReader.h"

namespace kelvane {

/// What a reader is wanted for.
enum class ReaderRole : std::uint8_t {
    /// Showing the picture of the moment, in order or by leaps.
    showing,
    /// Standing ready for a cut.
    preparing,
};

/// How much readers may take together.
struct ReaderLimits {
    /// Two sources of a cut, each with a reader that shows and one that stands ready, and as much for a second player.
    std::size_t readers = 6;
    /// By `pictureDecoderBytes`: four readers of 1080p, 34 MB each with two threads, which is what an edit that jumps
    /// within two files has. Half of the 300 MB that playing them may cost; the cache, sound and canvases share the
    /// rest.
    std::int64_t bytes = 160'000'000;
};

/// The readers of all players' sources, which outlive what is played: an edit of the same files goes on with the same
/// ones. Kept by the file's identity and track; the ones used longest ago are closed when there are too many or they
/// are too large. Never closed for that are those on loan, and the last two given back: as many as it takes to play
/// over a cut. Any thread.
class ReaderPool : public std::enable_shared_from_this<ReaderPool> {
    struct Entry;

public:
    /// A reader on loan; goes back to the pool at the end. One thread at a time.
    class Lease {
    public:
        Lease(std::shared_ptr<ReaderPool> pool, std::unique_ptr<Entry> entry);
        Lease(Lease&&) noexcept;
        Lease& operator=(Lease&&) = delete;
        ~Lease();
        VideoFrameReader* operator->() const;
        VideoFrameReader& operator*() const;
        /// Closes the reader instead of giving it back.
        void discard();

    private:
        std::shared_ptr<ReaderPool> pool_;
        std::unique_ptr<Entry> entry_;
    };

    static std::shared_ptr<ReaderPool> make(ReaderLimits limits = {});
    ~ReaderPool();

    /// A number of its own for whoever shows pictures.
    std::uint64_t newUser();
    /// A reader of `track` for the frame at `time` (seconds of the asset): of those not on loan the one that stands
    /// nearest before it, else another one, else one that is opened. For `preparing` none is taken that showed `user`'s
    /// last picture. Fails with MediaError::invalidClip when the file was replaced or has gone, and as
    /// `VideoFrameReader::open` does.
    Result<Lease> lease(const std::shared_ptr<const FFmpegTrack>& track, MediaTime time, ReaderRole role,
                        std::uint64_t user, std::stop_token stop);

    /// Readers that are open, and the memory that they may take.
    [[nodiscard]] std::size_t count() const;
    [[nodiscard]] std::int64_t bytes() const;
    /// Readers opened so far, and packets decoded so far by those that aren't on loan; for tests and benchmarks.
    [[nodiscard]] std::int64_t openedCount() const;
    [[nodiscard]] std::int64_t packetsDecoded() const;

private:
    explicit ReaderPool(ReaderLimits limits);
    [[nodiscard]] bool hasRoom(std::int64_t bytes) const;
    std::unique_ptr<Entry> take(const FFmpegTrack& track, MediaTime time, ReaderRole role, std::uint64_t user);
    Result<std::unique_ptr<Entry>> open(const std::shared_ptr<const FFmpegTrack>& track, ReaderRole role,
                                        std::uint64_t user, std::stop_token stop);
    void close(std::list<std::unique_ptr<Entry>>::iterator place);
    void giveBack(std::unique_ptr<Entry> entry);
    void drop(std::unique_ptr<Entry> entry);

    ReaderLimits limits_;
    mutable std::mutex mutex_;
    /// Not on loan; the one given back last comes first.
    std::list<std::unique_ptr<Entry>> idle_;
    /// Of all that are open.
    std::size_t count_ = 0;
    std::int64_t bytes_ = 0;
    std::int64_t opened_ = 0;
    std::int64_t packetsOfClosed_ = 0;
    std::uint64_t users_ = 0;
};

}  // namespace kelvane
