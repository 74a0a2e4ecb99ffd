#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <future>
#include <limits>
#include <thread>

#include "CLI/CLIError.h"
#include "CLI/CLISocket.h"
#include "CLI/LocalCLIConnection.h"
#include "RawSockets.h"
#include "Support/TempFolder.h"

namespace kelvane {
namespace {

/// A server of one connection, made of bare system calls: takes one line, then runs `script` on the socket.
class RawServer {
public:
    RawServer(std::string path, std::function<void(int)> script) : path_(std::move(path)) {
        listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const auto address = addressOf(path_);
        EXPECT_EQ(bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(listener_, 8), 0);
        thread_ = std::thread([this, script = std::move(script)] {
            const int peer = accept(listener_, nullptr, nullptr);
            if (peer < 0) return;
            char byte = 0;
            while (byte != '\n' && recv(peer, &byte, 1, 0) == 1) received_ += byte;
            script(peer);
            close(peer);
        });
    }
    ~RawServer() {
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
    }
    [[nodiscard]] const std::string& path() const { return path_; }

private:
    std::string path_;
    int listener_ = -1;
    std::string received_;
    std::thread thread_;
};

TEST(Client, ChecksThePathBeforeItConnectsAndTheSizeAfter) {
    const testing::TempFolder folder;
    const std::string fits = folder.path() + "/" + std::string(103 - folder.path().size() - 1, 'x');
    const std::string larger(limit + 1, 'x');
    ASSERT_EQ(fits.size(), 103U);
    EXPECT_EQ(messageOf(LocalCLIConnection::request("{}", fits + "x", 0)), "Invalid CLI socket path.");
    EXPECT_EQ(messageOf(LocalCLIConnection::request(larger, fits + "x", 0)), "Invalid CLI socket path.");
    EXPECT_EQ(messageOf(LocalCLIConnection::request("{}", std::string("/tmp/a\0b", 8), 0)), "Invalid CLI socket path.");
    EXPECT_EQ(messageOf(LocalCLIConnection::request("{}", fits, 0)), notConnected);
    EXPECT_EQ(messageOf(LocalCLIConnection::request(larger, fits, 0)), notConnected);
    EXPECT_EQ(messageOf(LocalCLIConnection::request("{}", folder.path(), 0)), notConnected);
    EXPECT_EQ(messageOf(LocalCLIConnection::request("{}", "", 0)), notConnected);
    const RawServer server(fits, [](int peer) { send(peer, "[]\n", 3, MSG_NOSIGNAL); });
    EXPECT_EQ(LocalCLIConnection::request("{}", fits, 0), "[]");
}

TEST(Client, ReportsEveryFailureAfterConnectingAsAnUnknownOutcome) {
    const testing::TempFolder folder;
    const std::string path = folder.path() + "/s";
    const auto sends = [](const std::string& bytes) {
        return [bytes](int peer) {
            for (std::size_t at = 0; at < bytes.size();) {
                const ssize_t count = send(peer, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
                if (count <= 0) return;
                at += static_cast<std::size_t>(count);
            }
        };
    };
    for (const std::string& bytes :
         {std::string(), std::string("{\"ok\":true}"), std::string(limit + 1, 'x') + "\n", std::string(limit, 'x')}) {
        const RawServer server(path, sends(bytes));
        EXPECT_EQ(LocalCLIConnection::request("{}", path, 0), fail(CLIOutcomeUnknown())) << bytes.size();
        unlink(path.c_str());
    }
    {
        std::promise<void> over;
        const RawServer server(path, [&](int) { over.get_future().wait(); });
        EXPECT_EQ(LocalCLIConnection::request("{}", path, 0.02), fail(CLIOutcomeUnknown()));
        over.set_value();
        unlink(path.c_str());
    }
    const RawServer server(path, sends(std::string(limit, 'x') + "\nrest"));
    EXPECT_TRUE(LocalCLIConnection::request("{}", path, 0) == std::string(limit, 'x'));
}

TEST(Sockets, AreBlockingWithTheirTimeouts) {
    struct Row {
        double seconds;
        time_t whole;
        suseconds_t fraction;
    };
    for (const Row& row : {Row{0, 0, 0}, Row{-1, 0, 0}, Row{120, 120, 0}, Row{2.5, 2, 500'000}, Row{0.5, 0, 500'000},
                           Row{std::numeric_limits<double>::infinity(), 0, 0},
                           Row{std::numeric_limits<double>::quiet_NaN(), 0, 0}, Row{1e300, 0, 0}}) {
        const FileDescriptor descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        CLISocket::configure(descriptor, row.seconds);
        timeval receive{};
        timeval send{};
        socklen_t size = sizeof receive;
        EXPECT_EQ(getsockopt(descriptor.get(), SOL_SOCKET, SO_RCVTIMEO, &receive, &size), 0);
        EXPECT_EQ(getsockopt(descriptor.get(), SOL_SOCKET, SO_SNDTIMEO, &send, &size), 0);
        EXPECT_EQ(receive.tv_sec, row.whole) << row.seconds;
        EXPECT_EQ(receive.tv_usec, row.fraction) << row.seconds;
        EXPECT_EQ(send.tv_sec, 120);
        EXPECT_EQ(fcntl(descriptor.get(), F_GETFL) & O_NONBLOCK, 0);
    }
}

}  // namespace
}  // namespace kelvane
