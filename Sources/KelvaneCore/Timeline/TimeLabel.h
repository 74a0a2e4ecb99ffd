#pragma once

#include <string>

namespace kelvane {

/// A time as "mm:ss.s". Negative and non-finite values count as 0; minutes don't carry, so 59.96 gives "00:60.0".
std::string timeLabel(double seconds);

}  // namespace kelvane
