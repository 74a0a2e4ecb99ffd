#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "Assistant/AIDesktopAssistant.h"
#include "Assistant/AssistantInstructions.h"
#include "Support/TempFolder.h"
#include "Support/TestData.h"
#include "Support/UnprivilegedUser.h"

namespace kelvane {
namespace {

using testing::TempFolder;

const UUID projectID = UUID::parse("1b5c0000-aaaa-4bbb-8ccc-0123456789ab").value();
const FileURL executable = FileURL::fromPath("/opt/Tom's Films/kelvane");
const std::string begin = "<!-- Kelvane CLI: begin -->";
const std::string end = "<!-- Kelvane CLI: end -->";
const AIDesktopAssistant chatGPT = AIDesktopAssistant::chatGPT;
const AIDesktopAssistant claude = AIDesktopAssistant::claude;

/// The whole file that a missing one becomes.
std::string golden() { return testing::testData("instructions.md"); }
/// The section alone, without the file's last line feed.
std::string section() {
    auto text = golden();
    text.pop_back();
    return text;
}

class ManagedInstructions : public ::testing::Test {
protected:
    Result<void> write(AIDesktopAssistant assistant = chatGPT) const {
        return assistant.writeProjectInstructions(folder.url(), executable, projectID);
    }
    /// The file, once it held `before` and was written.
    std::string refreshed(const std::string& before) const {
        folder.write("AGENTS.md", before);
        const auto written = write();
        EXPECT_TRUE(written) << written.error().message;
        return folder.read("AGENTS.md");
    }
    TempFolder folder;
};

TEST_F(ManagedInstructions, TheTextsHaveTheirLengths) {
    EXPECT_EQ(AssistantInstructions::beforeCommand.size(), 387U);
    EXPECT_EQ(AssistantInstructions::behindCommand.size(), 3637U);
    EXPECT_EQ(AssistantInstructions::behindOpenCommand.size(), 321U);
}

TEST_F(ManagedInstructions, AMissingOrEmptyFileBecomesTheSectionAlone) {
    ASSERT_TRUE(write());
    EXPECT_EQ(folder.read("AGENTS.md"), golden());
    EXPECT_EQ(refreshed(""), golden());
    EXPECT_EQ(folder.entries(), std::vector<std::string>{"AGENTS.md"}) << "nothing else is left behind";
}

TEST_F(ManagedInstructions, EachAssistantHasItsFile) {
    ASSERT_TRUE(write(claude));
    EXPECT_EQ(folder.entries(), std::vector<std::string>{"CLAUDE.md"});
    EXPECT_EQ(folder.read("CLAUDE.md"), golden()) << "the text is the same for all";
}

TEST_F(ManagedInstructions, TheSectionGoesBehindWhatIsThere) {
    struct Row {
        std::string before;
        std::string separator;
    };
    for (const Row& row : {Row{"notes", "\n\n"}, Row{"notes\n", "\n"}, Row{"notes\n\n", ""}, Row{"notes\n\n\n", ""},
                           Row{"\n", "\n"}, Row{"\n\n", ""}, Row{"notes\r\n", "\n"}, Row{"ü\xE2\x80\xA8", "\n\n"},
                           // A stray end is no section, and a marker is exact.
                           Row{end + "\n", "\n"}, Row{"<!-- kelvane cli: begin -->\n", "\n"},
                           Row{"<!--Kelvane CLI: begin-->\n", "\n"}}) {
        EXPECT_EQ(refreshed(row.before), row.before + row.separator + section() + "\n") << row.before;
        EXPECT_EQ(refreshed(folder.read("AGENTS.md")), row.before + row.separator + section() + "\n")
            << "again: " << row.before;
    }
}

TEST_F(ManagedInstructions, ASectionIsReplacedWhereItStands) {
    struct Row {
        std::string before;
        std::string after;
    };
    const std::string old = begin + "\nold text\n" + end;
    const auto now = section();
    for (const Row& row :
         {Row{old, now}, Row{old + "\n", now + "\n"}, Row{"before " + old + " behind", "before " + now + " behind"},
          Row{"# Mine\r\n\n" + old + "\n\n\nYours \xF0\x9F\x8E\xAC",
              "# Mine\r\n\n" + now + "\n\n\nYours \xF0\x9F\x8E\xAC"},
          Row{begin + end, now},
          // The first begin counts, up to the first end behind it.
          Row{begin + "a" + begin + "b" + end + "c" + end, now + "c" + end}, Row{end + "\n" + old, end + "\n" + now},
          Row{old + "\n" + old, now + "\n" + old}}) {
        EXPECT_EQ(refreshed(row.before), row.after) << row.before;
        EXPECT_EQ(refreshed(row.after), row.after) << "a second refresh changes nothing";
    }
}

TEST_F(ManagedInstructions, ASectionWithoutAnEndIsLeftAlone) {
    for (const auto& before : {begin, "notes\n" + begin + "\ntext\n", end + "\n" + begin + "\n"}) {
        for (const auto& [assistant, file] : {std::pair{chatGPT, "AGENTS.md"}, std::pair{claude, "CLAUDE.md"}}) {
            folder.write(file, before);
            const auto written = write(assistant);
            ASSERT_FALSE(written);
            EXPECT_EQ(written.error(), Error("Could not update Kelvane instructions in " + std::string(file) +
                                             ": incomplete managed section."));
            EXPECT_EQ(folder.read(file), before);
        }
    }
}

TEST_F(ManagedInstructions, AFileThatCantBeReadAsTextIsLeftAlone) {
    for (const auto& before : {std::string("\xFF\xFEn"), std::string("caf\xE9\n"), "notes\xC3" + begin + end,
                               std::string("\xED\xA0\x80"), std::string("\xC0\x80")}) {
        folder.write("AGENTS.md", before);
        const auto written = write();
        ASSERT_FALSE(written);
        EXPECT_EQ(written.error().message, "“AGENTS.md” could not be read: it is not UTF-8 text.");
        EXPECT_EQ(folder.read("AGENTS.md"), before);
    }
}

TEST_F(ManagedInstructions, AFolderInThePlaceOfTheFileIsLeft) {
    folder.makeFolder("AGENTS.md/mine");
    const auto written = write();
    ASSERT_FALSE(written);
    EXPECT_NE(written.error().message.find("“AGENTS.md”"), std::string::npos) << written.error().message;
    EXPECT_TRUE(folder.exists("AGENTS.md/mine"));
}

TEST_F(ManagedInstructions, ALinkIsFollowedAndStays) {
    folder.makeFolder("mine");
    std::filesystem::create_symlink("mine/notes.md", folder.path("AGENTS.md"));
    ASSERT_TRUE(write());
    EXPECT_EQ(folder.read("mine/notes.md"), golden()) << "a link to nothing makes the file";
    folder.write("mine/notes.md", "notes\n");
    ASSERT_TRUE(write());
    EXPECT_EQ(folder.read("mine/notes.md"), "notes\n\n" + section() + "\n");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("AGENTS.md")));
    EXPECT_EQ(folder.entries(), (std::vector<std::string>{"AGENTS.md", "mine", "mine/notes.md"}));
}

