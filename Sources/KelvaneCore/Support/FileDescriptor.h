#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Error.h"

namespace kelvane {

/// An open file of the system, closed at the end of its life. Move-only.
class FileDescriptor {
public:
    explicit FileDescriptor(int number = -1) : number_(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~FileDescriptor() {
        if (number_ >= 0) ::close(number_);
    }

    /// As open(2), tried again after a signal; errno tells why the result is not open.
    static FileDescriptor open(const std::string& path, int flags, unsigned mode = 0) {
        while (true) {
            const int number = ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode);
            if (number >= 0 || errno != EINTR) return FileDescriptor(number);
        }
    }
    /// Opens a regular file for reading and puts its status into `status`. A folder, pipe or device is refused with
    /// a sentence and never waited for.
    static Result<FileDescriptor> openRegular(const std::string& path, struct stat& status);

    [[nodiscard]] int get() const { return number_; }
    [[nodiscard]] bool isOpen() const { return number_ >= 0; }
    /// Writes all of `data`; false leaves the reason in errno.
    [[nodiscard]] bool writeAll(std::string_view data) const;
    /// As fsync(2), tried again after a signal; false leaves the reason in errno.
    [[nodiscard]] bool sync() const;
    /// As close(2), for a writer who wants to know of a failure that was kept for the end; false leaves the reason in
    /// errno. Not open afterwards, whatever the answer.
    [[nodiscard]] bool close() { return ::close(std::exchange(number_, -1)) == 0; }

private:
    int number_;
};

/// Whether an errno value says that the process or the system is out of descriptors or memory, which may pass.
bool isShortage(int number);

/// The sentence "“a.mov” could not be read: " and the system's words for errno.
Error readFailure(const std::string& path);
/// The sentence "“a.mov” could not be written: " and the system's words for errno.
Error writeFailure(const std::string& path);
/// A sentence that refuses what is at `path` by its mode, unless it is a regular file.
std::optional<std::string> wrongKind(const std::string& path, mode_t mode);

}  // namespace kelvane
