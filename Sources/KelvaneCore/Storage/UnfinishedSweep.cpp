#include "UnfinishedSweep.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <tuple>

#include "Support/AtomicFile.h"
#include "Support/FileDescriptor.h"
#include "Support/LiveFile.h"
#include "Support/UUID.h"
#include "Support/UnfinishedWork.h"

namespace kelvane {

namespace {

/// Largest document that is searched for a copy's name, bytes.
constexpr std::size_t documentLimit = std::size_t{256} << 20;
bool isFolder(const std::string& path) {
    struct stat status{};
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// Whether nothing is at `place` for good. A folder above that is missing may be a disk that isn't there today, but for
/// the nearest `unmade` ones, which the work would have made.
bool isGone(const FileURL& place, int unmade = 0) {
    struct stat status{};
    if (lstat(place.path().c_str(), &status) == 0 || errno != ENOENT) return false;
    FileURL above = place.parentFolder();
    for (; unmade > 0 && !isFolder(above.path()); --unmade) above = above.parentFolder();
    return isFolder(above.path());
}

/// Removes what lies in a folder and the folder, which the work made in one that it may have made.
bool settleByRemoval(const FileURL& folder) {
    return isFolder(folder.path()) ? !removeFolder(folder.path()) : isGone(folder, 1);
}

enum class Named { no, yes, unknown };

/// Whether a project document in `folder` holds `name`, the UUID of a copy's folder. The text is searched, so that it
/// counts under any path and in a document that can't be decoded.
Named namedByADocument(const std::string& name, const std::string& folder) {
    for (const std::string& entry : folderEntries(folder)) {
        if (!entry.ends_with(".kelvane")) continue;
        const auto document = readFile(folder + "/" + entry, documentLimit);
        if (!document) return Named::unknown;
        if (document->contains(name)) return Named::yes;
    }
    return Named::no;
}

bool settleCopy(const FileURL& copy) {
    const std::string name = copy.fileName();
    if (!UUID::parseUpper(name) || !isFolder(copy.path())) return isGone(copy, 1);
    switch (namedByADocument(name, copy.parentFolder().parentFolder().path())) {
        case Named::no:
            return settleByRemoval(copy);
        case Named::yes:
            return true;
        case Named::unknown:
            return false;
    }
    return false;
}

bool settleFolder(const FileURL& folder) {
    // One that is in use, by whatever it holds, stays.
    return rmdir(folder.path().c_str()) == 0 || errno == ENOTEMPTY || errno == EEXIST || isGone(folder);
}

bool settleExport(const FileURL& file) {
    struct stat status{};
    const bool isHidden = file.fileName().starts_with(temporaryFilePrefix);
    if (!isHidden || lstat(file.path().c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return isGone(file);
    return unlink(file.path().c_str()) == 0;
}

bool settleProject(const FileURL& folder) {
    // The row is the last that is written.
    const bool isWhole = fileExists(folder.appending("Metadata.json").path());
    return isWhole || (UUID::parseUpper(folder.fileName()) && settleByRemoval(folder));
}

bool settle(const UnfinishedThing& thing) {
    using Kind = UnfinishedThing::Kind;
    switch (thing.kind) {
        case Kind::mediaCopy:
            return settleCopy(thing.place);
        case Kind::mediaFolder:
            return settleFolder(thing.place);
        case Kind::exportFile:
            return settleExport(thing.place);
        case Kind::projectFolder:
            return settleProject(thing.place);
        case Kind::writtenFolder:
            removeHalfWrittenFiles(thing.place.path());
            return isFolder(thing.place.path()) || isGone(thing.place);
    }
    return true;
}

/// Half-written files lie where files are replaced: beside the document, and in the session folders.
void sweepProject(const std::string& folder) {
    removeHalfWrittenFiles(folder);
    const std::string sessions = folder + "/AI";
    removeHalfWrittenFiles(sessions);
    for (const std::string& name : folderEntries(sessions))
        if (isFolder(sessions + "/" + name)) removeHalfWrittenFiles(sessions + "/" + name);
}

/// A deletion holds its folder for as long as it lives.
void sweepDeletion(const FileURL& folder) {
    if (const FileDescriptor left = takeAbandoned(folder.path(), S_IFDIR); left.isOpen())
        std::ignore = removeFolder(folder.path());
}

}  // namespace

std::string unfinishedFolder(const FileURL& libraryRoot) {
    return libraryRoot.parentFolder().appending("Unfinished").path();
}

void sweepUnfinishedWork(const FileURL& libraryRoot, const std::stop_token& stop) {
    UnfinishedWork::settleAbandoned(unfinishedFolder(libraryRoot), settle, stop);
    for (const std::string& name : folderEntries(libraryRoot.path())) {
        if (stop.stop_requested()) return;
        const FileURL folder = libraryRoot.appending(name);
        if (name.starts_with(deletedPrefix) && UUID::parse(name.substr(deletedPrefix.size())))
            sweepDeletion(folder);
        else if (UUID::parseUpper(name) && isFolder(folder.path()))
            sweepProject(folder.path());
    }
}

}  // namespace kelvane
