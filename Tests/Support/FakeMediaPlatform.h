#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Gate.h"
#include "Media/MediaPlatform.h"

namespace kelvane::testing {

/// One track of a described file.
struct FakeTrack {
    Size naturalSize{1080, 1920};
    AffineTransform orientation;
    float nominalFrameRate = 30;
    MediaTimeRange timeRange;
};

/// Decoded sound as a described file hands it over.
struct FakeSamples {
    /// Interleaved.
    std::vector<float> samples;
    int channels = 1;
    /// Audio frames a second.
    double rate = 1000;
    /// Of the first frame, counted at `rate`.
    std::int64_t position = 0;
};

/// A source file as the fake sees it. A plain value.
struct FakeFile {
    double duration = 0;
    std::vector<FakeTrack> videoTracks;
    std::vector<FakeTrack> audioTracks;
    /// The thumbnail; a small grey picture when absent.
    StillImagePtr picture;
    /// What every sound track holds, in order; each block is handed over whole, wherever reading starts and ends.
    std::vector<FakeSamples> sound;
    bool hasCoverPicture = false;

    /// A picture of `seconds` with a sound track of the same length.
    static FakeFile video(double seconds, Size naturalSize = {1080, 1920}, AffineTransform transform = {},
                          float rate = 30);
    static FakeFile silentVideo(double seconds, Size naturalSize = {1080, 1920}, AffineTransform transform = {},
                                float rate = 30);
    static FakeFile audio(double seconds);
    /// Neither picture nor sound.
    static FakeFile neither(double seconds = 1);
};

/// What became of one export session; outlives the session.
struct FakeExportRecord {
    EditedMediaPtr media;
    std::optional<VideoComposition> videoComposition;
    std::optional<AudioMix> audioMix;
    bool indexAtHead = false;
    std::optional<ExportContainer> outputFileType;
    std::optional<MediaTimeRange> timeRange;
    /// Of the run; none before it.
    std::optional<FileURL> file;
    std::optional<ExportContainer> container;
    bool finished = false;
    bool cancelled = false;
};

/// How export sessions behave. Read when a session is made, but for the gates and `progress`.
struct FakeExports {
    /// False: the platform makes no session.
    bool available = true;
    std::vector<ExportContainer> supportedFileTypes{ExportContainer::mp4, ExportContainer::mov};
    Result<std::int64_t> estimate = std::int64_t{1'000'000};
    /// What a finished file holds.
    std::string contents = "a finished movie\n";
    /// The end of every run, after the partial file is written.
    std::optional<Error> failure;
    /// Called on the run's thread when the file is complete, before the run ends.
    std::function<void(const FileURL&)> onFileWritten;
};

/// A media platform of described files. It records every call as one line, in order, and keeps the plain composition
/// arithmetic, so that tests see what was asked for and what came of it. All methods from any thread.
///
/// Lines (files by their last path component, times as value/timescale, ranges as [start, end)):
///
///     openAsset a.mov
///     loadTracks a.mov video                  loadDuration a.mov
///     loadNaturalSize a.mov video             loadOrientation a.mov video
///     loadNominalFrameRate a.mov video        loadTimeRange a.mov audio      (a second track is "video#2")
///     image a.mov at 300/600 within 1024x1024
///     sourceStill a.mov at 300/600 within 640x640
///     timelineStill at 300/600 within 1280x1280
///     readSamples a.wav audio from 0.5 to 2   (or "to the end")
///     addMutableTrack video                   (tracks number from 1 in each composition)
///     insertTimeRange 1 a.mov video [0/600, 1200/600) at 0/600
///     insertEmptyTimeRange 1 [1200/600, 3000/600)
///     removeTrack 2
///     makeExportSession
///     estimateOutputFileLength mp4 [0/600, 1200/600)
///     exportTo movie.mp4 mp4
///     cancelExport
class FakeMediaPlatform final : public MediaPlatform {
public:
    FakeMediaPlatform();
    /// Opens every gate; the threads that wait there must be joined by the test before.
    ~FakeMediaPlatform() override;

    /// Describes the file at `url`, in place of what was there.
    void addFile(const FileURL& url, FakeFile file);
    /// Describes every file of that last path component that has no description of its own: for files that the program
    /// copies to a place which the test does not know beforehand.
    void addFileNamed(std::string name, FakeFile file);
    void removeFile(const FileURL& url);

