#include "FirstInstance.h"

#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "CLI/CLISocket.h"

namespace kelvane {

namespace {

/// Peers that are heard at once.
constexpr std::size_t maximumPeers = 64;
/// Above what a command line can hold, percent-encoded.
constexpr std::size_t maximumLineBytes = 32 << 20;
constexpr std::string_view taken = "taken\n";

bool isSameUser(const FileDescriptor& socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == getuid();
}

std::unique_ptr<QSocketNotifier> watched(const FileDescriptor& socket) {
    return std::make_unique<QSocketNotifier>(socket.get(), QSocketNotifier::Read);
}

}  // namespace

void FirstInstance::serve(Handler handler) {
    handler_ = std::move(handler);
    notifier_ = watched(listener_);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { accept(); });
}

void FirstInstance::close() {
    if (!lock_.isOpen()) return;
    // One of these may be the caller.
    if (notifier_) {
        notifier_->setEnabled(false);
        notifier_.release()->deleteLater();
    }
    for (auto& [number, peer] : peers_) {
        peer.notifier->setEnabled(false);
        peer.notifier.release()->deleteLater();
    }
    peers_.clear();
    unlink(socketPath_.c_str());
    listener_ = FileDescriptor();
    // Last, so that the next one finds the place empty.
    lock_ = FileDescriptor();
}

void FirstInstance::accept() {
    while (true) {
        FileDescriptor socket(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!socket.isOpen()) return;
        // One for whom there is no room looks again.
        if (!isSameUser(socket) || peers_.size() >= maximumPeers) continue;
        const int number = socket.get();
        auto notifier = watched(socket);
        QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(),
                         [this, number] { receive(number); });
        peers_[number] = {.socket = std::move(socket), .notifier = std::move(notifier), .received = {}};
    }
}

void FirstInstance::receive(int number) {
    const auto found = peers_.find(number);
    if (found == peers_.end()) return;
    Peer& peer = found->second;
    char chunk[65536];
    const ssize_t count = recv(number, chunk, sizeof chunk, 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count > 0) peer.received.append(chunk, static_cast<std::size_t>(count));
    const auto end = peer.received.find('\n');
    const bool isWhole = end != std::string::npos;
    if (!isWhole && count > 0 && peer.received.size() <= maximumLineBytes) return;
    Peer heard = std::move(peer);
    peers_.erase(found);
    // Its own signal is on the stack.
    heard.notifier->setEnabled(false);
    heard.notifier.release()->deleteLater();
    if (isWhole) answer(heard.socket, std::string_view(heard.received).substr(0, end));
}

void FirstInstance::answer(const FileDescriptor& peer, std::string_view line) {
    auto request = decodeStartRequest(line);
    if (!request) return;
    handler_(*std::move(request));
    (void)send(peer.get(), taken.data(), taken.size(), MSG_NOSIGNAL);
}

}  // namespace kelvane
