#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "Support/Error.h"
#include "Support/FileDescriptor.h"

namespace kelvane {

/// The live connection of one open project: a listening Unix-domain socket in a private folder. Each connection
/// carries one request and one reply, each a line of at most 1,048,576 bytes. Only processes of the same user are
/// heard, and at most eight at a time; others are closed without a word.
///
/// One thread accepts; each connection has a thread of its own, which blocks. `start` blocks for as long as its folder
/// takes to be made; it runs anywhere. An instance belongs to one thread at a time.
class LocalCLIConnection {
public:
    /// Sends the reply to one request. Called at most once, from any thread; later calls are ignored. When every copy
    /// is destroyed uncalled, the connection closes without a reply. A reply over the limit reaches the caller as the
    /// failure "CLI message exceeds 1 MiB."
    using Reply = std::function<void(std::string)>;
    /// Takes up one request, the line without its line feed. Called on a background thread, up to eight times at
    /// once, also while and after the connection is cancelled; must not throw. It is destroyed with the last
    /// connection in progress, on whatever thread that ends.
    using Handler = std::function<void(std::string request, Reply reply)>;

    /// Seconds that one receive from a connected peer may take before the peer is dropped.
    static constexpr double requestTimeout = 120;
    /// Where each connection makes the folder of its socket.
    static constexpr const char* socketFolders = "/tmp";

    /// Creates "/tmp/kelvane-<fresh UUID>/control.sock" (modes 0700 and 0600) and listens before it returns. Fails
    /// with "Could not create the Kelvane CLI connection.", "Invalid CLI socket path.", "Could not start the Kelvane
    /// CLI connection." or the system's words for the folder; nothing is left behind then. The folder is held (see
    /// LiveFile) for as long as it is there. `receiveTimeout` and `parent`, in the place of "/tmp", are there for
    /// tests.
    static Result<std::unique_ptr<LocalCLIConnection>> start(Handler handler, double receiveTimeout = requestTimeout,
                                                             const std::string& parent = socketFolders);

    /// The path of the listening socket. Names nothing any more once cancelled.
    [[nodiscard]] const std::string& socketPath() const { return socketPath_; }

    /// Stops accepting, closes the listener and removes the folder. Returns at once: connections in progress run on to
    /// their end. Safe to call more than once.
    void cancel();

    ~LocalCLIConnection();
    LocalCLIConnection(const LocalCLIConnection&) = delete;
    LocalCLIConnection& operator=(const LocalCLIConnection&) = delete;

    /// The client's half: sends `data` to the socket and waits for the reply, which comes without its line feed.
    /// `responseTimeout` is in seconds; 0 waits without limit. Before connecting, and for a request over the limit, it
    /// fails in plain sentences: nothing was done. Every later failure is `CLIOutcomeUnknown`. Blocks; any thread.
    static Result<std::string> request(std::string_view data, const std::string& socketPath, double responseTimeout);

private:
    struct Service;
    LocalCLIConnection() = default;

    Result<void> makeFolder(const std::string& parent);

    std::string folder_;
    /// The open folder, which says to sweeps that its process lives.
    FileDescriptor held_;
    std::string socketPath_;
    FileDescriptor listener_;
    /// Becomes readable when the accept thread is to end.
    FileDescriptor stop_;
    std::thread accepting_;
};

}  // namespace kelvane