TEST_F(ManagedInstructions, ALinkThatLeadsNowhereIsLeft) {
    std::filesystem::create_symlink("AGENTS.md", folder.path("AGENTS.md"));
    std::filesystem::create_symlink("gone/notes.md", folder.path("CLAUDE.md"));
    for (const auto& [assistant, file] : {std::pair{chatGPT, "AGENTS.md"}, std::pair{claude, "CLAUDE.md"}}) {
        const auto written = write(assistant);
        ASSERT_FALSE(written);
        EXPECT_NE(written.error().message.find("“" + std::string(file) + "”"), std::string::npos)
            << written.error().message;
        EXPECT_TRUE(std::filesystem::is_symlink(folder.path(file)));
    }
    EXPECT_EQ(folder.entries(), (std::vector<std::string>{"AGENTS.md", "CLAUDE.md"}));
}

TEST_F(ManagedInstructions, AFileThatMayNotBeReadIsLeft) {
    folder.write("AGENTS.md", "secret");
    chmod(folder.path().c_str(), 0777);
    chmod(folder.path("AGENTS.md").c_str(), 0200);
    {
        const testing::UnprivilegedUser nobody;
        const auto written = write();
        ASSERT_FALSE(written);
        EXPECT_EQ(written.error().message, "“AGENTS.md” could not be read: Permission denied.");
    }
    chmod(folder.path("AGENTS.md").c_str(), 0600);
    EXPECT_EQ(folder.read("AGENTS.md"), "secret");
}

TEST_F(ManagedInstructions, AFolderThatMayNotBeWrittenKeepsTheOldFile) {
    folder.write("AGENTS.md", "notes");
    chmod(folder.path().c_str(), 0555);
    {
        const testing::UnprivilegedUser nobody;
        const auto written = write();
        ASSERT_FALSE(written);
        EXPECT_NE(written.error().message.find("“AGENTS.md”"), std::string::npos) << written.error().message;
        EXPECT_NE(written.error().message.find("Permission denied"), std::string::npos) << written.error().message;
    }
    EXPECT_EQ(folder.read("AGENTS.md"), "notes");
}

TEST_F(ManagedInstructions, AMissingFolderIsTold) {
    const auto written = chatGPT.writeProjectInstructions(folder.url("gone"), executable, projectID);
    ASSERT_FALSE(written);
    EXPECT_NE(written.error().message.find("“AGENTS.md”"), std::string::npos) << written.error().message;
}

TEST_F(ManagedInstructions, TheProgramIsNamedAsGivenAndABundleIsOpenedByName) {
    folder.write("Kelvane.app/Contents/bin/kelvane");
    std::filesystem::create_symlink(folder.path("Kelvane.app/Contents/bin/kelvane"), folder.path("link"));
    ASSERT_TRUE(chatGPT.writeProjectInstructions(folder.url(), folder.url("link"), projectID));
    const auto text = folder.read("AGENTS.md");
    EXPECT_NE(text.find("\n'" + folder.path("link") + "' cli --project '1B5C0000-AAAA-4BBB-8CCC-0123456789AB' project"),
              std::string::npos);
    EXPECT_NE(text.find("\n/usr/bin/open -a '" + folder.path("Kelvane.app") +
                        "' 'kelvane://project/1B5C0000-AAAA-4BBB-8CCC-0123456789AB'\n```\n"),
              std::string::npos);
}

}  // namespace
}  // namespace kelvane
