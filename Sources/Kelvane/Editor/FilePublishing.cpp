#include "FilePublishing.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "Support/Text.h"

namespace kelvane {

namespace {

Error failure(const FileURL& destination, int number) {
    return Error::posix(quotedName(destination.fileName()) + " could not be saved", number);
}

int renameWithoutReplacing(const std::string& temporary, const std::string& destination) {
    if (::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, destination.c_str(), RENAME_NOREPLACE) == 0) return 0;
    const int number = errno;
    // What file systems and kernels answer that don't know the flag.
    const bool unknown = number == EINVAL || number == ENOSYS || number == EOPNOTSUPP;
    return unknown ? linkInPlaceOfRename(temporary, destination) : number;
}

}  // namespace

int linkInPlaceOfRename(const std::string& temporary, const std::string& destination) {
    if (::link(temporary.c_str(), destination.c_str()) != 0) return errno;
    // From here on the file is in place; a first name that stays is a blemish and no failure.
    (void)::unlink(temporary.c_str());
    return 0;
}

FileDescriptor holdReplaced(const FileURL& destination) {
    return FileDescriptor::open(destination.path(), O_PATH | O_NOFOLLOW);
}

Result<void> publishFile(const FileURL& temporary, const FileURL& destination, bool overwrite) {
    const std::string from = temporary.path();
    const std::string to = destination.path();
    int number = 0;
    if (!overwrite)
        number = renameWithoutReplacing(from, to);
    else if (::rename(from.c_str(), to.c_str()) != 0)
        number = errno;
    if (number != 0) return fail(failure(destination, number));
    return {};
}

Result<void> checkFolderAccepts(const FileURL& destination) {
    const FileURL folder = destination.parentFolder();
    const std::string path = folder.path();
    struct stat status{};
    int number = 0;
    if (::stat(path.c_str(), &status) != 0)
        number = errno;
    else if (!S_ISDIR(status.st_mode))
        number = ENOTDIR;
    else if (::faccessat(AT_FDCWD, path.c_str(), W_OK | X_OK, AT_EACCESS) != 0)
        number = errno;
    if (number == 0) return {};
    return fail(Error::posix(
        quotedName(destination.fileName()) + " could not be saved in the folder " + quotedName(folder.fileName()),
        number));
}

}  // namespace kelvane
