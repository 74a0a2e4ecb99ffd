#include "AtomicFile.h"

#include <dirent.h>
#include <limits.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <tuple>

#include "FileDescriptor.h"
#include "LiveFile.h"
#include "Text.h"
#include "UUID.h"

namespace kelvane {

namespace {

/// As many links as the kernel follows in one path.
constexpr int maximumLinks = 40;
constexpr std::size_t readStep = std::size_t{1} << 16;
/// How often a removal tells of itself: each time a whole percent at the most, as nobody sees less.
constexpr std::size_t removalReports = 100;

/// A file that is removed at the end of its life unless it was kept.
class TemporaryFile {
public:
    explicit TemporaryFile(std::string path) : path_(std::move(path)) {}
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (!path_.empty()) unlink(path_.c_str());
    }

    void keep() { path_.clear(); }

private:
    std::string path_;
};

std::string parentFolder(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

/// The place that `path` leads to: itself, or the end of a chain of links, which need not exist.
Result<std::string> linkTarget(const std::string& path) {
    std::string place = path;
    for (int link = 0; link <= maximumLinks; ++link) {
        char buffer[PATH_MAX];
        const ssize_t length = readlink(place.c_str(), buffer, sizeof buffer);
        // EINVAL: no link. Whatever else is wrong with the place shows when it is written.
        if (length < 0) return place;
        const std::string target(buffer, static_cast<std::size_t>(length));
        place = target.starts_with('/') ? target : parentFolder(place) + "/" + target;
    }
    errno = ELOOP;
    return fail(writeFailure(path));
}

/// A new file in `folder`, held against sweeps while it is open; not open on failure, with the reason in errno. Its
/// name goes to `path`.
FileDescriptor makeTemporaryFile(const std::string& folder, unsigned mode, std::string& path) {
    while (true) {
        path = folder + "/" + std::string(temporaryFilePrefix) + UUID::random().lower();
        FileDescriptor file = FileDescriptor::open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
        // A sweep that was faster takes this one; that it meets the next one as well would be chance again.
        if (!file.isOpen() || holdWhileOpen(file, path)) return file;
    }
}

/// Whether a failed sync of a folder means that the file system has no such thing, rather than that it went wrong.
bool knowsNoFolderSync(int number) { return number == EINVAL || number == ENOTSUP || number == EROFS; }

/// Gives the temporary file what an existing file had: owner, where that is allowed, and permission.
bool inheritOwnerAndPermission(int file, const struct stat& old) {
    if (old.st_uid != geteuid() || old.st_gid != getegid()) {
        // Only the superuser may give files away; for others the file becomes theirs, as with any editor.
        if (fchown(file, old.st_uid, old.st_gid) != 0 && errno != EPERM && errno != EINVAL) return false;
    }
    return fchmod(file, old.st_mode & 07777) == 0;
}

/// The files below a folder that are no folders themselves, as far as it can be read.
std::vector<std::filesystem::path> filesBelow(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    std::error_code failed;
    for (std::filesystem::recursive_directory_iterator entry(folder, failed), end; !failed && entry != end;
         entry.increment(failed)) {
        std::error_code unknown;
        if (!entry->is_directory(unknown) || entry->is_symlink(unknown)) files.push_back(entry->path());
    }
    return files;
}

}  // namespace

bool fileExists(const std::string& path) {
    // A zero byte would end the path early, at another file.
    return path.find('\0') == std::string::npos && access(path.c_str(), F_OK) == 0;
}

Result<std::string> readFile(const std::string& path, std::size_t limit) {
    struct stat status{};
    const auto file = FileDescriptor::openRegular(path, status);
    if (!file) return fail(file.error());

    const auto tooLarge = [&] { return Error(quotedFileName(path) + " is too large to be read."); };
    const auto expected = static_cast<std::size_t>(status.st_size);
    if (expected > limit) return fail(tooLarge());
    std::string data;
    // One byte more than expected, so that an unchanged file is read to its end in one step.
    data.resize(expected + 1);
    std::size_t size = 0;
    while (true) {
        if (size == data.size()) data.resize(size + readStep);
        const ssize_t count = read(file->get(), data.data() + size, data.size() - size);
        if (count < 0) {
            if (errno == EINTR) continue;
            return fail(readFailure(path));
        }
        if (count == 0) break;
        size += static_cast<std::size_t>(count);
        if (size > limit) return fail(tooLarge());
    }
    data.resize(size);
    return data;
}

Result<void> writeFileAtomically(const std::string& path, std::string_view data, unsigned mode, Durability durability) {
    const bool isSynced = durability == Durability::synced;
    if (path.find('\0') != std::string::npos) {
        errno = ENOENT;
        return fail(writeFailure(path));
    }
    const auto target = linkTarget(path);
    if (!target) return fail(target.error());

    struct stat old{};
    const bool exists = lstat(target->c_str(), &old) == 0;
    if (!exists && errno != ENOENT) return fail(writeFailure(path));
    if (exists) {
        if (auto sentence = wrongKind(path, old.st_mode)) return fail(std::move(*sentence));
    }

    const std::string folderPath = parentFolder(*target);
    const FileDescriptor folder = FileDescriptor::open(folderPath, O_RDONLY | O_DIRECTORY);
    std::string temporaryPath;
    const FileDescriptor file = makeTemporaryFile(folderPath, exists ? 0600 : mode, temporaryPath);
    if (!file.isOpen()) return fail(writeFailure(path));
    TemporaryFile temporary(temporaryPath);
    if (exists && !inheritOwnerAndPermission(file.get(), old)) return fail(writeFailure(path));
    if (!file.writeAll(data) || (isSynced && !file.sync())) return fail(writeFailure(path));
    if (rename(temporaryPath.c_str(), target->c_str()) != 0) return fail(writeFailure(path));
    temporary.keep();
    if (!isSynced) return {};

    // A folder that may be written but not read can't be opened; then its whole file system is synced.
    // The new file stands from here on: a failure of this sync must not be taken for a write that left the old one.
    std::ignore = folder.isOpen() ? folder.sync() : syncfs(file.get()) == 0;
    return {};
}

void removeHalfWrittenFiles(const std::string& folder) {
    for (const std::string& name : folderEntries(folder)) {
        if (!name.starts_with(temporaryFilePrefix) || !UUID::parse(name.substr(temporaryFilePrefix.size()))) continue;
        const std::string path = folder + "/" + name;
        if (const FileDescriptor left = takeAbandoned(path, S_IFREG); left.isOpen()) unlink(path.c_str());
    }
}

std::vector<std::string> folderEntries(const std::string& path) {
    return readableEntries(path).value_or(std::vector<std::string>());
}

std::optional<std::vector<std::string>> readableEntries(const std::string& path) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(path.c_str()), closedir);
    if (!folder) return std::nullopt;
    while (const dirent* entry = readdir(folder.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") names.emplace_back(name);
    }
    return names;
}

