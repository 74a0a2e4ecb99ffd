#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "Assistant/AIDesktopAssistant.h"
#include "Platform/XDGDesktopServices.h"
#include "Support/App/EditorFixture.h"
#include "Support/App/FakeMainContext.h"
#include "Support/FileDescriptor.h"
#include "Support/Patience.h"
#include "Support/TempFolder.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

/// A desktop of two folders with one application, whose program is a script.
class XDGDesktopServicesTests : public ::testing::Test {
protected:
    XDGDesktopServicesTests() { folder.makeFolder("home/applications"); }

    /// Writes a program that a shell runs.
    void program(const std::string& name, const std::string& lines, unsigned mode = 0755) const {
        folder.write("bin/" + name, "#!/bin/sh\n" + lines + "\n");
        chmod(folder.path("bin/" + name).c_str(), mode);
    }
    void entry(const std::string& id, const std::string& exec, const std::string& more = {}) const {
        folder.write("home/applications/" + id + ".desktop",
                     "[Desktop Entry]\nType=Application\nName=Editor\nIcon=pen\nExec=" + exec + "\n" + more);
    }
    Result<void> open(const std::string& url, std::chrono::milliseconds watch = patience) {
        XDGDesktopServices desktop(context, folders, watch);
        const auto application = desktop.applicationFor("org.example.Editor", "web");
        check(application.has_value(), "the application is there");
        return opened(desktop, url, *application);
    }
    Result<void> opened(DesktopServices& desktop, const std::string& url, const DesktopApplication& application) {
        std::optional<Result<void>> answer;
        const auto waiter = keep(desktop.open(url, application), &answer);
        context.settle();
        check(answer.has_value(), "an opening comes to its end");
        return *answer;
    }

    TempFolder folder;
    FakeMainContext context;
    DesktopFolders folders{.data = {folder.path("home"), folder.path("system")},
                           .config = {folder.path("config")},
                           .desktops = {},
                           .programs = {folder.path("bin"), "/usr/bin", "/bin"}};
};

TEST_F(XDGDesktopServicesTests, AnApplicationIsFoundByItsIdAndElseByItsScheme) {
    XDGDesktopServices desktop(context, folders);
    EXPECT_EQ(desktop.applicationFor("org.example.Editor", "web"), std::nullopt);
    entry("other", "other", "MimeType=x-scheme-handler/web;\n");
    EXPECT_EQ(
        desktop.applicationFor("org.example.Editor", "web"),
        (DesktopApplication{
            .id = "other", .entry = folder.url("home/applications/other.desktop"), .name = "Editor", .icon = "pen"}));
    EXPECT_EQ(desktop.applicationFor("org.example.Editor", "gopher"), std::nullopt);
    entry("org.example.Editor", "editor");
    EXPECT_EQ(desktop.applicationFor("org.example.Editor", "web")->id, "org.example.Editor");
    entry("org.example.Editor", "editor", "Hidden=true\n");
    EXPECT_EQ(desktop.applicationFor("org.example.Editor", "web")->id, "other");
}

TEST_F(XDGDesktopServicesTests, TheProgramGetsTheURLAsOneWord) {
    program("editor", "printf '%s\\n' \"$#\" \"$@\" > '" + folder.path("record") + "'");
    entry("org.example.Editor", "editor --new %u");
    const std::string url = "web://threads/new?path=/a%20b&q='$(touch x)';`y`%E2%80%9C\"*";
    const auto answer = open(url);
    ASSERT_TRUE(answer) << answer.error().message;
    EXPECT_EQ(folder.read("record"), "2\n--new\n" + url + "\n");
}

TEST_F(XDGDesktopServicesTests, AnAssistantIsOpenedThroughItsEntryOnATask) {
    program("assistant", "printf '%s\\n' \"$1\" > '" + folder.path("record") + "'");
    entry("com.anthropic.claudefordesktop", "assistant %u");
    // Found by the links that it opens: its entry has another name.
    entry("chat", "assistant %U", "MimeType=x-scheme-handler/codex;\n");
    XDGDesktopServices desktop(context, folders, patience);
    EXPECT_EQ(AIDesktopAssistant::installed(desktop),
              (std::vector<AIDesktopAssistant>{AIDesktopAssistant::chatGPT, AIDesktopAssistant::claude}));
    const auto project = FileURL::fromPath("/library/AI/Kelvane - Holiday");
    struct Row {
        AIDesktopAssistant assistant;
        std::string url;
    };
    for (const Row& row :
         {Row{AIDesktopAssistant::chatGPT,
              "codex://threads/new?path=/library/AI/Kelvane%20-%20Holiday&prompt=Cut%20it&mode=work"},
          Row{AIDesktopAssistant::claude, "claude://code/new?folder=/library/AI/Kelvane%20-%20Holiday&q=Cut%20it"}}) {
        std::optional<Result<void>> answer;
        const auto waiter = keep(row.assistant.open(desktop, project, "Cut it"), &answer);
        context.settle();
        ASSERT_TRUE(answer && *answer) << row.url;
        EXPECT_EQ(folder.read("record"), row.url + "\n");
    }
    // The program says that it couldn't: nothing was opened.
    program("assistant", "exit 3");
    std::optional<Result<void>> answer;
    const auto waiter = keep(AIDesktopAssistant(AIDesktopAssistant::claude).open(desktop, project, "Cut it"), &answer);
    context.settle();
    ASSERT_TRUE(answer);
    EXPECT_FALSE(*answer);
}

