#pragma once

#include <string>

#include "CLIProjectDiscovery.h"
#include "LocalCLIConnection.h"

namespace kelvane {

/// Removes what servers have left whose processes are gone: folders of sockets that nobody holds and nobody answers at,
/// records with the locks beside them where the lock is free and the socket is dead, and half-written records. What
/// belongs to another user, is not as a server makes it, or is in use stays. Says nothing. Blocks, for the pool; may
/// run beside living servers, starting ones and other sweeps. Other places are there for tests.
void sweepDeadServers(const std::string& registry = CLIProjectDiscovery::registryPath(),
                      const std::string& socketFolders = LocalCLIConnection::socketFolders);

}  // namespace kelvane
