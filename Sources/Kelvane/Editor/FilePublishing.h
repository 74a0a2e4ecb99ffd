#pragma once

#include "Support/Error.h"
#include "Support/FileDescriptor.h"
#include "Support/FileURL.h"

namespace kelvane {

/// Gives the finished file `temporary` the name `destination`, at once and whole; both lie in one folder. With
/// `overwrite` a file of that name is replaced; without it nothing that stands there is touched, a dangling link
/// included, and the call fails with code EEXIST. Fails with domain "POSIX" and the system's number; `temporary` is
/// then still there.
Result<void> publishFile(const FileURL& temporary, const FileURL& destination, bool overwrite);

/// Holds what has the name `destination`, be it a link itself; not open where nothing has. While it is held, a rename
/// over it takes the name alone: the system frees a file's blocks with the last that holds it, which was measured to
/// take 0.7 s for 1.5 GB. Both this and the hold's end wait for the disk, and are not for the main thread.
FileDescriptor holdReplaced(const FileURL& destination);

/// What `publishFile` does without `overwrite` on a file system that can't rename exclusively: a second name, then the
/// end of the first. Gives 0 or an errno value.
int linkInPlaceOfRename(const std::string& temporary, const std::string& destination);

/// Fails when no file could be made in the folder of `destination`: it is missing, no folder, or can't be written to.
Result<void> checkFolderAccepts(const FileURL& destination);

}  // namespace kelvane
