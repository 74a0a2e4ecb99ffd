#include "CLIReply.h"

namespace kelvane {

std::string failureReply(const Error& error) {
    std::string text = R"({"ok":false,"error":)";
    appendJSONString(text, error.message, Slashes::escaped);
    text += '}';
    return text;
}

std::string successReply(const JSONObject& result) { return R"({"ok":true,"result":)" + result.text() + "}"; }

}  // namespace kelvane
