#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <set>

#include "Assistant/AIDesktopAssistant.h"
#include "Footage.h"
#include "LiveApplication.h"
#include "Support/FileURL.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;

/// An assistant that knows nothing but the instruction file of its folder: it takes the commands from there, each as it
/// stands, and puts what they leave open (a revision, an id, a path) in the place of their capitals and dots.
class AssistantTests : public ::testing::TestWithParam<AIDesktopAssistant> {
protected:
    void SetUp() override {
        folder.write("First Film.kelvane", "{\"clips\":[],\"version\":1}");
        app = std::make_unique<LiveApplication>(folder, std::vector<std::string>{folder.path("First Film.kelvane")});
        ASSERT_TRUE(app->waitForProject()) << folder.read("application.log");
        const std::string work = folder.path("Work");
        std::filesystem::create_directory(work);
        const auto written = GetParam().writeProjectInstructions(
            FileURL::fromPath(work), FileURL::fromPath(KELVANE_EXECUTABLE), *UUID::parse(app->project()));
        ASSERT_TRUE(written) << written.error().message;
        text = folder.read("Work/" + std::string(GetParam().instructionFile()));
        blocks = shellBlocks();
        ASSERT_EQ(blocks.size(), 2U);
        const auto at = blocks[0].find(" project --include-capabilities");
        ASSERT_NE(at, std::string::npos);
        prefix = blocks[0].substr(0, at);
    }

    [[nodiscard]] std::vector<std::string> shellBlocks() const {
        std::vector<std::string> found;
        for (std::size_t at = 0; (at = text.find("```sh\n", at)) != std::string::npos;) {
            at += 6;
            found.push_back(text.substr(at, text.find("\n```", at) - at));
        }
        return found;
    }
    /// The commands in backticks, blanks and line breaks brought to one blank, in the order of their first appearance.
    [[nodiscard]] std::vector<std::string> commands(const json& capabilities) const {
        std::vector<std::string> found;
        const std::regex quoted("`([^`]+)`");
        std::string prose = text;
        for (const auto& block : blocks) prose.erase(prose.find(block), block.size());
        prose = std::regex_replace(prose, std::regex("```(sh)?"), "");
        for (std::sregex_iterator match(prose.begin(), prose.end(), quoted), end; match != end; ++match) {
            const std::string command = std::regex_replace((*match)[1].str(), std::regex("\\s+"), " ");
            const bool known = std::ranges::any_of(capabilities["commands"], [&](const json& row) {
                return row["name"] == command.substr(0, command.find(' '));
            });
            if (known && std::ranges::find(found, command) == found.end()) found.push_back(command);
        }
        return found;
    }
    /// Runs a line in the folder, as a shell does.
    [[nodiscard]] ProcessResult shell(const std::string& line) const {
        return runProcess({"sh", "-c", "cd '" + folder.path("Work") + "' && " + line});
    }
    json run(const std::string& line) {
        const auto ran = shell(line);
        EXPECT_EQ(ran.status, 0) << line << "\n" << ran.output << ran.errors;
        const json reply = json::parse(ran.output, nullptr, false);
        EXPECT_TRUE(reply.is_object() && reply.value("ok", false)) << line;
        return reply.is_object() ? reply.value("result", json::object()) : json::object();
    }
    /// Takes a command of the file, fills in what it leaves open, and runs it.
    json follow(const std::string& command, const std::vector<std::pair<std::string, std::string>>& blanks = {}) {
        EXPECT_TRUE(std::ranges::find(known, command) != known.end()) << "the file doesn't name: " << command;
        followed.insert(command);
        std::string line = command;
        for (const auto& [blank, value] : blanks) {
            const auto at = line.find(blank);
            EXPECT_NE(at, std::string::npos) << blank << " in " << command;
            if (at != std::string::npos) line.replace(at, blank.size(), value);
        }
        return run(prefix + " " + line);
    }

    TempFolder folder;
    std::unique_ptr<LiveApplication> app;
    std::string text;
    std::vector<std::string> blocks;
    std::string prefix;
    std::vector<std::string> known;
    std::set<std::string> followed;
};

std::string quoted(const std::string& word) { return "'" + word + "'"; }

