#pragma once

#include <QString>
#include <QStringList>
#include <string>
#include <vector>

#include "Support/FileURL.h"

/// What a chooser of files asks the disk, and how it reads what a person types. The functions that ask block; any
/// thread.
namespace kelvane::FolderListing {

struct Entry {
    /// As the disk has it.
    std::string name;
    bool isFolder = false;

    bool operator==(const Entry&) const = default;
};

struct Listing {
    std::string folder;
    /// Folders first, each kind by name as people sort names. Without those whose names begin with a dot.
    std::vector<Entry> entries;
    /// Why it can't be shown, in a sentence; empty where it can.
    std::string problem;

    bool operator==(const Listing&) const = default;
};

/// What is in the first of `folders` that can be read, and in the last one where none can. Files count that match one
/// of `patterns` ("*.mp4"), whatever their case.
Listing list(const std::vector<std::string>& folders, const QStringList& patterns);

/// The paths that are typed in `text`, made absolute against `folder`: one as it stands, or several in quotes with
/// blanks between, where a backslash frees a quote and itself. "~" at the head of a path is `home`. None for a text of
/// blanks. Pure.
std::vector<std::string> typedPaths(const std::string& text, const std::string& folder, const std::string& home);
/// The text that `typedPaths` reads as these names. Pure.
std::string textOf(const std::vector<std::string>& names);

/// What a typed text leads to.
struct Choice {
    enum class Kind {
        /// `paths` are it.
        chosen,
        /// The one path is a folder: it is to be shown.
        folder,
        /// Nothing, because of `problem`.
        refused,
    };
    Kind kind = Kind::refused;
    std::vector<std::string> paths;
    std::string problem;

    bool operator==(const Choice&) const = default;
};

/// Files that are to be read: all must be there.
Choice choiceOfFiles(const std::vector<std::string>& paths);
/// One file that is to be written: its folder must be there. `suffix` ("mp4") is added to a name that doesn't end in
/// it.
Choice choiceOfPlace(const std::vector<std::string>& paths, const std::string& suffix);

}  // namespace kelvane::FolderListing
