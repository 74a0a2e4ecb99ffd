#include "ProjectStore.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <numeric>
#include <system_error>
#include <tuple>
#include <utility>

#include "ProjectFile.h"
#include "ProjectMedia.h"
#include "Support/AtomicFile.h"
#include "Support/Text.h"
#include "Timeline/TimelineLayout.h"

namespace kelvane {

namespace {

constexpr int blankNameCode = 2;
/// Largest metadata that is read, bytes. A name has no limit of its own: it comes in messages of 1 MiB at most, of
/// which escaping makes six times as much.
constexpr std::size_t metadataLimit = std::size_t{16} << 20;
constexpr std::size_t thumbnailLimit = std::size_t{64} << 20;
/// What the folder of a project is called while it is being deleted. No row has such a name.
constexpr std::string_view deletedPrefix = ".deleted-";
/// How old a half-written file is when its writer is surely gone: a write takes seconds.
constexpr std::chrono::hours unfinishedAge{1};

/// Names of the entries of a folder in the order that the system lists them; nothing when it can't be read.
std::optional<std::vector<std::string>> listing(const std::string& path) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(path.c_str()), closedir);
    if (!folder) return std::nullopt;
    while (const dirent* entry = readdir(folder.get())) names.emplace_back(entry->d_name);
    return names;
}

/// Whether the disk says that there is no such file; a disk that can't tell says nothing.
bool isGone(const std::string& path) {
    return access(path.c_str(), F_OK) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

FileURL metadataURL(const FileURL& folder) { return folder.appending("Metadata.json"); }

/// Everything of a new project's folder: its media, its document and its row.
Result<void> fillFolder(const ProjectStore& store, const LibraryProject& row, const Project& project,
                        const std::stop_token& stop, ProgressReport report) {
    if (const auto made = makeFolders(store.folder(row.id).path()); !made) return fail(made.error());
    ProjectMedia media(store.mediaDirectory(row.id), std::move(report));
    const auto localized = media.localize(project, stop);
    if (!localized) return fail(localized.error());
    if (const auto written = ProjectFile::write(*localized, store.projectURL(row.id)); !written)
        return fail(written.error());
    if (stop.stop_requested()) return fail(Error::cancelled());
    if (const auto written = store.writeRow(row); !written) return fail(written.error());
    media.commit();
    return {};
}

/// Whether `name` is `prefix` and a UUID.
bool isRemains(std::string_view name, std::string_view prefix) {
    return name.starts_with(prefix) && UUID::parse(name.substr(prefix.size()));
}

/// Removes the half-written files of a project's folder. Those of the last hour may be another instance's at work.
void removeUnfinishedFiles(const std::string& folder) {
    for (const std::string& name : listing(folder).value_or(std::vector<std::string>())) {
        if (!isRemains(name, temporaryFilePrefix)) continue;
        const std::filesystem::path path = folder + "/" + name;
        std::error_code failed;
        const auto changed = std::filesystem::last_write_time(path, failed);
        if (failed || std::filesystem::file_time_type::clock::now() - changed < unfinishedAge) continue;
        std::filesystem::remove(path, failed);
    }
}

/// The files below a folder that are no folders themselves, as far as it can be read.
std::vector<std::filesystem::path> filesBelow(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    std::error_code failed;
    for (std::filesystem::recursive_directory_iterator entry(folder, failed), end; !failed && entry != end;
         entry.increment(failed)) {
        std::error_code unknown;
        if (!entry->is_directory(unknown) || entry->is_symlink(unknown)) files.push_back(entry->path());
    }
    return files;
}

/// Removes a folder with everything in it, file by file. What stands in the way of one file is told by the folder.
std::error_code removeFolder(const std::filesystem::path& folder, const ProgressReport& report) {
    const auto files = filesBelow(folder);
    TransferProgress progress{.totalItems = files.size()};
    std::error_code failed;
    for (const auto& file : files) {
        if (report) report(progress);
        std::filesystem::remove(file, failed);
        ++progress.items;
    }
    std::filesystem::remove_all(folder, failed);
    return failed;
}

}  // namespace

Result<std::string> validatedProjectName(std::string_view name) {
    const std::string_view trimmed = trimmedText(name);
    if (trimmed.empty()) return fail(Error("Enter a project name.", "Kelvane", blankNameCode));
    return std::string(trimmed);
}