std::error_code removeFolder(const std::string& path, const RemovalReport& report) {
    const auto files = report ? filesBelow(path) : std::vector<std::filesystem::path>();
    const std::size_t pace = std::max<std::size_t>(1, files.size() / removalReports);
    std::error_code failed;
    for (std::size_t removed = 0; removed < files.size(); ++removed) {
        if (removed % pace == 0) report(removed, files.size());
        // What stands in the way of one file is told by the folder.
        std::filesystem::remove(files[removed], failed);
    }
    std::filesystem::remove_all(path, failed);
    if (report && !failed) report(files.size(), files.size());
    return failed;
}

Result<void> makeFolders(const std::string& path) {
    const auto failure = [&](int number) {
        return Error::posix("The folder " + quotedFileName(path) + " could not be made", number);
    };
    if (mkdir(path.c_str(), 0777) == 0) {
        // The new name must last; a folder that may be written but not read stays to the system's own pace.
        std::ignore = syncFolder(parentFolder(path));
        return {};
    }
    const int number = errno;
    struct stat status{};
    if (number == EEXIST) {
        if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return {};
        return fail(failure(ENOTDIR));
    }
    if (number != ENOENT || path.find('/', 1) == std::string::npos) return fail(failure(number));
    if (auto made = makeFolders(parentFolder(path)); !made) return made;
    // ENOENT again: another process removed the folder above meanwhile, or the path is a link to nothing.
    if (mkdir(path.c_str(), 0777) != 0 && errno != EEXIST) return fail(failure(errno));
    std::ignore = syncFolder(parentFolder(path));
    return {};
}

Result<void> syncFolder(const std::string& path) {
    const FileDescriptor folder = FileDescriptor::open(path, O_RDONLY | O_DIRECTORY);
    if (folder.isOpen() && (folder.sync() || knowsNoFolderSync(errno))) return {};
    const int number = errno;
    return fail(Error::posix("The folder " + quotedFileName(path) + " could not be synced", number));
}

}  // namespace kelvane