TEST_F(XDGDesktopServicesTests, AnOpeningDoesNotHoldTheMainThread) {
    program("editor", "exit 0");
    entry("org.example.Editor", "editor %u");
    XDGDesktopServices desktop(context, folders);
    std::optional<Result<void>> answer;
    const auto waiter = keep(desktop.open("web:x", *desktop.applicationFor("org.example.Editor", "web")), &answer);
    EXPECT_FALSE(answer);
    EXPECT_EQ(context.waitingInBackground(), 1U);
    context.settle();
    EXPECT_TRUE(answer && *answer);
}

TEST_F(XDGDesktopServicesTests, AProgramThatGoesOnIsOpenAndLivesByItself) {
    program("editor", "echo $$ > '" + folder.path("new") + "'; mv '" + folder.path("new") + "' '" + folder.path("pid") +
                          "'; exec sleep 600");
    entry("org.example.Editor", "editor %u");
    // Whatever still runs at the end of the watch is open.
    ASSERT_TRUE(open("web:x", 0ms));
    // A busy machine may not have come to the program's first line.
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!folder.exists("pid") && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    const auto pid = std::atoi(folder.read("pid").c_str());
    ASSERT_GT(pid, 1);
    EXPECT_EQ(::kill(pid, 0), 0);
    EXPECT_NE(getsid(pid), getsid(0));
    EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), -1) << "it is nobody's child";
    EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/fd/1"), "/dev/null");
    ::kill(pid, SIGKILL);
}

TEST_F(XDGDesktopServicesTests, TheProgramHoldsNoneOfOurFiles) {
    program("editor", "ls /proc/self/fd > '" + folder.path("record") + "'");
    entry("org.example.Editor", "editor %u");
    const FileDescriptor ours(::open("/dev/null", O_RDONLY));  // inherited unless someone sees to it
    ASSERT_GE(ours.get(), 3);
    ASSERT_TRUE(open("web:x"));
    // The listing itself opens a file.
    EXPECT_EQ(folder.read("record"), "0\n1\n2\n3\n");
}

TEST_F(XDGDesktopServicesTests, FailuresHaveTheirSentences) {
    struct Row {
        std::string exec;
        std::string more;
        std::string reason;
    };
    program("fails", "exit 3");
    program("dies", "kill -SEGV $$");
    program("locked", "exit 0", 0644);
    program("fine", "exit 0");
    folder.write("bin/broken", "#!/no/such/interpreter\n");
    chmod(folder.path("bin/broken").c_str(), 0755);
    for (const Row& row : {
             Row{"fails %u", "", ": its program ended at once with the status 3."},
             Row{"dies %u", "", ": its program was ended at once by a signal (Segmentation fault)."},
             Row{"missing %u", "", ": its program “missing” can't be found."},
             Row{folder.path("bin/locked") + " %u", "",
                 ": its program “" + folder.path("bin/locked") + "” can't be found."},
             Row{"broken %u", "", ": No such file or directory."},
             Row{"fine %u", "Path=" + folder.path("gone") + "\n",
                 ": its folder “" + folder.path("gone") + "” can't be entered: No such file or directory."},
             Row{"fine %q", "", ": its desktop entry has no command that can be run."},
         }) {
        entry("org.example.Editor", row.exec, row.more);
        const auto answer = open("web:x");
        ASSERT_FALSE(answer) << row.exec;
        EXPECT_EQ(answer.error().message, "“Editor” could not be opened" + row.reason);
    }
}

TEST_F(XDGDesktopServicesTests, AnEntryIsReadAnewWhenItIsOpened) {
    program("editor", "exit 0");
    entry("org.example.Editor", "missing %u");
    XDGDesktopServices desktop(context, folders);
    const auto application = desktop.applicationFor("org.example.Editor", "web");
    entry("org.example.Editor", "editor %u", "Path=" + folder.path("bin") + "\n");
    EXPECT_TRUE(opened(desktop, "web:x", *application));
    std::filesystem::remove(folder.path("home/applications/org.example.Editor.desktop"));
    const auto answer = opened(desktop, "web:x", *application);
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error().message, "“Editor” could not be opened: it is no longer installed.");
}

}  // namespace
}  // namespace kelvane::testing
