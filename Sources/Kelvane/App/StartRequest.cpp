#include "StartRequest.h"

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <utility>

#include "IncomingURLs.h"
#include "Support/JSON.h"

namespace kelvane {

namespace {

constexpr const char* urlsKey = "urls";
constexpr const char* tokenKey = "activationToken";
constexpr const char* startupKey = "startupID";

std::string accepted(std::string text) { return isActivationText(text) ? std::move(text) : std::string(); }

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return accepted(value != nullptr ? value : "");
}

}  // namespace

StartRequest startRequest(const std::vector<std::string>& arguments) {
    return {.urls = incomingURLs(arguments),
            .activation = {.token = variable("XDG_ACTIVATION_TOKEN"), .startupID = variable("DESKTOP_STARTUP_ID")}};
}

std::string encodeStartRequest(const StartRequest& request) {
    JSONObject object;
    object.set(urlsKey, jsonArray(request.urls, &FileURL::absoluteString));
    object.set(tokenKey, std::string_view(request.activation.token));
    object.set(startupKey, std::string_view(request.activation.startupID));
    return object.text();
}

Result<StartRequest> decodeStartRequest(std::string_view line) {
    const auto document = parseJSON(line);
    if (!document) return fail(document.error());
    if (!document->is_object()) return fail("The request must be a JSON object.");
    StartRequest request;
    auto token = json::string(*document, tokenKey);
    if (!token) return fail(token.error());
    request.activation.token = accepted(*std::move(token));
    if (json::find(*document, startupKey) != nullptr) {
        auto startupID = json::string(*document, startupKey);
        if (!startupID) return fail(startupID.error());
        request.activation.startupID = accepted(*std::move(startupID));
    }
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
