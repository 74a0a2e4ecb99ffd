#include "FileCopy.h"

#include <linux/fs.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <vector>

#include "AtomicFile.h"
#include "Text.h"

namespace kelvane {

namespace {

/// Bytes between two looks at the stop token.
constexpr std::size_t copyStep = std::size_t{4} << 20;

/// Errors of a copy inside the kernel that mean "not between these two files"; a copy by hand then does it.
bool needsCopyByHand(int number) {
    return number == EXDEV || number == EINVAL || number == ENOSYS || number == EOPNOTSUPP || number == EPERM ||
           number == EBADF || number == ETXTBSY;
}

/// Bytes `begin` to `end` of a file, which are stored; what lies between two such stretches is a hole.
struct Stretch {
    off_t begin;
    off_t end;
};

/// The next stored bytes of a file of `size` bytes from `position` on; an empty stretch at its end when the rest is a
/// hole. All the rest where the file system can't tell.
Stretch nextStretch(const FileDescriptor& file, off_t position, off_t size) {
    const off_t begin = lseek(file.get(), position, SEEK_DATA);
    if (begin < 0) return {errno == ENXIO ? size : position, size};
    const off_t end = lseek(file.get(), begin, SEEK_HOLE);
    return {std::min(begin, size), end > begin ? std::min(end, size) : size};
}

/// Copies stretches of one file to the same places of another, in the order of the file.
class StretchCopy {
public:
    StretchCopy(const FileDescriptor& source, const FileDescriptor& target) : source_(source), target_(target) {}

    /// Everything before `position` is done: the next step begins there.
    void skipTo(off_t position) { position_ = position; }
    /// Moves at most one step of the bytes up to `end`; how many, 0 at the end of the file, negative on failure.
    ssize_t move(off_t end) {
        const auto size = std::min(copyStep, static_cast<std::size_t>(end - position_));
        const ssize_t count = inKernel_ ? moveInKernel(size) : moveByHand(size);
        if (count > 0) position_ += count;
        return count;
    }
    /// Whether what `move` answered, with its errno, is one for a copy by hand, which the next step is then.
    bool turnsToHand(ssize_t count) {
        // Some file systems report the end too early inside the kernel.
        const bool turns = inKernel_ && (count == 0 || (count < 0 && needsCopyByHand(errno)));
        if (turns) inKernel_ = false;
        return turns;
    }

    /// Starts writing the last step to the disk and waits for the one before, so that the final sync, which nothing
    /// can interrupt, has little left to do.
    bool pushToDisk() {
        constexpr unsigned whole = SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
        if (position_ - pushed_ < static_cast<off_t>(copyStep)) return true;
        bool good = ranged(sync_file_range(target_.get(), pushed_, position_ - pushed_, SYNC_FILE_RANGE_WRITE));
        if (good && pushed_ > settled_) {
            good = ranged(sync_file_range(target_.get(), settled_, pushed_ - settled_, whole));
            settled_ = pushed_;
        }
        pushed_ = position_;
        return good;
    }

    [[nodiscard]] off_t position() const { return position_; }

private:
    ssize_t moveInKernel(std::size_t size) const {
        off_t from = position_;
        off_t to = position_;
        return copy_file_range(source_.get(), &from, target_.get(), &to, size, 0);
    }
    ssize_t moveByHand(std::size_t size) {
        buffer_.resize(std::min(size, copyStep / 4));
        const ssize_t count = pread(source_.get(), buffer_.data(), buffer_.size(), position_);
        if (count <= 0) return count;
        if (lseek(target_.get(), position_, SEEK_SET) < 0) return -1;
        return target_.writeAll({buffer_.data(), static_cast<std::size_t>(count)}) ? count : -1;
    }
    /// Only what the disk itself says counts; a file system without such ranges is synced at the end.
    static bool ranged(int result) { return result == 0 || (errno != EIO && errno != ENOSPC && errno != EDQUOT); }

    const FileDescriptor& source_;
    const FileDescriptor& target_;
    std::vector<char> buffer_;
    bool inKernel_ = true;
    off_t position_ = 0;
    off_t pushed_ = 0;
    off_t settled_ = 0;
};

/// Tells of every few megabytes.
class Reporter {
public:
    explicit Reporter(const std::function<void(std::int64_t)>& report) : report_(report) {}

    void tell(off_t position) {
        if (!report_ || position - told_ < static_cast<off_t>(copyStep)) return;
        told_ = position;
        report_(position);
    }

private:
    const std::function<void(std::int64_t)>& report_;
    off_t told_ = 0;
};

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

Result<void> FileCopy::copyTo(const std::string& destination, const std::stop_token& stop,
                              const std::function<void(std::int64_t)>& report) const {
    if (stop.stop_requested()) return fail(Error::cancelled());
    const unsigned mode = (status_.st_mode & 0777) | S_IRUSR | S_IWUSR;
    const FileDescriptor target = FileDescriptor::open(destination, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
    if (!target.isOpen()) return fail(writeFailure(destination));

    bool isWhole = true;
    if (ioctl(target.get(), FICLONE, file_.get()) != 0) {
        const auto copied = copyStretches(target, destination, stop, report);
        if (!copied) return fail(copied.error());
        isWhole = *copied;
    }
    struct stat now{};
    if (fstat(file_.get(), &now) != 0) return fail(readFailure(path_));
    if (!isWhole || now.st_size != status_.st_size || !sameTime(now.st_mtim, status_.st_mtim))
        return fail(quotedFileName(path_) + " changed while it was being copied.");
    if (!target.sync()) return fail(writeFailure(destination));
    return {};
}

Result<bool> FileCopy::copyStretches(const FileDescriptor& target, const std::string& destination,
                                     const std::stop_token& stop,
                                     const std::function<void(std::int64_t)>& report) const {
    StretchCopy copy(file_, target);
    Reporter reporter(report);
    off_t end = 0;
    while (copy.position() < size()) {
        if (stop.stop_requested()) return fail(Error::cancelled());
        if (copy.position() == end) {
            const Stretch next = nextStretch(file_, end, size());
            copy.skipTo(next.begin);
            end = next.end;
            if (next.begin == next.end) break;
        }
        errno = 0;
        const ssize_t count = copy.move(end);
        if (count <= 0) {
            if ((count < 0 && errno == EINTR) || copy.turnsToHand(count)) continue;
            if (count == 0) return false;
            // Reading fails with few words of its own; all else is the target's.
            return fail(errno == EIO || errno == EISDIR ? readFailure(path_) : writeFailure(destination));
        }
        if (!copy.pushToDisk()) return fail(writeFailure(destination));
        reporter.tell(copy.position());
    }
    // Writes alone leave out a hole at the end.
    if (ftruncate(target.get(), size()) != 0) return fail(writeFailure(destination));
    // Some file systems make up files that are longer than they say.
    char more = 0;
    return pread(file_.get(), &more, 1, size()) <= 0;
}

}  // namespace kelvane
