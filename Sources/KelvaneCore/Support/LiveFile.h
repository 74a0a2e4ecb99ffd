#pragma once

#include <sys/stat.h>

#include <string>

#include "FileDescriptor.h"

namespace kelvane {

// Files and folders that a process makes for its own use alone (half-written files, records of its work, the folder of
// a socket) are locked (flock) for as long as it has them open. The system takes such a lock back with the process,
// however that ends, so that whatever bears such a name and isn't locked was left behind.
//
// No race between the one who makes and those who sweep can take a thing away from a living process: the maker opens
// what it has made, locks it and then looks whether its name still stands for it; a sweep opens, locks and looks in the
// same way, removes, and only then lets the lock go. Whoever has the lock first wins. A sweep that comes second leaves
// the thing alone; a maker that comes second has put nothing into it yet and makes another.

/// Locks `file`, which was just made at `path` under a name of its own, until it is closed. False when a sweep has
/// taken it: make another. True as well on a file system without locks.
bool holdWhileOpen(const FileDescriptor& file, const std::string& path);

/// Opens what was left at `path`, a name that is never used twice, by a process that is gone, and keeps every other
/// sweep away from it until it is closed. Not open when its maker lives, when it isn't of `kind` (S_IFREG, S_IFDIR) or
/// this user's, or is a link, and when there is nothing. Where the file system has no locks nothing proves that the
/// maker is gone: there it counts as left once an hour has passed without a change, as a write takes seconds.
FileDescriptor takeAbandoned(const std::string& path, mode_t kind);

/// Whether `path` itself, no link followed, names the file or folder that is open: for names that are used again.
bool standsAt(const FileDescriptor& file, const std::string& path);

}  // namespace kelvane
