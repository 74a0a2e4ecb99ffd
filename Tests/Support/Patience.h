#pragma once

#include <chrono>

namespace kelvane::testing {

/// How long a test waits for what becomes true by itself: longer than any healthy machine takes, so that a busy one
/// changes no result. Only a test that fails waits as long.
inline constexpr std::chrono::milliseconds patience{60'000};

}  // namespace kelvane::testing
