#pragma once

#include <string_view>

#include "Support/Error.h"

namespace kelvane {

/// Whether `text` is well-formed UTF-8: shortest forms only, no surrogates, nothing above U+10FFFF. Pure.
bool isUTF8(std::string_view text);

/// Reads a reply as far as the client needs it: whether it is one JSON object or array (RFC 8259, UTF-8), and whether
/// that is an object whose member "ok" is true. The reply is passed on as it came, so that its nesting and the size of
/// its numbers are nobody's limits here. Of duplicate members the last stands. Fails with a sentence for any other
/// text. Pure.
Result<bool> replyIsSuccess(std::string_view text);

}  // namespace kelvane
