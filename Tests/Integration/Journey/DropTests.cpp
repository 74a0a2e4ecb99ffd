#include <algorithm>
#include <filesystem>
#include <sstream>

#include "BadInputFixture.h"
#include "Integration/Footage.h"
#include "LiveOffer.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::SizeIs;

/// What another program drags over the window.
class Drop : public BadInput {
protected:
    static std::string uriOf(const std::string& path) { return FileURL::fromPath(path).absoluteString() + "\r\n"; }
    /// So many files of each kind, all mixed: what is media, what leads to media, and what is refused.
    void makeFiles();
    /// The names of the assets, in their order.
    [[nodiscard]] std::vector<std::string> assets() const {
        std::vector<std::string> names;
        for (const auto& asset : state()["assets"]) names.push_back(asset.value("name", ""));
        return names;
    }

    static constexpr int ofEachKind = 50;
    static constexpr int kinds = 10;
    std::string uris;
    std::vector<std::string> refused;
};

void Drop::makeFiles() {
    const std::string tone = makeTone(folder, "Tone.wav", 440, 0.2);
    folder.makeFolder("dropped");
    const auto path = [this](const std::string& name) { return folder.path("dropped/" + name); };
    for (int i = 0; i < ofEachKind; ++i) {
        const std::string number = std::to_string(i);
        const auto take = [&](const std::string& name, bool isMedia = false) {
            uris += uriOf(path(name));
            if (!isMedia) refused.push_back(name);
        };
        // A fifth of what could be media is.
        const bool isSound = i % 5 == 0;
        if (isSound)
            std::filesystem::copy_file(tone, path("Sound " + number + ".wav"));
        else
            folder.write("dropped/Sound " + number + ".wav", "RIFF");
        take("Sound " + number + ".wav", isSound);
        std::filesystem::create_symlink("Sound " + number + ".wav", path("Link " + number + ".wav"));
        take("Link " + number + ".wav", isSound);
        folder.makeFolder("dropped/Folder " + number);
        take("Folder " + number);
        folder.makeFolder("dropped/Film " + number + ".mp4");
        take("Film " + number + ".mp4");
        std::filesystem::create_directory_symlink("Folder " + number, path("Way " + number));
        take("Way " + number);
        std::filesystem::create_symlink("nowhere", path("Gone " + number + ".mp4"));
        take("Gone " + number + ".mp4");
        std::filesystem::create_symlink("Ring " + number, path("Ring " + number));
        take("Ring " + number);
        folder.write("dropped/Notes " + number + ".txt", "Buy film.\n");
        take("Notes " + number + ".txt");
        folder.write("dropped/Empty " + number + ".mov", "");
        take("Empty " + number + ".mov");
        // Gone by the time that it is dropped.
        take("Moved " + number + ".mov");
    }
}

TEST_F(Drop, OfFiveHundredTakesWhatIsMediaAndNamesTheRestOnce) {
    makeFiles();
    if (HasFailure()) return;
    launchOn("Harbour");
    const auto place = middleOf(node("label", "Import or drop video and audio here."));
    if (HasFailure()) return;
    {
        LiveOffer offer(display.name());
        offer.drag(window->id(), uris, place);
        EXPECT_TRUE(offer.isWelcome());
        EXPECT_TRUE(offer.drop());
    }
    const std::string told = expectAlertThatBegins("“");
    std::vector<std::string> lines;
    for (std::istringstream text(told); std::getline(text, lines.emplace_back());) {
    }
    lines.pop_back();
    EXPECT_THAT(lines, SizeIs(refused.size())) << told;
    for (const auto& name : refused)
        EXPECT_EQ(std::ranges::count_if(
                      lines, [&](const std::string& line) { return line.find("“" + name + "”") != std::string::npos; }),
                  1)
            << name << "\n"
            << told;
    // Half of them were found by a link.
    const std::size_t media = kinds * ofEachKind - refused.size();
    (void)node("label", std::to_string(media));
    if (HasFailure()) return;
    EXPECT_EQ(media, 20U);
    EXPECT_THAT(assets(), SizeIs(media));
    EXPECT_EQ(state()["timeline"], json::array());
    // What wasn't taken has left nothing.
    std::size_t copies = 0;
    for (const auto& copy : std::filesystem::directory_iterator(folderOf(app->project()) + "/Media")) {
        ++copies;
        EXPECT_FALSE(std::filesystem::is_empty(copy.path())) << copy.path();
    }
    EXPECT_EQ(copies, media);
    EXPECT_EQ(app->quit(), 0) << log();
}

TEST_F(Drop, OfFilesThatComesWithTextAsWellIsOneOfFiles) {
    launchOn("Harbour");
    const std::string first = makeTone(folder, "First.wav", 440, 1);
    const std::string second = makeTone(folder, "Second.wav", 880, 1);
    if (HasFailure()) return;
    // The timeline would take that for an asset of its own.
    const std::string text = "asset:" + import(first)["imported"][0].get<std::string>();
    (void)node("list item", "First");
    const auto place = middleOf(node("panel", "Timeline viewport"));
    if (HasFailure()) return;
    {
        LiveOffer both(display.name());
        both.drag(window->id(), {{"UTF8_STRING", text}, {"text/uri-list", uriOf(second)}}, place);
        EXPECT_TRUE(both.isWelcome());
        (void)node("label", "Drop to import");
        EXPECT_TRUE(both.drop());
    }
    (void)node("list item", "Second");
    EXPECT_THAT(assets(), ElementsAre("First", "Second"));
    EXPECT_EQ(state()["timeline"], json::array());
    // Nor is the text taken in place of addresses that are no files.
    {
        LiveOffer both(display.name());
        both.drag(window->id(), {{"UTF8_STRING", text}, {"text/uri-list", "https://example.org/film.mp4\r\n"}}, place);
        EXPECT_FALSE(both.isWelcome());
    }
    EXPECT_EQ(state()["timeline"], json::array());
    // By itself it is, by whichever of its names.
    {
        LiveOffer left(display.name());
        left.drag(window->id(), {{"UTF8_STRING", text}}, place);
        EXPECT_TRUE(left.isWelcome());
    }
    LiveOffer alone(display.name());
    alone.drag(window->id(), {{"text/plain;charset=utf-8", text}}, place);
    EXPECT_TRUE(alone.isWelcome());
    EXPECT_TRUE(alone.drop());
    (void)waitFor([this] { return state()["timeline"].size() == 1; }, "the text isn't taken");
    EXPECT_EQ(app->quit(), 0) << log();
}

}  // namespace
}  // namespace kelvane::testing
