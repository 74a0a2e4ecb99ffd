#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Support/Error.h"
#include "Support/FileURL.h"

namespace kelvane {

/// What a start of the program brings along. A plain value.
struct StartRequest {
    /// What is to be opened, in order; relative paths were resolved where the program was started.
    std::vector<FileURL> urls;
    /// The desktop's leave to bring a window forward, as its launcher gave it; empty when it gave none.
    std::string activationToken;

    bool operator==(const StartRequest&) const = default;
};

/// The request of this process: the URLs among `arguments` (see `incomingURLs`), and the token in XDG_ACTIVATION_TOKEN,
/// else in DESKTOP_STARTUP_ID. The token is taken out of the environment only by whoever uses it.
StartRequest startRequest(const std::vector<std::string>& arguments);

/// One line of JSON without its line feed, and back. Fails where the text is none of these, or one of its URLs is none.
std::string encodeStartRequest(const StartRequest& request);
Result<StartRequest> decodeStartRequest(std::string_view line);

}  // namespace kelvane
