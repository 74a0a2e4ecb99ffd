#include <gmock/gmock.h>
#include <sys/stat.h>

#include "Platform/XDGDesktopServices.h"
#include "Support/App/FinishTask.h"
#include "Support/App/PrivateBus.h"
#include "Support/Patience.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const QString fileManager = "org.freedesktop.FileManager1";

/// A desktop with a program that opens folders, and a bus for its file manager.
class ShowInFolder : public ::testing::Test {
protected:
    ShowInFolder() {
        folder.write("bin/xdg-open", "#!/bin/sh\nprintf '%s\\n' \"$@\" >> '" + folder.path("opened") + "'\n");
        chmod(folder.path("bin/xdg-open").c_str(), 0755);
    }
    void SetUp() override {
        if (!PrivateBus::isInstalled()) GTEST_SKIP() << "dbus-daemon is not installed";
        bus = std::make_unique<PrivateBus>();
    }
    /// Asks to show a file.
    void show(const FileURL& file) { waiter = keep(desktop.showInFolder(file), &answer); }
    /// Lets works and calls go on until it is so.
    bool becomes(const std::function<bool()>& isSo) {
        return waitFor([&] {
            context.settle();
            return isSo();
        });
    }
    bool isAnswered() {
        return becomes([this] { return answer.has_value(); });
    }
    /// What a file manager was asked, as "ShowItems file:///…".
    static std::vector<std::string> asked(const FakeBusService& manager) {
        std::vector<std::string> texts;
        for (const auto& call : manager.calls)
            texts.push_back((call.member() + " " + call.arguments().value(0).toStringList().join(' ')).toStdString());
        return texts;
    }

    TempFolder folder;
    FakeMainContext context;
    std::unique_ptr<PrivateBus> bus;
    XDGDesktopServices desktop{
        context,
        DesktopFolders{.data = {}, .config = {}, .desktops = {}, .programs = {folder.path("bin"), "/usr/bin", "/bin"}},
        patience, [this]() -> std::optional<QDBusConnection> {
            if (!bus) return std::nullopt;
            const auto mine = bus->connection("kelvane-test-asks");
            return mine.isConnected() ? std::optional(mine) : std::nullopt;
        }};
    std::optional<Result<void>> answer;
    QCoro::Task<void> waiter;
};

TEST_F(ShowInFolder, TheFileManagerSelectsTheFile) {
    FakeBusService manager(bus->connection("kelvane-test-answers"), fileManager, "/org/freedesktop/FileManager1",
                           [](const auto& call, const auto& on) { on.send(call.createReply()); });
    const auto file = folder.write("Out/A film #1.mp4");
    show(file);
    ASSERT_TRUE(isAnswered());
    EXPECT_TRUE(*answer);
    EXPECT_THAT(asked(manager), ElementsAre("ShowItems " + file.absoluteString()));
    EXPECT_FALSE(folder.exists("opened"));
}

TEST_F(ShowInFolder, OfAFileThatIsGoneTheFolderIsShownAndOfAFolderThatIsGoneASentence) {
    FakeBusService manager(bus->connection("kelvane-test-answers"), fileManager, "/org/freedesktop/FileManager1",
                           [](const auto& call, const auto& on) { on.send(call.createReply()); });
    show(folder.makeFolder("Out").appending("gone.mp4"));
    ASSERT_TRUE(isAnswered());
    EXPECT_TRUE(*answer);
    EXPECT_THAT(asked(manager), ElementsAre("ShowFolders " + folder.url("Out").absoluteString()));
    answer.reset();
    show(folder.url("Nowhere/film.mp4"));
    ASSERT_TRUE(isAnswered());
    ASSERT_FALSE(*answer);
    EXPECT_EQ(answer->error().message, "“film.mp4” can't be shown in its folder: the folder “Nowhere” is gone.");
}

TEST_F(ShowInFolder, WithoutAFileManagerTheFolderOpens) {
    show(folder.write("Out/film.mp4"));
    ASSERT_TRUE(isAnswered());
    EXPECT_TRUE(*answer) << answer->error().message;
    EXPECT_EQ(folder.read("opened"), folder.path("Out") + "\n");
}

TEST_F(ShowInFolder, WithoutABusTheFolderOpens) {
    bus.reset();
    show(folder.write("Out/film.mp4"));
    ASSERT_TRUE(isAnswered());
    EXPECT_TRUE(*answer);
    EXPECT_EQ(folder.read("opened"), folder.path("Out") + "\n");
}

TEST_F(ShowInFolder, AFileManagerThatStaysSilentIsGivenUpAndTheFolderOpens) {
    FakeBusService manager(bus->connection("kelvane-test-answers"), fileManager, "/org/freedesktop/FileManager1");
    show(folder.write("Out/film.mp4"));
    ASSERT_TRUE(becomes([&] { return !manager.calls.empty(); }));
    context.advance(XDGDesktopServices::fileManagerPatience - std::chrono::milliseconds(1));
    context.settle();
    EXPECT_FALSE(folder.exists("opened"));
    context.advance(std::chrono::milliseconds(1));
    ASSERT_TRUE(isAnswered());
    EXPECT_TRUE(*answer);
    EXPECT_EQ(folder.read("opened"), folder.path("Out") + "\n");
}

TEST_F(ShowInFolder, ABusThatDiesAmidTheQuestionEndsNothing) {
    FakeBusService manager(bus->connection("kelvane-test-answers"), fileManager, "/org/freedesktop/FileManager1");
    const auto film = folder.write("Out/film.mp4");
    show(film);
    ASSERT_TRUE(becomes([&] { return !manager.calls.empty(); }));
    bus->kill();
    ASSERT_TRUE(isAnswered()) << "without any time passing";
    EXPECT_TRUE(*answer);
    answer.reset();
    show(film);
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(folder.read("opened"), folder.path("Out") + "\n" + folder.path("Out") + "\n");
}

TEST_F(ShowInFolder, WhereNothingOpensFoldersASentenceSaysSo) {
    std::filesystem::remove(folder.path("bin/xdg-open"));
    XDGDesktopServices bare(context,
                            DesktopFolders{.data = {}, .config = {}, .desktops = {}, .programs = {folder.path("bin")}},
                            patience, [] { return std::nullopt; });
    waiter = keep(bare.showInFolder(folder.write("Out/film.mp4")), &answer);
    ASSERT_TRUE(isAnswered());
    ASSERT_FALSE(*answer);
    EXPECT_EQ(answer->error().message,
              "“film.mp4” can't be shown in its folder: the desktop has no program that opens folders.");
}

}  // namespace
}  // namespace kelvane::testing
