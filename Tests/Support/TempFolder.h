#pragma once

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Support/Error.h"
#include "Support/FileURL.h"

namespace kelvane::testing {

/// A folder of its own for one test, empty at first, removed with all it holds at the end of its life. Its path holds
/// no links. A plain helper: a failure to make the folder or a file ends the program.
class TempFolder {
public:
    TempFolder() {
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base != nullptr && *base == '/' ? base : "/tmp") + "/kelvane-test-XXXXXX";
        check(mkdtemp(pattern.data()) != nullptr, "no temporary folder");
        path_ = resolvedPath(pattern);
    }
    ~TempFolder() {
        if (path_.empty()) return;
        std::error_code ignored;
        makeRemovable();
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] FileURL url() const { return FileURL::fromPath(path_); }
    /// The path of an entry, which need not exist: path("a/b.mov").
    [[nodiscard]] std::string path(std::string_view entry) const { return path_ + "/" + std::string(entry); }
    [[nodiscard]] FileURL url(std::string_view entry) const { return FileURL::fromPath(path(entry)); }

    /// Writes a file, with the folders above it, and gives its URL.
    FileURL write(std::string_view entry, std::string_view data = "media") const {
        const std::filesystem::path place = path(entry);
        std::filesystem::create_directories(place.parent_path());
        std::ofstream(place, std::ios::binary) << data;
        check(std::filesystem::is_regular_file(place), "no test file");
        return url(entry);
    }
    FileURL makeFolder(std::string_view entry) const {
        std::filesystem::create_directories(path(entry));
        return url(entry);
    }
    /// The bytes of a file; empty when there is none.
    [[nodiscard]] std::string read(std::string_view entry) const {
        std::ostringstream data;
        data << std::ifstream(path(entry), std::ios::binary).rdbuf();
        return data.str();
    }
    [[nodiscard]] bool exists(std::string_view entry) const {
        struct stat status{};
        return lstat(path(entry).c_str(), &status) == 0;
    }
    /// Every entry below the folder, as paths relative to it, in the order of their bytes.
    [[nodiscard]] std::vector<std::string> entries() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path_))
            names.push_back(entry.path().lexically_relative(path_).string());
        std::ranges::sort(names);
        return names;
    }

private:
    /// A test may have taken permissions away.
    void makeRemovable() const {
        std::error_code ignored;
        using std::filesystem::perms;
        std::filesystem::permissions(path_, perms::owner_all, std::filesystem::perm_options::add, ignored);
        const auto options = std::filesystem::directory_options::skip_permission_denied;
        for (auto it = std::filesystem::recursive_directory_iterator(path_, options, ignored);
             !ignored && it != std::filesystem::recursive_directory_iterator(); it.increment(ignored)) {
            if (it->is_directory(ignored) && !it->is_symlink(ignored))
                std::filesystem::permissions(it->path(), perms::owner_all, std::filesystem::perm_options::add, ignored);
        }
    }

    std::string path_;
};

}  // namespace kelvane::testing
