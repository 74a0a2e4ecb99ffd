#include "CLIRequest.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "CLIError.h"
#include "Support/JSON.h"
#include "Support/Text.h"

namespace kelvane {

std::string encodeCLIRequest(const CLIRequest& request) {
    JSONObject options;
    for (const auto& [name, value] : request.options) options.set(name, std::string_view(value));
    JSONObject object;
    object.set("command", std::string_view(request.command));
    object.set("options", options);
    if (request.projectID) object.set("projectID", std::string_view(request.projectID->upper()));
    return object.text();
}

Result<CLIRequest> decodeCLIRequest(std::string_view text) {
    const auto document = parseJSON(text);
    if (!document) return fail(document.error());
    if (!document->is_object()) return fail(CLIError("The request must be a JSON object."));

    CLIRequest request;
    auto command = json::string(*document, "command");
    if (!command) return fail(command.error());
    request.command = std::move(*command);

    const nlohmann::json* options = json::find(*document, "options");
    if (options == nullptr || !options->is_object())
        return fail(CLIError("The request's “options” must be a JSON object of strings."));
    for (const auto& [name, value] : options->items()) {
        const auto* string = value.get_ptr<const nlohmann::json::string_t*>();
        if (string == nullptr) return fail(CLIError("The request's option " + quotedName(name) + " must be a string."));
        request.options.emplace(name, *string);
    }

    if (const nlohmann::json* project = json::find(*document, "projectID")) {
        const auto* string = project->get_ptr<const nlohmann::json::string_t*>();
        if (string != nullptr) request.projectID = UUID::parse(*string);
        if (!request.projectID) return fail(CLIError("The request's “projectID” must be a UUID."));
    }
    return request;
}

}  // namespace kelvane
