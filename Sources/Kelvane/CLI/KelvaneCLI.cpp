#include "KelvaneCLI.h"

#include <utility>

#include "CLIError.h"
#include "LocalCLIConnection.h"
#include "Media/ExportSettings.h"

namespace kelvane::KelvaneCLI {

namespace {

/// The client waits as long as the application works: an export can take minutes.
constexpr double noTimeout = 0;

Error unknownCommand(const std::string& name) {
    return CLIError("Unknown command: " + name + ". Run Kelvane cli help.");
}

Result<std::map<std::string, std::string>> parseOptions(const Command& command, std::span<const std::string> words) {
    std::map<std::string, std::string> options;
    while (!words.empty()) {
        const std::string& word = words.front();
        words = words.subspan(1);
        if (!word.starts_with("--") || options.contains(word.substr(2)))
            return fail(CLIError("Unknown or duplicate option: " + word + "."));
        const std::string key = word.substr(2);
        if (command.hasFlag(key)) {
            options.emplace(key, "true");
        } else if (command.takesValue(key) && !words.empty() && !words.front().starts_with("--")) {
            options.emplace(key, words.front());
            words = words.subspan(1);
        } else {
            return fail(CLIError("Unknown or incomplete option: " + word + "."));
        }
    }
    return options;
}

Result<void> validateExport(const CLIRequest& request) {
    if (auto resolution = exportResolutionFromCommandLine(request.option("resolution").value_or("auto")); !resolution)
        return fail(resolution.error());
    if (auto rate = exportFrameRateFromCommandLine(request.option("fps").value_or("auto")); !rate)
        return fail(rate.error());
    return {};
}

}  // namespace

Result<std::string> Target::request(std::string_view data, const std::string& registry) const {
    if (const auto* path = std::get_if<std::string>(&place)) return LocalCLIConnection::request(data, *path, noTimeout);
    const auto path = CLIProjectDiscovery::publishedSocketPath(std::get<UUID>(place), registry);
    if (!path) return fail(path.error());
    return LocalCLIConnection::request(data, *path, noTimeout);
}

Result<Invocation> parse(std::span<const std::string> arguments) {
    if (arguments.size() < 3) return fail(CLIError("Expected --project <projectID> <command>. Run Kelvane cli help."));
    const std::string& selector = arguments[0];
    const std::string& value = arguments[1];
    const std::string& name = arguments[2];

    Invocation invocation;
    if (const auto project = UUID::parse(value); selector == "--project" && project) {
        invocation.target.place = *project;
        invocation.request.projectID = *project;
    } else if (selector == "--socket" && !value.empty()) {
        invocation.target.place = value;
    } else {
        return fail(CLIError("Expected --project <UUID> or --socket <path>. Run Kelvane cli help."));
    }

    const Command* command = findCommand(name);
    if (command == nullptr) return fail(unknownCommand(name));
    auto options = parseOptions(*command, arguments.subspan(3));
    if (!options) return fail(options.error());
    invocation.request.command = name;
    invocation.request.options = std::move(*options);
    if (auto valid = validate(invocation.request); !valid) return fail(valid.error());
    return invocation;
}

Result<void> validate(const CLIRequest& request) {
    const Command* command = findCommand(request.command);
    if (command == nullptr) return fail(unknownCommand(request.command));
    for (const auto& [key, value] : request.options) {
        if (command->takesValue(key) || (command->hasFlag(key) && value == "true")) continue;
        return fail(CLIError("Unknown or invalid option: --" + key + ". Run Kelvane cli help."));
    }
    for (const std::string_view name : command->required)
        if (request.option(std::string(name)).value_or("").empty())
            return fail(CLIError("Missing --" + std::string(name) + ". Run Kelvane cli help."));
    if (request.command == "export") return validateExport(request);
    if (request.command == "waveform" && request.options.contains("asset") == request.options.contains("clip"))
        return fail(CLIError("waveform requires exactly one of --asset or --clip."));
    return {};
}

}  // namespace kelvane::KelvaneCLI
