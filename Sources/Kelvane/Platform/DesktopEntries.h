#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Support/Error.h"

namespace kelvane {

/// Where a desktop keeps its applications, most important first, as the XDG base directories name them.
struct DesktopFolders {
    /// Folders that hold "applications".
    std::vector<std::string> data;
    /// Folders that hold "mimeapps.list".
    std::vector<std::string> config;
    /// Names of the running desktops, in lower case, most important first.
    std::vector<std::string> desktops;
    /// Folders in which programs are looked for.
    std::vector<std::string> programs;

    /// Those of this process: XDG_DATA_HOME, XDG_DATA_DIRS, XDG_CONFIG_HOME, XDG_CONFIG_DIRS, XDG_CURRENT_DESKTOP and
    /// PATH, with the defaults of the standard. Folders that are not absolute don't count.
    static DesktopFolders ofProcess();
};

/// One desktop entry of the kind "Application".
struct DesktopEntry {
    /// "org.example.Editor" for "org.example.Editor.desktop"; folders on the way are joined with "-".
    std::string id;
    /// Path of the file.
    std::string path;
    std::string name;
    std::string icon;
    /// The line to run, before its quotation and its field codes are resolved.
    std::string exec;
    /// A program that must be there for the entry to count; empty when none is named.
    std::string tryExec;
    /// Folder to run in; empty when none is named.
    std::string workingFolder;
    /// Content types that it opens, such as "x-scheme-handler/mailto".
    std::vector<std::string> types;
    /// True: the entry says that there is no such application, also not in a less important folder.
    bool hidden = false;
};

/// Finding applications among desktop entries, by the Desktop Entry and the MIME Applications standards. Reads the disk
/// on each call, and nothing else. Any thread.
namespace DesktopEntries {

/// The entry in the text of a file; nothing when it isn't one for an application that can be run. `id` and `path` are
/// left empty. Pure.
std::optional<DesktopEntry> parse(std::string_view text);

/// The application with this id, from the most important folder that has an entry for it. Nothing when there is none,
/// when that entry is hidden, or when its `tryExec` is missing. An entry that only isn't shown in menus counts. A file
/// that can't be read or holds no entry is passed over.
std::optional<DesktopEntry> find(const DesktopFolders& folders, std::string_view id);

/// The application for a content type: the first default that is there, else the first that was added for it or names
/// it among its `types`, unless that was removed.
std::optional<DesktopEntry> handler(const DesktopFolders& folders, std::string_view type);

/// The words of the entry's `exec` for opening `url`, the program first. The URL takes the place of %u, %U, %f and %F,
/// and follows as a last word when the line has none of them. Fails in words when the line breaks the rules of
/// quotation, names an unknown field code or no program. Pure.
Result<std::vector<std::string>> command(const DesktopEntry& entry, const std::string& url);

/// The path of the executable file that `program` names: itself when it has a slash, else the first in `programs`.
std::optional<std::string> programPath(const std::vector<std::string>& programs, const std::string& program);

}  // namespace DesktopEntries

}  // namespace kelvane
