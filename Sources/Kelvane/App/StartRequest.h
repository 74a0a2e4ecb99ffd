#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Platform/ActivationLeave.h"
#include "Support/Error.h"
#include "Support/FileURL.h"

namespace kelvane {

/// What a start of the program brings along. A plain value.
struct StartRequest {
    /// What is to be opened, in order; relative paths were resolved where the program was started.
    std::vector<FileURL> urls;
    /// As the launcher gave it.
    ActivationLeave activation;

    bool operator==(const StartRequest&) const = default;
};

/// The request of this process: the URLs among `arguments` (see `incomingURLs`), and what of XDG_ACTIVATION_TOKEN and
/// DESKTOP_STARTUP_ID a desktop may have given (`isActivationText`). Both stay in the environment.
StartRequest startRequest(const std::vector<std::string>& arguments);

/// One line of JSON without its line feed, and back. Fails where the text is none of these, or one of its URLs is none.
/// A leave that no desktop gives is left out: what is to be opened counts for more. A line without the key "startupID",
/// as an older program sends it, has no such id.
std::string encodeStartRequest(const StartRequest& request);
Result<StartRequest> decodeStartRequest(std::string_view line);

}  // namespace kelvane
