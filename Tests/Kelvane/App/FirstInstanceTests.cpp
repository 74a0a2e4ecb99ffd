#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <QCoreApplication>
#include <QTest>
#include <future>

#include "App/FirstInstance.h"
#include "CLI/CLISocket.h"
#include "Support/Patience.h"
#include "Support/TempFolder.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;
using Kind = StartRole::Kind;

StartRequest asking(std::vector<const char*> urls, std::string token = {}) {
    StartRequest request{.urls = {}, .activation = {.token = std::move(token), .startupID = {}}};
    for (const char* url : urls) request.urls.push_back(FileURL::parse(url).value());
    return request;
}

/// A registry of its own, and starts of the program in threads: each blocks until it knows its role.
class FirstInstanceTests : public ::testing::Test {
protected:
    StartRole claim(const StartRequest& request, std::chrono::milliseconds patienceOfStart = patience) const {
        return claimLibrary(library, request, patienceOfStart, registry);
    }
    [[nodiscard]] std::future<StartRole> claimElsewhere(const StartRequest& request) const {
        return std::async(std::launch::async, [this, request] { return claim(request); });
    }
    /// Handles events until the start knows its role.
    static Kind roleOf(std::future<StartRole>& start) {
        const bool isThere = QTest::qWaitFor([&] { return start.wait_for(0ms) == std::future_status::ready; },
                                             static_cast<int>(patience.count()));
        check(isThere, "a start comes to its role");
        return start.get().kind;
    }
    /// The files of the registry.
    [[nodiscard]] std::vector<std::string> suffixes() const {
        std::vector<std::string> found;
        for (const auto& name : folder.entries())
            if (name.starts_with("registry/first-")) found.push_back(name.substr(name.rfind('.')));
        return found;
    }

    TempFolder folder;
    FileURL library = folder.makeFolder("Library/Projects");
    std::string registry = folder.path("registry");
    std::vector<StartRequest> received;
    FirstInstance::Handler keepIt = [this](StartRequest request) { received.push_back(std::move(request)); };
};

TEST_F(FirstInstanceTests, ARequestSurvivesItsLine) {
    auto request = asking({"kelvane://project/1B5C", "file:///a/%C3%9C%20%22%0A%22.kelvane", "file:///%FF"}, "a \"b");
    request.activation.startupID = "launcher\\desk_TIME1";
    const auto line = encodeStartRequest(request);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    const auto back = decodeStartRequest(line);
    ASSERT_TRUE(back) << back.error().message;
    EXPECT_EQ(*back, request);
    for (const char* text : {"", "[]", "{}", "{\"urls\":[]}", "{\"activationToken\":\"\",\"urls\":[1]}",
                             "{\"activationToken\":\"\",\"urls\":[\"a b\"]}", "{\"activationToken\":1,\"urls\":[]}",
                             "{\"activationToken\":\"\",\"startupID\":1,\"urls\":[]}"})
        EXPECT_FALSE(decodeStartRequest(text)) << text;
}

TEST_F(FirstInstanceTests, ALeaveThatNoDesktopGivesIsLeftOutAndTheFilesArrive) {
    const std::string urls = ",\"urls\":[\"kelvane://project/1\"]}";
    for (const std::string leave : {"{\"activationToken\":\"a\\nb\",\"startupID\":\"a\\u0000b\"",
                                    "{\"activationToken\":\"\",\"startupID\":\"\\u007f\""}) {
        const auto request = decodeStartRequest(leave + urls);
        ASSERT_TRUE(request) << leave;
        EXPECT_EQ(*request, asking({"kelvane://project/1"}));
    }
    auto tooLong = asking({"kelvane://project/1"}, std::string(1025, 'x'));
    tooLong.activation.startupID = std::string(1025, 'x');
    EXPECT_EQ(decodeStartRequest(encodeStartRequest(tooLong)), asking({"kelvane://project/1"}));
}

TEST_F(FirstInstanceTests, ALineOfAnOlderProgramHasATokenOnly) {
    const auto request = decodeStartRequest("{\"activationToken\":\"a\",\"urls\":[\"kelvane://project/1\"]}");
    ASSERT_TRUE(request);
    EXPECT_EQ(*request, asking({"kelvane://project/1"}, "a"));
}

