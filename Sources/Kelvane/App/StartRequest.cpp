#include "StartRequest.h"

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "IncomingURLs.h"
#include "Support/JSON.h"

namespace kelvane {

namespace {

constexpr const char* urlsKey = "urls";
constexpr const char* tokenKey = "activationToken";

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

}  // namespace

StartRequest startRequest(const std::vector<std::string>& arguments) {
    StartRequest request{.urls = incomingURLs(arguments), .activationToken = variable("XDG_ACTIVATION_TOKEN")};
    if (request.activationToken.empty()) request.activationToken = variable("DESKTOP_STARTUP_ID");
    return request;
}

std::string encodeStartRequest(const StartRequest& request) {
    JSONObject object;
    object.set(urlsKey, jsonArray(request.urls, &FileURL::absoluteString));
    object.set(tokenKey, std::string_view(request.activationToken));
    return object.text();
}

Result<StartRequest> decodeStartRequest(std::string_view line) {
    const auto document = parseJSON(line);
    if (!document) return fail(document.error());
    if (!document->is_object()) return fail("The request must be a JSON object.");
    StartRequest request;
    auto token = json::string(*document, tokenKey);
    if (!token) return fail(token.error());
    request.activationToken = *std::move(token);
    const nlohmann::json* urls = json::find(*document, urlsKey);
    if (urls == nullptr || !urls->is_array()) return fail("The request's “urls” must be an array.");
    for (const nlohmann::json& entry : *urls) {
        const auto* text = entry.get_ptr<const nlohmann::json::string_t*>();
        auto url = text != nullptr ? FileURL::parse(*text) : std::nullopt;
        if (!url) return fail("The request's “urls” must hold URLs.");
        request.urls.push_back(*std::move(url));
    }
    return request;
}

}  // namespace kelvane
