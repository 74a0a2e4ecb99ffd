#pragma once

#include <memory>
#include <string>

#include "Support/Error.h"
#include "Support/FileDescriptor.h"
#include "Support/UUID.h"

namespace kelvane {

/// One open project's entry in the registry of live connections: a private folder for each user, which holds for each
/// connected project a record "<UUID>.json" (its socket's path) and a lock file "<UUID>.lock" (held by the process
/// that serves it). An instance holds the lock and owns the record; its end withdraws both.
///
/// `start` blocks, for some ten seconds at the most where a sweep has the lock and gets no processor; it and the lookup
/// run anywhere. An instance belongs to one thread at a time.
class CLIProjectDiscovery {
public:
    /// "/tmp/kelvane-connections-<user id>".
    static std::string registryPath();

    /// Makes sure that the registry is there and private: a real folder, the user's own, of mode exactly 0700. It is
    /// never repaired. Answers its path, or fails with "Could not create the Kelvane connection registry." or "The
    /// Kelvane connection registry is not private." Another `registry` is there for tests.
    static Result<std::string> folder(const std::string& registry = registryPath());

    /// Takes the project's lock and publishes `socketPath`, which should answer by now. Fails in the words of
    /// `folder`, with "Could not lock the Kelvane project connection.", with "This project is already connected in
    /// another Kelvane instance.", with "Could not secure the Kelvane project connection.", or in the system's words
    /// for the record's file; neither record nor lock is left then.
    static Result<std::unique_ptr<CLIProjectDiscovery>> start(const UUID& projectID, const std::string& socketPath,
                                                              const std::string& registry = registryPath());

    /// The client's lookup: the socket path that `projectID` was published with. Fails in the words of `folder`; a
    /// record that is missing, unreadable or of another project fails with "This Kelvane project is not connected.
    /// Reopen the project in Kelvane, then retry the command." Whether the socket answers isn't asked.
    static Result<std::string> publishedSocketPath(const UUID& projectID, const std::string& registry = registryPath());

    /// Removes the record and releases the lock; the lock file stays. Safe to call more than once. After a sudden end a
    /// sweep removes both (see CLISweep).
    void stop();

    ~CLIProjectDiscovery() { stop(); }
    CLIProjectDiscovery(const CLIProjectDiscovery&) = delete;
    CLIProjectDiscovery& operator=(const CLIProjectDiscovery&) = delete;

private:
    CLIProjectDiscovery() = default;

    std::string record_;
    /// The open lock file; not open once released.
    FileDescriptor lock_;
};

}  // namespace kelvane
