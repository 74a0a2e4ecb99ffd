#include "PacketWatch.h"

#include <cstdarg>
#include <memory>
#include <mutex>
#include <string_view>

extern "C" {
#include <libavutil/log.h>
}

namespace kelvane::testing {

namespace {

struct Watched {
    std::mutex mutex;
    std::shared_ptr<const std::function<void(int)>> read;
    int count = 0;
};

/// Outlives every thread that may still read.
Watched& watched() {
    static auto* const one = new Watched;
    return *one;
}

void hear(void*, int level, const char* format, va_list arguments) {
    if (level != AV_LOG_TRACE || !std::string_view(format).starts_with("stream %d, sample %d, dts ")) return;
    va_list copy;
    va_copy(copy, arguments);
    const int stream = va_arg(copy, int);
    va_end(copy);
    if (stream != 0) return;
    std::shared_ptr<const std::function<void(int)>> read;
    int number = 0;
    {
        const std::lock_guard lock(watched().mutex);
        read = watched().read;
        number = ++watched().count;
    }
    if (read && *read) (*read)(number);
}

}  // namespace

PacketWatch::PacketWatch(std::function<void(int)> read) {
    const std::lock_guard lock(watched().mutex);
    watched().read = std::make_shared<const std::function<void(int)>>(std::move(read));
    watched().count = 0;
    av_log_set_callback(hear);
}

PacketWatch::~PacketWatch() {
    const std::lock_guard lock(watched().mutex);
    watched().read.reset();
    av_log_set_callback(av_log_default_callback);
}

int PacketWatch::count() const {
    const std::lock_guard lock(watched().mutex);
    return watched().count;
}

}  // namespace kelvane::testing
