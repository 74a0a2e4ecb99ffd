#include "KelvaneProjectLink.h"

#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "ShellQuoting.h"
#include "Support/Error.h"
#include "Support/Text.h"

namespace kelvane::KelvaneProjectLink {

namespace {

constexpr std::string_view scheme = "kelvane";
constexpr std::string_view host = "project";
/// From a bundle's executable ("Contents", a folder of programs, the program) up to the bundle.
constexpr int levelsToBundle = 3;

/// Takes `prefix`, which has small letters, off the front of `text`, in any case; false when it isn't there.
bool consume(std::string_view& text, std::string_view prefix) {
    if (lowered(text.substr(0, prefix.size())) != prefix) return false;
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
    for (int level = 0; level < levelsToBundle; ++level) bundle = bundle.parentFolder();

    std::string command(openerProgram);
    if (lowered(bundle.extension()) == "app") command += " -a " + shellQuoted(bundle.path());
    command += ' ';
    command += shellQuoted(url(projectID).absoluteString());
    return command;
}

std::optional<UUID> projectID(std::string_view url) {
    if (!FileURL::parse(url) || !consume(url, scheme) || !consume(url, "://")) return std::nullopt;
    const auto slash = url.find('/');
    if (slash == std::string_view::npos) return std::nullopt;
    // Encoded as they stand, a user before the host, a port behind it, a query and a further component are no part of
    // the name or of the UUID, and fall out by themselves.
    const std::string_view authority = url.substr(0, slash);
    const std::string_view path = url.substr(slash + 1);
    if (authority.find_first_of("@:") != std::string_view::npos || path.find_first_of("?#") != std::string_view::npos ||
        lowered(percentDecoded(authority)) != host) {
        return std::nullopt;
    }
    return UUID::parse(percentDecoded(path));
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