std::vector<LibraryProject> ProjectStore::scan(const std::vector<LibraryProject>& known) const {
    const auto knownRow = [&](const UUID& id) {
        const auto row = std::ranges::find(known, id, &LibraryProject::id);
        return row == known.end() ? std::nullopt : std::optional(*row);
    };
    const auto names = listing(root_.path());
    // A root that can't be listed hides no project that was there before.
    if (!names && !isGone(root_.path())) return known;
    std::vector<LibraryProject> rows;
    for (const std::string& name : names.value_or(std::vector<std::string>())) {
        // A row stands only in the folder of its own id, so that no other entry need be opened.
        const auto id = UUID::parse(name);
        if (!id || id->upper() != name) continue;
        const std::string metadata = metadataURL(folder(*id)).path();
        if (isGone(metadata) || isGone(projectURL(*id).path())) continue;
        if (const auto data = readFile(metadata, metadataLimit)) {
            auto row = decodeLibraryProject(*data);
            if (row && row->id == *id) rows.push_back(*std::move(row));
        } else if (auto row = knownRow(*id)) {
            // What can't be read just now is what it was.
            rows.push_back(*std::move(row));
        }
    }
    std::vector<std::size_t> order(rows.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    // Equal dates keep the listing's order.
    std::ranges::sort(order, {}, [&](std::size_t index) { return std::pair(-rows[index].modified, index); });
    std::vector<LibraryProject> sorted;
    for (const std::size_t index : order) sorted.push_back(std::move(rows[index]));
    return sorted;
}

std::optional<LibraryProject> ProjectStore::owner(const FileURL& file, const std::vector<LibraryProject>& rows) const {
    const FileURL wanted = file.resolved();
    const auto row = std::ranges::find_if(
        rows, [&](const LibraryProject& project) { return projectURL(project.id).resolved() == wanted; });
    return row == rows.end() ? std::nullopt : std::optional(*row);
}

void ProjectStore::sweep() const {
    for (const std::string& name : listing(root_.path()).value_or(std::vector<std::string>())) {
        const std::string path = root_.appending(name).path();
        std::error_code ignored;
        if (isRemains(name, deletedPrefix)) std::filesystem::remove_all(path, ignored);
        if (UUID::parse(name)) removeUnfinishedFiles(path);
    }
}

Result<void> ProjectStore::create(const LibraryProject& row, const Project& project, std::stop_token stop,
                                  ProgressReport report) const {
    auto filled = fillFolder(*this, row, project, stop, std::move(report));
    if (!filled) {
        std::error_code ignored;
        std::filesystem::remove_all(folder(row.id).path(), ignored);
    }
    return filled;
}

Result<LibraryProject> ProjectStore::duplicate(const UUID& id, LibraryProject copy, std::stop_token stop,
                                               ProgressReport report) const {
    const auto project = ProjectFile::read(projectURL(id));
    if (!project) return fail(project.error());
    copy.duration = TimelineLayout::duration(project->clips);
    if (auto created = create(copy, *project, std::move(stop), std::move(report)); !created)
        return fail(created.error());
    if (const auto thumbnail = readFile(thumbnailURL(id).path(), thumbnailLimit)) storeThumbnail(copy.id, *thumbnail);
    return copy;
}

Result<void> ProjectStore::remove(const UUID& id, const std::string& name, std::stop_token stop,
                                  ProgressReport report) const {
    const std::string place = folder(id).path();
    const std::string doomed = root_.appending(std::string(deletedPrefix) + id.upper()).path();
    const auto failure = [&](int number) { return Error::posix(quotedName(name) + " could not be deleted", number); };
    if (stop.stop_requested()) return fail(Error::cancelled());
    // Out of the library in one step: where the root can't be changed, nothing inside the project is lost.
    if (std::rename(place.c_str(), doomed.c_str()) != 0) return fail(failure(errno));
    if (const auto error = removeFolder(doomed, report)) {
        std::rename(doomed.c_str(), place.c_str());
        return fail(failure(error.value()));
    }
    return {};
}

Result<void> ProjectStore::writeRow(const LibraryProject& row) const {
    const auto data = encodeLibraryProject(row);
    if (!data) return fail(data.error());
    return writeFileAtomically(metadataURL(folder(row.id)).path(), *data);
}

void ProjectStore::storeThumbnail(const UUID& id, std::string_view data) const {
    std::ignore = writeFileAtomically(thumbnailURL(id).path(), data);
}

void ProjectStore::removeThumbnail(const UUID& id) const { std::remove(thumbnailURL(id).path().c_str()); }

}  // namespace kelvane
