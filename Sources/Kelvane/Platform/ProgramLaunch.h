#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "Support/Error.h"

namespace kelvane {

/// Starts a program that is to outlive this process: in a session of its own, with no streams and none of this
/// process's files. `path` is its file, `words` its arguments with its name first, `folder` where it runs (here when
/// empty). Watches it for `watched`: fails with `what` (a phrase such as "“Editor” could not be opened") and the reason
/// when it can't be started or ends with a failure by then; one that ends well or goes on is a success. Nothing of it
/// needs reaping afterwards. Blocks for at most `watched`; any thread.
Result<void> launchProgram(const std::string& what, const std::string& path, const std::vector<std::string>& words,
                           const std::string& folder, std::chrono::milliseconds watched);

}  // namespace kelvane
