#include "LocalCLIConnection.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <optional>
#include <semaphore>
#include <system_error>
#include <utility>

#include "CLIError.h"
#include "CLILimits.h"
#include "CLIReply.h"
#include "CLISocket.h"
#include "Support/LiveFile.h"
#include "Support/Text.h"
#include "Support/UUID.h"

namespace kelvane {

namespace {

constexpr int listenBacklog = 8;
constexpr int connectionsAtOnce = 8;
/// How long the accept thread rests when the process has no descriptor left for a waiting peer. The listener stays
/// readable meanwhile, so that waiting on it would spin.
constexpr int exhaustedRestMilliseconds = 50;
/// Connections taken before the accept thread looks at its stop signal again.
constexpr int acceptsAtOnce = 16;
/// What a peer may go on sending behind its request, and how long it may pause and take altogether.
constexpr std::size_t drainedBytes = 4 * CLILimits::messageBytes;
constexpr int drainPauseMilliseconds = 100;
constexpr std::chrono::milliseconds drainTime{1000};

/// One connection's wait for its reply.
class Exchange {
public:
    void finish(std::optional<std::string> reply) {
        const std::lock_guard lock(mutex_);
        if (finished_) return;
        finished_ = true;
        reply_ = std::move(reply);
        changed_.notify_one();
    }
    /// The reply, or nothing when it was given up.
    std::optional<std::string> wait() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return finished_; });
        return std::move(reply_);
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool finished_ = false;
    std::optional<std::string> reply_;
};

/// Held by all copies of one Reply; its end without an answer gives the connection up.
struct Promise {
    std::shared_ptr<Exchange> exchange;
    explicit Promise(std::shared_ptr<Exchange> waiting) : exchange(std::move(waiting)) {}
    ~Promise() { exchange->finish(std::nullopt); }
    Promise(const Promise&) = delete;
    Promise& operator=(const Promise&) = delete;
};

std::optional<std::string> answer(const LocalCLIConnection::Handler& handler, std::string request) {
    const auto exchange = std::make_shared<Exchange>();
    handler(std::move(request), [promise = std::make_shared<Promise>(exchange)](std::string reply) {
        promise->exchange->finish(std::move(reply));
    });
    return exchange->wait();
}

/// Signals are the main thread's: a background thread that took one would run its handler in the wrong place.
void leaveSignalsToMainThread() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

bool isSameUser(const FileDescriptor& socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == getuid();
}

bool makeNonBlocking(const FileDescriptor& socket) {
    const int flags = fcntl(socket.get(), F_GETFL);
    return flags >= 0 && fcntl(socket.get(), F_SETFL, flags | O_NONBLOCK) == 0;
}

bool hasUnreadBytes(const FileDescriptor& socket) {
    char byte = 0;
    return recv(socket.get(), &byte, 1, MSG_DONTWAIT | MSG_PEEK) > 0;
}

/// Reads what the peer still sends and throws it away, within bounds: bytes left unread at the close would have the
/// peer find an error behind the reply, or in its place.
void drain(const FileDescriptor& socket) {
    shutdown(socket.get(), SHUT_WR);
    const auto end = std::chrono::steady_clock::now() + drainTime;
    char chunk[8192];
    for (std::size_t drained = 0; drained < drainedBytes && std::chrono::steady_clock::now() < end;) {
        const ssize_t count = recv(socket.get(), chunk, sizeof chunk, MSG_DONTWAIT);
        if (count > 0) {
            drained += static_cast<std::size_t>(count);
            continue;
        }
        if (count < 0 && errno == EINTR) continue;
        if (count == 0 || (errno != EAGAIN && errno != EWOULDBLOCK)) break;
        pollfd peer{socket.get(), POLLIN, 0};
        if (poll(&peer, 1, drainPauseMilliseconds) == 0) break;
    }
}

}  // namespace

/// What the accept thread and the connections' threads share, and outlives the LocalCLIConnection with them.
struct LocalCLIConnection::Service {
    Handler handler;
    double receiveTimeout = requestTimeout;
    std::counting_semaphore<connectionsAtOnce> slots{connectionsAtOnce};

