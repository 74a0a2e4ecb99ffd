#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QCryptographicHash>
#include <optional>
#include <utility>

#include "CLI/CLISocket.h"
#include "FirstInstance.h"
#include "Support/LiveFile.h"

namespace kelvane {

namespace {

using Clock = std::chrono::steady_clock;

/// Between two looks at a first instance that is only just coming or going.
constexpr useconds_t lookPause = 5000;  // µs
constexpr int listenBacklog = 64;
/// Of the digest's hexadecimal digits: enough that no two libraries of a user meet, few enough for a socket's path.
constexpr qsizetype digestLength = 32;

std::string digest(const FileURL& libraryRoot) {
    const auto bytes = QByteArray::fromStdString(libraryRoot.resolved().path());
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex().left(digestLength).toStdString();
}

int remaining(Clock::time_point end) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    return static_cast<int>(std::max<std::int64_t>(left, 0));
}

/// What became of an attempt to hand over.
enum class Attempt {
    /// The first instance has acted, or will.
    done,
    /// There is nobody at the socket, or nobody any more.
    nobody,
    /// It is there and takes nothing.
    full,
};

/// Waits until `socket` can be read or written; false once it is too late.
bool waits(const FileDescriptor& socket, short events, Clock::time_point end) {
    pollfd watched{socket.get(), events, 0};
    int ready = 0;
    do {
        ready = poll(&watched, 1, remaining(end));
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

Attempt handOver(const std::string& path, const std::string& line, Clock::time_point end) {
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket.isOpen()) return Attempt::nobody;
    if (!CLISocket::connectTo(socket, path)) return errno == EAGAIN ? Attempt::full : Attempt::nobody;
    for (std::size_t sent = 0; sent < line.size();) {
        const ssize_t count = send(socket.get(), line.data() + sent, line.size() - sent, MSG_NOSIGNAL);
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
            continue;
        }
        if (count < 0 && errno == EINTR) continue;
        if (errno != EAGAIN) return Attempt::nobody;
        if (!waits(socket, POLLOUT, end)) return Attempt::full;
    }
    // One that doesn't come to answer has the whole line, and acts on it when it can.
    if (!waits(socket, POLLIN, end)) return Attempt::done;
    char answer = 0;
    return recv(socket.get(), &answer, 1, 0) == 1 ? Attempt::done : Attempt::nobody;
}

}  // namespace

/// One start's way to its role.
class LibraryClaim {
public:
    LibraryClaim(const std::string& place) : lockPath_(place + ".lock"), socketPath_(place + ".sock") {}

    StartRole settle(const StartRequest& request, Clock::time_point end) {
        if (!CLISocket::isValidPath(socketPath_)) return {};
        const std::string line = encodeStartRequest(request) + "\n";
        while (true) {
            if (auto instance = becomeFirst()) return {StartRole::Kind::first, std::move(instance)};
            if (cannotLock_) return {};
            if (handOver(socketPath_, line, end) == Attempt::done) return {StartRole::Kind::handedOver, nullptr};
            if (Clock::now() >= end) return {};
            usleep(lookPause);
        }
    }

private:
    /// Takes the lock and listens; null when another process has it, or where that can't be done.
    std::unique_ptr<FirstInstance> becomeFirst() {
        FileDescriptor lock = FileDescriptor::open(lockPath_, O_RDWR | O_CREAT | O_NOFOLLOW, 0600);
        cannotLock_ = !lock.isOpen();
        if (cannotLock_) return nullptr;
        if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
            cannotLock_ = errno != EWOULDBLOCK && errno != EINTR;
            return nullptr;
        }
        // Somebody may have cleared the folder meanwhile.
        if (!standsAt(lock, lockPath_)) return nullptr;
        // What an instance left that was killed.
        unlink(socketPath_.c_str());
        FileDescriptor listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        cannotLock_ = !listener.isOpen() || !CLISocket::bindAt(listener, socketPath_) ||
                      chmod(socketPath_.c_str(), 0600) != 0 || listen(listener.get(), listenBacklog) != 0;
        if (cannotLock_) return nullptr;
        return std::unique_ptr<FirstInstance>(new FirstInstance(std::move(lock), std::move(listener), socketPath_));
    }

    std::string lockPath_;
    std::string socketPath_;
    bool cannotLock_ = false;
};

StartRole claimLibrary(const FileURL& libraryRoot, const StartRequest& request, std::chrono::milliseconds patience,
                       const std::string& registry) {
    const auto end = Clock::now() + patience;
    const auto folder = CLIProjectDiscovery::folder(registry);
    if (!folder) return {};
    return LibraryClaim(*folder + "/first-" + digest(libraryRoot)).settle(request, end);
}

}  // namespace kelvane
