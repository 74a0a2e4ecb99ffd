#include "ProjectLibrary.h"

#include <dirent.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
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

double presentDate() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count() - referenceDate;
}

/// Names of the entries of a folder in the order that the system lists them; none when it can't be read.
std::vector<std::string> listing(const std::string& path) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(path.c_str()), closedir);
    if (!folder) return names;
    while (const dirent* entry = readdir(folder.get())) names.emplace_back(entry->d_name);
    return names;
}

Result<std::string> validatedName(std::string_view name) {
    const std::string_view trimmed = trimmedText(name);
    if (trimmed.empty()) return fail(Error("Enter a project name.", "Kelvane", blankNameCode));
    return std::string(trimmed);
}

Error unknownProject() { return Error("The project is no longer in the library.", "NoSuchFile", 0); }

FileURL metadataURL(const FileURL& folder) { return folder.appending("Metadata.json"); }

Result<void> writeMetadata(const LibraryProject& row, const FileURL& folder) {
    const auto data = encodeLibraryProject(row);
    if (!data) return fail(data.error());
    return writeFileAtomically(metadataURL(folder).path(), *data);
}

/// Everything of a new project's folder: its media, its document and its row.
Result<void> fillFolder(const FileURL& folder, const FileURL& document, const FileURL& mediaDirectory,
                        const Project& project, const LibraryProject& row) {
    if (const auto made = makeFolders(folder.path()); !made) return fail(made.error());
    ProjectMedia media(mediaDirectory);
    const auto localized = media.localize(project);
    if (!localized) return fail(localized.error());
    if (const auto written = ProjectFile::write(*localized, document); !written) return fail(written.error());
    if (const auto written = writeMetadata(row, folder); !written) return fail(written.error());
    media.commit();
    return {};
}

/// Whether `name` is `prefix` and a UUID.
bool isRemains(std::string_view name, std::string_view prefix) {
    return name.starts_with(prefix) && UUID::parse(name.substr(prefix.size()));
}

/// Removes the half-written files of a project's folder. Those of the last hour may be another instance's at work.
void removeUnfinishedFiles(const std::string& folder) {
    for (const std::string& name : listing(folder)) {
        if (!isRemains(name, temporaryFilePrefix)) continue;
        const std::filesystem::path path = folder + "/" + name;
        std::error_code failed;
        const auto changed = std::filesystem::last_write_time(path, failed);
        if (failed || std::filesystem::file_time_type::clock::now() - changed < unfinishedAge) continue;
        std::filesystem::remove(path, failed);
    }
}

/// Removes what deletions and writes left that were cut off.
void removeRemains(const FileURL& root) {
    for (const std::string& name : listing(root.path())) {
        const std::string path = root.appending(name).path();
        std::error_code ignored;
        if (isRemains(name, deletedPrefix)) std::filesystem::remove_all(path, ignored);
        if (UUID::parse(name)) removeUnfinishedFiles(path);
    }
}

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

ProjectLibrary::ProjectLibrary(std::optional<FileURL> root, Now now)
    : root_(root ? *std::move(root) : FileURL::fromPath(applicationSupportFolder() + "/Kelvane/Projects")),
      now_(now ? std::move(now) : Now(presentDate)) {
    removeRemains(root_);
    reload();
}

