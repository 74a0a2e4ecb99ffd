#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <stop_token>

#include "FFmpegAsset.h"
#include "Support/FileDescriptor.h"

namespace kelvane {

/// Whether the failure to open a file is this process's, not the file's: no descriptor or memory was left.
bool isShortage(const Error& error);

/// One regular file under a demuxer. Reads this descriptor and nothing else: no other file, no address that the content
/// may name. Stop requests and the time limit end every read. One thread at a time.
class SourceFile {
public:
    /// Opens the descriptor. A folder, a pipe, a device or a file that can't be read fails in words with its name.
    /// `shownName` is what a file that changes is called.
    static Result<std::unique_ptr<SourceFile>> open(const FileURL& url, std::string shownName);
    ~SourceFile();
    SourceFile(const SourceFile&) = delete;
    SourceFile& operator=(const SourceFile&) = delete;

    [[nodiscard]] const FileIdentity& identity() const { return identity_; }

    /// Whose stop requests count from now on.
    void setStop(std::stop_token stop) { stop_ = std::move(stop); }
    [[nodiscard]] const std::stop_token& stop() const { return stop_; }
    /// From now on, reads fail when `limit` has passed; none takes the limit away.
    void setTimeLimit(std::optional<std::chrono::milliseconds> limit);
    /// Whether a stop was requested or the time is over.
    [[nodiscard]] bool interrupted() const;
    [[nodiscard]] bool timeIsOver() const;

    /// Opens anew: finds the demuxer by content and reads the header. False for content that is no sound or moving
    /// picture of a known kind. Fails as cancelled, or in words when the disk fails.
    Result<bool> openFormat();
    /// Reads on until the streams' properties are known, within limits.
    Result<void> findStreams();
    /// The next packet of any stream: av_read_frame's answer. Matroska's demuxer has no stamp for pictures before the
    /// file's zero: their packets come marked as ones to decode and not to show.
    int readPacket(AVPacket& packet);
    /// Null before `openFormat`, and when it answered false.
    [[nodiscard]] AVFormatContext* context() const { return context_.get(); }
    /// Whether the demuxer is `name` (one of the names that it goes by).
    [[nodiscard]] bool isFormat(const char* name) const;
    /// Whether packets of a stream come with their own times behind a seek. Some files are sought by a number of bytes
    /// a second that their header may tell wrong, or that isn't whole; there only reading from the beginning finds a
    /// time. Of an opened file.
    [[nodiscard]] bool keepsTimeInSeeks(int streamIndex) const;
    /// The failure of the disk that ended the last reads, as an errno value; 0 when there was none.
    [[nodiscard]] int readError() const { return readError_; }
    /// Whether the file still has the size and the time of change that it was opened with. Once it hasn't, `failure`
    /// says so until the next `openFormat`.
    bool isUnchanged();
    /// As `isUnchanged`, but the last answer again when it is younger than 50 µs and nothing was read since: asking the
    /// system at every packet takes a tenth of the time in which plain sound is read.
    bool isUnchangedLately();
    /// The failure in words for the last operation that didn't come through: cancelled, MediaError::invalidClip for a
    /// file that changed, the disk's, or that the time is over, else none.
    [[nodiscard]] std::optional<Error> failure() const;

private:
    SourceFile(FileDescriptor descriptor, FileIdentity identity, const FileURL& url, std::string shownName);
    static int read(void* opaque, std::uint8_t* buffer, int size);
    static std::int64_t seek(void* opaque, std::int64_t offset, int whence);
    Result<const AVInputFormat*> probe();
    Result<bool> openFormat(bool simpleEdits);
    void closeFormat();

    FileDescriptor descriptor_;
    FileIdentity identity_;
    FileURL url_;
    std::string shownName_;
    std::stop_token stop_;
    std::optional<std::chrono::steady_clock::time_point> deadline_;
    std::int64_t position_ = 0;
    int readError_ = 0;
    bool changed_ = false;
    bool claimsAreBounded_ = false;
    bool countsInMatroska_ = false;
    std::chrono::steady_clock::time_point lookedAt_;
    bool readSinceLook_ = true;
    AVIOContext* io_ = nullptr;
    FormatContextPtr context_;
};

/// Stamps and lengths beyond this are damage, seconds; within it no sum of them overflows.
inline constexpr double farthestStamp = 10'000'000;
/// Whether a packet of a stream with this time base has a stamp or a length beyond `farthestStamp`.
bool isFarOff(const AVPacket& packet, AVRational timeBase);

/// Opening gives up after this long, whatever the file does. A whole pass over a broken file at the slowest disk's
/// speed fits for a gigabyte.
inline constexpr std::chrono::milliseconds openingLimit{20'000};

/// Largest picture that is decoded, pixels: 8192 × 4352, what the highest levels of H.264 and HEVC allow. A decoder
/// holds up to two dozen of them.
inline constexpr std::int64_t maximumPixels = 35'651'584;

}  // namespace kelvane
