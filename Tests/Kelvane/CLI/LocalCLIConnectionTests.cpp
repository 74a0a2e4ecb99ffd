#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <future>
#include <mutex>
#include <thread>

#include "CLI/CLIError.h"
#include "CLI/CLISocket.h"
#include "CLI/LocalCLIConnection.h"
#include "RawSockets.h"
#include "Support/TempFolder.h"
#include "Support/UUID.h"

namespace kelvane {
namespace {

using Handler = LocalCLIConnection::Handler;
using Reply = LocalCLIConnection::Reply;

const std::string tooLong = R"({"ok":false,"error":"CLI message exceeds 1 MiB."})";
const std::string closedOrTimedOut = R"({"ok":false,"error":"Kelvane CLI connection closed or timed out."})";
/// A client made of bare system calls.
class RawClient {
public:
    explicit RawClient(const std::string& path) : descriptor_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const auto address = addressOf(path);
        isConnected_ = connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    ~RawClient() { hangUp(); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    [[nodiscard]] bool isConnected() const { return isConnected_; }
    [[nodiscard]] int descriptor() const { return descriptor_; }
    RawClient& send(const std::string& bytes) {
        for (std::size_t at = 0; at < bytes.size();) {
            const ssize_t count = ::send(descriptor_, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
            if (count <= 0) {
                ADD_FAILURE() << "sending ended at byte " << at << ": " << std::strerror(errno);
                break;
            }
            at += static_cast<std::size_t>(count);
        }
        return *this;
    }
    RawClient& endSending() {
        shutdown(descriptor_, SHUT_WR);
        return *this;
    }
    /// Everything up to the server's close. An error in the place of a clean end is told behind it: "<x>\n[Broken
    /// pipe]".
    std::string receiveAll() {
        std::string all;
        char chunk[65536];
        ssize_t count = 0;
        while ((count = recv(descriptor_, chunk, sizeof chunk, 0)) > 0)
            all.append(chunk, static_cast<std::size_t>(count));
        if (count < 0) all.append("[").append(std::strerror(errno)).append("]");
        return all;
    }
    void hangUp() {
        if (descriptor_ >= 0) close(descriptor_);
        descriptor_ = -1;
    }

private:
    int descriptor_;
    bool isConnected_ = false;
};

/// A handler that keeps each request and its Reply until the test answers.
class Holder {
public:
    Handler handler() {
        return [this](std::string request, Reply reply) {
            const std::lock_guard lock(mutex_);
            requests_.push_back(std::move(request));
            replies_.push_back(std::move(reply));
            changed_.notify_all();
        };
    }
    void waitFor(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return requests_.size() >= count; });
    }
    std::vector<std::string> requests() {
        const std::lock_guard lock(mutex_);
        return requests_;
    }
    std::vector<Reply> takeReplies() {
        const std::lock_guard lock(mutex_);
        return std::exchange(replies_, {});
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> requests_;
    std::vector<Reply> replies_;
};

void echo(const std::string& request, const Reply& reply) { reply("<" + request + ">"); }

std::unique_ptr<LocalCLIConnection> serve(Handler handler, double receiveTimeout = LocalCLIConnection::requestTimeout) {
    auto connection = LocalCLIConnection::start(std::move(handler), receiveTimeout);
    EXPECT_TRUE(connection) << messageOf(connection);
    return connection ? std::move(*connection) : nullptr;
}

/// Asks until a slot is free: a slot is given back just after its connection has closed.
std::string askPatiently(const std::string& data, const std::string& path) {
    while (true) {
        const auto reply = LocalCLIConnection::request(data, path, 0);
        if (reply) return *reply;
        if (reply.error() != CLIOutcomeUnknown()) return reply.error().message;
    }
}

TEST(Listening, HappensInAPrivateFolderThatGoesWithTheServer) {
    auto connection = serve(echo);
    const std::string path = connection->socketPath();
    const std::string folder = path.substr(0, path.rfind('/'));
    ASSERT_EQ(path.size(), std::string("/tmp/kelvane-8C1F2E4A-0B3D-4C5E-9F60-718293A4B5C6/control.sock").size());
    EXPECT_EQ(path.substr(0, 13), "/tmp/kelvane-");
    const auto id = UUID::parse(path.substr(13, 36));
    ASSERT_TRUE(id);
    EXPECT_EQ(folder, "/tmp/kelvane-" + id->upper());
    struct stat status{};
    ASSERT_EQ(lstat(folder.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFDIR | 0700U);
    ASSERT_EQ(lstat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFSOCK | 0600U);
    EXPECT_NE(serve(echo)->socketPath(), path);
    connection.reset();
    EXPECT_NE(lstat(folder.c_str(), &status), 0);
}

TEST(Conversation, CarriesOneLineEachWayAndThenCloses) {
    const auto connection = serve(echo);
    const std::pair<std::string, std::string> rows[] = {
        {"hello\n", "<hello>\n"},
        {"\n", "<>\n"},
        {"\nmore", "<>\n"},
        {"x\n" + std::string(100'000, 'y'), "<x>\n"},
        {"x\n" + std::string(3'000'000, 'y'), "<x>\n"},
        {"first\nsecond\nthird", "<first>\n"},
        {std::string("a\0b\n", 4), std::string("<a\0b>\n", 6)},
        {std::string(8191, 'x') + "\n", "<" + std::string(8191, 'x') + ">\n"},
        {std::string(8192, 'x') + "\n", "<" + std::string(8192, 'x') + ">\n"},
        {std::string(8193, 'x') + "\ny", "<" + std::string(8193, 'x') + ">\n"},
    };
    for (const auto& [sent, received] : rows) {
        RawClient client(connection->socketPath());
        ASSERT_TRUE(client.isConnected());
        EXPECT_TRUE(client.send(sent).receiveAll() == received) << sent.substr(0, 20);
    }
    RawClient dribbling(connection->socketPath());
    for (const char c : std::string("slow\n")) dribbling.send(std::string(1, c));
    EXPECT_EQ(dribbling.receiveAll(), "<slow>\n");
    EXPECT_EQ(LocalCLIConnection::request("", connection->socketPath(), 0), "<>");
    EXPECT_EQ(LocalCLIConnection::request("{\"a\":1}", connection->socketPath(), 5), "<{\"a\":1}>");
}

TEST(Limits, AMessageOfExactlyOneMebibytePassesInBothDirections) {
    const auto connection = serve([](std::string request, const Reply& reply) { reply(std::move(request)); });
    const std::string largest(limit, 'x');
    EXPECT_TRUE(LocalCLIConnection::request(largest, connection->socketPath(), 0) == largest);
    RawClient client(connection->socketPath());
    EXPECT_TRUE(client.send(largest + "\n").receiveAll() == largest + "\n");
}

TEST(Limits, ARequestOfOneByteMoreIsRefusedByBothEnds) {
    std::atomic<int> calls = 0;
    const auto connection = serve([&](const std::string& request, const Reply& reply) {
        ++calls;
        echo(request, reply);
    });
    const std::string larger(limit + 1, 'x');
    const auto refused = LocalCLIConnection::request(larger, connection->socketPath(), 0);
    EXPECT_EQ(refused, fail(CLIError("CLI message exceeds 1 MiB.")));
    RawClient client(connection->socketPath());
    EXPECT_EQ(client.send(larger + "\n").receiveAll(), tooLong + "\n");
    EXPECT_EQ(RawClient(connection->socketPath()).send(larger).receiveAll(), tooLong + "\n");
    EXPECT_EQ(RawClient(connection->socketPath()).send(std::string(2 * limit, 'x')).receiveAll(), tooLong + "\n");
    EXPECT_EQ(calls, 0);
}

TEST(Limits, AReplyOfOneByteMoreReachesTheCallerAsAFailureReply) {
    const auto connection = serve([](const std::string&, const Reply& reply) { reply(std::string(limit + 1, 'x')); });
    EXPECT_EQ(LocalCLIConnection::request("{}", connection->socketPath(), 0), tooLong);
    EXPECT_EQ(RawClient(connection->socketPath()).send("{}\n").receiveAll(), tooLong + "\n");
}

TEST(Reading, BytesWithoutALineFeedAreNoRequest) {
    std::atomic<int> calls = 0;
    const auto connection = serve([&](const std::string& request, const Reply& reply) {
        ++calls;
        echo(request, reply);
    });
    RawClient half(connection->socketPath());
    EXPECT_EQ(half.send("{\"command\":\"undo\"}").endSending().receiveAll(), closedOrTimedOut + "\n");
    RawClient silent(connection->socketPath());
    EXPECT_EQ(silent.endSending().receiveAll(), closedOrTimedOut + "\n");
    EXPECT_EQ(calls, 0);
}

TEST(Reading, APeerThatSendsNothingIsDroppedWithAReply) {
    EXPECT_EQ(LocalCLIConnection::requestTimeout, 120);
    const auto connection = serve(echo, 0.02);
    EXPECT_EQ(RawClient(connection->socketPath()).receiveAll(), closedOrTimedOut + "\n");
    EXPECT_EQ(RawClient(connection->socketPath()).send("half").receiveAll(), closedOrTimedOut + "\n");
    EXPECT_EQ(RawClient(connection->socketPath()).send("whole\n").receiveAll(), "<whole>\n");
}

TEST(Slots, ANinthConnectionIsClosedAtOnceAndItsClientCannotKnow) {
    Holder holder;
    const auto connection = serve(holder.handler());
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 8; ++i) {
        clients.push_back(std::make_unique<RawClient>(connection->socketPath()));
        clients.back()->send(std::to_string(i) + "\n");
        holder.waitFor(static_cast<std::size_t>(i) + 1);
    }
    EXPECT_EQ(holder.requests(), (std::vector<std::string>{"0", "1", "2", "3", "4", "5", "6", "7"}));
    EXPECT_EQ(RawClient(connection->socketPath()).receiveAll(), "");
    EXPECT_EQ(LocalCLIConnection::request("{}", connection->socketPath(), 0), fail(CLIOutcomeUnknown()));

    auto replies = holder.takeReplies();
    ASSERT_EQ(replies.size(), 8U);
    for (std::size_t i = 0; i < 8; ++i) replies[7 - i]("reply " + std::to_string(7 - i));
    for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(clients[i]->receiveAll(), "reply " + std::to_string(i) + "\n");

    std::thread caller([&] { EXPECT_EQ(askPatiently("again", connection->socketPath()), "at last"); });
    holder.waitFor(9);
    holder.takeReplies().back()("at last");
    caller.join();
}

TEST(Slots, AreHeldByPeersThatSendNothingAndGivenBackWhenTheyGo) {
    const auto connection = serve(echo);
    std::vector<std::unique_ptr<RawClient>> silent;
    for (int i = 0; i < 8; ++i) silent.push_back(std::make_unique<RawClient>(connection->socketPath()));
    EXPECT_EQ(RawClient(connection->socketPath()).receiveAll(), "");
    silent.clear();
    EXPECT_EQ(askPatiently("x", connection->socketPath()), "<x>");
}

TEST(Slots, AreGivenBackThoughPeersKeepTheirEndsOpen) {
    const auto connection = serve(echo);
    std::vector<std::unique_ptr<RawClient>> kept;
    for (int i = 0; i < 40; ++i) {
        kept.push_back(std::make_unique<RawClient>(connection->socketPath()));
        EXPECT_EQ(kept.back()->send("x\n").receiveAll(), "<x>\n") << i;
    }
}

TEST(Slots, AreGivenBackOnEveryPath) {
    const auto connection = serve([](const std::string& request, const Reply& reply) {
        if (request == "drop") return;
        reply(request == "long" ? std::string(limit + 1, 'x') : request);
    });
    for (int round = 0; round < 5; ++round) {
        for (const char* sent : {"drop\n", "long\n", "half", "fine\n"}) {
            RawClient client(connection->socketPath());
            client.send(sent).endSending().receiveAll();
        }
        RawClient(connection->socketPath()).send("gone\n").hangUp();
    }
    EXPECT_EQ(askPatiently("still here", connection->socketPath()), "still here");
}

TEST(Replying, MayComeLaterFromAnotherThreadAndOnlyTheFirstCounts) {
    Holder holder;
    const auto connection = serve(holder.handler());
    RawClient client(connection->socketPath());
    client.send("x\n");
    holder.waitFor(1);
    std::thread([&] {
        const auto replies = holder.takeReplies();
        const Reply copy = replies[0];
        copy("first");
        replies[0]("second");
    }).join();
    EXPECT_EQ(client.receiveAll(), "first\n");
}

TEST(Replying, AReplyDestroyedUncalledClosesTheConnection) {
    const auto connection = serve([](const std::string&, const Reply&) {});
    EXPECT_EQ(RawClient(connection->socketPath()).send("x\n").receiveAll(), "");
    EXPECT_EQ(LocalCLIConnection::request("x", connection->socketPath(), 0), fail(CLIOutcomeUnknown()));
}

TEST(Replying, ToAPeerThatHasGoneHarmsNothing) {
    Holder holder;
    const auto connection = serve(holder.handler());
    {
        RawClient client(connection->socketPath());
        client.send("edit\n");
        holder.waitFor(1);
    }
    for (const auto& reply : holder.takeReplies()) reply(std::string(limit, 'x'));
    std::thread caller([&] { EXPECT_EQ(askPatiently("next", connection->socketPath()), "done"); });
    holder.waitFor(2);
    holder.takeReplies().back()("done");
    caller.join();
    EXPECT_EQ(holder.requests(), (std::vector<std::string>{"edit", "next"}));
}

TEST(Cancelling, EndsTheListenerAndLeavesARequestInProgressItsReply) {
    Holder holder;
    auto connection = serve(holder.handler());
    const std::string path = connection->socketPath();
    RawClient client(path);
    client.send("edit\n");
    holder.waitFor(1);

    connection->cancel();
    struct stat status{};
    EXPECT_NE(lstat(path.substr(0, path.rfind('/')).c_str(), &status), 0);
    EXPECT_EQ(messageOf(LocalCLIConnection::request("x", path, 0)), notConnected);
    connection->cancel();
    connection.reset();

    holder.takeReplies().back()("done");
    EXPECT_EQ(client.receiveAll(), "done\n");
}

TEST(Cancelling, LeavesAHalfSentRequestItsAnswer) {
    auto connection = serve(echo);
    RawClient client(connection->socketPath());
    client.send("ha");
    // The second conversation shows that the first was accepted before it.
    EXPECT_EQ(LocalCLIConnection::request("x", connection->socketPath(), 0), "<x>");
    connection.reset();
    EXPECT_EQ(client.send("lf\n").receiveAll(), "<half>\n");
}

TEST(Cancelling, IsNotHeldUpByAFloodOfConnections) {
    auto connection = serve([](const std::string&, const Reply&) {});
    const auto address = addressOf(connection->socketPath());
    std::vector<std::unique_ptr<RawClient>> silent;
    for (int i = 0; i < 8; ++i) silent.push_back(std::make_unique<RawClient>(connection->socketPath()));
    std::atomic<int> floods = 0;
    std::vector<std::thread> peers;
    for (int i = 0; i < 4; ++i) {
        peers.emplace_back([&] {
            bool isConnected = true;
            while (isConnected) {
                const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
                isConnected = connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
                close(descriptor);
                ++floods;
            }
        });
    }
    while (floods < 100) std::this_thread::yield();
    connection.reset();
    for (auto& peer : peers) peer.join();
}

TEST(Accepting, APeerOfAnotherUserIsClosedWithoutAReply) {
    if (getuid() != 0) GTEST_SKIP() << "only root can become another user";
    const auto connection = serve(echo);
    const std::string path = connection->socketPath();
    // The file modes alone would keep the other user out; here it is the peer check that must.
    ASSERT_EQ(chmod(path.substr(0, path.rfind('/')).c_str(), 0755), 0);
    ASSERT_EQ(chmod(path.c_str(), 0666), 0);
    const auto address = addressOf(path);
    const pid_t child = fork();
    if (child == 0) {
        if (setresuid(65534, 65534, 65534) != 0) _exit(2);
        const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
        if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) _exit(3);
        send(descriptor, "x\n", 2, MSG_NOSIGNAL);
        char byte;
        _exit(recv(descriptor, &byte, 1, 0) > 0 ? 4 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(LocalCLIConnection::request("x", path, 0), "<x>");
}

TEST(Accepting, GoesOnWhenTheProcessHasRunOutOfDescriptorsForAWhile) {
    const auto connection = serve(echo);
    RawClient client(connection->socketPath());
    EXPECT_EQ(client.send("x\n").receiveAll(), "<x>\n");

    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const int waiting = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const auto address = addressOf(connection->socketPath());
    const bool isConnected = connect(waiting, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    send(waiting, "y\n", 2, MSG_NOSIGNAL);
    char reply[8] = {};
    const ssize_t early = recv(waiting, reply, sizeof reply, MSG_DONTWAIT);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_TRUE(isConnected);
    EXPECT_EQ(early, -1);
    EXPECT_EQ(recv(waiting, reply, sizeof reply, MSG_WAITALL), 4);
    EXPECT_STREQ(reply, "<y>\n");
    close(waiting);
}

}  // namespace
}  // namespace kelvane