void ProjectLibrary::reload() {
    std::vector<LibraryProject> rows;
    for (const std::string& name : listing(root_.path())) {
        // A row stands only in the folder of its own id, so that no other entry need be opened.
        const auto id = UUID::parse(name);
        if (!id || id->upper() != name) continue;
        const auto data = readFile(metadataURL(folder(*id)).path(), metadataLimit);
        if (!data) continue;
        auto row = decodeLibraryProject(*data);
        if (!row || row->id != *id) continue;
        if (!fileExists(projectURL(*id).path())) continue;
        rows.push_back(*std::move(row));
    }
    std::vector<std::size_t> order(rows.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    // Equal dates keep the listing's order.
    std::ranges::sort(order, {}, [&](std::size_t index) { return std::pair(-rows[index].modified, index); });
    projects_.clear();
    for (const std::size_t index : order) projects_.push_back(std::move(rows[index]));
    if (onChange) onChange();
}

FileURL ProjectLibrary::folder(const UUID& id) const { return root_.appending(id.upper()); }
FileURL ProjectLibrary::projectURL(const UUID& id) const { return folder(id).appending("Project.kelvane"); }
FileURL ProjectLibrary::thumbnailURL(const UUID& id) const { return folder(id).appending("Thumbnail.jpg"); }
FileURL ProjectLibrary::mediaDirectory(const UUID& id) const { return folder(id).appending("Media"); }

std::optional<LibraryProject> ProjectLibrary::find(const UUID& id) const {
    const auto row = std::ranges::find(projects_, id, &LibraryProject::id);
    return row == projects_.end() ? std::nullopt : std::optional(*row);
}

std::optional<LibraryProject> ProjectLibrary::record(const FileURL& file) const {
    const FileURL wanted = file.resolved();
    const auto row = std::ranges::find_if(
        projects_, [&](const LibraryProject& project) { return projectURL(project.id).resolved() == wanted; });
    return row == projects_.end() ? std::nullopt : std::optional(*row);
}

Result<LibraryProject> ProjectLibrary::create(std::string_view name, const Project& project,
                                              const std::optional<FileURL>& importedFrom) {
    const auto validated = validatedName(name);
    if (!validated) return fail(validated.error());
    const LibraryProject row{UUID::random(), *validated, now_(), TimelineLayout::duration(project.clips), importedFrom};
    if (auto filled = fillFolder(folder(row.id), projectURL(row.id), mediaDirectory(row.id), project, row); !filled) {
        std::error_code ignored;
        std::filesystem::remove_all(folder(row.id).path(), ignored);
        return fail(filled.error());
    }
    reload();
    return row;
}

Result<void> ProjectLibrary::rename(UUID id, std::string_view name) {
    auto row = find(id);
    if (!row) return fail(unknownProject());
    auto validated = validatedName(name);
    if (!validated) return fail(validated.error());
    row->name = *std::move(validated);
    if (auto written = writeMetadata(*row, folder(id)); !written) return written;
    reload();
    return {};
}

Result<LibraryProject> ProjectLibrary::duplicate(UUID id) {
    const auto row = find(id);
    if (!row) return fail(unknownProject());
    const auto project = ProjectFile::read(projectURL(id));
    if (!project) return fail(project.error());
    auto copy = create(row->name + " Copy", *project, std::nullopt);
    if (!copy) return copy;
    if (const auto thumbnail = readFile(thumbnailURL(id).path(), thumbnailLimit)) {
        // A picture is never worth a failure.
        std::ignore = writeFileAtomically(thumbnailURL(copy->id).path(), *thumbnail);
    }
    return copy;
}

Result<void> ProjectLibrary::remove(UUID id) {
    const std::string place = folder(id).path();
    const std::string doomed = root_.appending(std::string(deletedPrefix) + id.upper()).path();
    const auto failure = [&](int number) {
        const auto row = find(id);
        return Error::posix(quotedName(row ? row->name : id.upper()) + " could not be deleted", number);
    };
    // Out of the library in one step: where the root can't be changed, nothing inside the project is lost.
    if (std::rename(place.c_str(), doomed.c_str()) != 0) return fail(failure(errno));
    std::error_code error;
    std::filesystem::remove_all(doomed, error);
    if (error) {
        std::rename(doomed.c_str(), place.c_str());
        return fail(failure(error.value()));
    }
    reload();
    return {};
}

Result<void> ProjectLibrary::update(UUID id, double duration, const std::optional<std::string>& thumbnailData) {
    auto row = find(id);
    if (!row) return fail(unknownProject());
    row->modified = now_();
    row->duration = duration;
    if (auto written = writeMetadata(*row, folder(id)); !written) return written;
    if (thumbnailData)
        cacheThumbnail(*thumbnailData, id);
    else if (duration == 0)
        std::remove(thumbnailURL(id).path().c_str());
    reload();
    return {};
}

void ProjectLibrary::cacheThumbnail(std::string_view data, const UUID& id) {
    if (find(id)) std::ignore = writeFileAtomically(thumbnailURL(id).path(), data);
}

}  // namespace kelvane
