#include "MediaError.h"

#include "Support/Text.h"

namespace kelvane::MediaError {

Error invalidClip(std::string_view name) {
    return Error(quotedName(name) + " has an invalid trim range or could not be read.");
}

Error noVideo(std::string_view name) { return Error(quotedName(name) + " does not contain a supported video track."); }

Error exportUnavailable() { return Error("This device could not create an export session for the selected format."); }

}  // namespace kelvane::MediaError
