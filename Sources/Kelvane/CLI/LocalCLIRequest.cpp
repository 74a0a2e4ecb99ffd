// The client's half, in a unit of its own so that the client carries no server.
#include <sys/socket.h>
#include <unistd.h>

#include "CLIError.h"
#include "CLISocket.h"
#include "LocalCLIConnection.h"

namespace kelvane {

namespace {

struct Descriptor {
    int value;
    ~Descriptor() {
        if (value >= 0) ::close(value);
    }
};

}  // namespace

Result<std::string> LocalCLIConnection::request(std::string_view data, const std::string& socketPath,
                                                double responseTimeout) {
    const Descriptor socket{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    if (socket.value < 0) return fail(CLIError("Could not open the Kelvane CLI connection."));
    CLISocket::configure(socket.value, responseTimeout);
    if (!CLISocket::isValidPath(socketPath)) return fail(CLIError("Invalid CLI socket path."));
    if (!CLISocket::connectTo(socket.value, socketPath)) {
        return fail(
            CLIError("Kelvane is not connected. Reopen the project in Kelvane and use --project <projectID> to "
                     "discover its current connection."));
    }
    if (data.size() > CLISocket::maximumMessageBytes) return fail(CLIError("CLI message exceeds 1 MiB."));
    if (!CLISocket::write(data, socket.value)) return fail(CLIOutcomeUnknown());
    auto reply = CLISocket::read(socket.value);
    if (!reply) return fail(CLIOutcomeUnknown());
    return reply;
}

}  // namespace kelvane
