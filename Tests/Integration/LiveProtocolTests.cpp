#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "Footage.h"
#include "LiveApplication.h"
#include "Storage/ProjectFile.h"
#include "Support/FileDescriptor.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;

constexpr std::size_t messageLimit = 1'048'576;
const std::string unknownOutcome =
    "Kelvane disconnected before returning the result. The command may have succeeded or may still be running. Do not "
    "retry "
    "the edit automatically; inspect project state before any further edit, and use preview to retry rendering.";

/// A peer that speaks to the socket byte by byte.
class Peer {
public:
    explicit Peer(const std::string& path) : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.c_str(), std::min(path.size() + 1, sizeof address.sun_path - 1));
        const timeval patience{.tv_sec = 30, .tv_usec = 0};
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        EXPECT_EQ(connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0) << path;
    }
    ~Peer() { close(socket_); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    /// Sends as much as the other side takes.
    void send(std::string_view bytes) const {
        while (!bytes.empty()) {
            const auto sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent <= 0) return;
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
    }
    void finishSending() const { shutdown(socket_, SHUT_WR); }
    /// All that comes until the other side closes.
    [[nodiscard]] std::string receive() const {
        std::string all;
        char buffer[8192];
        for (ssize_t got; (got = recv(socket_, buffer, sizeof buffer, 0)) > 0;) all.append(buffer, got);
        return all;
    }

private:
    int socket_;
};

class LiveProtocolTests : public ::testing::Test {
protected:
    void SetUp() override {
        folder.write("First Film.kelvane", "{\"clips\":[],\"version\":1}");
        app = std::make_unique<LiveApplication>(folder, std::vector<std::string>{folder.path("First Film.kelvane")});
        ASSERT_TRUE(app->waitForProject()) << folder.read("application.log");
        std::ifstream record("/tmp/kelvane-connections-" + std::to_string(getuid()) + "/" + app->project() + ".json");
        socketPath = json::parse(record).value("socketPath", "");
    }
    static json requestOf(const std::string& command, const json& options = json::object()) {
        return {{"command", command}, {"options", options}};
    }
    /// The reply to these bytes, which must be one line of JSON.
    json reply(std::string_view bytes) const {
        const Peer peer(socketPath);
        peer.send(bytes);
        const auto line = peer.receive();
        EXPECT_EQ(std::ranges::count(line, '\n'), 1) << line.substr(0, 200);
        EXPECT_TRUE(line.ends_with('\n'));
        return json::parse(line, nullptr, false);
    }
    json reply(const json& request) const { return reply(std::string_view(request.dump() + "\n")); }
    static json refusal(const std::string& sentence) { return {{"ok", false}, {"error", sentence}}; }
    /// A `project` request of exactly `size` bytes, without its line feed.
    static std::string projectRequest(std::size_t size) {
        auto request = requestOf("project");
        request["padding"] = "";
        const auto bare = request.dump().size();
        request["padding"] = std::string(size - bare, 'x');
        return request.dump();
    }
    std::string importClip() {
        const auto state = app->result({"import", "--revision", app->revision(), "--json",
                                        json::array({makeFootage(folder, "A.mp4", {.seconds = 1})}).dump()});
        return state.value("imported", std::vector<std::string>{""}).at(0);
    }

    TempFolder folder;
    std::unique_ptr<LiveApplication> app;
    std::string socketPath;
};

TEST_F(LiveProtocolTests, AnEmptyJSONFromStandardInputIsRefusedByTheApplication) {
    const auto ended = app->command({"timeline", "--revision", app->revision(), "--json", "-"}, "");
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.errors, "");
    EXPECT_EQ(json::parse(ended.output), refusal("Missing --json. Run Kelvane cli help."));
}

TEST_F(LiveProtocolTests, ARequestForAnotherProjectIsRefused) {
    auto request = requestOf("project");
    request["projectID"] = "00000000-0000-0000-0000-000000000001";
    EXPECT_EQ(reply(request),
              refusal("The connection belongs to a different Kelvane project. Reopen the requested project."));
    request["projectID"] = app->project();
    EXPECT_EQ(reply(request).value("ok", false), true);
    auto lower = app->project();
    std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return std::tolower(c); });
    request["projectID"] = lower;
    EXPECT_EQ(reply(request).value("ok", false), true);
    request.erase("projectID");
    EXPECT_EQ(reply(request).value("ok", false), true);
}

