#pragma once

#include "Support/Error.h"
#include "Timeline/Project.h"

/// The one road between a Project and a file. Runs on the caller's thread.
namespace kelvane::ProjectFile {

/// Reads, repairs and tests a project file: when this succeeds the version is right, every clip is valid, ids are
/// unique, `assets` is filled in, all media exists and media paths fit the file's place. Failures: the system's or
/// the decoder's words; domain "Corrupt" for a wrong version, an invalid clip or a duplicate id; domain "Kelvane",
/// code 1, for missing media, with one path a line.
Result<Project> read(const FileURL& file);
/// Writes a project atomically and durably. Checks nothing but that every number is finite.
Result<void> write(const Project& project, const FileURL& file);

}  // namespace kelvane::ProjectFile
