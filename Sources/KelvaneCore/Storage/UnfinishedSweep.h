#pragma once

#include <stop_token>
#include <string>
#include <string_view>

#include "Support/FileURL.h"

namespace kelvane {

/// What the folder of a project is called while it is being deleted; its UUID follows. No row has such a name. Who
/// deletes holds the folder (see LiveFile) from before it gets the name.
inline constexpr std::string_view deletedPrefix = ".deleted-";

/// The folder with the records of unfinished work of a library's processes: "Unfinished" beside its root.
std::string unfinishedFolder(const FileURL& libraryRoot);

/// Removes what processes that are gone have left half made: what their records name (see UnfinishedWork), half-written
/// files in the folders of projects and in their "AI" folders, and projects that were being deleted. What was finished
/// in the last moment, before its record was withdrawn, stays: a copy that a document beside its media folder names, a
/// project folder whose row is written. Media without a record stays, whoever made it. Says nothing; what can't be
/// removed is tried again at the next start. Blocks, for the pool; may run beside living processes and other sweeps.
void sweepUnfinishedWork(const FileURL& libraryRoot, const std::stop_token& stop = {});

}  // namespace kelvane
