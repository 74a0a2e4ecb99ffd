#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusVariant>

#include "Platform/PortalChooser.h"
#include "Support/App/FakeMainContext.h"
#include "Support/App/PrivateBus.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using Kind = ChooserOutcome::Kind;

const QString portalName = "org.freedesktop.portal.Desktop";
const QString portalPath = "/org/freedesktop/portal/desktop";

/// What a filter says, read from the wire: "Movies *.mp4 *.mov".
std::vector<std::string> filtersIn(const QVariantMap& options) {
    std::vector<std::string> texts;
    const auto list = options["filters"].value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        QString name;
        list.beginStructure();
        list >> name;
        std::string text = name.toStdString();
        list.beginArray();
        while (!list.atEnd()) {
            uint kind = 7;
            QString pattern;
            list.beginStructure();
            list >> kind >> pattern;
            list.endStructure();
            text += (kind == 0 ? " " : " ?") + pattern.toStdString();
        }
        list.endArray();
        list.endStructure();
        texts.push_back(text);
    }
    list.endArray();
    return texts;
}

/// A desktop whose portal is a test's.
class PortalChooserTests : public ::testing::Test {
protected:
    void SetUp() override {
        if (!PrivateBus::isInstalled()) GTEST_SKIP() << "dbus-daemon is not installed";
        bus = std::make_unique<PrivateBus>();
    }
    /// A portal that takes questions up, and answers them when the test says so.
    void startPortal() {
        portal = std::make_unique<FakeBusService>(
            bus->connection("kelvane-test-portal"), portalName, portalPath,
            [this](const QDBusMessage& call, const QDBusConnection& on) {
                if (call.member() == "Close") return;
                QString sender = call.service();
                const auto token = options(call)["handle_token"].toString();
                handle = portalPath + "/request/" + sender.remove(':').replace('.', '_') + "/" + token;
                if (!otherHandle.isEmpty()) handle = otherHandle;
                if (takesUp) on.send(call.createReply(QVariant::fromValue(QDBusObjectPath(handle))));
            });
    }
    static QVariantMap options(const QDBusMessage& call) {
        return qdbus_cast<QVariantMap>(call.arguments().value(2).value<QDBusArgument>());
    }
    void ask(const ChooserRequest& request) {
        chooser = std::make_unique<PortalChooser>(
            context, bus->connection("kelvane-test-asks"), request, [this] { return isShown; },
            [this](ChooserOutcome outcome) { outcomes.push_back(std::move(outcome)); });
    }
    void respond(uint response, const QStringList& uris = {}) {
        auto signal = QDBusMessage::createSignal(handle, "org.freedesktop.portal.Request", "Response");
        signal << response << QVariantMap{{"uris", uris}};
        bus->connection("kelvane-test-portal").send(signal);
    }
    bool isAsked() {
        return waitFor([this] { return !portal->calls.empty(); });
    }
    bool isAnswered() {
        return waitFor([this] { return !outcomes.empty(); });
    }
    /// Whether the question was taken back.
    bool isClosed() {
        return waitFor(
            [this] { return portal->calls.back().member() == "Close" && portal->calls.back().path() == handle; });
    }
    /// Lets what is on the bus arrive.
    void settle() {
        auto ping = QDBusMessage::createMethodCall("org.freedesktop.DBus", "/", "org.freedesktop.DBus.Peer", "Ping");
        for (const char* name : {"kelvane-test-portal", "kelvane-test-asks"})
            (void)bus->connection(name).call(ping, QDBus::BlockWithGui);
        QCoreApplication::processEvents();
    }

    FakeMainContext context;
    std::unique_ptr<PrivateBus> bus;
    std::unique_ptr<FakeBusService> portal;
    std::unique_ptr<PortalChooser> chooser;
    std::vector<ChooserOutcome> outcomes;
    QString handle;
    QString otherHandle;
    bool takesUp = true;
    bool isShown = true;
};

TEST_F(PortalChooserTests, ThePortalIsAskedForFilesAndItsChoiceIsTheAnswer) {
    startPortal();
    ask({.saves = false,
         .title = "Choose videos.",
         .filters = {{"Movies", {"*.mp4", "*.mov"}}, {"All files", {"*"}}},
         .proposedName = {},
         .parentWindow = "x11:2a"});
    ASSERT_TRUE(isAsked());
    const auto& call = portal->calls.front();
    EXPECT_EQ(call.interface(), "org.freedesktop.portal.FileChooser");
    EXPECT_EQ(call.member(), "OpenFile");
    EXPECT_EQ(call.arguments().value(0), "x11:2a");
    EXPECT_EQ(call.arguments().value(1), "Choose videos.");
    EXPECT_EQ(options(call)["multiple"], true);
    EXPECT_EQ(options(call)["modal"], true);
    EXPECT_THAT(filtersIn(options(call)), ElementsAre("Movies *.mp4 *.mov", "All files *"));
    settle();
    respond(0, {"file:///a/b%20c.mp4", "mtp://phone/x.mp4", "file:///a/d.mov"});
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(outcomes.front().kind, Kind::chosen);
    EXPECT_THAT(outcomes.front().files, ElementsAre(FileURL::fromPath("/a/b c.mp4"), FileURL::fromPath("/a/d.mov")));
    chooser.reset();
    settle();
    EXPECT_EQ(portal->calls.size(), 1U) << "nothing is taken back";
}