TEST_F(LiveProtocolTests, RequestsOfTheWrongShapeAreRefusedInWords) {
    struct Row {
        std::string line;
        std::string sentence;
    };
    const auto before = app->revision();
    for (const Row& row :
         {Row{R"({"command":"timeline","options":{"compact":true,"revision":"x","json":"[]"}})",
              "The request's option “compact” must be a string."},
          Row{R"({"command":"project","options":[]})", "The request's “options” must be a JSON object of strings."},
          Row{R"({"command":"project"})", "The request's “options” must be a JSON object of strings."},
          Row{R"([])", "The request must be a JSON object."},
          Row{R"({"command":"project","options":{},"projectID":7})", "The request's “projectID” must be a UUID."},
          Row{R"({"command":"erase","options":{}})", "Unknown command: erase. Run Kelvane cli help."}}) {
        EXPECT_EQ(reply(std::string_view(row.line + "\n")), refusal(row.sentence)) << row.line;
    }
    EXPECT_EQ(app->revision(), before);
}

TEST_F(LiveProtocolTests, LinesThatAreNoJSONGetAReply) {
    for (const auto& line : {std::string(), std::string("\r"), std::string("{"), std::string("\0", 1),
                             std::string("\xff\xfe"), std::string(100'000, '[')}) {
        const auto answer = reply(std::string_view(line + "\n"));
        EXPECT_EQ(answer.value("ok", true), false);
        EXPECT_NE(answer.value("error", ""), "") << answer.dump();
        EXPECT_EQ(answer.size(), 2U) << answer.dump();
    }
}

TEST_F(LiveProtocolTests, WhatFollowsTheFirstLineFeedIsIgnored) {
    const auto rename = requestOf("rename", {{"revision", app->revision()}, {"name", "Second"}}).dump();
    const auto answer = reply(std::string_view(requestOf("project").dump() + "\n" + rename + "\n"));
    EXPECT_EQ(answer.value("ok", false), true);
    EXPECT_EQ(answer["result"].value("name", ""), "First Film");
    EXPECT_EQ(app->result({"project"}).value("name", ""), "First Film");
}

TEST_F(LiveProtocolTests, ALineWithoutItsEndIsNoRequest) {
    const Peer peer(socketPath);
    peer.send(requestOf("rename", {{"revision", app->revision()}, {"name", "Second"}}).dump());
    peer.finishSending();
    EXPECT_EQ(json::parse(peer.receive()), refusal("Kelvane CLI connection closed or timed out."));
    EXPECT_EQ(app->result({"project"}).value("name", ""), "First Film");
}

TEST_F(LiveProtocolTests, ARequestMayHaveOneMebibyteAndNotAByteMore) {
    const auto whole = projectRequest(messageLimit);
    ASSERT_EQ(whole.size(), messageLimit);
    EXPECT_EQ(reply(std::string_view(whole + "\n")).value("ok", false), true);
    EXPECT_EQ(reply(std::string_view(projectRequest(messageLimit + 1) + "\n")), refusal("CLI message exceeds 1 MiB."));
    // Without an end in sight it isn't waited for, either.
    EXPECT_EQ(reply(std::string_view(std::string(messageLimit + 1, 'x'))), refusal("CLI message exceeds 1 MiB."));
}

TEST_F(LiveProtocolTests, TheNinthPeerIsClosedAtOnceWhileEightAreHeld) {
    std::vector<std::unique_ptr<Peer>> held;
    // A first byte shows that a peer means it; its place is taken from the moment it is accepted.
    for (int i = 0; i < 8; ++i) {
        held.push_back(std::make_unique<Peer>(socketPath));
        held.back()->send("{");
    }
    EXPECT_EQ(Peer(socketPath).receive(), "") << "closed without a word";
    const auto refused = app->command({"project"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(json::parse(refused.output + refused.errors),
              (json{{"ok", false}, {"outcome", "unknown"}, {"error", unknownOutcome}}));
    // The eight are served all the same.
    const auto rest = requestOf("project").dump().substr(1) + "\n";
    for (const auto& peer : held) {
        peer->send(rest);
        EXPECT_EQ(json::parse(peer->receive()).value("ok", false), true);
    }
    held.clear();
    // A place is given back just after its connection was closed.
    EXPECT_TRUE(eventually([&] { return app->command({"project"}).status == 0; }));
}

TEST_F(LiveProtocolTests, ARenameKeepsTheRevision) {
    importClip();
    const auto before = app->revision();
    const auto renamed = app->result({"rename", "--revision", before, "--name", "  Second Film "});
    EXPECT_EQ(renamed.value("name", ""), "Second Film");
    EXPECT_EQ(renamed.value("revision", ""), before);
    const auto state = app->result({"project"});
    EXPECT_EQ(state.value("name", ""), "Second Film");
    EXPECT_EQ(state.value("revision", ""), before);
    EXPECT_EQ(app->result({"undo", "--revision", before})["assets"].size(), 0U) << "the import is the last step";
}

TEST_F(LiveProtocolTests, AProjectWhoseApplicationWasKilledIsNotConnected) {
    // What it leaves would be swept by any application that starts just now; a folder that is held stays.
    const auto place = std::filesystem::path(socketPath).parent_path();
    const FileDescriptor held = FileDescriptor::open(place, O_RDONLY | O_DIRECTORY);
    std::thread holder([&] { flock(held.get(), LOCK_SH); });
    app->signal(SIGKILL);
    ASSERT_TRUE(app->wait());
    holder.join();
    const auto ended = app->command({"project"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(
        json::parse(ended.errors),
        refusal("Kelvane is not connected. Reopen the project in Kelvane and use --project <projectID> to discover "
                "its current connection."));
}

TEST_F(LiveProtocolTests, OfTwoEditsOfOneRevisionExactlyOneIsTaken) {
    const auto asset = importClip();
    for (int round = 0; round < 10; ++round) {
        const auto revision = app->revision();
        const std::array<double, 2> ends{0.5 + round * 0.01, 0.8 + round * 0.01};
        std::array<json, 2> answers;
        std::array<std::thread, 2> callers;
        for (std::size_t i = 0; i < 2; ++i) {
            callers[i] = std::thread([&, i] {
                const auto entries = json::array({{{"assetID", asset}, {"start", 0}, {"end", ends[i]}}});
                answers[i] = reply(requestOf("timeline", {{"revision", revision}, {"json", entries.dump()}}));
            });
        }
        for (auto& caller : callers) caller.join();
        const std::size_t winner = answers[0].value("ok", false) ? 0 : 1;
        EXPECT_EQ(answers[winner].value("ok", false), true) << answers[winner].dump();
        EXPECT_EQ(answers[1 - winner],
                  refusal("The timeline or asset library changed. Read project again and use its latest revision."));
        const auto state = app->result({"project"});
        EXPECT_EQ(state.value("revision", ""), answers[winner]["result"].value("revision", ""));
        EXPECT_DOUBLE_EQ(state.value("duration", 0.0), ends[winner]);
    }
}

TEST_F(LiveProtocolTests, AnExportTakesItsContainerFromAnExtensionInAnyCase) {
    const auto asset = importClip();
    const auto state = app->result({"timeline", "--revision", app->revision(), "--json",
                                    json::array({{{"assetID", asset}, {"start", 0}, {"end", 0.5}}}).dump()});
    for (const auto& [name, brand] : {std::pair{"Film.MP4", "isom"}, std::pair{"Film.MoV", "qt  "}}) {
        const auto path = folder.path(name);
        const auto exported =
            app->result({"export", "--revision", state.value("revision", ""), "--path", path, "--resolution", "720p"});
        EXPECT_EQ(exported.value("path", ""), path);
        EXPECT_EQ(folder.read(name).substr(8, 4), brand) << name;
        EXPECT_EQ(middles(path).size(), 15U);
    }
    EXPECT_EQ(app->refusal({"export", "--revision", state.value("revision", ""), "--path", folder.path("Film.avi")}),
              "--path requires an absolute .mp4 or .mov path.");
}

}  // namespace
}  // namespace kelvane::testing
