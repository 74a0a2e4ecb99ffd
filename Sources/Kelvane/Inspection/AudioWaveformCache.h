#pragma once

#include <QCoroTask>
#include <cstddef>
#include <functional>
#include <memory>
#include <stop_token>
#include <vector>

#include "Media/MediaPlatform.h"
#include "Platform/MainContext.h"

namespace kelvane {

/// Keeps the peaks of files in memory. While a file is wanted it is decoded once, however many ask, and files are
/// decoded one after the other, in the order in which they were asked for: decoding is heavy, and who asks draws. A
/// file is known by its URL alone, as no name of a project's media is used twice.
///
/// Nobody who waits can stop a decode: who doesn't want the answer any more drops it, and the peaks are kept for the
/// next one. Decodes therefore carry the stop of no period of serving, only that of the cache itself. State lives on
/// the main thread; the decodes run on the pool's long lane.
///
/// One serves the whole application, which owns it; views are given it by `shareWaveforms`.
class AudioWaveformCache {
public:
    /// What is kept of a file: its peaks as AudioWaveform::readMedia reads them. Copies share them.
    struct Samples {
        /// Never null.
        std::shared_ptr<const std::vector<float>> values;
    };
    /// Reads the peaks of a file. Blocks, on a thread of the pool; ends as cancelled soon after a stop request.
    using Read = std::function<Result<std::vector<float>>(const FileURL& url, const std::stop_token& stop)>;

    /// Bytes of the peaks that are kept: about 19 hours of sound. What was asked for longest ago goes first, and a file
    /// of more is never kept.
    static constexpr std::size_t totalCostLimit = 8'388'608;
    /// Files that are kept.
    static constexpr std::size_t countLimit = 64;

    /// Reads by AudioWaveform::readMedia. `media` outlives the pool's works, `context` everything.
    AudioWaveformCache(MainContext& context, MediaPlatform& media);
    AudioWaveformCache(MainContext& context, Read read);
    AudioWaveformCache(const AudioWaveformCache&) = delete;
    AudioWaveformCache& operator=(const AudioWaveformCache&) = delete;
    /// Retires it; whoever waits gets an answer still, as cancelled.
    ~AudioWaveformCache();

    /// The peaks of the file: at once where they are kept, else when they are read. A failure is that of the reading,
    /// reaches all who wait for it, and is forgotten then: the next call reads again. May outlive the cache.
    QCoro::Task<Result<Samples>> peaks(FileURL url);

    /// Ends the decode under way and those that wait, as cancelled, and begins none any more: the last call before the
    /// application ends. What is kept is still answered.
    void retire();

private:
    struct State;

    std::shared_ptr<State> state_;
};

}  // namespace kelvane
