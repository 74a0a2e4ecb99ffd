// What touches the process's own streams: reading the input, printing, and the order of a run.
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "CLIError.h"
#include "CLILimits.h"
#include "CLIReplyDocument.h"
#include "KelvaneCLI.h"
#include "Support/JSON.h"

namespace kelvane::KelvaneCLI {

namespace {

constexpr std::size_t chunkBytes = 8192;

/// After an interruption, or once a stream that was inherited non-blocking is ready again, answers true: the call that
/// failed is to be repeated.
bool mayRepeat(int descriptor, short event) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
    pollfd stream{descriptor, event, 0};
    return poll(&stream, 1, -1) >= 0 || errno == EINTR;
}

/// Writes `text` and a line feed; false when the stream takes no more.
bool printLine(int descriptor, std::string_view text) {
    std::string line;
    line.reserve(text.size() + 1);
    line.append(text);
    line.push_back('\n');
    for (std::size_t written = 0; written < line.size();) {
        const ssize_t count = ::write(descriptor, line.data() + written, line.size() - written);
        if (count < 0 && mayRepeat(descriptor, POLLOUT)) continue;
        if (count <= 0) return false;
        written += static_cast<std::size_t>(count);
    }
    return true;
}

/// The run behind the help: the reply as received and whether its "ok" is true.
struct Outcome {
    std::string reply;
    bool isSuccess = false;
};

Result<Outcome> perform(std::span<const std::string> arguments) {
    auto invocation = parse(arguments);
    if (!invocation) return fail(invocation.error());
    auto& options = invocation->request.options;
    if (const auto json = options.find("json"); json != options.end() && json->second == "-") {
        auto input = readInput(STDIN_FILENO);
        if (!input) return fail(input.error());
        json->second = std::move(*input);
    }
    auto reply = invocation->target.request(encodeCLIRequest(invocation->request));
    if (!reply) return fail(reply.error());
    const auto isSuccess = replyIsSuccess(*reply);
    if (!isSuccess) return fail(isSuccess.error());
    return Outcome{std::move(*reply), *isSuccess};
}

std::string failureObject(const Error& error) {
    std::string text = R"({"error":)";
    appendJSONString(text, error.message, Slashes::escaped);
    text += R"(,"ok":false)";
    if (error.kind == ErrorKind::outcomeUnknown) text += R"(,"outcome":"unknown")";
    text += '}';
    return text;
}

}  // namespace

Result<std::string> readInput(int descriptor) {
    std::string input;
    char chunk[chunkBytes];
    while (true) {
        const ssize_t count = ::read(descriptor, chunk, sizeof chunk);
        if (count < 0 && mayRepeat(descriptor, POLLIN)) continue;
        if (count < 0) return fail(Error::posix("Standard input could not be read", errno));
        if (count == 0) break;
        input.append(chunk, static_cast<std::size_t>(count));
        if (input.size() > CLILimits::messageBytes) return fail(CLIError("stdin exceeds 1 MiB."));
    }
    if (!isUTF8(input)) return fail(CLIError("stdin must be UTF-8 JSON of at most 1 MiB."));
    return input;
}

std::int32_t run(std::span<const std::string> arguments) {
    // A reader that has gone is a failed write, and so status 1, rather than the end by a signal.
    signal(SIGPIPE, SIG_IGN);
    const bool wantsHelp =
        arguments.empty() || (arguments.size() == 1 && (arguments[0] == "help" || arguments[0] == "--help"));
    if (wantsHelp) return printLine(STDOUT_FILENO, helpText()) ? 0 : 1;

    const auto outcome = perform(arguments);
    if (!outcome) {
        printLine(STDERR_FILENO, failureObject(outcome.error()));
        return 1;
    }
    const bool isPrinted = printLine(STDOUT_FILENO, outcome->reply);
    return isPrinted && outcome->isSuccess ? 0 : 1;
}

}  // namespace kelvane::KelvaneCLI
