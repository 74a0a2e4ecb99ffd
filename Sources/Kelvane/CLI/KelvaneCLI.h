#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "CLIProjectDiscovery.h"
#include "CLIRequest.h"
#include "Support/Error.h"
#include "Support/UUID.h"

/// The command-line client: one command line becomes one request to the running editor of one project, and its reply
/// is printed. The table of commands is also what the editor checks each request against.
namespace kelvane::KelvaneCLI {

/// One row of the table of commands. Option names stand without their dashes.
struct Command {
    std::string_view name;
    /// Names that take a value, sorted.
    std::span<const std::string_view> options;
    /// Names that take none, sorted.
    std::span<const std::string_view> flags;
    /// Names that must have a value that is not empty, in the order of checking.
    std::span<const std::string_view> required;
    /// One line for callers, printed by the capabilities document.
    std::string_view description;

    [[nodiscard]] bool takesValue(std::string_view option) const;
    [[nodiscard]] bool hasFlag(std::string_view option) const;
};

/// All commands, sorted by name.
std::span<const Command> commands();
/// The row of `name`, or nullptr.
const Command* findCommand(std::string_view name);

/// The help, without a line feed at its end.
std::string_view helpText();

/// The capabilities document: the schema that a caller reads once, as JSON with sorted keys and plain slashes. Built at
/// the first call, which may come from any thread.
const std::string& capabilities();

/// Where a request goes: to the project's published socket, or to a socket named by its path.
struct Target {
    std::variant<UUID, std::string> place;

    /// Sends the encoded request and waits without limit for the reply. Fails in the words of
    /// `CLIProjectDiscovery::publishedSocketPath` and `LocalCLIConnection::request`. Blocks. `registry` is there for
    /// tests.
    [[nodiscard]] Result<std::string> request(std::string_view data,
                                              const std::string& registry = CLIProjectDiscovery::registryPath()) const;

    bool operator==(const Target&) const = default;
};

struct Invocation {
    Target target;
    CLIRequest request;
    bool operator==(const Invocation&) const = default;
};

/// Reads the arguments after `cli`: a selector with its value, a command and its options. Ends with `validate`.
/// Pure.
Result<Invocation> parse(std::span<const std::string> arguments);

/// Checks a request against the table: known options, required ones, words of an export, the waveform's one source.
/// The first fault found is the failure; options are looked at in the order of their names. Pure.
Result<void> validate(const CLIRequest& request);

/// Reads all of `descriptor` as the text of one option: at most 1,048,576 bytes ("stdin exceeds 1 MiB."), valid UTF-8
/// ("stdin must be UTF-8 JSON of at most 1 MiB."), not trimmed. Stops reading just past the limit. Blocks.
Result<std::string> readInput(int descriptor);

/// The client, whole: prints the help, or the reply on standard output, or the failure as an object on standard error.
/// Answers the exit status: 0 for help and for a reply whose "ok" is true, else 1.
std::int32_t run(std::span<const std::string> arguments);

}  // namespace kelvane::KelvaneCLI
