#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

#include "EditedMedia.h"
#include "ExportSettings.h"
#include "MediaAsset.h"
#include "MediaStreams.h"
#include "StillImage.h"

namespace kelvane {

/// One run of the encoder over an EditedMedia. Made, set up and used by one owner; `progress` and `cancelExport` may be
/// called from any thread.
class ExportSession {
public:
    virtual ~ExportSession() = default;

    /// Containers that this session can write.
    [[nodiscard]] virtual std::vector<ExportContainer> supportedFileTypes() const = 0;

    // Settings, made before the run.
    /// Pictures; without it the output has no video track.
    std::optional<VideoComposition> videoComposition;
    /// Gains; without it every track plays at 1.
    std::optional<AudioMix> audioMix;
    /// Movie index at the head of the file.
    bool indexAtHead = false;
    std::optional<ExportContainer> outputFileType;
    std::optional<MediaTimeRange> timeRange;
    /// What failures call the movie; its file's own name when empty. A movie that takes its name when it is finished is
    /// called by that one.
    std::string shownName;

    /// Encodes to `file`, which must not exist, and returns when the file is finished and synced to disk. Blocks; call
    /// off the main thread. Ends as cancelled within 0.2 s of a stop request or of `cancelExport`, before a run as well
    /// as in it. On failure a partial file may be left for the caller to remove.
    virtual Result<void> exportTo(const FileURL& file, ExportContainer container, std::stop_token stop) = 0;
    /// Forecast of the finished file in bytes for `outputFileType` and `timeRange`; 0 or less when there is none.
    /// Blocks.
    virtual Result<std::int64_t> estimateOutputFileLength(std::stop_token stop) = 0;

    /// 0 to 1, never falling.
    [[nodiscard]] virtual float progress() const = 0;
    virtual void cancelExport() = 0;
};

/// One exact still of a run.
struct TimedStill {
    StillImagePtr image;
    /// Of a source: the beginning of the frame shown. Of a timeline: the moment that was drawn.
    MediaTime actualTime;
};
/// Takes one still; `index` is the place of its time among the times that were asked for. Called from one thread at a
/// time, in any order. A failure ends the run and is passed on.
using StillConsumer = std::function<Result<void>(std::size_t index, const TimedStill& still)>;

/// A stretch of decoded sound in the track's own rate and channels. Good during the call that hands it over.
struct SampleBlock {
    /// Audio frames a second.
    double rate = 0;
    int channels = 0;
    /// The first frame's place, counted at `rate` from the asset's time zero.
    std::int64_t position = 0;
    /// Interleaved, full scale 1.
    std::span<const float> samples;
};
using SampleConsumer = std::function<void(const SampleBlock& block)>;

/// The operations that a media engine must offer; tests have a fake. Every method may block and is called off the main
/// thread, from several threads at once. The composition operations have the plain value semantics of Composition and
/// are virtual so that a fake can record and refuse them.
class MediaPlatform {
public:
    virtual ~MediaPlatform() = default;

    /// Opens a source file by content; the extension is not looked at.
    virtual Result<MediaAssetPtr> openAsset(const FileURL& url, std::stop_token stop) = 0;
    /// One still picture at `time`, oriented, fitted into `maximum` pixels without enlarging.
    virtual Result<StillImagePtr> image(const MediaAssetPtr& asset, MediaTime time, Size maximum,
                                        std::stop_token stop) = 0;
    /// Exact stills of the file's first picture track, one for each of `times` (source seconds), oriented, fitted into
    /// `maximum` pixels without enlarging. A time before the first frame shows that frame, one behind the last shows
    /// the last. Frames come as SDR. Fails when the file holds no picture or one can't be decoded.
    virtual Result<void> sourceStills(const FileURL& url, const std::vector<MediaTime>& times, Size maximum,
                                      const StillConsumer& consume, std::stop_token stop) = 0;
    /// Exact stills of a timeline as export draws it, fitted into `maximum` pixels without enlarging.
    virtual Result<void> timelineStills(const EditedMediaPtr& media, const std::vector<MediaTime>& times, Size maximum,
                                        const StillConsumer& consume, std::stop_token stop) = 0;
    /// Decodes the sound of an audio track in its own rate and channels and hands it over in blocks, in order. They
    /// cover
    /// [`start`, `end`), or all behind `start`, as far as there is sound; the first may begin before it and the last
    /// end behind it. Positions are those of the file: an encoder's delay is removed, a late start is kept, and holes
    /// are not filled. Stretches that don't decode are passed over. Memory doesn't grow with the length. Fails when
    /// nothing of the track decodes, and with MediaError::invalidClip of `name` when the file changes, is replaced or
    /// goes meanwhile. `start` is finite and at least 0.
    virtual Result<void> readSamples(const MediaTrackPtr& track, const std::string& name, double start,
                                     std::optional<double> end, const SampleConsumer& consume,
                                     std::stop_token stop) = 0;
    /// Whether anything of an audio track decodes. Looks for the first sample: of a good file that costs its head, of a
    /// broken one a pass. Fails with MediaError::invalidClip of `name` as `readSamples` does. By itself, yes.
    virtual Result<bool> yieldsSound(const MediaTrackPtr&, const std::string& /*name*/, std::stop_token) {
        return true;
    }
    /// A session on the composition, at the one quality of the program; none when the platform has no encoder.
    virtual std::unique_ptr<ExportSession> makeExportSession(EditedMediaPtr media) = 0;
    /// What a player shows of a timeline, drawn on `canvas` pixels. Opens nothing yet. None where the engine doesn't
    /// play.
    virtual std::unique_ptr<PictureStream> makePictureStream(EditedMediaPtr /*media*/, Size /*canvas*/) {
        return nullptr;
    }
    /// What a player sounds of a timeline. Opens nothing yet. None where the engine doesn't play.
    virtual std::unique_ptr<SoundStream> makeSoundStream(EditedMediaPtr /*media*/) { return nullptr; }
    /// Creates `file`, which must not exist, for a take. Fails in words.
    virtual Result<std::unique_ptr<TakeWriter>> makeTakeWriter(const FileURL& file) {
        return fail("“" + file.fileName() + "” can't be recorded here.");
    }

    virtual std::optional<CompositionTrackID> addMutableTrack(Composition& composition, MediaType type) {
        return composition.addTrack(type);
    }
    virtual Result<void> insertTimeRange(Composition& composition, CompositionTrackID track,
                                         const MediaTrackPtr& source, const MediaTimeRange& range, MediaTime at) {
        return composition.insert(track, source, range, at);
    }
    virtual Result<void> insertEmptyTimeRange(Composition& composition, CompositionTrackID track,
                                              const MediaTimeRange& range) {
        return composition.insertEmpty(track, range);
    }
    virtual void removeTrack(Composition& composition, CompositionTrackID track) { composition.removeTrack(track); }
};

}  // namespace kelvane
