#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Support/FileURL.h"
#include "Support/UUID.h"

/// How anything outside the program points at one project. Any thread.
namespace kelvane::KelvaneProjectLink {

/// The desktop's program that hands a URL to the application that is registered for its scheme; on Debian
/// xdg-utils brings it.
inline constexpr std::string_view openerProgram = "/usr/bin/open";

/// "kelvane://project/<UUID>", the UUID in upper case. Pure.
FileURL url(const UUID& projectID);

/// The shell command that brings a person back to the project: `openerProgram` and the quoted URL. When the program
/// runs from an application bundle (the folder three levels above the executable, links resolved, is named ".app" in
/// any case), the bundle is named by "-a" in between. Asks the disk for links only.
std::string openCommand(const UUID& projectID, const FileURL& executable);

/// The project that a URL's text points at; nothing unless it is exactly a link of the form of `url`. Scheme and host
/// are taken in any case, the UUID too; a user, a port, a query, a fragment, a trailing slash or a further path
/// component make it no link. Pure.
std::optional<UUID> projectID(std::string_view url);
inline std::optional<UUID> projectID(const FileURL& url) { return projectID(url.absoluteString()); }

/// The file of the running program; its first argument as a path when the system can't tell. Asked anew on each call,
/// so that it holds after the program's file was moved.
FileURL runningExecutable();

}  // namespace kelvane::KelvaneProjectLink
