// What touches the process's own streams: reading the input, printing, and the order of a run.
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <utility>

#include "CLIError.h"
#include "KelvaneCLI.h"
#include "Support/JSON.h"

namespace kelvane::KelvaneCLI {

namespace {

constexpr std::size_t maximumInputBytes = 1'048'576;
constexpr std::size_t chunkBytes = 8192;

/// Whether `text` is well-formed UTF-8: shortest forms only, no surrogates, nothing above U+10FFFF.
bool isUTF8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const auto lead = static_cast<unsigned char>(text[at]);
        if (lead < 0x80) {
            ++at;
            continue;
        }
        const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
        if (lead < 0xC2 || lead > 0xF4 || at + length > text.size()) return false;
        std::uint32_t point = lead & (0x7FU >> length);
        for (std::size_t i = 1; i < length; ++i) {
            const auto next = static_cast<unsigned char>(text[at + i]);
            if ((next & 0xC0) != 0x80) return false;
            point = point << 6 | (next & 0x3F);
        }
        constexpr std::uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
        if (point < smallest[length] || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) return false;
        at += length;
    }
    return true;
}

/// Writes `text` and a line feed; false when the stream takes no more.
bool printLine(int descriptor, std::string_view text) {
    std::string line;
    line.reserve(text.size() + 1);
    line.append(text);
    line.push_back('\n');
    for (std::size_t written = 0; written < line.size();) {
        const ssize_t count = ::write(descriptor, line.data() + written, line.size() - written);
        if (count < 0 && errno == EINTR) continue;
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
    if (!invocation) return fail(std::move(invocation.error()));
    auto& options = invocation->request.options;
    if (const auto json = options.find("json"); json != options.end() && json->second == "-") {
        auto input = readInput(STDIN_FILENO);
        if (!input) return fail(std::move(input.error()));
        json->second = std::move(*input);
    }
    auto reply = invocation->target.request(encodeCLIRequest(invocation->request));
    if (!reply) return fail(std::move(reply.error()));
    const auto document = parseJSON(*reply);
    if (!document) return fail(document.error());
    if (!document->is_structured()) return fail(CLIError("The reply is neither a JSON object nor an array."));
    const auto* ok = document->is_object() ? json::find(*document, "ok") : nullptr;
    return Outcome{std::move(*reply), ok != nullptr && ok->is_boolean() && ok->get<bool>()};
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
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return fail(Error::posix("Standard input could not be read", errno));
        if (count == 0) break;
        input.append(chunk, static_cast<std::size_t>(count));
        if (input.size() > maximumInputBytes) return fail(CLIError("stdin exceeds 1 MiB."));
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
