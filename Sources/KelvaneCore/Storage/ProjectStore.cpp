#include "ProjectStore.h"

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <system_error>
#include <tuple>
#include <utility>

#include "ProjectFile.h"
#include "ProjectMedia.h"
#include "Support/AtomicFile.h"
#include "Support/LiveFile.h"
#include "Support/Text.h"
#include "Timeline/TimelineLayout.h"
#include "UnfinishedSweep.h"

namespace kelvane {

namespace {

/// Largest metadata that is read, bytes. A name has no limit of its own: it comes in messages of 1 MiB at most, of
/// which escaping makes six times as much.
constexpr std::size_t metadataLimit = std::size_t{16} << 20;
constexpr std::size_t thumbnailLimit = std::size_t{64} << 20;

/// Whether the disk says that there is no such file; a disk that can't tell says nothing.
bool isGone(const std::string& path) {
    return access(path.c_str(), F_OK) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

FileURL metadataURL(const FileURL& folder) { return folder.appending("Metadata.json"); }

/// The folder for the application's data.
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

}  // namespace

FileURL ProjectStore::defaultRoot() {
    return FileURL::fromPath(applicationSupportFolder()).appending("Kelvane/Projects");
}

std::vector<LibraryProject> ProjectStore::scan(const std::vector<LibraryProject>& known) const {
    const auto knownRow = [&](const UUID& id) {
        const auto row = std::ranges::find(known, id, &LibraryProject::id);
        return row == known.end() ? std::nullopt : std::optional(*row);
    };
    const auto names = readableEntries(root_.path());
    // A root that can't be listed hides no project that was there before.
    if (!names && !isGone(root_.path())) return known;
    std::vector<LibraryProject> rows;
    for (const std::string& name : names.value_or(std::vector<std::string>())) {
        // A row stands only in the folder of its own id, so that no other entry need be opened.
        const auto id = UUID::parseUpper(name);
        if (!id) continue;
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

Result<void> ProjectStore::fill(const LibraryProject& row, const MakeProject& make, const std::stop_token& stop,
                                ProgressReport report) const {
    if (const auto made = makeFolders(folder(row.id).path()); !made) return fail(made.error());
    const auto project = make(mediaDirectory(row.id));
    if (!project) return fail(project.error());
    ProjectMedia media(mediaDirectory(row.id), std::move(report), unfinished_);
    const auto localized = media.localize(*project, stop);
    if (!localized) return fail(localized.error());
    if (const auto written = ProjectFile::write(*localized, projectURL(row.id)); !written) return fail(written.error());
    if (stop.stop_requested()) return fail(Error::cancelled());
    if (const auto written = writeRow(row); !written) return fail(written.error());
    media.commit();
    return {};
}

Result<void> ProjectStore::create(const LibraryProject& row, const Project& project, std::stop_token stop,
                                  ProgressReport report) const {
    const auto give = [&project](const FileURL&) -> Result<Project> { return project; };
    return createFilled(row, give, stop, std::move(report));
}

Result<LibraryProject> ProjectStore::create(LibraryProject row, const MakeProject& make, std::stop_token stop,
                                            ProgressReport report) const {
    // The row is written behind that, with the length that it got here.
    const auto measure = [&](const FileURL& media) -> Result<Project> {
        if (auto made = makeFolders(media.path()); !made) return fail(made.error());
        auto project = make(media);
        if (project) row.duration = TimelineLayout::duration(project->clips);
        return project;
    };
    if (auto created = createFilled(row, measure, stop, std::move(report)); !created) return fail(created.error());
    return row;
}

Result<void> ProjectStore::createFilled(const LibraryProject& row, const MakeProject& make, const std::stop_token& stop,
                                        ProgressReport report) const {
    const UnfinishedThing made{UnfinishedThing::Kind::projectFolder, folder(row.id)};
    const auto ticket = unfinished_ == nullptr ? 0 : unfinished_->begin(made);
    const auto filled = fill(row, make, stop, std::move(report));
    std::error_code failed;
    if (!filled) failed = removeFolder(made.place.path());
    // What can't be removed stays recorded.
    if (unfinished_ != nullptr && !failed) unfinished_->end({ticket});
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
    // Held while it is taken apart, so that no sweep of another process meets it; a folder that can't be opened isn't.
    const FileDescriptor held = FileDescriptor::open(place, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    if (held.isOpen()) std::ignore = holdWhileOpen(held, place);
    // Out of the library in one step: where the root can't be changed, nothing inside the project is lost.
    if (std::rename(place.c_str(), doomed.c_str()) != 0) return fail(failure(errno));
    const auto tell = [&report](std::size_t removed, std::size_t total) {
        report({.items = removed, .totalItems = total});
    };
    if (const auto error = removeFolder(doomed, report ? RemovalReport(tell) : RemovalReport())) {
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

bool ProjectStore::storeThumbnail(const UUID& id, std::string_view data) const {
    return writeFileAtomically(thumbnailURL(id).path(), data).has_value();
}

void ProjectStore::removeThumbnail(const UUID& id) const { std::remove(thumbnailURL(id).path().c_str()); }

}  // namespace kelvane
