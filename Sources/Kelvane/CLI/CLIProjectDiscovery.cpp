#include "CLIProjectDiscovery.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "CLIError.h"
#include "Support/AtomicFile.h"
#include "Support/JSON.h"
#include "Support/LiveFile.h"

namespace kelvane {

namespace {

/// Far above any record: a UUID and a path of at most 103 bytes.
constexpr std::size_t maximumRecordBytes = 65'536;
/// The pause before a lock is tried again that a sweep has just now, microseconds. A sweep has it for the length of two
/// removals, but on a busy machine it may rest for long in between: so there is no hurry to give up.
constexpr useconds_t lockPause = 500;
constexpr int lockAttempts = 20'000;

std::string recordPath(const std::string& folder, const UUID& projectID) {
    return folder + "/" + projectID.upper() + ".json";
}

std::string encodedRecord(const UUID& projectID, const std::string& socketPath) {
    JSONObject record;
    record.set("projectID", std::string_view(projectID.upper()));
    record.set("socketPath", std::string_view(socketPath));
    return record.text();
}

/// The socket path of a record of `projectID`; nothing for any other content.
std::optional<std::string> decodedRecord(const std::string& text, const UUID& projectID) {
    const auto document = parseJSON(text);
    if (!document || !document->is_object()) return std::nullopt;
    const auto id = json::string(*document, "projectID");
    auto path = json::string(*document, "socketPath");
    if (!id || !path || UUID::parse(*id) != projectID) return std::nullopt;
    return std::move(*path);
}

/// Opens and takes the lock of a project, for as long as it is open. A sweep shares the lock of a dead server for a
/// moment, and may remove its file: then it is taken anew. Whoever serves has it alone.
Result<FileDescriptor> takeLock(const std::string& path) {
    for (int attempt = 0; attempt < lockAttempts; ++attempt) {
        FileDescriptor lock = FileDescriptor::open(path, O_RDWR | O_CREAT | O_NOFOLLOW, 0600);
        if (!lock.isOpen()) return fail(CLIError("Could not lock the Kelvane project connection."));
        if (flock(lock.get(), LOCK_EX | LOCK_NB) == 0) {
            if (standsAt(lock, path)) return lock;
            continue;
        }
        if (flock(lock.get(), LOCK_SH | LOCK_NB) != 0) break;
        lock = FileDescriptor();
        usleep(lockPause);
    }
    return fail(CLIError("This project is already connected in another Kelvane instance."));
}

}  // namespace

std::string CLIProjectDiscovery::registryPath() { return "/tmp/kelvane-connections-" + std::to_string(getuid()); }

Result<std::string> CLIProjectDiscovery::folder(const std::string& registry) {
    if (mkdir(registry.c_str(), 0700) == 0) {
        // A folder above may hand its set-group-ID bit down.
        (void)chmod(registry.c_str(), 0700);
    } else if (errno != EEXIST) {
        return fail(CLIError("Could not create the Kelvane connection registry."));
    }
    struct stat status{};
    const bool isPrivate = lstat(registry.c_str(), &status) == 0 && status.st_uid == getuid() &&
                           S_ISDIR(status.st_mode) && (status.st_mode & 07777) == 0700;
    if (!isPrivate) return fail(CLIError("The Kelvane connection registry is not private."));
    return registry;
}

Result<std::unique_ptr<CLIProjectDiscovery>> CLIProjectDiscovery::start(const UUID& projectID,
                                                                        const std::string& socketPath,
                                                                        const std::string& registry) {
    const auto place = folder(registry);
    if (!place) return fail(place.error());
    std::unique_ptr<CLIProjectDiscovery> discovery(new CLIProjectDiscovery);
    discovery->record_ = recordPath(*place, projectID);

    auto lock = takeLock(*place + "/" + projectID.upper() + ".lock");
    if (!lock) return fail(lock.error());
    // From here on the instance's end withdraws the record and the lock.
    discovery->lock_ = *std::move(lock);

    // A record is worth nothing after a power cut.
    auto written =
        writeFileAtomically(discovery->record_, encodedRecord(projectID, socketPath), 0600, Durability::unsynced);
    if (!written) return fail(written.error());
    if (chmod(discovery->record_.c_str(), 0600) != 0)
        return fail(CLIError("Could not secure the Kelvane project connection."));
    return discovery;
}

Result<std::string> CLIProjectDiscovery::publishedSocketPath(const UUID& projectID, const std::string& registry) {
    const auto place = folder(registry);
    if (!place) return fail(place.error());
    if (const auto text = readFile(recordPath(*place, projectID), maximumRecordBytes)) {
        if (auto path = decodedRecord(*text, projectID)) return std::move(*path);
    }
    return fail(
        CLIError("This Kelvane project is not connected. Reopen the project in Kelvane, then retry the command."));
}

void CLIProjectDiscovery::stop() {
    if (!lock_.isOpen()) return;
    unlink(record_.c_str());
    lock_ = FileDescriptor();
}

}  // namespace kelvane
