#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <stop_token>

#include "SoundReader.h"

namespace kelvane {

/// The readers of sound that players' streams have done with, for the next stream of the same sources: an edit opens
/// and indexes nothing anew. Kept by the file's identity and track. What a reader answers doesn't depend on who read
/// with it before. Any thread.
class SoundReaderPool {
public:
    /// As many as wait here at most: those of an edit's two files and of six overlays. A reader takes 5 MB where its
    /// file's index is an hour long, and a few tenths of one otherwise.
    static constexpr std::size_t most = 8;
    explicit SoundReaderPool(std::size_t mostWaiting = most) : most_(mostWaiting) {}

    /// A reader of `track`, which belongs to the caller until it is given back. Fails with MediaError::invalidClip when
    /// the file was replaced or has gone, and as `SoundReader::open` does.
    Result<std::unique_ptr<SoundReader>> take(const std::shared_ptr<const FFmpegTrack>& track, std::stop_token stop);
    /// Keeps a reader for the next one; of too many the one given back longest ago is closed.
    void giveBack(std::shared_ptr<const FFmpegTrack> track, std::unique_ptr<SoundReader> reader);

    /// Readers that wait here.
    [[nodiscard]] std::size_t count() const;
    /// Readers opened so far; for tests and benchmarks.
    [[nodiscard]] std::int64_t openedCount() const;

private:
    struct Entry {
        std::shared_ptr<const FFmpegTrack> track;
        std::unique_ptr<SoundReader> reader;
        [[nodiscard]] bool isOf(const FFmpegTrack& other) const;
    };

    const std::size_t most_;
    mutable std::mutex mutex_;
    /// The one given back last comes first.
    std::list<Entry> waiting_;
    std::int64_t opened_ = 0;
};

}  // namespace kelvane
