// Requests from the socket and words from the command line: whatever comes is read or refused in words, and what is
// read says the same after a trip over the wire.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "CLI/CLIReply.h"
#include "CLI/CLIRequest.h"
#include "CLI/KelvaneCLI.h"
#include "Support/Error.h"
#include "Support/JSON.h"

namespace {

using namespace kelvane;

void checkRefusal(const Error& error) {
    check(!error.message.empty(), "a refusal without words");
    check(parseJSON(failureReply(error)).has_value(), "a refusal that is no JSON");
}

void readRequest(std::string_view text) {
    const auto request = decodeCLIRequest(text);
    if (!request) return checkRefusal(request.error());
    const auto again = decodeCLIRequest(encodeCLIRequest(*request));
    check(again && *again == *request, "a request that changed on the wire");
    if (const auto valid = KelvaneCLI::validate(*request); !valid) checkRefusal(valid.error());
}

void readCommandLine(std::string_view text) {
    std::vector<std::string> words;
    for (std::size_t at = 0; at <= text.size();) {
        const auto end = std::min(text.find('\0', at), text.size());
        words.emplace_back(text.substr(at, end - at));
        at = end + 1;
    }
    const auto invocation = KelvaneCLI::parse(words);
    if (!invocation) return checkRefusal(invocation.error());
    check(KelvaneCLI::validate(invocation->request).has_value(), "a parsed request that is not valid");
    // Words that are no UTF-8 are mended by the first trip, and stand from then on.
    const auto sent = decodeCLIRequest(encodeCLIRequest(invocation->request));
    check(sent && sent->command == invocation->request.command, "a command line that cannot be sent");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    readRequest(text);
    readCommandLine(text);
    // The selector and a command given, so that the options are reached.
    std::string line("--socket\0/s\0clip\0", 17);
    readCommandLine(line.append(text));
    return 0;
}
