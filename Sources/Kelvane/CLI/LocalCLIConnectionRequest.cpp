// The client's half, in a unit of its own so that the client carries no server.
#include <sys/socket.h>

#include "CLIError.h"
#include "CLILimits.h"
#include "CLISocket.h"
#include "LocalCLIConnection.h"

namespace kelvane {

Result<std::string> LocalCLIConnection::request(std::string_view data, const std::string& socketPath,
                                                double responseTimeout) {
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket.isOpen()) return fail(CLIError("Could not open the Kelvane CLI connection."));
    CLISocket::configure(socket, responseTimeout);
    if (!CLISocket::isValidPath(socketPath)) return fail(CLIError("Invalid CLI socket path."));
    if (!CLISocket::connectTo(socket, socketPath)) {
        return fail(
            CLIError("Kelvane is not connected. Reopen the project in Kelvane and use --project <projectID> to "
                     "discover its current connection."));
    }
    if (data.size() > CLILimits::messageBytes) return fail(CLIError("CLI message exceeds 1 MiB."));
    if (!CLISocket::write(data, socket)) return fail(CLIOutcomeUnknown());
    auto reply = CLISocket::read(socket);
    if (!reply) return fail(CLIOutcomeUnknown());
    return reply;
}

}  // namespace kelvane
