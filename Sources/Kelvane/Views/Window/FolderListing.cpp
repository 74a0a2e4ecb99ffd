#include "FolderListing.h"

#include <dirent.h>
#include <sys/stat.h>

#include <QDir>
#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>

#include "Support/Error.h"
#include "Support/Text.h"

namespace kelvane::FolderListing {

namespace {

enum class What { nothing, file, folder };

What whatIsAt(const std::string& path) {
    struct stat status{};
    if (stat(path.c_str(), &status) != 0) return What::nothing;
    return S_ISDIR(status.st_mode) ? What::folder : What::file;
}

std::string joined(const std::string& folder, const std::string& name) {
    return folder.ends_with('/') ? folder + name : folder + "/" + name;
}

/// Nothing where the folder can't be read; errno says why.
std::optional<std::vector<Entry>> entriesOf(const std::string& folder, const QStringList& patterns) {
    const std::unique_ptr<DIR, int (*)(DIR*)> open(opendir(folder.c_str()), closedir);
    if (!open) return std::nullopt;
    std::vector<Entry> entries;
    while (const dirent* found = readdir(open.get())) {
        const std::string name = found->d_name;
        if (name.starts_with('.')) continue;
        const bool isPlain = found->d_type == DT_REG || found->d_type == DT_DIR;
        const bool isFolder = isPlain ? found->d_type == DT_DIR : whatIsAt(joined(folder, name)) == What::folder;
        if (isFolder || QDir::match(patterns, QString::fromStdString(name))) entries.push_back({name, isFolder});
    }
    return entries;
}

/// The digits of `text` from `at` on without leading zeros, and moves `at` behind them.
QStringView takeNumber(QStringView text, qsizetype& at) {
    while (at < text.size() && text[at] == u'0') ++at;
    const qsizetype begin = at;
    while (at < text.size() && text[at].isDigit()) ++at;
    return text.sliced(begin, at - begin);
}

/// Below, at or above zero as people sort names: capitals count as small letters, and 9 comes before 10. Collation of
/// the system's knows no numbers in every locale.
qsizetype naturalOrder(QStringView a, QStringView b) {
    for (qsizetype i = 0, j = 0; i < a.size() || j < b.size();) {
        if (i == a.size() || j == b.size()) return (a.size() - i) - (b.size() - j);
        if (a[i].isDigit() && b[j].isDigit()) {
            const QStringView one = takeNumber(a, i);
            const QStringView other = takeNumber(b, j);
            if (one.size() != other.size()) return one.size() - other.size();
            if (const int order = one.compare(other); order != 0) return order;
            continue;
        }
        if (const int order = a.sliced(i++, 1).compare(b.sliced(j++, 1), Qt::CaseInsensitive); order != 0) return order;
    }
    return 0;
}

void sort(std::vector<Entry>& entries) {
    std::ranges::sort(entries, [](const Entry& a, const Entry& b) {
        if (a.isFolder != b.isFolder) return a.isFolder;
        const auto order = naturalOrder(QString::fromStdString(a.name), QString::fromStdString(b.name));
        return order != 0 ? order < 0 : a.name < b.name;
    });
}

/// The names in quotes that `text` is made of; nothing where it is anything else.
std::optional<std::vector<std::string>> quotedNames(std::string_view text) {
    std::vector<std::string> names;
    std::size_t at = 0;
    const auto skipBlanks = [&] {
        while (at < text.size() && (text[at] == ' ' || text[at] == '\t')) ++at;
    };
    for (skipBlanks(); at < text.size(); skipBlanks()) {
        if (text[at++] != '"') return std::nullopt;
        std::string& name = names.emplace_back();
        for (; at < text.size() && text[at] != '"'; ++at) {
            const bool frees =
                text[at] == '\\' && at + 1 < text.size() && (text[at + 1] == '"' || text[at + 1] == '\\');
            if (frees) ++at;
            name += text[at];
        }
        if (at++ >= text.size()) return std::nullopt;
        if (at < text.size() && text[at] != ' ' && text[at] != '\t') return std::nullopt;
    }
    return names;
}

std::string absolute(const std::string& name, const std::string& folder, const std::string& home) {
    if (name.starts_with("file:")) {
        const auto url = FileURL::parse(name);
        if (url && url->isFile()) return url->path();
    }
    if (name == "~" || name.starts_with("~/")) return standardizedPath(joined(home, name.substr(1)));
    return standardizedPath(name.starts_with('/') ? name : joined(folder, name));
}

Choice refused(std::string problem) { return {Choice::Kind::refused, {}, std::move(problem)}; }

}  // namespace

Listing list(const std::vector<std::string>& folders, const QStringList& patterns) {
    Listing listing;
    for (const std::string& folder : folders) {
        listing.folder = folder;
        if (auto entries = entriesOf(folder, patterns)) {
            listing.entries = *std::move(entries);
            listing.problem.clear();
            break;
        }
        listing.problem = Error::posix("The folder " + quotedFileName(folder) + " can’t be shown", errno).message;
    }
    sort(listing.entries);
    return listing;
}

std::vector<std::string> typedPaths(const std::string& text, const std::string& folder, const std::string& home) {
    const std::string one(trimmedText(text));
    if (one.empty()) return {};
    std::vector<std::string> paths = quotedNames(one).value_or(std::vector{one});
    std::erase(paths, "");
    for (std::string& path : paths) path = absolute(path, folder, home);
    return paths;
}

std::string textOf(const std::vector<std::string>& names) {
    if (names.size() == 1 && !quotedNames(names.front()) && trimmedText(names.front()) == names.front() &&
        !names.front().starts_with('~') && !names.front().starts_with("file:"))
        return names.front();
    std::string text;
    for (const std::string& name : names) {
        text += text.empty() ? "\"" : " \"";
        // A name that would mean something else at the head of a path.
        if (name.starts_with('~') || name.starts_with("file:")) text += "./";
        for (const char character : name) {
            if (character == '"' || character == '\\') text += '\\';
            text += character;
        }
        text += '"';
    }
    return text;
}

Choice choiceOfFiles(const std::vector<std::string>& paths) {
    if (paths.size() == 1 && whatIsAt(paths.front()) == What::folder) return {Choice::Kind::folder, paths, {}};
    for (const std::string& path : paths) {
        const What what = whatIsAt(path);
        if (what == What::nothing) return refused(quotedFileName(path) + " can’t be found.");
        if (what == What::folder) return refused(quotedFileName(path) + " is a folder.");
    }
    return paths.empty() ? refused("Choose a file.") : Choice{Choice::Kind::chosen, paths, {}};
}

Choice choiceOfPlace(const std::vector<std::string>& paths, const std::string& suffix) {
    if (paths.empty()) return refused("Enter a file name.");
    if (paths.size() > 1) return refused("Enter one file name.");
    std::string path = paths.front();
    if (whatIsAt(path) == What::folder) return {Choice::Kind::folder, paths, {}};
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    if (whatIsAt(folder) != What::folder)
        return refused("The folder " + quotedFileName(standardizedPath(folder)) + " can’t be found.");
    if (!suffix.empty() && !lowered(path).ends_with("." + suffix)) path += "." + suffix;
    if (whatIsAt(path) == What::folder) return refused(quotedFileName(path) + " is a folder.");
    return {Choice::Kind::chosen, {path}, {}};
}

}  // namespace kelvane::FolderListing
