#include "PictureResampler.h"

namespace kelvane {

namespace {

/// Filters kept at once: three planes of some dozen clips.
constexpr std::size_t keptGraphs = 36;

zimg_image_format planeFormat(int width, int height, int depth) {
    zimg_image_format format;
    zimg_image_format_default(&format, ZIMG_API_VERSION);
    format.width = static_cast<unsigned>(width);
    format.height = static_cast<unsigned>(height);
    format.pixel_type = depth > 8 ? ZIMG_PIXEL_WORD : ZIMG_PIXEL_BYTE;
    format.depth = static_cast<unsigned>(depth);
    format.color_family = ZIMG_COLOR_GREY;
    format.pixel_range = ZIMG_RANGE_LIMITED;
    return format;
}

Error resampleError() {
    char text[256] = "";
    zimg_get_last_error(text, sizeof text);
    return Error(text[0] == 0 ? std::string("A picture could not be scaled.")
                              : "A picture could not be scaled: " + std::string(text) + ".");
}

}  // namespace

Result<const PictureResampler::Graph*> PictureResampler::graphFor(const Key& key) {
    for (auto it = graphs_.begin(); it != graphs_.end(); ++it) {
        if (it->key != key) continue;
        graphs_.splice(graphs_.begin(), graphs_, it);
        return &graphs_.front();
    }
    zimg_image_format from = planeFormat(key.fromWidth, key.fromHeight, key.fromDepth);
    from.active_region = {key.region.x, key.region.y, key.region.width, key.region.height};
    const zimg_image_format to = planeFormat(key.toWidth, key.toHeight, key.toDepth);
    zimg_graph_builder_params parameters;
    zimg_graph_builder_params_default(&parameters, ZIMG_API_VERSION);
    parameters.resample_filter = ZIMG_RESIZE_BICUBIC;
    // Catmull-Rom: keeps flat areas and straight ramps exact, and is the sharpest of its family without much ringing.
    parameters.filter_param_a = 0;
    parameters.filter_param_b = 0.5;
    parameters.dither_type = ZIMG_DITHER_NONE;
    parameters.cpu_type = ZIMG_CPU_AUTO;

    Graph graph{.key = key};
    graph.graph.reset(zimg_filter_graph_build(&from, &to, &parameters));
    if (!graph.graph || zimg_filter_graph_get_tmp_size(graph.graph.get(), &graph.scratchBytes) != ZIMG_ERROR_SUCCESS)
        return fail(resampleError());
    graphs_.push_front(std::move(graph));
    if (graphs_.size() > keptGraphs) graphs_.pop_back();
    return &graphs_.front();
}

PlaneView PictureResampler::aligned(const PlaneView& from) {
    // 32 bytes: the decoders' alignment, and enough for the registers that ZIMG_CPU_AUTO uses.
    constexpr std::uintptr_t mask = 31;
    const bool fits = (reinterpret_cast<std::uintptr_t>(from.data) & mask) == 0 && from.stride > 0 &&
                      (static_cast<std::uintptr_t>(from.stride) & mask) == 0;
    if (fits) return from;
    const PlaneSpan copy = realigned_.plane(from.width, from.height, from.bytesPerSample);
    copyPlane(from, copy);
    return copy.view();
}

Result<void> PictureResampler::resample(const PlaneView& from, int fromDepth, const Rect& region, const PlaneSpan& to,
                                        int toDepth) {
    const auto graph = graphFor({from.width, from.height, fromDepth, to.width, to.height, toDepth, region});
    if (!graph) return fail(graph.error());
    const PlaneView source = aligned(from);
    zimg_image_buffer_const in{};
    in.version = ZIMG_API_VERSION;
    in.plane[0] = {source.data, source.stride, ZIMG_BUFFER_MAX};
    zimg_image_buffer out{};
    out.version = ZIMG_API_VERSION;
    out.plane[0] = {to.data, to.stride, ZIMG_BUFFER_MAX};
    void* scratch = scratch_.ensure((*graph)->scratchBytes + planeAlignment);
    if (zimg_filter_graph_process((*graph)->graph.get(), &in, &out, scratch, nullptr, nullptr, nullptr, nullptr) !=
        ZIMG_ERROR_SUCCESS)
        return fail(resampleError());
    return {};
}

}  // namespace kelvane
