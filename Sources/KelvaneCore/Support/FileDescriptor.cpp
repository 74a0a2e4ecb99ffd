#include "FileDescriptor.h"

#include <cerrno>

#include "Text.h"

namespace kelvane {

Result<FileDescriptor> FileDescriptor::openRegular(const std::string& path, struct stat& status) {
    // A zero byte would end the path early, at another file.
    if (path.find('\0') != std::string::npos) {
        errno = ENOENT;
        return fail(readFailure(path));
    }
    // Asked before opening as well, because opening a device can already do something.
    if (stat(path.c_str(), &status) != 0) return fail(readFailure(path));
    if (auto sentence = wrongKind(path, status.st_mode)) return fail(std::move(*sentence));
    // Without O_NONBLOCK a pipe that took the file's place meanwhile would wait for a writer.
    FileDescriptor file = open(path, O_RDONLY | O_NONBLOCK);
    if (!file.isOpen() || fstat(file.get(), &status) != 0) return fail(readFailure(path));
    if (auto sentence = wrongKind(path, status.st_mode)) return fail(std::move(*sentence));
    return file;
}

bool FileDescriptor::writeAll(std::string_view data) const {
    while (!data.empty()) {
        const ssize_t written = write(number_, data.data(), data.size());
        if (written < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool FileDescriptor::sync() const {
    int result = 0;
    do {
        result = fsync(number_);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool isShortage(int number) { return number == EMFILE || number == ENFILE || number == ENOBUFS || number == ENOMEM; }

Error readFailure(const std::string& path) {
    const int number = errno;
    return Error::posix(quotedFileName(path) + " could not be read", number);
}

Error writeFailure(const std::string& path) {
    const int number = errno;
    return Error::posix(quotedFileName(path) + " could not be written", number);
}

std::optional<std::string> wrongKind(const std::string& path, mode_t mode) {
    if (S_ISREG(mode)) return std::nullopt;
    if (S_ISDIR(mode)) return quotedFileName(path) + " is a folder, not a file.";
    return quotedFileName(path) + " is not a regular file.";
}

}  // namespace kelvane
