#include "FileCopy.h"

#include <linux/fs.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <vector>

#include "AtomicFile.h"

namespace kelvane {

namespace {

/// Bytes between two looks at the stop token.
constexpr std::size_t copyStep = std::size_t{4} << 20;

/// Errors of a copy inside the kernel that mean "not between these two files"; a copy by hand then does it.
bool needsCopyByHand(int number) {
    return number == EXDEV || number == EINVAL || number == ENOSYS || number == EOPNOTSUPP || number == EPERM ||
           number == EBADF || number == ETXTBSY;
}

/// Copies from the present offsets of both files to the end of `source`.
class StreamCopy {
public:
    StreamCopy(const FileDescriptor& source, const FileDescriptor& target) : source_(source), target_(target) {}

    /// Moves one step inside the kernel; 0 at the end or where that is not possible, negative on failure.
    ssize_t moveInKernel() {
        return advance(copy_file_range(source_.get(), nullptr, target_.get(), nullptr, copyStep, 0));
    }

    /// Moves one step through memory; 0 at the end, negative on failure.
    ssize_t moveByHand() {
        buffer_.resize(copyStep / 4);
        const ssize_t count = ::read(source_.get(), buffer_.data(), buffer_.size());
        if (count > 0 && !target_.writeAll({buffer_.data(), static_cast<std::size_t>(count)})) return -1;
        return advance(count);
    }

    /// Starts writing the last step to the disk and waits for the one before, so that the final sync, which nothing
    /// can interrupt, has little left to do.
    bool pushToDisk() {
        constexpr unsigned whole = SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
        if (total_ - pushed_ < static_cast<off_t>(copyStep)) return true;
        bool good = ranged(sync_file_range(target_.get(), pushed_, total_ - pushed_, SYNC_FILE_RANGE_WRITE));
        if (good && pushed_ > settled_) {
            good = ranged(sync_file_range(target_.get(), settled_, pushed_ - settled_, whole));
            settled_ = pushed_;
        }
        pushed_ = total_;
        return good;
    }

    [[nodiscard]] off_t total() const { return total_; }

private:
    ssize_t advance(ssize_t count) {
        if (count > 0) total_ += count;
        return count;
    }
    /// Only what the disk itself says counts; a file system without such ranges is synced at the end.
    static bool ranged(int result) { return result == 0 || (errno != EIO && errno != ENOSPC && errno != EDQUOT); }

    const FileDescriptor& source_;
    const FileDescriptor& target_;
    std::vector<char> buffer_;
    off_t total_ = 0;
    off_t pushed_ = 0;
    off_t settled_ = 0;
};

/// Copies all bytes; the count, or the failure in words.
Result<off_t> copyBytes(const FileDescriptor& source, const FileDescriptor& target, const std::string& sourcePath,
                        const std::string& targetPath, const std::stop_token& stop) {
    StreamCopy stream(source, target);
    bool inKernel = true;
    while (true) {
        if (stop.stop_requested()) return fail(Error::cancelled());
        errno = 0;
        const ssize_t count = inKernel ? stream.moveInKernel() : stream.moveByHand();
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && !(inKernel && needsCopyByHand(errno))) {
            // Reading fails with few words of its own; all else is the target's.
            return errno == EIO || errno == EISDIR ? readFailure(sourcePath) : writeFailure(targetPath);
        }
        if (count <= 0) {
            // Some file systems report the end too early inside the kernel.
            if (!inKernel) return stream.total();
            inKernel = false;
        }
        if (!stream.pushToDisk()) return writeFailure(targetPath);
    }
}

bool sameTime(const struct timespec& a, const struct timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

}  // namespace

Result<FileCopy> FileCopy::open(const std::string& source) {
    struct stat status{};
    auto file = FileDescriptor::openRegular(source, status);
    if (!file) return fail(file.error());
    return FileCopy(source, *std::move(file), status);
}

Result<void> FileCopy::copyTo(const std::string& destination, const std::stop_token& stop) const {
    if (stop.stop_requested()) return fail(Error::cancelled());
    const unsigned mode = (status_.st_mode & 0777) | S_IRUSR | S_IWUSR;
    const FileDescriptor target = FileDescriptor::open(destination, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
    if (!target.isOpen()) return writeFailure(destination);

    off_t copied = status_.st_size;
    if (ioctl(target.get(), FICLONE, file_.get()) != 0) {
        if (lseek(file_.get(), 0, SEEK_SET) != 0) return readFailure(path_);
        const auto count = copyBytes(file_, target, path_, destination, stop);
        if (!count) return fail(count.error());
        copied = *count;
    }
    struct stat now{};
    if (fstat(file_.get(), &now) != 0) return readFailure(path_);
    if (copied != status_.st_size || now.st_size != status_.st_size || !sameTime(now.st_mtim, status_.st_mtim))
        return fail(quotedFileName(path_) + " changed while it was being copied.");
    if (!target.sync()) return writeFailure(destination);
    return {};
}

}  // namespace kelvane
