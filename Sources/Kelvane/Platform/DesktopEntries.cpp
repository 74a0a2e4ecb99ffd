#include "DesktopEntries.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>

#include "Support/AtomicFile.h"

namespace kelvane {

namespace {

/// A desktop entry holds a few lines, and translations of them.
constexpr std::size_t longestFile = std::size_t{1} << 20;
/// Folders below "applications" that are searched; real ones have one level, links could make it endless.
constexpr int deepestFolder = 5;
constexpr std::string_view suffix = ".desktop";

using Keys = std::map<std::string, std::string, std::less<>>;
using Groups = std::map<std::string, Keys, std::less<>>;

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::vector<std::string> parts(std::string_view text, char separator) {
    std::vector<std::string> found;
    while (!text.empty()) {
        const auto end = std::min(text.find(separator), text.size());
        if (const auto part = trimmed(text.substr(0, end)); !part.empty()) found.emplace_back(part);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return found;
}

/// The groups of a key file. Of a key or group that comes twice the first counts.
Groups parseGroups(std::string_view text) {
    Groups groups;
    Keys* group = nullptr;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        const auto line = trimmed(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.empty() || line.starts_with('#')) continue;
        if (line.starts_with('[') && line.ends_with(']'))
            group = &groups[std::string(line.substr(1, line.size() - 2))];
        else if (const auto equals = line.find('='); group != nullptr && equals != std::string_view::npos)
            group->try_emplace(std::string(trimmed(line.substr(0, equals))), trimmed(line.substr(equals + 1)));
    }
    return groups;
}

/// A value of the type "string", its escapes resolved; an unknown escape stays as it stands.
std::string unescaped(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            out += text[i];
            continue;
        }
        switch (text[++i]) {
            case 's':
                out += ' ';
                break;
            case 'n':
                out += '\n';
                break;
            case 't':
                out += '\t';
                break;
            case 'r':
                out += '\r';
                break;
            case '\\':
                out += '\\';
                break;
            default:
                out.append({'\\', text[i]});
        }
    }
    return out;
}

std::string stringAt(const Keys& keys, std::string_view name) {
    const auto key = keys.find(name);
    return key == keys.end() ? std::string() : unescaped(key->second);
}

bool flagAt(const Keys& keys, std::string_view name) { return stringAt(keys, name) == "true"; }

bool isFolder(const std::string& path) {
    struct stat status{};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::optional<DesktopEntry> read(const std::string& path, std::string_view id) {
    const auto text = readFile(path, longestFile);
    if (!text) return std::nullopt;
    auto entry = DesktopEntries::parse(*text);
    if (entry) {
        entry->id = id;
        entry->path = path;
    }
    return entry;
}

/// The entry whose id, below `folder`, is `rest`: the file of that name, or a file further down when a dash stands for
/// the end of a folder's name.
std::optional<DesktopEntry> entryBelow(const std::string& folder, std::string_view rest, std::string_view id) {
    if (auto entry = read(folder + "/" + std::string(rest) + std::string(suffix), id)) return entry;
    for (auto dash = rest.find('-'); dash != std::string_view::npos; dash = rest.find('-', dash + 1)) {
        const auto inner = folder + "/" + std::string(rest.substr(0, dash));
        if (dash == 0 || !isFolder(inner)) continue;
        if (auto entry = entryBelow(inner, rest.substr(dash + 1), id)) return entry;
    }
    return std::nullopt;
}

/// Ids of the entries in a folder, those of inner folders included, in the order of their bytes.
void collectIDs(const std::string& folder, const std::string& prefix, int depth, std::set<std::string>& ids) {
    std::error_code failure;
    for (auto it = std::filesystem::directory_iterator(folder, failure);
         !failure && it != std::filesystem::directory_iterator(); it.increment(failure)) {
        const auto name = it->path().filename().string();
        if (name.ends_with(suffix))
            ids.insert(prefix + name.substr(0, name.size() - suffix.size()));
        else if (depth < deepestFolder && isFolder(it->path().string()))
            collectIDs(it->path().string(), prefix + name + "-", depth + 1, ids);
    }
}

/// The files that say which applications open what in a folder, most important first.
std::vector<std::string> associationFiles(const DesktopFolders& folders, const std::string& folder) {
    std::vector<std::string> files;
    for (const auto& desktop : folders.desktops) files.push_back(folder + "/" + desktop + "-mimeapps.list");
    files.push_back(folder + "/mimeapps.list");
    return files;
}

/// The ids that a group of an associations file names for a type.
std::vector<std::string> associated(const Groups& groups, std::string_view group, std::string_view type) {
    const auto keys = groups.find(group);
    if (keys == groups.end()) return {};
    auto ids = parts(stringAt(keys->second, type), ';');
    for (auto& id : ids)
        if (id.ends_with(suffix)) id.resize(id.size() - suffix.size());
    return ids;
}

Groups readGroups(const std::string& path) {
    const auto text = readFile(path, longestFile);
    return text ? parseGroups(*text) : Groups();
}

bool opens(const DesktopEntry& entry, std::string_view type) {
    return std::ranges::find(entry.types, type) != entry.types.end();
}

}  // namespace

