#include "MediaError.h"

#include <fmt/format.h>

namespace kelvane::MediaError {

Error invalidClip(std::string_view name) {
    return Error(fmt::format("“{}” has an invalid trim range or could not be read.", name));
}

Error noVideo(std::string_view name) {
    return Error(fmt::format("“{}” does not contain a supported video track.", name));
}

Error exportUnavailable() { return Error("This device could not create an export session for the selected format."); }

}  // namespace kelvane::MediaError
