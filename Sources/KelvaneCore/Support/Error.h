#pragma once

#include <cstdint>
#include <expected>
#include <string>
#include <utility>

namespace kelvane {

/// What kind of failure an Error is. Callers treat `cancelled` as silence, and the command-line
/// client reports `outcomeUnknown` with an extra key; every other failure is `failure`.
enum class ErrorKind : std::uint8_t { failure, cancelled, outcomeUnknown };

/// A failure that carries a sentence written for its reader. The sentence is written whole where the
/// failure is found, passed up unchanged, and shown only at the edge. A plain value.
struct Error {
    std::string message;
    ErrorKind kind = ErrorKind::failure;
    /// Name space of `code`: "Kelvane" for the program's own numbered failures, "POSIX" for those of
    /// the system, "Corrupt" and "NoSuchFile" for unreadable documents and unknown rows, else empty.
    std::string domain;
    int code = 0;
    /// Further sentences that an export failure shows below `message`; empty when there are none.
    std::string failureReason;
    std::string recoverySuggestion;

    Error() = default;
    explicit Error(std::string text) : message(std::move(text)) {}
    Error(std::string text, std::string domainName, int number)
        : message(std::move(text)), domain(std::move(domainName)), code(number) {}

    /// The failure of work that was asked to stop.
    static Error cancelled();
    /// A failure of the system in words: `what` (a phrase such as "“a.mov” could not be read") followed
    /// by the system's text for `number` (an errno value).
    static Error posix(const std::string& what, int number);

    [[nodiscard]] bool isCancelled() const { return kind == ErrorKind::cancelled; }
    bool operator==(const Error&) const = default;
};

/// A value, or the failure that stood in its way.
template <class T>
using Result = std::expected<T, Error>;

/// The one way to fail in a function whose result is a Result: `return fail("A sentence.")`, `return
/// fail(unknownRow())` with a function that answers the Error where several places share a sentence, and `return
/// fail(below.error())` for a failure that is passed up unchanged.
inline std::unexpected<Error> fail(std::string message) { return std::unexpected(Error(std::move(message))); }
inline std::unexpected<Error> fail(Error error) { return std::unexpected(std::move(error)); }

/// Ends the program with `what` on standard error when `condition` is false. For faults of the program
/// itself; on in every build.
void check(bool condition, const char* what);

}  // namespace kelvane
