#pragma once

#include <string>

#include "Support/Error.h"
#include "Support/JSON.h"

namespace kelvane {

/// The reply to a refused request: "ok" false and "error" the failure's sentence, slashes escaped. One line. Pure.
std::string failureReply(const Error& error);

/// The reply to a command that was carried out: "ok" true and "result", keys sorted and slashes plain at every
/// depth. One line. Pure.
std::string successReply(const JSONObject& result);

}  // namespace kelvane
