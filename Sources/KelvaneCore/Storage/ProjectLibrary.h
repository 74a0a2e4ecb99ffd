#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LibraryProject.h"
#include "Timeline/Project.h"

namespace kelvane {

/// The managed folder of projects and the sorted list of its rows. The main thread only. Failures: the system's words
/// unchanged; domain "Kelvane", code 2, "Enter a project name." for a blank name; domain "NoSuchFile" for an id that
/// is not in `projects`.
class ProjectLibrary {
public:
    /// Source of the present date, seconds since `referenceDate`; injected by tests.
    using Now = std::function<double()>;

    /// `root` absent means "Kelvane/Projects" in `$XDG_DATA_HOME`, else in "~/.local/share". Reloads.
    explicit ProjectLibrary(std::optional<FileURL> root = std::nullopt, Now now = {});

    [[nodiscard]] const FileURL& root() const { return root_; }
    /// Rows as of the last reload, newest `modified` first.
    [[nodiscard]] const std::vector<LibraryProject>& projects() const { return projects_; }
    /// Called after each change of `projects`.
    std::function<void()> onChange;

    void reload();
    [[nodiscard]] FileURL folder(const UUID& id) const;
    [[nodiscard]] FileURL projectURL(const UUID& id) const;
    [[nodiscard]] FileURL thumbnailURL(const UUID& id) const;
    [[nodiscard]] FileURL mediaDirectory(const UUID& id) const;
    /// The row with this id.
    [[nodiscard]] std::optional<LibraryProject> find(const UUID& id) const;
    /// The row that owns a project file, compared with links resolved.
    [[nodiscard]] std::optional<LibraryProject> record(const FileURL& file) const;

    // These take an id by value: they end with a reload, and the caller's may lie in `projects`.
    Result<LibraryProject> create(std::string_view name, const Project& project,
                                  const std::optional<FileURL>& importedFrom);
    Result<void> rename(UUID id, std::string_view name);
    Result<LibraryProject> duplicate(UUID id);
    Result<void> remove(UUID id);
    /// Sets `modified` to now and `duration`; stores the thumbnail (JPEG bytes) when given, removes it when the
    /// duration is exactly 0, else keeps it.
    Result<void> update(UUID id, double duration, const std::optional<std::string>& thumbnailData);
    /// Stores a thumbnail for a known row; never fails.
    void cacheThumbnail(std::string_view data, const UUID& id);

private:
    FileURL root_;
    Now now_;
    std::vector<LibraryProject> projects_;
};

/// The folder for the application's data: `$XDG_DATA_HOME` when it is an absolute path, else "~/.local/share".
std::string applicationSupportFolder();

}  // namespace kelvane
