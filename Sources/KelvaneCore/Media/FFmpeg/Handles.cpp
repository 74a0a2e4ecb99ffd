#include "Handles.h"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

namespace kelvane {

namespace {

// The libraries would write their findings on standard error, where nobody expects them.
[[maybe_unused]] const bool quiet = [] {
    av_log_set_level(AV_LOG_QUIET);
    return true;
}();

}  // namespace

std::string ffmpegErrorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    if (av_strerror(code, text, sizeof(text)) < 0 || text[0] == '\0') return "Unknown error";
    return text;
}

}  // namespace kelvane
