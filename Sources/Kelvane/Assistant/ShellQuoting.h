#pragma once

#include <string>
#include <string_view>

namespace kelvane {

/// `text` as one word for a POSIX shell: wrapped in single quotes, each "'" in it written as "'\''". Pure.
std::string shellQuoted(std::string_view text);

}  // namespace kelvane
