#include "PictureCalls.h"

#include <utility>

namespace kelvane {

PictureCalls::PictureCalls(MainContext& context, std::unique_ptr<PictureStream> stream)
    : context_(&context), stream_(std::move(stream)) {}

PictureCalls::~PictureCalls() {
    ending_.request_stop();
    preparing_.request_stop();
    stream_->overtake(number_ + 1);
    // A stream closes decoders and files when it ends, which takes its time.
    context_->runInBackground([stream = std::move(stream_)] {}, Lane::playback);
}

void PictureCalls::ask(MediaTime time, Answered answered) {
    auto work = [context = context_, stream = stream_, time, number = ++number_, stop = ending_.get_token(),
                 life = std::weak_ptr(life_), answered = std::move(answered)]() mutable {
        auto answer = stream->picture(time, number, std::move(stop));
        auto tell = [life = std::move(life), answered = std::move(answered), answer = std::move(answer)]() mutable {
            if (!life.expired()) answered(std::move(answer));
        };
        context->post(std::move(tell));
    };
    context_->runInBackground(std::move(work), Lane::playback);
}

void PictureCalls::overtake() { stream_->overtake(number_ + 1); }

void PictureCalls::prepareCut(MediaTime from, MediaTime ahead, std::function<void()> prepared) {
    preparing_ = {};
    auto work = [context = context_, stream = stream_, from, ahead, stop = preparing_.get_token(),
                 life = std::weak_ptr(life_), prepared = std::move(prepared)]() mutable {
        stream->prepareCut(from, ahead, std::move(stop));
        auto tell = [life = std::move(life), prepared = std::move(prepared)] {
            if (!life.expired()) prepared();
        };
        context->post(std::move(tell));
    };
    context_->runInBackground(std::move(work), Lane::playback);
}

}  // namespace kelvane