TEST_F(FirstInstanceTests, ARequestTakesTheDesktopsLeaveAlong) {
    qputenv("DESKTOP_STARTUP_ID", "startup");
    auto expected = asking({"file:///a/b.kelvane"});
    expected.activation.startupID = "startup";
    EXPECT_EQ(startRequest({"/a/b.kelvane", "--help"}), expected);
    qputenv("XDG_ACTIVATION_TOKEN", "activation");
    expected.activation.token = "activation";
    EXPECT_EQ(startRequest({"/a/b.kelvane"}), expected);
    qputenv("XDG_ACTIVATION_TOKEN", "two\nlines");
    qputenv("DESKTOP_STARTUP_ID", "\xff");
    EXPECT_EQ(startRequest({}), StartRequest());
    qunsetenv("DESKTOP_STARTUP_ID");
    qunsetenv("XDG_ACTIVATION_TOKEN");
    EXPECT_EQ(startRequest({}), StartRequest());
}

TEST_F(FirstInstanceTests, FurtherStartsHandOverInTheirOrder) {
    auto first = claim({});
    ASSERT_EQ(first.kind, Kind::first);
    first.instance->serve(keepIt);
    for (const char* url : {"kelvane://project/1", "file:///a/2.kelvane"}) {
        auto start = claimElsewhere(asking({url}, "token"));
        EXPECT_EQ(roleOf(start), Kind::handedOver);
    }
    auto empty = claimElsewhere({});
    EXPECT_EQ(roleOf(empty), Kind::handedOver);
    EXPECT_EQ(received, (std::vector<StartRequest>{asking({"kelvane://project/1"}, "token"),
                                                   asking({"file:///a/2.kelvane"}, "token"), StartRequest()}));
}

TEST_F(FirstInstanceTests, ThousandsOfFilesArriveWhole) {
    auto first = claim({});
    ASSERT_EQ(first.kind, Kind::first);
    first.instance->serve(keepIt);
    StartRequest many;
    for (int i = 0; i < 20'000; ++i)
        many.urls.push_back(FileURL::fromPath("/a folder/" + std::string(100, 'x') + std::to_string(i) + ".kelvane"));
    auto start = claimElsewhere(many);
    EXPECT_EQ(roleOf(start), Kind::handedOver);
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received.front(), many);
}

TEST_F(FirstInstanceTests, OneThatIsStillStartingAnswersWhenItCan) {
    auto first = claim({});
    auto start = claimElsewhere(asking({"kelvane://project/1"}));
    EXPECT_EQ(start.wait_for(50ms), std::future_status::timeout);
    first.instance->serve(keepIt);
    EXPECT_EQ(roleOf(start), Kind::handedOver);
    EXPECT_EQ(received.size(), 1U);
}

TEST_F(FirstInstanceTests, OneThatHangsHasTheRequestAndActsOnItLater) {
    auto first = claim({});
    EXPECT_EQ(claim(asking({"kelvane://project/1"}), 20ms).kind, Kind::handedOver);
    EXPECT_EQ(claim(asking({"kelvane://project/2"}), 20ms).kind, Kind::handedOver);
    first.instance->serve(keepIt);
    EXPECT_TRUE(QTest::qWaitFor([this] { return received.size() == 2; }, static_cast<int>(patience.count())));
}

TEST_F(FirstInstanceTests, OneThatEndsAmidTheQuestionIsFollowedByTheStartThatAsks) {
    auto first = claim({});
    auto start = claimElsewhere(asking({"kelvane://project/1"}));
    EXPECT_EQ(start.wait_for(50ms), std::future_status::timeout);
    first.instance->close();
    auto next = start.get();
    EXPECT_EQ(next.kind, Kind::first);
    EXPECT_TRUE(received.empty());
    first.instance->close();
    EXPECT_EQ(claim({}, 20ms).kind, Kind::handedOver) << "a second closing takes nothing from the next one";
}

TEST_F(FirstInstanceTests, OneThatEndsWhileItHearsIsFollowedToo) {
    auto first = claim({});
    first.instance->serve([&](StartRequest) { first.instance->close(); });
    auto start = claimElsewhere(asking({"kelvane://project/1"}));
    // It was acted on.
    EXPECT_EQ(roleOf(start), Kind::handedOver);
    EXPECT_EQ(claim({}).kind, Kind::first);
}

