#include "ProjectLibrary.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <utility>

#include "Timeline/TimelineLayout.h"

namespace kelvane {

namespace {

double presentDate() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count() - referenceDate;
}

ProjectStore storeAt(std::optional<FileURL> root, UnfinishedWork* unfinished = nullptr) {
    return ProjectStore(root ? *std::move(root) : FileURL::fromPath(applicationSupportFolder() + "/Kelvane/Projects"),
                        unfinished);
}

Error unknownProject() { return Error("The project is no longer in the library.", "NoSuchFile", 0); }

}  // namespace

std::string applicationSupportFolder() {
    const char* data = std::getenv("XDG_DATA_HOME");
    if (data != nullptr && *data == '/') return data;
    const char* home = std::getenv("HOME");
    if (home == nullptr || *home != '/') {
        const passwd* user = getpwuid(getuid());
        home = user != nullptr ? user->pw_dir : "/";
    }
    return std::string(home) + "/.local/share";
}

ProjectLibrary::ProjectLibrary(ProjectStore store, Now now)
    : store_(std::move(store)), now_(now ? std::move(now) : Now(presentDate)) {}

ProjectLibrary ProjectLibrary::unread(std::optional<FileURL> root, Now now, UnfinishedWork* unfinished) {
    return ProjectLibrary(storeAt(std::move(root), unfinished), std::move(now));
}

ProjectLibrary::ProjectLibrary(std::optional<FileURL> root, Now now)
    : ProjectLibrary(storeAt(std::move(root)), std::move(now)) {
    reload();
}

std::optional<LibraryProject> ProjectLibrary::find(const UUID& id) const {
    const auto row = std::ranges::find(projects_, id, &LibraryProject::id);
    return row == projects_.end() ? std::nullopt : std::optional(*row);
}

Result<LibraryProject> ProjectLibrary::newRow(std::string_view name, double duration,
                                              const std::optional<FileURL>& importedFrom) const {
    auto validated = validatedProjectName(name);
    if (!validated) return fail(validated.error());
    return LibraryProject{UUID::random(), *std::move(validated), now_(), duration, importedFrom};
}

Result<LibraryProject> ProjectLibrary::renamedRow(const UUID& id, std::string_view name) const {
    auto row = find(id);
    if (!row) return fail(unknownProject());
    auto validated = validatedProjectName(name);
    if (!validated) return fail(validated.error());
    row->name = *std::move(validated);
    return *std::move(row);
}

Result<LibraryProject> ProjectLibrary::savedRow(const UUID& id, double duration) const {
    auto row = find(id);
    if (!row) return fail(unknownProject());
    row->modified = now_();
    row->duration = duration;
    return *std::move(row);
}

Result<LibraryProject> ProjectLibrary::copyRow(const UUID& id) const {
    const auto row = find(id);
    if (!row) return fail(unknownProject());
    return newRow(row->name + " Copy", row->duration, std::nullopt);
}

void ProjectLibrary::replaceRows(std::vector<LibraryProject> rows) {
    projects_ = std::move(rows);
    tellChange();
}

void ProjectLibrary::adopt(LibraryProject row) {
    std::erase_if(projects_, [&row](const LibraryProject& old) { return old.id == row.id; });
    // Before all rows that are not newer, as the one written last.
    const auto place =
        std::ranges::find_if(projects_, [&row](const LibraryProject& other) { return other.modified <= row.modified; });
    projects_.insert(place, std::move(row));
    tellChange();
}

void ProjectLibrary::forget(const UUID& id) {
    std::erase_if(projects_, [&id](const LibraryProject& row) { return row.id == id; });
    tellChange();
}

void ProjectLibrary::tellChange() {
    ++revision_;
    if (onChange) onChange();
}

void ProjectLibrary::reload() { replaceRows(store_.scan(projects_)); }

std::optional<LibraryProject> ProjectLibrary::record(const FileURL& file) const {
    return store_.owner(file, projects_);
}

Result<LibraryProject> ProjectLibrary::create(std::string_view name, const Project& project,
                                              const std::optional<FileURL>& importedFrom) {
    auto row = newRow(name, TimelineLayout::duration(project.clips), importedFrom);
    if (!row) return row;
    if (auto created = store_.create(*row, project); !created) return fail(created.error());
    adopt(*row);
    return row;
}

Result<void> ProjectLibrary::rename(const UUID& id, std::string_view name) {
    auto row = renamedRow(id, name);
    if (!row) return fail(row.error());
    if (auto written = store_.writeRow(*row); !written) return written;
    adopt(*std::move(row));
    return {};
}

Result<LibraryProject> ProjectLibrary::duplicate(const UUID& id) {
    auto row = copyRow(id);
    if (!row) return row;
    auto copy = store_.duplicate(id, *std::move(row));
    if (copy) adopt(*copy);
    return copy;
}

Result<void> ProjectLibrary::remove(const UUID& id) {
    const auto row = find(id);
    if (auto removed = store_.remove(id, row ? row->name : id.upper()); !removed) return removed;
    // The id may lie in the list.
    forget(UUID(id));
    return {};
}

Result<void> ProjectLibrary::update(const UUID& id, double duration, const std::optional<std::string>& thumbnailData) {
    auto row = savedRow(id, duration);
    if (!row) return fail(row.error());
    if (auto written = store_.writeRow(*row); !written) return written;
    if (thumbnailData)
        store_.storeThumbnail(row->id, *thumbnailData);
    else if (duration == 0)
        store_.removeThumbnail(row->id);
    adopt(*std::move(row));
    return {};
}

void ProjectLibrary::cacheThumbnail(std::string_view data, const UUID& id) {
    if (find(id)) store_.storeThumbnail(id, data);
}

}  // namespace kelvane
