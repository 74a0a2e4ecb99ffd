#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Support/Error.h"
#include "Support/UUID.h"

namespace kelvane {

/// The message that the client sends: one command with its options, each as text (a flag's value is "true").
/// A plain value. Nothing is checked against the commands here; see `KelvaneCLI::validate`.
struct CLIRequest {
    std::string command;
    /// By option name, without leading dashes.
    std::map<std::string, std::string> options;
    /// The project meant; absent when the client was given a socket path instead.
    std::optional<UUID> projectID;

    /// The text of an option; nothing when it isn't given.
    [[nodiscard]] std::optional<std::string> option(const std::string& name) const {
        const auto found = options.find(name);
        return found == options.end() ? std::nullopt : std::optional(found->second);
    }
    /// Whether a flag is given.
    [[nodiscard]] bool hasFlag(const std::string& name) const { return option(name) == "true"; }

    bool operator==(const CLIRequest&) const = default;
};

/// The request as one line of JSON: "command", "options" and, when present, "projectID" in upper case. Bytes that
/// are not UTF-8 become U+FFFD. Pure.
std::string encodeCLIRequest(const CLIRequest& request);

/// Reads a request. "command" and "options" must be there; a null "projectID" counts as absent, and unknown keys are
/// ignored. Anything else fails with a sentence that names what was expected. Pure.
Result<CLIRequest> decodeCLIRequest(std::string_view text);

}  // namespace kelvane