namespace DesktopEntries {

std::optional<DesktopEntry> parse(std::string_view text) {
    const auto groups = parseGroups(text);
    const auto found = groups.find("Desktop Entry");
    if (found == groups.end()) return std::nullopt;
    const Keys& keys = found->second;
    DesktopEntry entry;
    entry.hidden = flagAt(keys, "Hidden");
    // An entry that only hides another need hold nothing else.
    if (entry.hidden) return entry;
    entry.name = stringAt(keys, "Name");
    entry.icon = stringAt(keys, "Icon");
    entry.exec = stringAt(keys, "Exec");
    entry.tryExec = stringAt(keys, "TryExec");
    entry.workingFolder = stringAt(keys, "Path");
    entry.types = parts(stringAt(keys, "MimeType"), ';');
    if (stringAt(keys, "Type") != "Application" || entry.exec.empty()) return std::nullopt;
    return entry;
}

std::optional<std::string> programPath(const std::vector<std::string>& programs, const std::string& program) {
    const auto isProgram = [](const std::string& path) {
        struct stat status{};
        return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && access(path.c_str(), X_OK) == 0;
    };
    if (program.contains('/')) return isProgram(program) ? std::optional(program) : std::nullopt;
    for (const auto& folder : programs)
        if (const auto path = folder + "/" + program; !program.empty() && isProgram(path)) return path;
    return std::nullopt;
}

std::optional<DesktopEntry> find(const DesktopFolders& folders, std::string_view id) {
    // An id is a name, never a way to somewhere else.
    if (id.empty() || id.contains('/') || id.contains('\0')) return std::nullopt;
    for (const auto& folder : folders.data) {
        auto entry = entryBelow(folder + "/applications", id, id);
        if (!entry) continue;
        const bool counts = !entry->hidden && (entry->tryExec.empty() || programPath(folders.programs, entry->tryExec));
        return counts ? std::move(entry) : std::nullopt;
    }
    return std::nullopt;
}

std::optional<DesktopEntry> handler(const DesktopFolders& folders, std::string_view type) {
    struct Level {
        /// Folder whose entries come with the level; empty for one of the configuration.
        std::string applications;
        std::vector<Groups> files;
    };
    std::vector<Level> levels;
    const auto add = [&](const std::string& folder, const std::string& applications) {
        Level level{.applications = applications, .files = {}};
        for (const auto& file : associationFiles(folders, folder)) level.files.push_back(readGroups(file));
        levels.push_back(std::move(level));
    };
    for (const auto& folder : folders.config) add(folder, {});
    for (const auto& folder : folders.data) add(folder + "/applications", folder + "/applications");

    for (const auto& level : levels) {
        for (const auto& file : level.files) {
            for (const auto& id : associated(file, "Default Applications", type))
                if (auto entry = find(folders, id)) return entry;
        }
    }
    std::set<std::string> removed;
    for (const auto& level : levels) {
        for (const auto& file : level.files) {
            for (const auto& id : associated(file, "Added Associations", type)) {
                if (removed.contains(id)) continue;
                if (auto entry = find(folders, id)) return entry;
            }
            for (auto& id : associated(file, "Removed Associations", type)) removed.insert(std::move(id));
        }
        std::set<std::string> ids;
        if (!level.applications.empty()) collectIDs(level.applications, {}, 0, ids);
        for (const auto& id : ids) {
            if (removed.contains(id)) continue;
            if (auto entry = find(folders, id); entry && opens(*entry, type)) return entry;
        }
    }
    return std::nullopt;
}

}  // namespace DesktopEntries

}  // namespace kelvane
