#include <cstdlib>

#include "DesktopEntries.h"
#include "Support/Text.h"

namespace kelvane {

namespace {

struct Word {
    std::string text;
    bool quoted = false;
};

Error badLine(const DesktopEntry& entry) {
    return Error(quotedName(entry.name) + " could not be opened: its desktop entry has no command that can be run.");
}

/// The words of a line, divided by blanks outside quotation marks; nothing when a quotation doesn't end.
std::optional<std::vector<Word>> words(const std::string& line) {
    std::vector<Word> found;
    bool inWord = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char character = line[i];
        if (character == ' ' || character == '\t' || character == '\n') {
            inWord = false;
            continue;
        }
        if (!std::exchange(inWord, true)) found.emplace_back();
        if (character != '"') {
            found.back().text += character;
            continue;
        }
        found.back().quoted = true;
        for (++i; i < line.size() && line[i] != '"'; ++i) {
            // A backslash frees the four characters that mean something to a shell here, and is itself before others.
            const bool frees =
                line[i] == '\\' && i + 1 < line.size() && std::string_view("\"`$\\").contains(line[i + 1]);
            if (frees) ++i;
            found.back().text += line[i];
        }
        if (i >= line.size()) return std::nullopt;
    }
    return found;
}

/// Resolves the field codes of one word into `out`; false for a code that doesn't exist.
bool expand(const Word& word, const DesktopEntry& entry, const std::string& url, bool& usesURL,
            std::vector<std::string>& out) {
    if (word.text == "%i") {
        if (!entry.icon.empty()) out.insert(out.end(), {"--icon", entry.icon});
        return true;
    }
    std::string text;
    bool vanishes = !word.quoted;
    for (std::size_t i = 0; i < word.text.size(); ++i) {
        if (word.text[i] != '%') {
            text += word.text[i];
            vanishes = false;
            continue;
        }
        if (++i == word.text.size()) return false;
        switch (word.text[i]) {
            case '%':
                text += '%';
                vanishes = false;
                break;
            case 'u':
            case 'U':
            case 'f':
            case 'F':
                text += url;
                usesURL = true;
                vanishes = false;
                break;
            case 'c':
                text += entry.name;
                vanishes = false;
                break;
            case 'k':
                text += entry.path;
                vanishes = false;
                break;
            // Codes of old, which stand for nothing.
            case 'i':
            case 'd':
            case 'D':
            case 'n':
            case 'N':
            case 'v':
            case 'm':
                break;
            default:
                return false;
        }
    }
    if (!vanishes) out.push_back(std::move(text));
    return true;
}

}  // namespace

Result<std::vector<std::string>> DesktopEntries::command(const DesktopEntry& entry, const std::string& url) {
    const auto line = words(entry.exec);
    if (!line || line->empty()) return fail(badLine(entry));
    std::vector<std::string> found;
    bool usesURL = false;
    for (const auto& word : *line)
        if (!expand(word, entry, url, usesURL, found)) return fail(badLine(entry));
    if (found.empty() || found.front().empty()) return fail(badLine(entry));
    if (!usesURL) found.push_back(url);
    return found;
}

DesktopFolders DesktopFolders::ofProcess() {
    const auto variable = [](const char* name) {
        const char* value = std::getenv(name);
        return std::string(value == nullptr ? "" : value);
    };
    const auto list = [](const std::string& text, char separator) {
        std::vector<std::string> found;
        for (std::size_t at = 0; at <= text.size();) {
            const auto end = std::min(text.find(separator, at), text.size());
            if (end > at) found.push_back(text.substr(at, end - at));
            at = end + 1;
        }
        return found;
    };
    const auto folders = [&](const char* home, const char* homeDefault, const char* others, const char* otherDefault) {
        auto text = variable(others);
        auto found = list(text.empty() ? otherDefault : text, ':');
        text = variable(home);
        found.insert(found.begin(), text.starts_with('/') ? text : variable("HOME") + homeDefault);
        std::erase_if(found, [](const std::string& folder) { return !folder.starts_with('/'); });
        return found;
    };
    DesktopFolders all;
    all.data = folders("XDG_DATA_HOME", "/.local/share", "XDG_DATA_DIRS", "/usr/local/share:/usr/share");
    all.config = folders("XDG_CONFIG_HOME", "/.config", "XDG_CONFIG_DIRS", "/etc/xdg");
    all.desktops = list(lowered(variable("XDG_CURRENT_DESKTOP")), ':');
    all.programs = list(variable("PATH"), ':');
    return all;
}

}  // namespace kelvane
