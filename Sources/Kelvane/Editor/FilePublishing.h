#pragma once

#include "Support/Error.h"
#include "Support/FileURL.h"

namespace kelvane {

/// Gives the finished file `temporary` the name `destination`, at once and whole; both lie in one folder. With
/// `overwrite` a file of that name is replaced; without it nothing that stands there is touched, a dangling link
/// included, and the call fails with code EEXIST. Fails with domain "POSIX" and the system's number; `temporary` is
/// then still there.
Result<void> publishFile(const FileURL& temporary, const FileURL& destination, bool overwrite);

/// What `publishFile` does without `overwrite` on a file system that can't rename exclusively: a second name, then the
/// end of the first. Gives 0 or an errno value.
int linkInPlaceOfRename(const std::string& temporary, const std::string& destination);

/// Fails when no file could be made in the folder of `destination`: it is missing, no folder, or can't be written to.
Result<void> checkFolderAccepts(const FileURL& destination);

}  // namespace kelvane
