#include "JourneyFixture.h"
#include "Storage/ProjectFile.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;

/// Each step by keys, and by no other road.
class KeyboardJourney : public Journey {
protected:
    void createProject();
    void importFiles();
    void layClips();
    /// Goes to the pane, where the keyboard was on an asset, from there to another by this key, and takes that to the
    /// timeline.
    void addAsset(const char* from, const std::string& key, const char* name);
    void expectPlayhead(double seconds);
    void cutClips();
    void changeVolume();
    void rename();
    void exportMovie();
    void handOver();
    void comeBack();
};

void KeyboardJourney::createProject() {
    expectEmptyLibrary();
    expectFocus("push button", "New Project…");
    press("Return");
    (void)node("alert", "New Project");
    expectFocus("text", "Name");
    type("First Try");
    press("Return");
    expectEditor("First Try");
    expectFocus("panel", "Timeline viewport");
    expectProject();
}

void KeyboardJourney::importFiles() {
    press("Ctrl+I");
    expectFocus("text", "File name");
    type("\"" + files[0] + "\" \"" + files[1] + "\" \"" + files[2] + "\"");
    press("Return");
    expectImported();
}

void KeyboardJourney::addAsset(const char* from, const std::string& key, const char* name) {
    // The clips of an asset have its name.
    goTo("F6", "list item", from, "Preview or drag to timeline");
    press(key);
    expectFocus("list item", name);
    press("Return");
}

void KeyboardJourney::layClips() {
    addAsset(firstFilm, "Home", firstFilm);
    (void)videoClips(1);
    addAsset(firstFilm, "Right", secondFilm);
    (void)videoClips(2);
    addAsset(secondFilm, "End", sound);
    (void)expectTimeline("the sound has a lane", [](const json& timeline) { return soundsOf(timeline).size() == 1; });
}

void KeyboardJourney::expectPlayhead(double seconds) {
    const auto seek = node("slider", "Seek");
    (void)waitFor([&] { return bus.value(seek) && std::abs(bus.value(seek)->current - seconds) < 1e-6; },
                  "the playhead isn't at " + std::to_string(seconds));
}

void KeyboardJourney::cutClips() {
    const auto endOfFirst = [](double end) {
        return [end](const json& timeline) { return picturesOf(timeline)[0]["end"] == end; };
    };
    // Up from the sound, and to the first film.
    for (const char* key : {"Ctrl+Up", "Ctrl+Left", "Ctrl+Left", "Home", "Right"}) press(key);
    expectPlayhead(1);
    press("]");
    (void)expectTimeline("the first film ends at the playhead", endOfFirst(1));
    press("Ctrl+Z");
    (void)expectTimeline("it is whole again", endOfFirst(2));
    press("Ctrl+Y");
    (void)expectTimeline("and trimmed again", endOfFirst(1));

    press("Ctrl+Right");
    expectPlayhead(1);
    press("Right");
    expectPlayhead(2);
    expectState(node("push button", "Split at Playhead"), "enabled");
    press("Ctrl+B");
    (void)node("label", "Split. 4 clips.");
    press("Alt+Left");
    const auto timeline = expectTimeline("the right half comes before the left one", [](const json& entries) {
        const auto pictures = picturesOf(entries);
        return pictures.size() == 3 && pictures[1]["start"] == 1 && pictures[2]["start"] == 0;
    });
    (void)node("label", "Moved to position 2 of 3.");
}

void KeyboardJourney::changeVolume() {
    const auto volumeOfMoved = [](double volume) {
        return [volume](const json& timeline) {
            return std::abs(picturesOf(timeline)[1].value("volume", 0.0) - volume) < 1e-6;
        };
    };
    takeFromMenu("Alt+V", "Show Inspector");
    (void)node("panel", "Trim");
    goTo("F6", "slider", "Start");
    goTo("Tab", "slider", "Volume");
    press("PageDown");
    press("PageDown");
    (void)expectTimeline("two steps of the slider", volumeOfMoved(0.8));
    // The run is over once the keyboard has gone on, and is one step of the history.
    press("Tab");
    press("Ctrl+Z");
    (void)expectTimeline("both are taken back at once", volumeOfMoved(1));
    press("Ctrl+Shift+Z");
    (void)expectTimeline("and done again", volumeOfMoved(0.8));
}

void KeyboardJourney::rename() {
    goTo("F6", "menu item", "File");
    goTo("Tab", "push button", "Project name: First Try. Rename project");
    press("Return");
    expectFocus("text", "Project name");
    type("Harbour Day");
    press("Return");
    expectEditor("Harbour Day");
    expectFocus("push button", "Project name: Harbour Day. Rename project");
}

void KeyboardJourney::exportMovie() {
    press("Ctrl+E");
    (void)node("dialog", "Export Video");
    goTo("Tab", "combo box", "Resolution");
    // To the lowest one; there is none below.
    for (int step = 0; step < 4; ++step) press("Down");
    (void)node("label", "720 × 1280");
    expectForecast();
    press("Return");
    expectFocus("text", "File name");
    press("Ctrl+A");
    type(folder.path("Film.mp4"));
    press("Return");
    (void)node("dialog", "Exporting Video");
    expectExported();
    (void)node("label", "Your vertical video is ready to share.");
    expectFocus("push button", "Done");
    press("Return");
    expectGone("alert", "Video Exported");
    expectMovie(folder.path("Film.mp4"), {720, 1280});
}

void KeyboardJourney::handOver() {
    takeFromMenu("Alt+F", "Edit with AI…");
    (void)node("dialog", "Edit with AI");
    goTo("Tab", "push button", "Claude");
    press("Return");
    expectHandedOver("Harbour Day");
}

void KeyboardJourney::comeBack() {
    press("Ctrl+1");
    expectCard("Harbour Day");
    expectFocus("push button", "Open project", "Harbour Day");
    press("Return");
    expectEditor("Harbour Day");
    press("Ctrl+1");
    expectCard("Harbour Day");
    reopenByLink("Harbour Day");
}

TEST_F(KeyboardJourney, GoesFromAnEmptyLibraryToALinkThatLeadsBack) {
    launch();
    createProject();
    importFiles();
    layClips();
    cutClips();
    changeVolume();
    rename();
    exportMovie();
    handOver();
    comeBack();
    press("Ctrl+Q");
    if (HasFailure()) return;
    EXPECT_EQ(app->wait(), 0) << log();
    const auto kept = ProjectFile::read(app->projectFile());
    ASSERT_TRUE(kept) << kept.error().message;
    EXPECT_EQ(kept->clips.size(), 4U);
}

}  // namespace
}  // namespace kelvane::testing
