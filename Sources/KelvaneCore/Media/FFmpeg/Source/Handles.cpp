#include "Handles.h"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

namespace kelvane {

namespace {

/// Largest single block of memory that the libraries may take: twenty million samples of an index, or the largest
/// picture that is decoded. A small file can claim any number of samples.
constexpr std::size_t largestBlock = std::size_t{512} << 20;

[[maybe_unused]] const bool prepared = [] {
    // The libraries would write their findings on standard error, where nobody expects them.
    av_log_set_level(AV_LOG_QUIET);
    av_max_alloc(largestBlock);
    return true;
}();

}  // namespace

std::string ffmpegErrorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    if (av_strerror(code, text, sizeof(text)) < 0 || text[0] == '\0') return "Unknown error";
    return text;
}

}  // namespace kelvane
