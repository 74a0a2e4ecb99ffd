#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LibraryProject.h"
#include "ProjectStore.h"
#include "Timeline/Project.h"

namespace kelvane {

/// The managed folder of projects and the sorted list of its rows. The main thread only.
///
/// The list has two kinds of operations. Those of the first group wait for nothing: they keep the list in step with
/// what was done on the disk, by `store`'s functions on another thread. Those of the second group do both and block;
/// they are for callers without an event loop. Failures: the system's words unchanged; domain "Kelvane", code 2, "Enter
/// a project name." for a blank name; domain "NoSuchFile" for an id that is not in `projects`.
class ProjectLibrary {
public:
    /// Source of the present date, seconds since `referenceDate`; injected by tests.
    using Now = std::function<double()>;

    /// `root` absent means "Kelvane/Projects" in `$XDG_DATA_HOME`, else in "~/.local/share". Reads nothing yet. For
    /// `unfinished` see ProjectStore.
    static ProjectLibrary unread(std::optional<FileURL> root = std::nullopt, Now now = {},
                                 UnfinishedWork* unfinished = nullptr);
    /// The same, and read.
    explicit ProjectLibrary(std::optional<FileURL> root = std::nullopt, Now now = {});

    [[nodiscard]] const ProjectStore& store() const { return store_; }
    [[nodiscard]] const FileURL& root() const { return store_.root(); }
    /// Rows as of the last reading and what was done since, newest `modified` first.
    [[nodiscard]] const std::vector<LibraryProject>& projects() const { return projects_; }
    /// Another number after each change of `projects`.
    [[nodiscard]] std::uint64_t revision() const { return revision_; }
    /// Called after each change of `projects`.
    std::function<void()> onChange;

    [[nodiscard]] FileURL folder(const UUID& id) const { return store_.folder(id); }
    [[nodiscard]] FileURL projectURL(const UUID& id) const { return store_.projectURL(id); }
    [[nodiscard]] FileURL thumbnailURL(const UUID& id) const { return store_.thumbnailURL(id); }
    [[nodiscard]] FileURL mediaDirectory(const UUID& id) const { return store_.mediaDirectory(id); }
    /// The row with this id.
    [[nodiscard]] std::optional<LibraryProject> find(const UUID& id) const;

    // The list alone.
    /// A row for a project that is yet to be made, with a new id and the present date.
    [[nodiscard]] Result<LibraryProject> newRow(std::string_view name, double duration,
                                                const std::optional<FileURL>& importedFrom) const;
    /// The row as a rename is to leave it. The date stays: a rename moves no project up in the list.
    [[nodiscard]] Result<LibraryProject> renamedRow(const UUID& id, std::string_view name) const;
    /// The row as a save is to leave it: the present date, and `duration` in seconds.
    [[nodiscard]] Result<LibraryProject> savedRow(const UUID& id, double duration) const;
    /// A row for a copy of the project.
    [[nodiscard]] Result<LibraryProject> copyRow(const UUID& id) const;
    /// Takes in what the disk held when it was scanned.
    void replaceRows(std::vector<LibraryProject> rows);
    /// Takes in a row that was written: in the place of the one with its id, or as a new one.
    void adopt(LibraryProject row);
    /// Takes out the row of a project that is gone.
    void forget(const UUID& id);

    // The list and the disk; these block.
    void reload();
    /// The row that owns a project file, compared with links resolved.
    [[nodiscard]] std::optional<LibraryProject> record(const FileURL& file) const;
    Result<LibraryProject> create(std::string_view name, const Project& project,
                                  const std::optional<FileURL>& importedFrom);
    Result<void> rename(const UUID& id, std::string_view name);
    Result<LibraryProject> duplicate(const UUID& id);
    Result<void> remove(const UUID& id);
    /// Sets `modified` to now and `duration`; stores the thumbnail (JPEG bytes) when given, removes it when the
    /// duration is exactly 0, else keeps it.
    Result<void> update(const UUID& id, double duration, const std::optional<std::string>& thumbnailData);
    /// Stores a thumbnail for a known row; never fails.
    void cacheThumbnail(std::string_view data, const UUID& id);

private:
    ProjectLibrary(ProjectStore store, Now now);

    void tellChange();

    ProjectStore store_;
    Now now_;
    std::uint64_t revision_ = 0;
    std::vector<LibraryProject> projects_;
};

/// The folder for the application's data: `$XDG_DATA_HOME` when it is an absolute path, else "~/.local/share".
std::string applicationSupportFolder();

}  // namespace kelvane
