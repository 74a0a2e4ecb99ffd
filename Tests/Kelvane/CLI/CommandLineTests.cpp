#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <thread>

#include "CLI/CLIError.h"
#include "CLI/KelvaneCLI.h"
#include "CLI/LocalCLIConnection.h"
#include "Support/TempFolder.h"
#include "Support/TestData.h"

namespace kelvane {
namespace {

using Words = std::vector<std::string>;
using Options = std::map<std::string, std::string>;

constexpr const char* projectText = "8C1F2E4A-0B3D-4C5E-9F60-718293A4B5C6";
const UUID projectID = *UUID::parse(projectText);

const std::string expectedCommand = "Expected --project <projectID> <command>. Run Kelvane cli help.";
const std::string expectedSelector = "Expected --project <UUID> or --socket <path>. Run Kelvane cli help.";

std::string messageOf(const auto& result) { return result ? std::string() : result.error().message; }

TEST(HelpText, IsTheGoldenFile) {
    const std::string golden = testing::testData("help.txt");
    ASSERT_FALSE(golden.empty());
    EXPECT_EQ(std::string(KelvaneCLI::helpText()) + "\n", golden);
}

TEST(Capabilities, AreTheGoldenFile) {
    const std::string golden = testing::testData("capabilities.json");
    ASSERT_FALSE(golden.empty());
    EXPECT_EQ(KelvaneCLI::capabilities() + "\n", golden);
    EXPECT_EQ(&KelvaneCLI::capabilities(), &KelvaneCLI::capabilities());
}

TEST(Commands, AreFourteenAndFoundByTheirWholeNamesAlone) {
    Words names;
    for (const auto& command : KelvaneCLI::commands()) {
        names.emplace_back(command.name);
        EXPECT_EQ(KelvaneCLI::findCommand(command.name), &command);
    }
    EXPECT_EQ(names, (Words{"clip", "contact-sheet", "export", "frames", "import", "preview", "project", "redo",
                            "remove", "rename", "split", "timeline", "undo", "waveform"}));
    for (const char* name : {"", "clips", "cli", "Clip", "help", "zoom", "--project"})
        EXPECT_EQ(KelvaneCLI::findCommand(name), nullptr) << name;
}

TEST(Parsing, RefusesCommandLinesThatNameNoTargetOrCommand) {
    const std::pair<Words, std::string> rows[] = {
        {{}, expectedCommand},
        {{"help", "now"}, expectedCommand},
        {{"--project", projectText}, expectedCommand},
        {{"help", "now", "please"}, expectedSelector},
        {{"--project", "not-a-uuid", "project"}, expectedSelector},
        {{"--project", "", "project"}, expectedSelector},
        {{"--project", "{8C1F2E4A-0B3D-4C5E-9F60-718293A4B5C6}", "project"}, expectedSelector},
        {{"--project", "8C1F2E4A0B3D4C5E9F60718293A4B5C6", "project"}, expectedSelector},
        {{"--Project", projectText, "project"}, expectedSelector},
        {{"--socket", "", "project"}, expectedSelector},
        {{"project", "--project", projectText}, expectedSelector},
        {{"--project", projectText, "help"}, "Unknown command: help. Run Kelvane cli help."},
        {{"--project", projectText, ""}, "Unknown command: . Run Kelvane cli help."},
        {{"--socket", "/s", "Project", "--junk"}, "Unknown command: Project. Run Kelvane cli help."},
    };
    for (const auto& [words, sentence] : rows)
        EXPECT_EQ(messageOf(KelvaneCLI::parse(words)), sentence) << ::testing::PrintToString(words);
}

TEST(Parsing, RefusesOptionsInTheOrderOfTheirWords) {
    const std::pair<Words, std::string> rows[] = {
        {{"undo", "--revision", "R", "--compact", "--compact"}, "Unknown or duplicate option: --compact."},
        {{"clip", "--start", "1", "--start", "2"}, "Unknown or duplicate option: --start."},
        {{"clip", "--start", "1", "5"}, "Unknown or duplicate option: 5."},
        {{"clip", "-start", "1"}, "Unknown or duplicate option: -start."},
        {{"clip", ""}, "Unknown or duplicate option: ."},
        {{"clip", "-"}, "Unknown or duplicate option: -."},
        {{"clip", "--start"}, "Unknown or incomplete option: --start."},
        {{"clip", "--start", "--end", "1"}, "Unknown or incomplete option: --start."},
        {{"clip", "--start", "--"}, "Unknown or incomplete option: --start."},
        {{"clip", "--"}, "Unknown or incomplete option: --."},
        {{"clip", "--start=1"}, "Unknown or incomplete option: --start=1."},
        {{"clip", "--junk", "1"}, "Unknown or incomplete option: --junk."},
        {{"project", "--compact"}, "Unknown or incomplete option: --compact."},
        {{"project", "--include-capabilities", "true"}, "Unknown or duplicate option: true."},
        {{"import", "--revision", "R", "--json", "[]", "--preview"}, "Unknown or incomplete option: --preview."},
        {{"rename", "--revision", "R", "--name", ""}, "Missing --name. Run Kelvane cli help."},
        {{"rename", "--revision", "R"}, "Missing --name. Run Kelvane cli help."},
        {{"rename"}, "Missing --revision. Run Kelvane cli help."},
        {{"split", "--at", "1"}, "Missing --revision. Run Kelvane cli help."},
        {{"split", "--revision", "R", "--at", "1"}, "Missing --id. Run Kelvane cli help."},
        {{"waveform"}, "waveform requires exactly one of --asset or --clip."},
        {{"waveform", "--asset", "A", "--clip", "C"}, "waveform requires exactly one of --asset or --clip."},
        {{"export", "--revision", "R", "--path", "/e.mp4", "--resolution", "8k"},
         "--resolution must be auto, 4k, 1440p, 1080p or 720p."},
        {{"export", "--revision", "R", "--path", "/e.mp4", "--resolution", ""},
         "--resolution must be auto, 4k, 1440p, 1080p or 720p."},
        {{"export", "--revision", "R", "--path", "/e.mp4", "--fps", "24.0"},
         "--fps must be auto, 24, 25, 30, 50 or 60."},
        {{"export", "--revision", "R", "--path", "/e.mp4", "--fps", "030"},
         "--fps must be auto, 24, 25, 30, 50 or 60."},
        {{"export", "--revision", "R", "--path", "/e.mp4", "--fps", "0", "--resolution", "8K"},
         "--resolution must be auto, 4k, 1440p, 1080p or 720p."},
        {{"export", "--fps", "1"}, "Missing --revision. Run Kelvane cli help."},
    };
    for (const auto& [words, sentence] : rows) {
        Words line{"--project", projectText};
        line.insert(line.end(), words.begin(), words.end());
        EXPECT_EQ(messageOf(KelvaneCLI::parse(line)), sentence) << ::testing::PrintToString(words);
    }
}

TEST(Parsing, TurnsACommandLineIntoATargetAndARequest) {
    struct Row {
        Words words;
        Options options;
    };
    const Row rows[] = {
        {{"project"}, {}},
        {{"project", "--include-capabilities"}, {{"include-capabilities", "true"}}},
        {{"rename", "--name", "My film", "--revision", "R"}, {{"name", "My film"}, {"revision", "R"}}},
        {{"frames", "--asset", "A", "--times", "0,1"}, {{"asset", "A"}, {"times", "0,1"}}},
        {{"contact-sheet", "--all", "--count", "4", "--compact"},
         {{"all", "true"}, {"count", "4"}, {"compact", "true"}}},
        {{"waveform", "--asset", ""}, {{"asset", ""}}},
        {{"waveform", "--clip", "C", "--start", "1"}, {{"clip", "C"}, {"start", "1"}}},
        {{"preview"}, {}},
        {{"import", "--json", "-", "--revision", "R"}, {{"json", "-"}, {"revision", "R"}}},
        {{"export", "--revision", "R", "--path", "/e.mov", "--overwrite", "--fps", "auto", "--resolution", "4k"},
         {{"revision", "R"}, {"path", "/e.mov"}, {"overwrite", "true"}, {"fps", "auto"}, {"resolution", "4k"}}},
        {{"timeline", "--revision", "R", "--json", "[]", "--compact", "--preview"},
         {{"revision", "R"}, {"json", "[]"}, {"compact", "true"}, {"preview", "true"}}},
        {{"clip", "--revision", "R", "--id", "C", "--start", "-0.5", "--volume", ""},
         {{"revision", "R"}, {"id", "C"}, {"start", "-0.5"}, {"volume", ""}}},
        {{"split", "--revision", "R", "--id", "C", "--at", "1"}, {{"revision", "R"}, {"id", "C"}, {"at", "1"}}},
        {{"remove", "--revision", "R", "--id", "C"}, {{"revision", "R"}, {"id", "C"}}},
        {{"undo", "--revision", "R"}, {{"revision", "R"}}},
        {{"redo", "--compact", "--revision", "R"}, {{"revision", "R"}, {"compact", "true"}}},
    };
    for (const auto& row : rows) {
        Words byProject{"--project", projectText};
        byProject.insert(byProject.end(), row.words.begin(), row.words.end());
        EXPECT_EQ(KelvaneCLI::parse(byProject),
                  (KelvaneCLI::Invocation{{projectID}, {row.words[0], row.options, projectID}}))
            << ::testing::PrintToString(row.words);

        Words bySocket{"--socket", "/tmp/x/control.sock"};
        bySocket.insert(bySocket.end(), row.words.begin(), row.words.end());
        EXPECT_EQ(KelvaneCLI::parse(bySocket),
                  (KelvaneCLI::Invocation{{std::string("/tmp/x/control.sock")}, {row.words[0], row.options, {}}}))
            << ::testing::PrintToString(row.words);
    }
}

TEST(Parsing, TakesAUUIDInLowerCaseAndSendsItInUpperCase) {
    const auto invocation = KelvaneCLI::parse(Words{"--project", projectID.lower(), "project"});
    ASSERT_TRUE(invocation);
    EXPECT_EQ(encodeCLIRequest(invocation->request),
              R"({"command":"project","options":{},"projectID":"8C1F2E4A-0B3D-4C5E-9F60-718293A4B5C6"})");
}

TEST(Validation, AnswersForRequestsMadeByHand) {
    const std::pair<CLIRequest, std::string> rows[] = {
        {{"", {}, {}}, "Unknown command: . Run Kelvane cli help."},
        {{"zoom", {{"junk", "1"}}, {}}, "Unknown command: zoom. Run Kelvane cli help."},
        {{"undo", {{"revision", "R"}, {"compact", "false"}}, {}},
         "Unknown or invalid option: --compact. Run Kelvane cli help."},
        {{"undo", {{"revision", "R"}, {"compact", "True"}}, {}},
         "Unknown or invalid option: --compact. Run Kelvane cli help."},
        {{"project", {{"compact", "true"}}, {}}, "Unknown or invalid option: --compact. Run Kelvane cli help."},
        {{"project", {{"", ""}}, {}}, "Unknown or invalid option: --. Run Kelvane cli help."},
        {{"undo", {{"zebra", "1"}}, {}}, "Unknown or invalid option: --zebra. Run Kelvane cli help."},
        {{"timeline", {{"revision", "R"}, {"json", ""}}, {}}, "Missing --json. Run Kelvane cli help."},
        {{"timeline", {{"revision", ""}, {"json", ""}}, {}}, "Missing --revision. Run Kelvane cli help."},
        {{"waveform", {{"asset", ""}, {"clip", ""}}, {}}, "waveform requires exactly one of --asset or --clip."},
        {{"waveform", {{"asset", ""}}, {}}, ""},
        {{"undo", {{"revision", "R"}, {"compact", "true"}}, {}}, ""},
        {{"export", {{"revision", "R"}, {"path", "relative.txt"}}, {}}, ""},
    };
    for (const auto& [request, sentence] : rows)
        EXPECT_EQ(messageOf(KelvaneCLI::validate(request)), sentence) << encodeCLIRequest(request);
}

TEST(Targets, FindAProjectByItsRecordAndRefuseWithoutOne) {
    const testing::TempFolder folder;
    const std::string registry = folder.path() + "/registry";
    const KelvaneCLI::Target target{projectID};
    const std::string notConnected =
        "This Kelvane project is not connected. Reopen the project in Kelvane, then retry the command.";
    EXPECT_EQ(messageOf(target.request("{}", registry)), notConnected);

    const auto connection = LocalCLIConnection::start(
        [](const std::string& request, const LocalCLIConnection::Reply& reply) { reply("echo " + request); });
    ASSERT_TRUE(connection);
    auto discovery = CLIProjectDiscovery::start(projectID, (*connection)->socketPath(), registry);
    ASSERT_TRUE(discovery);
    EXPECT_EQ(target.request("{}", registry), "echo {}");
    EXPECT_EQ(KelvaneCLI::Target{(*connection)->socketPath()}.request("hello", registry), "echo hello");

    (*connection)->cancel();
    EXPECT_EQ(messageOf(target.request("{}", registry)),
              "Kelvane is not connected. Reopen the project in Kelvane and use --project <projectID> to discover its "
              "current connection.");
    (*discovery)->stop();
    EXPECT_EQ(messageOf(target.request("{}", registry)), notConnected);

    ASSERT_EQ(chmod(registry.c_str(), 0755), 0);
    EXPECT_EQ(messageOf(target.request("{}", registry)), "The Kelvane connection registry is not private.");
}

/// What `readInput` makes of `bytes` that come through a pipe.
Result<std::string> inputOf(const std::string& bytes) {
    int ends[2];
    if (pipe(ends) != 0) return fail("no pipe");
    std::thread writer([&] {
        for (std::size_t at = 0; at < bytes.size();) {
            const ssize_t count = write(ends[1], bytes.data() + at, bytes.size() - at);
            if (count <= 0) break;
            at += static_cast<std::size_t>(count);
        }
        close(ends[1]);
    });
    auto result = KelvaneCLI::readInput(ends[0]);
    // What is left over is taken, so that the writer ends without a signal.
    char rest[4096];
    while (read(ends[0], rest, sizeof rest) > 0) {
    }
    writer.join();
    close(ends[0]);
    return result;
}

TEST(StandardInput, IsTakenWholeUpToOneMebibyteOfUTF8) {
    const std::string notUTF8 = "stdin must be UTF-8 JSON of at most 1 MiB.";
    const std::string limit(1'048'576, 'a');
    for (const std::string& text : {std::string(), std::string(" [] \n"), std::string("a\0b", 3), limit,
                                    std::string("→ é 😀 \xEF\xBF\xBF \xF4\x8F\xBF\xBF")}) {
        const auto result = inputOf(text);
        ASSERT_TRUE(result) << result.error().message;
        EXPECT_TRUE(*result == text) << text.size();
    }
    EXPECT_EQ(messageOf(inputOf(limit + "a")), "stdin exceeds 1 MiB.");
    EXPECT_EQ(messageOf(inputOf(limit + std::string(100'000, '\xFF'))), "stdin exceeds 1 MiB.");
    for (const char* text : {"\xFF", "\x80", "a\xC3", "\xC0\xAF", "\xC1\xBF", "\xE0\x80\xAF", "\xED\xA0\x80",
                             "\xF0\x80\x80\xAF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xE2\x86", "\xE2\x41\x92"}) {
        EXPECT_EQ(messageOf(inputOf(text)), notUTF8) << ::testing::PrintToString(text);
    }
    EXPECT_EQ(messageOf(inputOf(std::string(1'048'575, 'a') + "\xC3")), notUTF8);
    EXPECT_EQ(messageOf(KelvaneCLI::readInput(-1)), "Standard input could not be read: Bad file descriptor.");
}

}  // namespace
}  // namespace kelvane
