#include "CLISocket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

#include "CLIError.h"
#include "CLILimits.h"

namespace kelvane::CLISocket {

namespace {

constexpr std::size_t chunkBytes = 8192;

sockaddr_un address(std::string_view path) {
    sockaddr_un result{};
    result.sun_family = AF_UNIX;
    std::memcpy(result.sun_path, path.data(), path.size());
    return result;
}

Error tooLong() { return CLIError("CLI message exceeds 1 MiB."); }
Error broken() { return CLIError("Kelvane CLI connection closed or timed out."); }

timeval interval(double seconds) {
    // Beyond a century a timeout is none, and casting stays defined.
    constexpr double longest = 3.2e9;
    if (!(seconds > 0) || seconds > longest) return {};
    const auto whole = static_cast<time_t>(seconds);
    return {whole, static_cast<suseconds_t>((seconds - static_cast<double>(whole)) * 1'000'000)};
}

}  // namespace

bool isValidPath(std::string_view path) {
    return path.size() <= maximumPathBytes && path.find('\0') == std::string_view::npos;
}

bool bindAt(const FileDescriptor& socket, std::string_view path) {
    const sockaddr_un place = address(path);
    return ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0;
}

bool connectTo(const FileDescriptor& socket, std::string_view path) {
    const sockaddr_un place = address(path);
    int result;
    do {
        result = ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place);
    } while (result < 0 && errno == EINTR);
    return result == 0;
}

void configure(const FileDescriptor& socket, double receiveTimeout) {
    const int flags = fcntl(socket.get(), F_GETFL);
    if (flags >= 0 && (flags & O_NONBLOCK) != 0) fcntl(socket.get(), F_SETFL, flags & ~O_NONBLOCK);
    const timeval receive = interval(receiveTimeout);
    setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &receive, sizeof receive);
    const timeval send{sendTimeoutSeconds, 0};
    setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &send, sizeof send);
}

Result<void> write(std::string_view data, const FileDescriptor& socket) {
    if (data.size() > CLILimits::messageBytes) return fail(tooLong());
    std::string line;
    line.reserve(data.size() + 1);
    line.append(data);
    line.push_back('\n');
    for (std::size_t sent = 0; sent < line.size();) {
        const ssize_t count = ::send(socket.get(), line.data() + sent, line.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return fail(broken());
        sent += static_cast<std::size_t>(count);
    }
    return {};
}

Result<std::string> read(const FileDescriptor& socket) {
    std::string message;
    char chunk[chunkBytes];
    while (true) {
        const ssize_t count = ::recv(socket.get(), chunk, sizeof chunk, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return fail(broken());
        const std::string_view received(chunk, static_cast<std::size_t>(count));
        const auto end = received.find('\n');
        message.append(received.substr(0, end));
        if (message.size() > CLILimits::messageBytes) return fail(tooLong());
        if (end != std::string_view::npos) return message;
    }
}

}  // namespace kelvane::CLISocket