TEST_F(PortalChooserTests, APlaceForAFileIsAskedWithItsName) {
    startPortal();
    ask({.saves = true, .title = "4K", .filters = {}, .proposedName = "Film.mp4", .parentWindow = {}});
    ASSERT_TRUE(isAsked());
    EXPECT_EQ(portal->calls.front().member(), "SaveFile");
    EXPECT_EQ(options(portal->calls.front())["current_name"], "Film.mp4");
    EXPECT_FALSE(options(portal->calls.front()).contains("multiple"));
    respond(0, {"file:///a/Film.mp4"});
    ASSERT_TRUE(isAnswered());
    EXPECT_THAT(outcomes.front().files, ElementsAre(FileURL::fromPath("/a/Film.mp4")));
}

TEST_F(PortalChooserTests, APersonCancelsAndABrokenChooserIsUnavailable) {
    startPortal();
    for (const auto& [response, kind] : {std::pair(1U, Kind::cancelled), std::pair(2U, Kind::unavailable)}) {
        ask({});
        ASSERT_TRUE(isAsked());
        respond(response);
        ASSERT_TRUE(isAnswered());
        EXPECT_EQ(outcomes.front().kind, kind);
        outcomes.clear();
        portal->calls.clear();
    }
    ask({});
    ASSERT_TRUE(isAsked());
    respond(0);
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(outcomes.front().kind, Kind::cancelled) << "nothing was chosen";
}

TEST_F(PortalChooserTests, WithoutAPortalItIsUnavailableAtOnce) {
    ask({});
    ASSERT_TRUE(isAnswered()) << "without any time passing";
    EXPECT_EQ(outcomes.front().kind, Kind::unavailable);
}

TEST_F(PortalChooserTests, APortalWithoutAChooserIsUnavailableAtOnce) {
    portal = std::make_unique<FakeBusService>(
        bus->connection("kelvane-test-portal"), portalName, portalPath, [](const auto& call, const auto& on) {
            on.send(call.createErrorReply("org.freedesktop.DBus.Error.UnknownMethod", "no such interface"));
        });
    ask({});
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(outcomes.front().kind, Kind::unavailable);
}

TEST_F(PortalChooserTests, APortalThatNeverTakesTheQuestionUpIsGivenUp) {
    takesUp = false;
    startPortal();
    ask({});
    ASSERT_TRUE(isAsked());
    context.advance(PortalChooser::patience - 1ms);
    EXPECT_TRUE(outcomes.empty());
    context.advance(1s);
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes.front().kind, Kind::unavailable);
}

TEST_F(PortalChooserTests, AChooserThatNeverShowsIsTakenBack) {
    isShown = false;
    startPortal();
    ask({});
    ASSERT_TRUE(isAsked());
    settle();
    context.advance(PortalChooser::patience - 1ms);
    EXPECT_TRUE(outcomes.empty());
    context.advance(1s);
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes.front().kind, Kind::unavailable);
    EXPECT_TRUE(isClosed());
    respond(0, {"file:///a/late.mp4"});
    settle();
    EXPECT_EQ(outcomes.size(), 1U);
}

TEST_F(PortalChooserTests, AChooserThatShowsHasAllTheTimeInTheWorld) {
    isShown = false;
    startPortal();
    ask({});
    ASSERT_TRUE(isAsked());
    settle();
    context.advance(2s);
    isShown = true;
    context.advance(1s);
    // The focus comes back to the window behind it.
    isShown = false;
    context.advance(1h);
    EXPECT_TRUE(outcomes.empty());
    respond(0, {"file:///a/b.mp4"});
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(outcomes.front().kind, Kind::chosen);
}

TEST_F(PortalChooserTests, APortalThatGoesIsUnavailable) {
    startPortal();
    ask({});
    ASSERT_TRUE(isAsked());
    settle();
    portal.reset();
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(outcomes.front().kind, Kind::unavailable);
}

TEST_F(PortalChooserTests, ABusThatDiesIsUnavailable) {
    startPortal();
    ask({});
    ASSERT_TRUE(isAsked());
    settle();
    bus->kill();
    ASSERT_TRUE(waitFor([this] {
        context.advance(500ms);
        return !outcomes.empty();
    }));
    EXPECT_EQ(outcomes.front().kind, Kind::unavailable);
    chooser.reset();
}

TEST_F(PortalChooserTests, APortalThatChoosesTheHandleItselfIsHeard) {
    otherHandle = portalPath + "/request/old/style";
    startPortal();
    ask({});
    ASSERT_TRUE(isAsked());
    settle();
    respond(0, {"file:///a/b.mp4"});
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(outcomes.front().kind, Kind::chosen);
}

TEST_F(PortalChooserTests, AQuestionThatNobodyAsksAnyMoreIsTakenBack) {
    startPortal();
    ask({});
    ASSERT_TRUE(isAsked());
    settle();
    chooser.reset();
    EXPECT_TRUE(isClosed());
    EXPECT_TRUE(outcomes.empty());
}

}  // namespace
}  // namespace kelvane::testing
