#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "Support/Error.h"
#include "Support/FileDescriptor.h"

/// What both ends of a live connection share: a message is one line, a socket is blocking with timeouts.
namespace kelvane::CLISocket {

/// Longest path of a socket in UTF-8 bytes: what the smallest `sun_path` among Unix systems holds with its NUL.
inline constexpr std::size_t maximumPathBytes = 103;
/// How long one send may stand still, seconds.
inline constexpr int sendTimeoutSeconds = 120;

/// Whether `path` can name a socket: at most `maximumPathBytes` long and without a NUL byte.
bool isValidPath(std::string_view path);
/// Binds or connects `socket` at `path`, which must be valid; errno says why when it returns false.
bool bindAt(const FileDescriptor& socket, std::string_view path);
bool connectTo(const FileDescriptor& socket, std::string_view path);

/// Makes a connected socket blocking and sets its timeouts. `receiveTimeout` is in seconds for one receive; zero, a
/// negative value and what is not a number mean no limit.
void configure(const FileDescriptor& socket, double receiveTimeout);

/// Sends `data` and one line feed. Over the limit: "CLI message exceeds 1 MiB.", and nothing is sent. A broken or
/// silent peer: "Kelvane CLI connection closed or timed out." Raises no signal. Blocks; any thread.
Result<void> write(std::string_view data, const FileDescriptor& socket);

/// Receives up to the first line feed; what follows it is dropped. Fails in the words of `write`. Blocks; any thread.
Result<std::string> read(const FileDescriptor& socket);

}  // namespace kelvane::CLISocket
