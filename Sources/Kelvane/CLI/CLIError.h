#pragma once

#include <string>
#include <utility>

#include "Support/Error.h"

namespace kelvane {

/// A failure of the command interface: `message` goes to the caller unchanged.
inline Error CLIError(std::string message) { return Error(std::move(message)); }

/// The failure of a conversation that broke after connecting: the request may have been taken up, so the caller
/// must not take it for undone. Has the kind `outcomeUnknown`, which the client reports with a key of its own.
inline Error CLIOutcomeUnknown() {
    Error error(
        "Kelvane disconnected before returning the result. The command may have succeeded or may still be running. "
        "Do not retry the edit automatically; inspect project state before any further edit, and use preview to retry "
        "rendering.");
    error.kind = ErrorKind::outcomeUnknown;
    return error;
}

}  // namespace kelvane
