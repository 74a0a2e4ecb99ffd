#include "KelvaneProjectLink.h"

#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "ShellQuoting.h"
#include "Support/Error.h"

namespace kelvane::KelvaneProjectLink {

namespace {

constexpr std::string_view scheme = "kelvane";
constexpr std::string_view host = "project";
/// From a bundle's executable ("Contents", a folder of programs, the program) up to the bundle.
constexpr int levelsToBundle = 3;

char lowered(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

bool equalsIgnoringCase(std::string_view text, std::string_view lowerCase) {
    return std::ranges::equal(text, lowerCase, {}, lowered);
}

/// Takes `prefix` off the front of `text`, in any case; false when it isn't there.
bool consume(std::string_view& text, std::string_view prefix) {
    if (!equalsIgnoringCase(text.substr(0, prefix.size()), prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

}  // namespace

FileURL url(const UUID& projectID) {
    std::string text(scheme);
    text.append("://").append(host).append("/");
    projectID.appendUpper(text);
    auto url = FileURL::parse(text);
    check(url.has_value(), "a project link is no URL");
    return *std::move(url);
}

std::string openCommand(const UUID& projectID, const FileURL& executable) {
    FileURL bundle = executable.resolved();
    for (int level = 0; level < levelsToBundle; ++level) bundle = bundle.deletingLastPathComponent();

    std::string command(openerProgram);
    if (equalsIgnoringCase(bundle.pathExtension(), "app")) command += " -a " + shellQuoted(bundle.path());
    command += ' ';
    command += shellQuoted(url(projectID).absoluteString());
    return command;
}

std::optional<UUID> projectID(std::string_view url) {
    // What is no host of exactly this name (a user before it, a port behind it) and what is no UUID (a query, a
    // further component) falls out by itself.
    if (!consume(url, scheme) || !consume(url, "://") || !consume(url, host) || !consume(url, "/")) return std::nullopt;
    return UUID::parse(url);
}

FileURL runningExecutable() {
    char target[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", target, sizeof target);
    if (length > 0) {
        std::string_view path(target, static_cast<std::size_t>(length));
        // The kernel marks the file of a program that was replaced while it runs.
        constexpr std::string_view replaced = " (deleted)";
        if (path.ends_with(replaced)) path.remove_suffix(replaced.size());
        return FileURL::fromPath(path);
    }
    std::ifstream arguments("/proc/self/cmdline", std::ios::binary);
    std::string first;
    std::getline(arguments, first, '\0');
    return FileURL::fromPath(first);
}

}  // namespace kelvane::KelvaneProjectLink
