#include "CLISweep.h"

#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string_view>

#include "CLISocket.h"
#include "Support/AtomicFile.h"
#include "Support/LiveFile.h"
#include "Support/UUID.h"

// A server that starts and a sweep that ends another can't harm each other. Socket folders are held by their servers
// from before anything is put into them. Whoever serves a project has its lock alone; a sweep shares it, so that it
// finds none that is held, and a server that is refused can tell a sweep from a server and try again. A server looks
// whether the lock that it has got still stands under its name, as a sweep may have removed the file; a sweep removes
// it only while it has it. Sweeps wait for each other at the registry's own lock, and take turns.

namespace kelvane {

namespace {

constexpr std::string_view socketFolderPrefix = "kelvane-";
constexpr std::string_view socketName = "/control.sock";
constexpr std::string_view recordSuffix = ".json";
/// Far above any record.
constexpr std::size_t recordLimit = 65'536;

bool isSocketFolderName(std::string_view name) {
    return name.starts_with(socketFolderPrefix) && UUID::parseUpper(name.substr(socketFolderPrefix.size()));
}

bool isThere(const std::string& path) {
    struct stat status{};
    return lstat(path.c_str(), &status) == 0;
}

/// Whether a server takes connections at `path`. It sees one that says nothing and is gone.
bool answers(const std::string& path) {
    if (!CLISocket::isValidPath(path)) return false;
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // A queue that is full is a server's, too.
    return !socket.isOpen() || CLISocket::connectTo(socket, path) || errno == EAGAIN;
}

/// Takes the folder of a socket whose server is gone; not open for any other. Only where nobody holds it is the socket
/// asked, so that no living server is troubled, but one whose version holds no folder.
FileDescriptor takeDeadFolder(const std::string& folder) {
    FileDescriptor left = takeAbandoned(folder, S_IFDIR);
    struct stat status{};
    const bool isDead = left.isOpen() && fstat(left.get(), &status) == 0 && (status.st_mode & 07777) == 0700 &&
                        !answers(folder + std::string(socketName));
    return isDead ? std::move(left) : FileDescriptor();
}

void sweepSocketFolder(const std::string& folder) {
    const FileDescriptor left = takeDeadFolder(folder);
    if (!left.isOpen()) return;
    const std::string socket = folder + std::string(socketName);
    struct stat status{};
    if (lstat(socket.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) unlink(socket.c_str());
    // Stays where anything else is in it.
    rmdir(folder.c_str());
}

/// Whether the server of a record may be alive.
bool isServed(const std::string& socketPath) {
    if (!socketPath.ends_with(socketName)) return answers(socketPath);
    const std::string folder = socketPath.substr(0, socketPath.size() - socketName.size());
    if (!isSocketFolderName(folder.substr(folder.rfind('/') + 1))) return answers(socketPath);
    return isThere(folder) && !takeDeadFolder(folder).isOpen();
}

void sweepRecord(const std::string& registry, const UUID& project) {
    const auto published = CLIProjectDiscovery::publishedSocketPath(project, registry);
    if (published && isServed(*published)) return;
    const std::string record = registry + "/" + project.upper() + std::string(recordSuffix);
    const std::string lockPath = registry + "/" + project.upper() + ".lock";
    const auto text = readFile(record, recordLimit);
    const FileDescriptor lock = FileDescriptor::open(lockPath, O_RDWR | O_CREAT | O_NOFOLLOW, 0600);
    if (!text || !lock.isOpen() || flock(lock.get(), LOCK_SH | LOCK_NB) != 0) return;
    // A server that came and went meanwhile has taken its record along, or left another.
    if (!standsAt(lock, lockPath) || readFile(record, recordLimit) != text) return;
    unlink(record.c_str());
    unlink(lockPath.c_str());
}

void sweepRegistry(const std::string& registry) {
    if (!isThere(registry) || !CLIProjectDiscovery::folder(registry)) return;
    const FileDescriptor held = FileDescriptor::open(registry, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    if (!held.isOpen() || flock(held.get(), LOCK_EX) != 0) return;
    removeHalfWrittenFiles(registry);
    for (const std::string& name : folderEntries(registry)) {
        if (!name.ends_with(recordSuffix)) continue;
        const std::string stem = name.substr(0, name.size() - recordSuffix.size());
        if (const auto project = UUID::parseUpper(stem)) sweepRecord(registry, *project);
    }
}

}  // namespace

void sweepDeadServers(const std::string& registry, const std::string& socketFolders) {
    // Records first: they are judged by the folders that they name.
    sweepRegistry(registry);
    for (const std::string& name : folderEntries(socketFolders))
        if (isSocketFolderName(name)) sweepSocketFolder(socketFolders + "/" + name);
}

}  // namespace kelvane
