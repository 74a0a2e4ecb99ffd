#include "LiveFile.h"

#include <sys/file.h>

#include <algorithm>
#include <ctime>

namespace kelvane {

namespace {

/// Seconds without a change after which something is left behind where locks can't tell.
constexpr std::time_t unchangedAge = 3600;

enum class Lock { taken, refused, unknown };

Lock lock(const FileDescriptor& file) {
    while (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) return Lock::refused;
        if (errno != EINTR) return Lock::unknown;
    }
    return Lock::taken;
}

bool isOwn(const struct stat& status, mode_t kind) {
    return (status.st_mode & S_IFMT) == kind && status.st_uid == geteuid();
}

/// The name is used once: whatever stands there is what was made under it.
bool stands(const std::string& path) {
    struct stat status{};
    return lstat(path.c_str(), &status) == 0 || errno != ENOENT;
}

}  // namespace

bool holdWhileOpen(const FileDescriptor& file, const std::string& path) {
    return lock(file) != Lock::refused && stands(path);
}

FileDescriptor takeAbandoned(const std::string& path, mode_t kind) {
    struct stat status{};
    // Asked before opening as well, because opening a device can already do something.
    if (lstat(path.c_str(), &status) != 0 || !isOwn(status, kind)) return FileDescriptor();
    const int flags = kind == S_IFDIR ? O_DIRECTORY : O_NONBLOCK;
    FileDescriptor file = FileDescriptor::open(path, O_RDONLY | O_NOFOLLOW | flags);
    if (!file.isOpen() || fstat(file.get(), &status) != 0 || !isOwn(status, kind)) return FileDescriptor();
    const Lock answer = lock(file);
    const std::time_t changed = std::max(status.st_mtim.tv_sec, status.st_ctim.tv_sec);
    const bool isLeft =
        answer == Lock::taken || (answer == Lock::unknown && std::time(nullptr) - changed > unchangedAge);
    return isLeft && stands(path) ? std::move(file) : FileDescriptor();
}

bool standsAt(const FileDescriptor& file, const std::string& path) {
    struct stat open{};
    struct stat named{};
    return fstat(file.get(), &open) == 0 && lstat(path.c_str(), &named) == 0 && open.st_dev == named.st_dev &&
           open.st_ino == named.st_ino;
}

}  // namespace kelvane
