#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>

#include "MainContext.h"
#include "Media/MediaStreams.h"

namespace kelvane {

/// The way from the main thread to one PictureStream and back: one picture at a time, and one cut, each a work of the
/// playback lane. Its end stops both, waits for neither, and lets the stream end elsewhere. The main thread.
class PictureCalls {
public:
    using Answered = std::function<void(Result<StreamPicture> answer)>;

    /// `context` outlives what was asked.
    PictureCalls(MainContext& context, std::unique_ptr<PictureStream> stream);
    PictureCalls(const PictureCalls&) = delete;
    PictureCalls& operator=(const PictureCalls&) = delete;
    ~PictureCalls();

    void setCanvas(Size pixels) { stream_->setCanvas(pixels); }
    /// Asks for the picture at `time`; `answered` may end this object. Nothing may be asked for meanwhile.
    void ask(MediaTime time, Answered answered);
    /// Ends the call under way early.
    void overtake();
    /// Opens the first cut behind `from`; `prepared` is called in the end, also after a stop. One at a time.
    void prepareCut(MediaTime from, MediaTime ahead, std::function<void()> prepared);
    /// Ends the work on a cut early.
    void stopPreparing() { preparing_.request_stop(); }

private:
    MainContext* context_;
    std::shared_ptr<PictureStream> stream_;
    std::stop_source ending_;
    std::stop_source preparing_;
    std::uint64_t number_ = 0;
    /// Its end tells late answers that nobody waits for them.
    std::shared_ptr<void> life_ = std::make_shared<int>();
};

}  // namespace kelvane
