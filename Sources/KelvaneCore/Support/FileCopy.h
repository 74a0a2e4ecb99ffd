#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <stop_token>
#include <string>
#include <utility>

#include "Error.h"
#include "FileDescriptor.h"

namespace kelvane {

/// One copy of a regular file, by a clone where the file system can, else inside the kernel, else by hand. Holes of the
/// source stay holes and cost no time where the file system tells them apart from data; elsewhere they are filled with
/// zeros. Opened first, so that a missing source is known before anything is made for its copy. Any one thread.
class FileCopy {
public:
    /// Fails in words that name the file when it is missing, unreadable or no regular file.
    static Result<FileCopy> open(const std::string& source);

    /// The length of the file when it was opened, bytes.
    [[nodiscard]] std::int64_t size() const { return status_.st_size; }

    /// Writes the copy to `destination`, which must not exist, and syncs it. A stop request is heard every few
    /// megabytes and ends the copy as cancelled. A source that changes meanwhile fails. After a failure the
    /// destination may hold a part; its owner removes it. `report` is told on this thread how many bytes are done, not
    /// more often than every few megabytes; a clone tells nothing.
    Result<void> copyTo(const std::string& destination, const std::stop_token& stop,
                        const std::function<void(std::int64_t)>& report = {}) const;

private:
    FileCopy(std::string path, FileDescriptor file, const struct stat& status)
        : path_(std::move(path)), file_(std::move(file)), status_(status) {}

    /// Copies what the file stores; false when the file was shorter or longer than `size`.
    Result<bool> copyStretches(const FileDescriptor& target, const std::string& destination,
                               const std::stop_token& stop, const std::function<void(std::int64_t)>& report) const;

    std::string path_;
    FileDescriptor file_;
    struct stat status_;
};

}  // namespace kelvane
