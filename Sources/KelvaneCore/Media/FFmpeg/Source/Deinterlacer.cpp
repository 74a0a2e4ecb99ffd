#include "Deinterlacer.h"

#include <fmt/format.h>

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/mathematics.h>
}

namespace kelvane {

namespace {

struct GraphDeleter {
    void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
};
using GraphPtr = std::unique_ptr<AVFilterGraph, GraphDeleter>;

bool isInterlaced(const AVFrame& frame) {
#ifdef AV_FRAME_FLAG_INTERLACED
    return (frame.flags & AV_FRAME_FLAG_INTERLACED) != 0;
#else
    return frame.interlaced_frame != 0;
#endif
}

}  // namespace

struct Deinterlacer::State {
    GraphPtr graph;
    AVFilterContext* source = nullptr;
    AVFilterContext* sink = nullptr;
    int width = 0;
    int height = 0;
    int format = -1;
    /// The libraries have no filter for these pictures: they pass as they are.
    bool unable = false;

    [[nodiscard]] bool fits(const AVFrame& frame) const {
        return frame.width == width && frame.height == height && frame.format == format;
    }
    void build(const AVFrame& frame, AVRational timeBase);
    void pull(AVRational timeBase, std::deque<FramePtr>& ready);
    void drain(AVRational timeBase, std::deque<FramePtr>& ready);
};

void Deinterlacer::State::build(const AVFrame& frame, AVRational timeBase) {
    graph.reset(avfilter_graph_alloc());
    width = frame.width;
    height = frame.height;
    format = frame.format;
    const std::string input =
        fmt::format("video_size={}x{}:pix_fmt={}:time_base={}/{}", width, height, format, timeBase.num, timeBase.den);
    unable = avfilter_graph_create_filter(&source, avfilter_get_by_name("buffer"), "in", input.c_str(), nullptr,
                                          graph.get()) < 0 ||
             avfilter_graph_create_filter(&sink, avfilter_get_by_name("buffersink"), "out", nullptr, nullptr,
                                          graph.get()) < 0;
    AVFilterContext* filter = nullptr;
    unable = unable ||
             avfilter_graph_create_filter(&filter, avfilter_get_by_name("bwdif"), "bwdif",
                                          "mode=send_frame:parity=auto:deint=interlaced", nullptr, graph.get()) < 0 ||
             avfilter_link(source, 0, filter, 0) < 0 || avfilter_link(filter, 0, sink, 0) < 0 ||
             avfilter_graph_config(graph.get(), nullptr) < 0;
    if (unable) graph.reset();
}

void Deinterlacer::State::pull(AVRational timeBase, std::deque<FramePtr>& ready) {
    while (true) {
        FramePtr frame(av_frame_alloc());
        if (av_buffersink_get_frame(sink, frame.get()) < 0) return;
        if (frame->pts != AV_NOPTS_VALUE)
            frame->pts = av_rescale_q(frame->pts, av_buffersink_get_time_base(sink), timeBase);
        ready.push_back(std::move(frame));
    }
}

void Deinterlacer::State::drain(AVRational timeBase, std::deque<FramePtr>& ready) {
    if (!graph) return;
    if (av_buffersrc_add_frame_flags(source, nullptr, 0) >= 0) pull(timeBase, ready);
    graph.reset();
}

Deinterlacer::Deinterlacer() : state_(std::make_unique<State>()) {}
Deinterlacer::~Deinterlacer() = default;

void Deinterlacer::feed(FramePtr frame, AVRational timeBase, std::deque<FramePtr>& ready) {
    State& state = *state_;
    if (!frame) {
        state.drain(timeBase, ready);
        return;
    }
    if (state.graph && !state.fits(*frame)) state.drain(timeBase, ready);
    if (!state.graph && isInterlaced(*frame) && !(state.unable && state.fits(*frame))) state.build(*frame, timeBase);
    if (!state.graph) {
        ready.push_back(std::move(frame));
        return;
    }
    FramePtr kept(av_frame_clone(frame.get()));
    if (av_buffersrc_add_frame_flags(state.source, frame.get(), 0) < 0) {
        state.graph.reset();
        ready.push_back(std::move(kept));
        return;
    }
    state.pull(timeBase, ready);
}

void Deinterlacer::reset() { state_->graph.reset(); }

bool Deinterlacer::isActive() const { return state_->graph != nullptr; }

}  // namespace kelvane
