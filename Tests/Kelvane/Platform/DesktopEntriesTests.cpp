#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "Platform/DesktopEntries.h"
#include "Support/TempFolder.h"

namespace kelvane::testing {
namespace {

using Words = std::vector<std::string>;

std::string entryText(const std::string& name, const std::string& more = {}) {
    return "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=" + name + " %u\n" + more;
}

class DesktopEntriesTests : public ::testing::Test {
protected:
    /// Writes an entry below one of the data folders "home" and "system".
    void add(const std::string& place, const std::string& text) const { folder.write(place + ".desktop", text); }
    /// Path of the entry with this id, in the folder; empty when there is none.
    [[nodiscard]] std::string found(const std::string& id) const {
        const auto entry = DesktopEntries::find(folders, id);
        return entry ? entry->path.substr(folder.path().size() + 1) : "";
    }
    [[nodiscard]] std::string handler(const std::string& scheme) const {
        const auto entry = DesktopEntries::handler(folders, "x-scheme-handler/" + scheme);
        return entry ? entry->id : "";
    }

    TempFolder folder;
    DesktopFolders folders{.data = {folder.path("home"), folder.path("system")},
                           .config = {folder.path("config"), folder.path("etc")},
                           .desktops = {"kde", "gnome"},
                           .programs = {folder.path("bin")}};
};

TEST_F(DesktopEntriesTests, AnEntryIsFoundByItsIdMostImportantFolderFirst) {
    EXPECT_EQ(found("org.example.App"), "");
    add("system/applications/org.example.App", entryText("System"));
    EXPECT_EQ(found("org.example.App"), "system/applications/org.example.App.desktop");
    add("home/applications/org.example.App", entryText("Home"));
    EXPECT_EQ(found("org.example.App"), "home/applications/org.example.App.desktop");
    EXPECT_EQ(found("org.example.app"), "") << "ids are exact";
    EXPECT_EQ(found(""), "");
    EXPECT_EQ(found("../applications/org.example.App"), "");
}

TEST_F(DesktopEntriesTests, FoldersBecomeDashesOfTheId) {
    add("home/applications/a/b-c/d", entryText("Deep"));
    add("home/applications/x-y", entryText("Flat"));
    EXPECT_EQ(found("a-b-c-d"), "home/applications/a/b-c/d.desktop");
    EXPECT_EQ(found("x-y"), "home/applications/x-y.desktop");
    EXPECT_EQ(found("a-b-c"), "");
    EXPECT_EQ(found("-"), "");
}

TEST_F(DesktopEntriesTests, WhatIsNoApplicationIsPassedOver) {
    add("system/applications/app", entryText("System"));
    for (const auto& text :
         {std::string(), std::string("no key file"), std::string("[Desktop Entry]\nType=Link\nURL=x\n"),
          std::string("[Desktop Entry]\nType=Application\nName=A\n"),
          std::string("[Other]\nType=Application\nExec=a\n"), std::string("Type=Application\nExec=a\n"),
          std::string("\0\xff[", 3)}) {
        add("home/applications/app", text);
        EXPECT_EQ(found("app"), "system/applications/app.desktop") << text;
    }
    std::filesystem::remove(folder.path("home/applications/app.desktop"));
    folder.makeFolder("home/applications/app.desktop");
    EXPECT_EQ(found("app"), "system/applications/app.desktop");
    std::filesystem::remove(folder.path("home/applications/app.desktop"));
    mkfifo(folder.path("home/applications/app.desktop").c_str(), 0600);
    EXPECT_EQ(found("app"), "system/applications/app.desktop") << "a pipe isn't waited for";
}

TEST_F(DesktopEntriesTests, HiddenMeansDeletedAndNoDisplayDoesNot) {
    add("system/applications/app", entryText("System"));
    add("home/applications/app", "[Desktop Entry]\nHidden=true\n");
    EXPECT_EQ(found("app"), "") << "the less important one is hidden with it";
    add("home/applications/app", entryText("Home", "NoDisplay=true\n"));
    EXPECT_EQ(found("app"), "home/applications/app.desktop");
    add("home/applications/app", entryText("Home", "Hidden=false\n"));
    EXPECT_EQ(found("app"), "home/applications/app.desktop");
}

TEST_F(DesktopEntriesTests, AProgramThatIsTriedMustBeThere) {
    add("home/applications/app", entryText("A", "TryExec=tool\n"));
    EXPECT_EQ(found("app"), "");
    folder.write("bin/tool");
    EXPECT_EQ(found("app"), "") << "it can't be run";
    chmod(folder.path("bin/tool").c_str(), 0755);
    EXPECT_EQ(found("app"), "home/applications/app.desktop");
    add("home/applications/app", entryText("A", "TryExec=" + folder.path("bin/tool") + "\n"));
    EXPECT_EQ(found("app"), "home/applications/app.desktop");
    add("home/applications/app", entryText("A", "TryExec=" + folder.path("bin") + "\n"));
    EXPECT_EQ(found("app"), "");
}

TEST_F(DesktopEntriesTests, KeysAreReadWithTheirEscapes) {
    const auto entry = DesktopEntries::parse(
        "# comment\n\n[Desktop Entry]\r\nType = Application\r\nName=A\\sB\\\\C\\q\nName[de]=Anders\nName=Again\n"
        "Exec=run\nPath=/tmp\nIcon=icon\nMimeType=a/b; x-scheme-handler/c ;;\n[Desktop Action X]\nExec=other\n");
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->name, "A B\\C\\q");
    EXPECT_EQ(entry->exec, "run");
    EXPECT_EQ(entry->workingFolder, "/tmp");
    EXPECT_EQ(entry->icon, "icon");
    EXPECT_EQ(entry->types, (Words{"a/b", "x-scheme-handler/c"}));
}

TEST_F(DesktopEntriesTests, AHandlerIsTheFirstDefaultThatIsThere) {
    for (const char* id : {"one", "two", "three", "four"}) add(std::string("home/applications/") + id, entryText(id));
    EXPECT_EQ(handler("web"), "");
    // From the least to the most important.
    const auto list = [](const std::string& ids) {
        return "[Added Associations]\nx-scheme-handler/web=no.desktop\n[Default Applications]\nx-scheme-handler/web=" +
               ids + "\nx-scheme-handler/other=no.desktop\n";
    };
    struct Row {
        std::string file;
        std::string ids;
        std::string wanted;
    };
    for (const Row& row : {
             Row{"system/applications/mimeapps.list", "one.desktop", "one"},
             Row{"home/applications/mimeapps.list", "two.desktop;", "two"},
             Row{"etc/mimeapps.list", "gone.desktop;three.desktop", "three"},
             Row{"config/mimeapps.list", "four.desktop", "four"},
             Row{"config/gnome-mimeapps.list", "one.desktop", "one"},
             Row{"config/kde-mimeapps.list", "two.desktop", "two"},
             Row{"config/xfce-mimeapps.list", "three.desktop", "two"},
         }) {
        folder.write(row.file, list(row.ids));
        EXPECT_EQ(handler("web"), row.wanted) << row.file;
    }
    add("home/applications/two", "[Desktop Entry]\nHidden=true\n");
    EXPECT_EQ(handler("web"), "one") << "a default that was deleted doesn't count";
}

TEST_F(DesktopEntriesTests, WithoutADefaultAddedOnesComeBeforeThoseThatNameTheType) {
    add("home/applications/plain", entryText("P"));
    add("system/applications/b", entryText("B", "MimeType=text/plain;x-scheme-handler/web;\n"));
    add("system/applications/sub/a", entryText("A", "MimeType=x-scheme-handler/web\n"));
    EXPECT_EQ(handler("web"), "b");
    EXPECT_EQ(handler("we"), "");
    folder.write("config/mimeapps.list", "[Removed Associations]\nx-scheme-handler/web=b.desktop;\n");
    EXPECT_EQ(handler("web"), "sub-a");
    folder.write("system/applications/mimeapps.list", "[Added Associations]\nx-scheme-handler/web=b.desktop\n");
    EXPECT_EQ(handler("web"), "sub-a") << "a more important list has removed it";
    folder.write("home/applications/mimeapps.list", "[Added Associations]\nx-scheme-handler/web=plain.desktop\n");
    EXPECT_EQ(handler("web"), "plain");
    // A more important entry of that name doesn't open the type.
    folder.write("home/applications/mimeapps.list", "");
    add("home/applications/sub-a", entryText("A"));
    EXPECT_EQ(handler("web"), "");
}

TEST_F(DesktopEntriesTests, ACommandIsSplitAndItsCodesAreResolved) {
    const std::string url = "web://a?b=\"c $d\"";
    struct Row {
        std::string exec;
        Words words;
    };
    for (const Row& row : {
             Row{"app %u", {"app", url}},
             Row{"app %U", {"app", url}},
             Row{"app %f", {"app", url}},
             Row{"app --open=%F -x", {"app", "--open=" + url, "-x"}},
             Row{"app", {"app", url}},
             Row{"  app   -a\t-b  ", {"app", "-a", "-b", url}},
             Row{"\"/opt/My App/run\" %u", {"/opt/My App/run", url}},
             Row{R"(app "a\"b\`c\$d\\e\f" %u)", {"app", R"(a"b`c$d\e\f)", url}},
             Row{R"(app "" %u)", {"app", "", url}},
             Row{"app \"%u\"", {"app", url}},
             Row{"app %i %c %k %u", {"app", "--icon", "icon", "My App", "/e.desktop", url}},
             Row{"app 100%% %u", {"app", "100%", url}},
             Row{"app %d %v %m %u", {"app", url}},
         }) {
        const DesktopEntry entry{.id = "e", .path = "/e.desktop", .name = "My App", .icon = "icon", .exec = row.exec};
        const auto words = DesktopEntries::command(entry, url);
        ASSERT_TRUE(words) << row.exec;
        EXPECT_EQ(*words, row.words) << row.exec;
    }
    for (const char* exec : {"", "  ", "app \"%u", "app %", "app %q", "%d", "\"\" %u"}) {
        const DesktopEntry entry{.name = "My App", .exec = exec};
        const auto words = DesktopEntries::command(entry, url);
        ASSERT_FALSE(words) << exec;
        EXPECT_EQ(words.error(),
                  Error("“My App” could not be opened: its desktop entry has no command that can be run."));
    }
}

