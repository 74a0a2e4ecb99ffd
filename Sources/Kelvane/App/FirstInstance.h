#pragma once

#include <QSocketNotifier>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "CLI/CLIProjectDiscovery.h"
#include "StartRequest.h"
#include "Support/FileDescriptor.h"

namespace kelvane {

/// What makes a process the first instance of a library: the lock on "first-<digest of the library's path>.lock" in the
/// registry of live connections, and beside it the socket ".sock", at which further starts hand over what they were
/// given. The end of this object withdraws both. The main thread.
///
/// A peer sends one line (see `encodeStartRequest`) and is told "taken" once that was acted on; it is closed without a
/// word where that won't happen any more, and then has to look again who is first. Peers of other users are turned
/// away.
class FirstInstance final {
public:
    using Handler = std::function<void(StartRequest)>;

    ~FirstInstance() { close(); }
    FirstInstance(const FirstInstance&) = delete;
    FirstInstance& operator=(const FirstInstance&) = delete;

    /// Requests are answered from now on; those that came before have waited. Needs the event loop.
    void serve(Handler handler);
    /// Another process may be the first from now on. What was not acted on goes there. Harmless when called again.
    void close();

private:
    friend class LibraryClaim;
    FirstInstance(FileDescriptor lock, FileDescriptor listener, std::string socketPath)
        : lock_(std::move(lock)), listener_(std::move(listener)), socketPath_(std::move(socketPath)) {}

    struct Peer {
        FileDescriptor socket;
        std::unique_ptr<QSocketNotifier> notifier;
        std::string received;
    };
    void accept();
    void receive(int number);
    void answer(const FileDescriptor& peer, std::string_view line);

    FileDescriptor lock_;
    FileDescriptor listener_;
    std::string socketPath_;
    Handler handler_;
    std::unique_ptr<QSocketNotifier> notifier_;
    /// Those whose line isn't whole yet, by the number of their socket.
    std::map<int, Peer> peers_;
};

/// How a start of the program stands to a library.
struct StartRole {
    enum class Kind {
        /// This process is the first; `instance` is there.
        first,
        /// The first one has the request: this process has nothing more to do.
        handedOver,
        /// There is no way to tell or to reach the first one: this process works beside it.
        alone,
    };
    Kind kind = Kind::alone;
    std::unique_ptr<FirstInstance> instance;
};

/// How long a start tries to hand over. It is to end within five seconds, on a busy machine too.
inline constexpr std::chrono::milliseconds handOverPatience{3500};

/// Makes this process the first instance of the library at `libraryRoot`, links resolved, or hands `request` over to
/// the one that is. A first one that ends meanwhile is followed by this process; one that doesn't come to answer in
/// `patience` has the request in its socket, and acts on it when it can. Blocks for `patience` at the most; before any
/// other thread of the process.
StartRole claimLibrary(const FileURL& libraryRoot, const StartRequest& request,
                       std::chrono::milliseconds patience = handOverPatience,
                       const std::string& registry = CLIProjectDiscovery::registryPath());

}  // namespace kelvane
