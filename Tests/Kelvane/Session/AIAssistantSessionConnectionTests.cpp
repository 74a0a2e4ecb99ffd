#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <future>
#include <iterator>

#include "CLI/CLIProjectDiscovery.h"
#include "CLI/LocalCLIConnection.h"
#include "SessionFixture.h"
#include "Support/App/FinishTask.h"
#include "Support/FileDescriptor.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;

constexpr const char* closedText = "The Kelvane project is closed.";

/// A peer that connects first and speaks later.
class Peer {
public:
    explicit Peer(const std::string& path) : descriptor_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        connected_ = ::connect(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    ~Peer() { ::close(descriptor_); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    [[nodiscard]] bool connected() const { return connected_; }
    /// Sends `line` and reads the reply up to the end.
    [[nodiscard]] std::string exchange(const std::string& line) const {
        const std::string message = line + "\n";
        if (::send(descriptor_, message.data(), message.size(), MSG_NOSIGNAL) < 0) return {};
        std::string reply;
        char buffer[4096];
        for (ssize_t count = 0; (count = ::recv(descriptor_, buffer, sizeof buffer, 0)) > 0;)
            reply.append(buffer, static_cast<std::size_t>(count));
        return reply;
    }

private:
    int descriptor_;
    bool connected_ = false;
};

std::size_t openDescriptors() {
    const auto folder = std::filesystem::directory_iterator("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(folder), end(folder)));
}

class AIAssistantSessionConnection : public SessionFixture {
protected:
    AIAssistantSessionConnection() { useRegistry(); }
    ~AIAssistantSessionConnection() override {
        session().suspend();
        context.settle();
    }
    void useRegistry() {
        registry = folder().appending("Registry").path();
        std::filesystem::create_directory(registry);
        std::filesystem::permissions(registry, std::filesystem::perms::owner_all);
        session().registryPath = registry;
        session().socketFolders = socketFolders.path();
    }
    /// Asks on another thread while this one plays the main thread.
    template <class Ask>
    auto ask(Ask question) {
        auto answer = std::async(std::launch::async, std::move(question));
        while (answer.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) context.settle();
        return answer.get();
    }
    Result<std::string> request(const CLIRequest& request) {
        return ask(
            [path = path, text = encodeCLIRequest(request)] { return LocalCLIConnection::request(text, path, 30); });
    }
    Result<std::string> connected() { return testing::finish(context, session().connect()); }
    /// Has begun to connect, and what it made is there; its result isn't taken in yet.
    std::optional<Result<std::string>>& beginToConnect() {
        connecting_ = keep(session().connect(), &answer_);
        EXPECT_TRUE(context.stepBackground());
        EXPECT_TRUE(CLIProjectDiscovery::publishedSocketPath(editor->id(), registry));
        EXPECT_FALSE(answer_);
        return answer_;
    }
    void connect() {
        const auto connected = this->connected();
        ASSERT_TRUE(connected.has_value()) << connected.error().message;
        path = *connected;
    }

    TempFolder socketFolders;
    std::string registry;
    std::string path;

private:
    std::optional<Result<std::string>> answer_;
    std::optional<QCoro::Task<void>> connecting_;
};

TEST_F(AIAssistantSessionConnection, AReplyIsTheDocumentWithSortedKeysAndPlainSlashes) {
    connect();
    const auto reply = request({"project", {}, editor->id()});
    ASSERT_TRUE(reply.has_value()) << reply.error().message;
    EXPECT_EQ(*reply, R"({"ok":true,"result":)" + session().projectState(false)->text() + "}");
    EXPECT_NE(reply->find("kelvane://project/"), std::string::npos);
}

TEST_F(AIAssistantSessionConnection, ARefusalIsOkFalseAndItsSentenceWithEscapedSlashes) {
    connect();
    const auto reply = request({"split", {{"revision", revision()}, {"id", "x"}, {"at", "1"}}, editor->id()});
    ASSERT_TRUE(reply.has_value()) << reply.error().message;
    EXPECT_EQ(json::parse(*reply),
              (json{{"ok", false}, {"error", "Require a known clipID and --at leaving at least 1/30s on each side."}}));
    EXPECT_NE(reply->find(R"(1\/30s)"), std::string::npos) << *reply;
}

TEST_F(AIAssistantSessionConnection, AProjectIDIsComparedAndMayBeAbsent) {
    connect();
    EXPECT_EQ(json::parse(request({"project", {}, std::nullopt}).value())["ok"], true);
    const auto before = editor->clips();
    const auto reply = request({"timeline", {{"revision", revision()}, {"json", "[]"}}, UUID::random()});
    EXPECT_EQ(json::parse(reply.value())["error"],
              "The connection belongs to a different Kelvane project. Reopen the requested project.");
    EXPECT_EQ(editor->clips(), before);
    EXPECT_TRUE(editor->undoStack().empty());
}

TEST_F(AIAssistantSessionConnection, AnUnreadableMessageIsAnsweredInWords) {
    connect();
    for (const std::string& message :
         {std::string(), std::string("{"), std::string("[]"), std::string(R"({"command":"project"})"),
          std::string(R"({"command":"project","options":{"x":1}})"),
          std::string(R"({"command":"project","options":{},"projectID":"x"})"), std::string(500'000, '[')}) {
        const auto reply = ask([path = path, message] { return LocalCLIConnection::request(message, path, 30); });
        ASSERT_TRUE(reply.has_value()) << message.substr(0, 60);
        const json answer = json::parse(*reply);
        EXPECT_EQ(answer["ok"], false) << message.substr(0, 60);
        EXPECT_NE(answer["error"].get<std::string>(), "") << message.substr(0, 60);
    }
    EXPECT_EQ(json::parse(request({"project", {}, {}}).value())["ok"], true) << "serving goes on";
}

TEST_F(AIAssistantSessionConnection, AnEditOverTheSocketIsOneUndoStep) {
    connect();
    const auto reply = request({"timeline", {{"revision", revision()}, {"json", "[]"}}, editor->id()});
    EXPECT_EQ(json::parse(reply.value())["result"]["timeline"], json::array());
    EXPECT_EQ(editor->undoStack().size(), 1U);
}

TEST_F(AIAssistantSessionConnection, ConnectTwiceIsOneConnection) {
    connect();
    const auto open = openDescriptors();
    EXPECT_EQ(connected(), path);
    EXPECT_EQ(openDescriptors(), open);
    EXPECT_TRUE(session().isConnected());
    EXPECT_EQ(CLIProjectDiscovery::publishedSocketPath(editor->id(), registry), path);
}

TEST_F(AIAssistantSessionConnection, ConnectingWaitsForNothingOnTheMainThread) {
    // As a sweep has it, for as long as it needs it.
    const auto lock = FileDescriptor::open(registry + "/" + editor->id().upper() + ".lock", O_RDWR | O_CREAT, 0600);
    ASSERT_EQ(flock(lock.get(), LOCK_SH), 0);
    std::optional<Result<std::string>> answer;
    const auto connecting = keep(session().connect(), &answer);
    context.runPosted();
    EXPECT_EQ(entries(FileURL::fromPath(registry)), std::vector<std::string>{editor->id().upper() + ".lock"});
    EXPECT_EQ(context.waitingInBackground(Lane::shortWork), 1U);
    EXPECT_FALSE(answer);
    ASSERT_EQ(flock(lock.get(), LOCK_UN), 0);
    context.settle();
    ASSERT_TRUE(answer && *answer);
    EXPECT_TRUE(session().isConnected());
}

TEST_F(AIAssistantSessionConnection, TwoThatConnectAtOnceGetOneConnection) {
    std::optional<Result<std::string>> first;
    std::optional<Result<std::string>> second;
    const auto connecting = keep(session().connect(), &first);
    const auto joining = keep(session().connect(), &second);
    context.settle();
    ASSERT_TRUE(first && *first) << "the first";
    EXPECT_EQ(second, first);
    EXPECT_EQ(CLIProjectDiscovery::publishedSocketPath(editor->id(), registry), *first);
}

TEST_F(AIAssistantSessionConnection, ASessionThatEndsWhileItConnectsLeavesNothing) {
    const auto open = openDescriptors();
    const auto& answer = beginToConnect();
    session().suspend();
    context.settle();
    ASSERT_TRUE(answer);
    EXPECT_EQ(*answer, Result<std::string>(fail(Error::cancelled())));
    EXPECT_FALSE(session().isConnected());
    EXPECT_EQ(entries(FileURL::fromPath(registry)), std::vector<std::string>{editor->id().upper() + ".lock"});
    EXPECT_EQ(socketFolders.entries(), std::vector<std::string>());
    EXPECT_EQ(openDescriptors(), open);
}

TEST_F(AIAssistantSessionConnection, WhoConnectsAfterAnEndGetsAConnectionOfTheNextPeriod) {
    const auto& late = beginToConnect();
    session().suspend();
    std::optional<Result<std::string>> next;
    const auto connecting = keep(session().connect(), &next);
    context.settle();
    ASSERT_TRUE(late && next);
    EXPECT_FALSE(*late);
    ASSERT_TRUE(*next) << next->error().message;
    path = **next;
    EXPECT_EQ(CLIProjectDiscovery::publishedSocketPath(editor->id(), registry), path);
    EXPECT_EQ(json::parse(request({"project", {}, editor->id()}).value())["ok"], true);
}

TEST_F(AIAssistantSessionConnection, AnEditorThatGoesWhileItsSessionConnectsLeavesNothing) {
    const UUID id = editor->id();
    const auto& answer = beginToConnect();
    makeEditor();
    context.settle();
    ASSERT_TRUE(answer);
    EXPECT_FALSE(*answer);
    EXPECT_FALSE(CLIProjectDiscovery::publishedSocketPath(id, registry));
    EXPECT_EQ(socketFolders.entries(), std::vector<std::string>());
}

TEST_F(AIAssistantSessionConnection, SuspendWithdrawsTheRecordAndTheSocket) {
    connect();
    const auto before = session().generation();
    session().suspend();
    EXPECT_FALSE(session().isConnected());
    EXPECT_NE(session().generation(), before);
    EXPECT_FALSE(CLIProjectDiscovery::publishedSocketPath(editor->id(), registry).has_value());
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(path).parent_path()));
    EXPECT_EQ(entries(FileURL::fromPath(registry)), std::vector<std::string>{editor->id().upper() + ".lock"});

    const auto old = path;
    connect();
    EXPECT_NE(path, old);
    EXPECT_EQ(json::parse(request({"project", {}, editor->id()}).value())["ok"], true);
}

TEST_F(AIAssistantSessionConnection, SuspendWithoutAConnectionIsHarmless) {
    const auto before = session().generation();
    session().suspend();
    EXPECT_NE(session().generation(), before);
    EXPECT_FALSE(session().isConnected());
}

TEST_F(AIAssistantSessionConnection, ARequestThatWaitsWhenTheSessionEndsIsRefused) {
    connect();
    const Peer early(path);
    ASSERT_TRUE(early.connected());
    // Connections are accepted in order: once this one is answered, the early one is in its task.
    EXPECT_TRUE(request({"project", {}, {}}).has_value());
    session().suspend();
    const auto reply = ask([&] { return early.exchange(R"({"command":"project","options":{}})"); });
    EXPECT_EQ(json::parse(reply)["error"], startNewText);
}

TEST_F(AIAssistantSessionConnection, ARequestOfAnEarlierPeriodIsRefusedInTheNext) {
    connect();
    const Peer early(path);
    EXPECT_TRUE(request({"project", {}, {}}).has_value());
    session().suspend();
    connect();
    const auto reply = ask([&] { return early.exchange(R"({"command":"project","options":{}})"); });
    EXPECT_EQ(json::parse(reply)["error"], startNewText);
    EXPECT_EQ(json::parse(request({"project", {}, {}}).value())["ok"], true);
}

TEST_F(AIAssistantSessionConnection, ARequestThatOutlivesItsProjectIsToldSo) {
    connect();
    const Peer early(path);
    EXPECT_TRUE(request({"project", {}, {}}).has_value());
    makeEditor();
    EXPECT_FALSE(std::filesystem::exists(path)) << "the session's end is the connection's end";
    const auto reply = ask([&] { return early.exchange(R"({"command":"project","options":{}})"); });
    EXPECT_EQ(json::parse(reply), (json{{"ok", false}, {"error", closedText}}));
}

TEST_F(AIAssistantSessionConnection, TwoInstancesDoNotServeOneProject) {
    const auto other = CLIProjectDiscovery::start(editor->id(), "/tmp/other.sock", registry);
    ASSERT_TRUE(other.has_value());
    const auto open = openDescriptors();
    const auto refused = connected();
    EXPECT_EQ(socketFolders.entries(), std::vector<std::string>());
    ASSERT_FALSE(refused.has_value());
    EXPECT_EQ(refused.error().message, "This project is already connected in another Kelvane instance.");
    EXPECT_FALSE(session().isConnected());
    // Closing the listener and removing its folder are one step.
    EXPECT_EQ(openDescriptors(), open);
    EXPECT_EQ(CLIProjectDiscovery::publishedSocketPath(editor->id(), registry), "/tmp/other.sock");

    (*other)->stop();
    connect();
    EXPECT_TRUE(session().isConnected());
    EXPECT_EQ(socketFolders.entries().size(), 2U) << "a folder and its socket";
}

TEST_F(AIAssistantSessionConnection, ARegistryThatIsNotPrivateRefuses) {
    std::filesystem::permissions(registry, std::filesystem::perms::group_read, std::filesystem::perm_options::add);
    const auto open = openDescriptors();
    EXPECT_EQ(connected().error().message, "The Kelvane connection registry is not private.");
    EXPECT_FALSE(session().isConnected());
    EXPECT_EQ(openDescriptors(), open);
    EXPECT_EQ(socketFolders.entries(), std::vector<std::string>());
}

TEST_F(AIAssistantSessionConnection, AClosedProjectIsNotServed) {
    const auto kept = session().shared_from_this();
    editor.reset();
    context.settle();
    EXPECT_EQ(testing::finish(context, kept->connect()).error().message, closedText);
    makeEditor();
}

}  // namespace
}  // namespace kelvane::testing