    /// Lets a call fail with `error` whose line begins with `prefix`: for ever, or `times` times, after `passes` calls
    /// that succeed. addMutableTrack then yields none; removeTrack and cancelExport can't fail. Failures that a picture
    /// or an export ends in are also set this way.
    void failOn(std::string prefix, Error error, int times = -1, int passes = 0);
    void failOn(std::string prefix, std::string message) { failOn(std::move(prefix), Error(std::move(message))); }
    void clearFailures();
    /// Called with every line right after it is recorded, on the calling thread, with no lock held: to change things
    /// in the middle of an operation, such as requesting a stop.
    void setObserver(std::function<void(const std::string&)> observer);

    [[nodiscard]] std::vector<std::string> calls() const;
    /// The lines that begin with `prefix`.
    [[nodiscard]] std::vector<std::string> calls(std::string_view prefix) const;
    [[nodiscard]] std::size_t count(std::string_view prefix) const { return calls(prefix).size(); }
    void clearCalls();
    /// Recording costs time and memory; off for measurements. While it is off, no set failure happens.
    void setRecording(bool recording);

    FakeExports exports;
    /// Every openAsset passes here after it is recorded.
    Gate openGate;
    /// Every image passes here.
    Gate imageGate;
    /// Every block of samples passes here, and once more at the end.
    Gate sampleGate;
    /// Every exportTo passes here, its file half written.
    Gate exportGate;
    /// Every estimateOutputFileLength passes here.
    Gate estimateGate;

    /// What running sessions answer as their progress; a finished one answers 1.
    void setProgress(float progress);
    /// What became of the sessions, in the order of their making.
    [[nodiscard]] std::vector<FakeExportRecord> exportRecords() const;
    /// Cancels every session that was made, as the system might.
    void cancelAllExports();

    Result<MediaAssetPtr> openAsset(const FileURL& url, std::stop_token stop) override;
    Result<StillImagePtr> image(const MediaAssetPtr& asset, MediaTime time, Size maximum,
                                std::stop_token stop) override;
    /// Each still has the file's picture and the very time that was asked for; stills are handed over in the order
    /// asked, and each passes `imageGate`.
    Result<void> sourceStills(const FileURL& url, const std::vector<MediaTime>& times, Size maximum,
                              const StillConsumer& consume, std::stop_token stop) override;
    /// As above, with one grey picture of the render size.
    Result<void> timelineStills(const EditedMediaPtr& media, const std::vector<MediaTime>& times, Size maximum,
                                const StillConsumer& consume, std::stop_token stop) override;
    Result<void> readSamples(const MediaTrackPtr& track, const std::string& name, double start,
                             std::optional<double> end, const SampleConsumer& consume, std::stop_token stop) override;
    std::unique_ptr<ExportSession> makeExportSession(EditedMediaPtr media) override;

    std::optional<CompositionTrackID> addMutableTrack(Composition& composition, MediaType type) override;
    Result<void> insertTimeRange(Composition& composition, CompositionTrackID track, const MediaTrackPtr& source,
                                 const MediaTimeRange& range, MediaTime at) override;
    Result<void> insertEmptyTimeRange(Composition& composition, CompositionTrackID track,
                                      const MediaTimeRange& range) override;
    void removeTrack(Composition& composition, CompositionTrackID track) override;

    /// The line's spelling of times and types.
    static std::string describe(MediaTime time);
    static std::string describe(const MediaTimeRange& range);
    static std::string_view describe(MediaType type);

    /// The record of calls and failures, shared with the assets and sessions that came from here.
    struct Journal;
    /// A session's shared end.
    struct ExportState;

private:
    std::shared_ptr<Journal> journal_;
    mutable std::mutex mutex_;
    std::unordered_map<FileURL, MediaAssetPtr> assets_;
    std::unordered_map<FileURL, FakeFile> files_;
    std::map<std::string, FakeFile, std::less<>> filesByName_;
    std::vector<std::shared_ptr<ExportState>> exportStates_;
    std::shared_ptr<std::atomic<float>> progress_;
};

}  // namespace kelvane::testing