TEST_F(DesktopEntriesTests, TheFoldersAreThoseOfTheVariables) {
    const std::vector<std::pair<const char*, const char*>> variables{{"HOME", "/h"},
                                                                     {"XDG_DATA_HOME", "relative"},
                                                                     {"XDG_DATA_DIRS", "/d1::rel:/d2"},
                                                                     {"XDG_CONFIG_HOME", "/c"},
                                                                     {"XDG_CONFIG_DIRS", ""},
                                                                     {"XDG_CURRENT_DESKTOP", "Ubuntu:GNOME"},
                                                                     {"PATH", "/bin:/usr/bin"}};
    std::vector<std::pair<std::string, std::optional<std::string>>> kept;
    for (const auto& [name, value] : variables) {
        const char* old = std::getenv(name);
        kept.emplace_back(name, old == nullptr ? std::nullopt : std::optional<std::string>(old));
        setenv(name, value, 1);
    }
    const auto found = DesktopFolders::ofProcess();
    for (const auto& [name, value] : kept) value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
    EXPECT_EQ(found.data, (Words{"/h/.local/share", "/d1", "/d2"}));
    EXPECT_EQ(found.config, (Words{"/c", "/etc/xdg"}));
    EXPECT_EQ(found.desktops, (Words{"ubuntu", "gnome"}));
    EXPECT_EQ(found.programs, (Words{"/bin", "/usr/bin"}));
}

}  // namespace
}  // namespace kelvane::testing