TEST_F(FirstInstanceTests, OfManyThatStartAtOnceOneIsFirstAndHearsAllOthers) {
    std::vector<std::future<StartRole>> starts;
    for (int i = 0; i < 12; ++i)
        starts.push_back(claimElsewhere(asking({("kelvane://project/" + std::to_string(i)).c_str()})));
    std::unique_ptr<FirstInstance> first;
    int handedOver = 0;
    const bool allKnow = QTest::qWaitFor(
        [&] {
            for (auto& start : starts) {
                if (!start.valid() || start.wait_for(0ms) != std::future_status::ready) continue;
                auto role = start.get();
                EXPECT_NE(role.kind, Kind::alone);
                handedOver += role.kind == Kind::handedOver;
                if (role.kind != Kind::first) continue;
                EXPECT_EQ(first, nullptr);
                first = std::move(role.instance);
                first->serve(keepIt);
            }
            return handedOver == 11;
        },
        static_cast<int>(patience.count()));
    EXPECT_TRUE(allKnow);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(received.size(), 11U);
}

TEST_F(FirstInstanceTests, OtherLibrariesHaveInstancesOfTheirOwnAndAPathByALinkIsTheSame) {
    auto first = claim({});
    EXPECT_EQ(claimLibrary(folder.url("Other/Projects"), {}, patience, registry).kind, Kind::first);
    std::filesystem::create_directory_symlink(folder.path("Library"), folder.path("Link"));
    EXPECT_EQ(claimLibrary(folder.url("Link/Projects"), {}, 20ms, registry).kind, Kind::handedOver);
}

TEST_F(FirstInstanceTests, WhatAKilledInstanceLeftStandsInNobodysWay) {
    auto first = claim({});
    const auto name = folder.entries();
    first.instance->close();
    EXPECT_EQ(suffixes(), (std::vector<std::string>{".lock"})) << "the socket goes, the lock's file stays";
    // A socket without a listener, as after a sudden end.
    for (const auto& entry : name)
        if (entry.ends_with(".sock")) {
            const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM, 0));
            ASSERT_TRUE(CLISocket::bindAt(socket, folder.path(entry)));
        }
    EXPECT_EQ(suffixes(), (std::vector<std::string>{".lock", ".sock"}));
    EXPECT_EQ(claim({}).kind, Kind::first);
}

TEST_F(FirstInstanceTests, OnlyTheUserCanReachIt) {
    auto first = claim({});
    struct stat status{};
    for (const auto& entry : folder.entries()) {
        if (!entry.starts_with("registry")) continue;
        ASSERT_EQ(lstat(folder.path(entry).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0077, 0U) << entry;
    }
}

TEST_F(FirstInstanceTests, WithoutAPrivateRegistryAStartWorksAlone) {
    ASSERT_EQ(mkdir(registry.c_str(), 0700), 0);
    ASSERT_EQ(chmod(registry.c_str(), 0755), 0);
    const auto role = claim(asking({"kelvane://project/1"}));
    EXPECT_EQ(role.kind, Kind::alone);
    EXPECT_EQ(role.instance, nullptr);
    EXPECT_TRUE(suffixes().empty());
}

TEST_F(FirstInstanceTests, WhereTheLockIsHeldAndNobodyListensAStartWorksAlone) {
    auto first = claim({});
    for (const auto& entry : folder.entries())
        if (entry.ends_with(".sock")) std::filesystem::remove(folder.path(entry));
    EXPECT_EQ(claim(asking({"kelvane://project/1"}), 20ms).kind, Kind::alone);
}

TEST_F(FirstInstanceTests, WhatIsNoRequestIsNotActedOn) {
    auto first = claim({});
    first.instance->serve(keepIt);
    std::string path;
    for (const auto& entry : folder.entries())
        if (entry.ends_with(".sock")) path = folder.path(entry);
    for (const std::string text : {"{}\n", "no end", "\n\n"}) {
        const FileDescriptor peer(::socket(AF_UNIX, SOCK_STREAM, 0));
        ASSERT_TRUE(CLISocket::connectTo(peer, path));
        ASSERT_TRUE(peer.writeAll(text));
        ASSERT_EQ(shutdown(peer.get(), SHUT_WR), 0);
        char answer = 0;
        ASSERT_TRUE(QTest::qWaitFor([&] { return recv(peer.get(), &answer, 1, MSG_DONTWAIT) == 0; },
                                    static_cast<int>(patience.count())))
            << "closed without a word: " << text;
    }
    EXPECT_TRUE(received.empty());
}

}  // namespace
}  // namespace kelvane::testing
