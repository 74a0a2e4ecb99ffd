#pragma once

#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "LibraryProject.h"
#include "ProjectStore.h"

namespace kelvane {

/// The sorted list of the library's rows. It asks no disk: it is kept in step with what `store`'s functions did there
/// on another thread. The main thread only. Failures: domain "Kelvane", code 2, "Enter a project name." for a blank
/// name; domain "NoSuchFile" for an id that is not in `projects`.
class ProjectLibrary {
public:
    /// Source of the present date, seconds since `referenceDate`; injected by tests.
    using Now = std::function<double()>;

    /// An empty list; `now` absent means the system's clock.
    explicit ProjectLibrary(ProjectStore store, Now now = {});

    [[nodiscard]] const ProjectStore& store() const { return store_; }
    [[nodiscard]] const FileURL& root() const { return store_.root(); }
    /// Rows as of the last reading and what was done since, newest `modified` first.
    [[nodiscard]] const std::vector<LibraryProject>& projects() const { return projects_; }
    /// Called after each change of `projects`.
    std::function<void()> onChange;

    [[nodiscard]] FileURL projectURL(const UUID& id) const { return store_.projectURL(id); }
    [[nodiscard]] FileURL mediaDirectory(const UUID& id) const { return store_.mediaDirectory(id); }
    /// The row with this id.
    [[nodiscard]] std::optional<LibraryProject> find(const UUID& id) const;

    /// A row for a project that is yet to be made, with a new id and the present date.
    [[nodiscard]] Result<LibraryProject> newRow(std::string_view name, double duration,
                                                const std::optional<FileURL>& importedFrom) const;
    /// The row as a rename is to leave it. The date stays: a rename moves no project up in the list.
    [[nodiscard]] Result<LibraryProject> renamedRow(const UUID& id, std::string_view name) const;
    /// The row as a save is to leave it: the present date, and `duration` in seconds.
    [[nodiscard]] Result<LibraryProject> savedRow(const UUID& id, double duration) const;
    /// A row for a copy of the project.
    [[nodiscard]] Result<LibraryProject> copyRow(const UUID& id) const;
    /// Takes in what the disk held when it was scanned, beside rows that were `known` then. What was changed, adopted
    /// or forgotten since may be newer than the scan, and stays so.
    void replaceRows(std::vector<LibraryProject> rows, const std::vector<LibraryProject>& known);
    /// Takes in a row that was written: for the one with its id, whose place it keeps where the date is the same, or as
    /// a new one.
    void adopt(LibraryProject row);
    /// Takes out the row of a project that is gone.
    void forget(UUID id);

private:
    void place(LibraryProject row);
    void tellChange();

    ProjectStore store_;
    Now now_;
    std::vector<LibraryProject> projects_;
};

}  // namespace kelvane
