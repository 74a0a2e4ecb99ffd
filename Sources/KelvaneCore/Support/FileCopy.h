#pragma once

#include <sys/stat.h>

#include <stop_token>
#include <string>

#include "Error.h"
#include "FileDescriptor.h"

namespace kelvane {

/// One copy of a regular file, by a clone where the file system can, else inside the kernel, else by hand. Opened
/// first, so that a missing source is known before anything is made for its copy. Any one thread.
class FileCopy {
public:
    /// Fails in words that name the file when it is missing, unreadable or no regular file.
    static Result<FileCopy> open(const std::string& source);

    /// Writes the copy to `destination`, which must not exist, and syncs it. A stop request is heard every few
    /// megabytes and ends the copy as cancelled. A source that changes meanwhile fails. After a failure the
    /// destination may hold a part; its owner removes it.
    Result<void> copyTo(const std::string& destination, const std::stop_token& stop) const;

private:
    FileCopy(std::string path, FileDescriptor file, const struct stat& status)
        : path_(std::move(path)), file_(std::move(file)), status_(status) {}

    std::string path_;
    FileDescriptor file_;
    struct stat status_;
};

}  // namespace kelvane
