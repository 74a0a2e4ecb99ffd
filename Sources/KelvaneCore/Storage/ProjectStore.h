#pragma once

#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "LibraryProject.h"
#include "Support/UnfinishedWork.h"
#include "Timeline/Project.h"
#include "TransferProgress.h"

namespace kelvane {

/// The library's folders on the disk: each operation on them as a plain function that blocks. A value, for any thread;
/// two operations on one project take turns by their caller's care. Failures: the system's words unchanged.
class ProjectStore {
public:
    /// What is made and not finished is recorded in `unfinished`, which outlives all copies of this value; without it
    /// a sudden end of the process leaves it.
    explicit ProjectStore(FileURL root, UnfinishedWork* unfinished = nullptr)
        : root_(std::move(root)), unfinished_(unfinished) {}

    /// Where a person's projects are: "Kelvane/Projects" in `$XDG_DATA_HOME` when that is an absolute path, else in
    /// "~/.local/share".
    [[nodiscard]] static FileURL defaultRoot();

    [[nodiscard]] const FileURL& root() const { return root_; }
    // Places; none of them asks the disk.
    [[nodiscard]] FileURL folder(const UUID& id) const { return root_.appending(id.upper()); }
    [[nodiscard]] FileURL projectURL(const UUID& id) const { return folder(id).appending("Project.kelvane"); }
    [[nodiscard]] FileURL thumbnailURL(const UUID& id) const { return folder(id).appending("Thumbnail.jpg"); }
    [[nodiscard]] FileURL mediaDirectory(const UUID& id) const { return folder(id).appending("Media"); }

    /// The rows of the projects on the disk, newest `modified` first. A folder without a row or a document, or with the
    /// row of another folder, has none. A row of `known` stays, as it was, where its files are there and can't be read
    /// just now (too many open files, a failing disk).
    [[nodiscard]] std::vector<LibraryProject> scan(const std::vector<LibraryProject>& known) const;
    /// The row of `rows` that owns a project file, compared with links resolved.
    [[nodiscard]] std::optional<LibraryProject> owner(const FileURL& file,
                                                      const std::vector<LibraryProject>& rows) const;

    /// Makes the folder of a new project: copies of its media, its document and its row. Nothing is left of it after a
    /// failure or a stop.
    [[nodiscard]] Result<void> create(const LibraryProject& row, const Project& project, std::stop_token stop = {},
                                      ProgressReport report = {}) const;
    /// What a new project holds: made when its media folder is there, in which the media may be.
    using MakeProject = std::function<Result<Project>(const FileURL& mediaDirectory)>;
    /// The same for a project that is made in its own folder. Answers the row, with the project's length.
    [[nodiscard]] Result<LibraryProject> create(LibraryProject row, const MakeProject& make, std::stop_token stop,
                                                ProgressReport report) const;
    /// Makes a project with copies of everything that project `id` has on the disk, its picture too. Answers `copy`,
    /// the new project's row, with the length of what was copied.
    [[nodiscard]] Result<LibraryProject> duplicate(const UUID& id, LibraryProject copy, std::stop_token stop = {},
                                                   ProgressReport report = {}) const;
    /// Removes a project's folder for good. A stop is heard until the folder leaves the library in one step; after it
    /// the removal goes on to its end. Progress counts files. `name` is for the failure's sentence.
    [[nodiscard]] Result<void> remove(const UUID& id, const std::string& name, std::stop_token stop = {},
                                      ProgressReport report = {}) const;
    /// Writes the row of a project.
    [[nodiscard]] Result<void> writeRow(const LibraryProject& row) const;
    /// Stores the picture (JPEG bytes) of a project's card, and answers whether it is stored: a picture is never worth
    /// a failure.
    bool storeThumbnail(const UUID& id, std::string_view data) const;
    void removeThumbnail(const UUID& id) const;

private:
    /// Everything of a new project's folder: its media, its document and its row.
    [[nodiscard]] Result<void> fill(const LibraryProject& row, const MakeProject& make, const std::stop_token& stop,
                                    ProgressReport report) const;
    /// The folder, filled or gone again.
    [[nodiscard]] Result<void> createFilled(const LibraryProject& row, const MakeProject& make,
                                            const std::stop_token& stop, ProgressReport report) const;

    FileURL root_;
    UnfinishedWork* unfinished_;
};

}  // namespace kelvane