TEST_P(AssistantTests, FollowsTheInstructionsToAnEditThatIsPreviewedAndExported) {
    const auto beach = makeFootage(folder, "Beach.mp4", {.seconds = 3});
    const auto waves = makeTone(folder, "Waves.wav", 600, 2);

    const json project = run(blocks[0]);
    ASSERT_TRUE(project.contains("capabilities"));
    known = commands(project["capabilities"]);
    std::string revision = project["revision"];

    const json imported =
        follow("import --revision R --json '[\"/absolute/path\"]'",
               {{" R ", " " + revision + " "}, {"\"/absolute/path\"", json(beach).dump() + "," + json(waves).dump()}});
    revision = imported["revision"];
    const std::string film = imported["imported"][0];
    const std::string sound = imported["imported"][1];

    const json sheets = follow("contact-sheet --all --compact");
    EXPECT_EQ(sheets["complete"], true);
    ASSERT_EQ(sheets["sheets"].size(), 1U);
    EXPECT_EQ(sheets["sheets"][0]["timestamps"].size(), 12U);
    EXPECT_TRUE(std::filesystem::exists(sheets["sheets"][0]["path"].get<std::string>()));
    EXPECT_EQ(follow("frames", {{"frames", "frames --asset " + film}})["frames"].size(), 6U);
    EXPECT_EQ(follow("waveform --asset ID", {{"ID", sound}})["scope"], "source");

    const json entries = {{{"assetID", film}, {"start", 0}, {"end", 2}},
                          {{"assetID", sound}, {"start", 0}, {"end", 1}, {"timelineStart", 0.5}}};
    json state = follow("timeline ... --compact --preview",
                        {{"...", "--revision " + revision + " --json " + quoted(entries.dump())}});
    EXPECT_EQ(state["applied"], true);
    ASSERT_TRUE(state["preview"].contains("path")) << state["preview"];
    EXPECT_TRUE(std::filesystem::exists(state["preview"]["path"].get<std::string>()));
    const std::string shot = state["timeline"][0]["clipID"];
    const std::string overlay = state["timeline"][1]["clipID"];

    state = follow("clip ... --compact --preview",
                   {{"...", "--revision " + state["revision"].get<std::string>() + " --id " + shot + " --zoom 1.5"}});
    EXPECT_EQ(state["preview"]["revision"], state["revision"]);
    EXPECT_EQ(state["preview"]["stale"], false);
    state = follow("clip --audioTrackID UUID",
                   {{"clip", "clip --compact --revision " + state["revision"].get<std::string>() + " --id " + overlay},
                    {"UUID", UUID::random().upper()}});
    EXPECT_EQ(follow("waveform --clip ID", {{"ID", overlay}})["revision"], state["revision"]);
    state = follow("split --revision R --id ID --at S", {{"R", state["revision"]}, {"ID", shot}, {" S", " 0.5"}});
    EXPECT_EQ(state["timeline"].size(), 3U);
    state = follow("rename --revision R --name NAME", {{"R", state["revision"]}, {"NAME", "'A Day Out'"}});
    EXPECT_EQ(state["name"], "A Day Out");

    const json preview = follow("preview --compact");
    EXPECT_EQ(preview["revision"], state["revision"]);
    EXPECT_TRUE(std::filesystem::exists(preview["path"].get<std::string>()));
    const std::string movie = folder.path("edit.mp4");
    follow("export --revision R --path /absolute/edit.mp4",
           {{"R", state["revision"]}, {"/absolute/edit.mp4", quoted(movie)}});
    EXPECT_EQ(middles(movie).size(), 60U);

    EXPECT_EQ(followed, std::set<std::string>(known.begin(), known.end())) << "a command of the file was not run";
}

TEST_P(AssistantTests, TheOpenCommandHandsTheLinkToTheDesktop) {
    EXPECT_EQ(blocks[1], app->result({"project"})["openCommand"].get<std::string>());
    if (!std::filesystem::exists("/usr/bin/open")) GTEST_SKIP() << "there is no /usr/bin/open here";
    const auto opener = folder.path("opener");
    std::ofstream(opener) << "#!/bin/sh\nprintf %s \"$1\" >'" << folder.path("opened") << "'\n";
    std::filesystem::permissions(opener, std::filesystem::perms::owner_all);
    // Without a desktop the opener turns to the program that this variable names.
    const auto ran =
        shell("env -u DISPLAY -u WAYLAND_DISPLAY -u XDG_CURRENT_DESKTOP -u DESKTOP_SESSION BROWSER=" + quoted(opener) +
              " " + blocks[1]);
    EXPECT_EQ(ran.status, 0) << ran.errors;
    EXPECT_EQ(folder.read("opened"), "kelvane://project/" + app->project());
}

INSTANTIATE_TEST_SUITE_P(Assistants, AssistantTests,
                         ::testing::Values(AIDesktopAssistant::chatGPT, AIDesktopAssistant::claude),
                         [](const auto& info) { return std::string(info.param.rawValue()); });

}  // namespace
}  // namespace kelvane::testing