    /// Runs one conversation on the calling thread, gives its slot back and closes `peer`.
    void serve(const FileDescriptor peer) {
        auto request = CLISocket::read(peer);
        if (!request) {
            (void)CLISocket::write(failureReply(request.error()), peer);
        } else if (const auto reply = answer(handler, std::move(*request))) {
            if (const auto written = CLISocket::write(*reply, peer); !written)
                (void)CLISocket::write(failureReply(written.error()), peer);
        }
        // A request that wasn't read to its end may still be on its way. Whoever sent nothing more is let go at once,
        // and the slot first: a peer that has read its reply may be back before this thread's next step.
        if (!request || hasUnreadBytes(peer)) drain(peer);
        slots.release();
    }

    /// Accepts what waits on `listener`, or a part of it. Answers false when the process has no room for another
    /// descriptor.
    static bool acceptAll(const std::shared_ptr<Service>& service, const FileDescriptor& listener) {
        for (int taken = 0; taken < acceptsAtOnce; ++taken) {
            FileDescriptor peer(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
            if (!peer.isOpen()) return !isShortage(errno);
            if (!isSameUser(peer) || !service->slots.try_acquire()) continue;
            CLISocket::configure(peer, service->receiveTimeout);
            try {
                std::thread([service, peer = std::move(peer)]() mutable {
                    leaveSignalsToMainThread();
                    service->serve(std::move(peer));
                }).detach();
            } catch (const std::system_error&) {
                service->slots.release();
            }
        }
        return true;
    }

    static void acceptUntilStopped(const std::shared_ptr<Service>& service, const FileDescriptor& listener,
                                   const FileDescriptor& stop) {
        leaveSignalsToMainThread();
        pthread_setname_np(pthread_self(), "CLI.accept");
        bool hasRoom = true;
        while (true) {
            pollfd watched[2] = {{stop.get(), POLLIN, 0}, {listener.get(), POLLIN, 0}};
            poll(watched, hasRoom ? 2 : 1, hasRoom ? -1 : exhaustedRestMilliseconds);
            if (watched[0].revents != 0) return;
            hasRoom = acceptAll(service, listener);
        }
    }
};

Result<void> LocalCLIConnection::makeFolder(const std::string& parent) {
    do {
        const std::string folder = parent + "/kelvane-" + UUID::random().upper();
        if (mkdir(folder.c_str(), 0700) != 0)
            return fail(Error::posix("The folder " + quotedName(folder) + " could not be created", errno));
        folder_ = folder;
        held_ = FileDescriptor::open(folder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
        // A sweep that takes the folder before it is held removes it: then there is another.
    } while (held_.isOpen() && !holdWhileOpen(held_, folder_));
    if (!held_.isOpen()) return fail(CLIError("Could not create the Kelvane CLI connection."));
    socketPath_ = folder_ + "/control.sock";
    return {};
}

Result<std::unique_ptr<LocalCLIConnection>> LocalCLIConnection::start(Handler handler, double receiveTimeout,
                                                                      const std::string& parent) {
    // From here on the instance's end is the clean-up.
    std::unique_ptr<LocalCLIConnection> connection(new LocalCLIConnection);
    if (auto made = connection->makeFolder(parent); !made) return fail(made.error());

    connection->listener_ = FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!connection->listener_.isOpen()) return fail(CLIError("Could not create the Kelvane CLI connection."));
    const std::string& path = connection->socketPath_;
    if (!CLISocket::isValidPath(path)) return fail(CLIError("Invalid CLI socket path."));
    connection->stop_ = FileDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!CLISocket::bindAt(connection->listener_, path) || chmod(path.c_str(), 0600) != 0 ||
        listen(connection->listener_.get(), listenBacklog) != 0 || !makeNonBlocking(connection->listener_) ||
        !connection->stop_.isOpen()) {
        return fail(CLIError("Could not start the Kelvane CLI connection."));
    }

    auto service = std::make_shared<Service>();
    service->handler = std::move(handler);
    service->receiveTimeout = receiveTimeout;
    try {
        connection->accepting_ =
            std::thread([service = std::move(service), &listener = connection->listener_, &stop = connection->stop_] {
                Service::acceptUntilStopped(service, listener, stop);
            });
    } catch (const std::system_error&) {
        return fail(CLIError("Could not start the Kelvane CLI connection."));
    }
    return connection;
}

void LocalCLIConnection::cancel() {
    if (accepting_.joinable()) {
        eventfd_write(stop_.get(), 1);
        accepting_.join();
    }
    listener_ = FileDescriptor();
    stop_ = FileDescriptor();
    if (!folder_.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(std::exchange(folder_, {}), ignored);
        held_ = FileDescriptor();
    }
}

LocalCLIConnection::~LocalCLIConnection() { cancel(); }

}  // namespace kelvane
