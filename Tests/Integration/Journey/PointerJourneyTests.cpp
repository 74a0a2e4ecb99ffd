#include "JourneyFixture.h"
#include "LiveOffer.h"
#include "Support/FileURL.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;

/// Each step by the pointer; keys only type.
class PointerJourney : public Journey {
protected:
    void createProject();
    void dropFiles();
    void layClips();
    void cutClips();
    void moveClip();
    void changeVolume();
    void rename();
    void exportMovie();
    void handOver();
    void takeBackWhatTheAssistantDid();
    void comeBack();
    void duplicateAndDelete();

    /// Drags from one place to another, a moment at rest there, and lets go.
    void drag(QPoint from, QPoint to);
    /// Clicks in the ruler, and waits until the track has come to rest there.
    void seek(double seconds);
    /// Chooses from a menu of the header.
    void choose(const std::string& menu, const std::string& item);
    /// What of the viewport is a second.
    static constexpr int second = 32;
    /// By what a clip is drawn short of its ends, and some rounding.
    static constexpr int gap = 6;
};

void PointerJourney::drag(QPoint from, QPoint to) {
    expectBuilt();
    if (HasFailure()) return;
    hands->take(from, to);
    hands->hold(false);
}

void PointerJourney::seek(double seconds) {
    expectBuilt();
    const auto first = videoClips(2).front();
    const auto ruler = node("slider", "Seek");
    if (HasFailure()) return;
    const int middle = placeOf(node("image", "Playhead")).center().x();
    const auto begin = [&] { return placeOf(first).left(); };
    const auto place = [](double time) { return static_cast<int>(std::lround(time * second)); };
    const auto isAtRest = [&] { return std::abs(begin() + place(bus.value(ruler)->current) - middle) <= gap; };
    if (!eventually(isAtRest))
        ADD_FAILURE() << bus.value(ruler)->current << " s, the first clip at " << begin() << ", the middle at "
                      << middle;
    if (HasFailure()) return;
    hands->click({begin() + place(seconds), placeOf(ruler).center().y()});
    const auto isThere = [&] { return std::abs(bus.value(ruler)->current - seconds) < 0.1 && isAtRest(); };
    (void)waitFor(isThere, "the playhead doesn't come to " + std::to_string(seconds));
}

void PointerJourney::choose(const std::string& menu, const std::string& item) {
    click("menu item", menu);
    click("menu item", item);
}

void PointerJourney::createProject() {
    expectEmptyLibrary();
    click("push button", "New Project…");
    expectFocus("text", "Name");
    type("First Try");
    click("push button", "Create");
    expectEditor("First Try");
    expectProject();
}

void PointerJourney::dropFiles() {
    std::string uris;
    for (const auto& file : files) uris += FileURL::fromPath(file).absoluteString() + "\r\n";
    const auto place = middleOf(node("label", "Import or drop video and audio here."));
    if (HasFailure()) return;
    LiveOffer offer(display.name());
    offer.drag(window->id(), uris, place);
    EXPECT_TRUE(offer.isWelcome());
    (void)node("label", "Drop to import");
    EXPECT_TRUE(offer.drop());
    expectImported();
    expectGone("label", "Drop to import");
}

void PointerJourney::layClips() {
    const auto viewport = node("panel", "Timeline viewport");
    const auto film = node("list item", firstFilm);
    if (HasFailure()) return;
    hands->take(middleOf(film), middleOf(viewport));
    // The marker stands once the timeline knows what is dragged.
    (void)node("image", "Insertion marker");
    hands->hold(false);
    (void)videoClips(1);
    expectBuilt();
    // A second click on an asset adds it behind the clip under the playhead.
    if (!HasFailure()) hands->doubleClick(middleOf(node("list item", secondFilm)));
    (void)videoClips(2);
    expectBuilt();
    if (HasFailure()) return;
    hands->take(middleOf(node("list item", sound)), middleOf(viewport));
    hands->hold(false);
    (void)expectTimeline("the sound has a lane", [](const json& timeline) { return soundsOf(timeline).size() == 1; });
}

void PointerJourney::cutClips() {
    // The playhead is in nobody's way there.
    seek(3);
    const auto clips = videoClips(2);
    if (HasFailure()) return;
    const QRect first = placeOf(clips[0]);
    const QPoint edge(first.right() - 2, first.bottom() - 12);
    drag(edge, edge - QPoint(second, 0));
    (void)expectTimeline("the first film ends a second earlier", [](const json& timeline) {
        return std::abs(picturesOf(timeline)[0].value("end", 0.0) - 1) < 0.05;
    });
    choose("Edit", "Undo");
    (void)expectTimeline("it is whole again",
                         [](const json& timeline) { return picturesOf(timeline)[0]["end"] == filmSeconds; });
    choose("Edit", "Redo");
    (void)expectTimeline("and trimmed again",
                         [](const json& timeline) { return picturesOf(timeline)[0]["end"] != filmSeconds; });
    // In the middle of the second film.
    seek(2);
    if (!HasFailure()) hands->click({placeOf(clips[1]).right() - 16, placeOf(clips[1]).bottom() - 12});
    click("push button", "Split at Playhead");
    (void)node("label", "Split. 4 clips.");
}

void PointerJourney::moveClip() {
    const auto clips = videoClips(3);
    if (HasFailure()) return;
    const json before = picturesOf(state()["timeline"]);
    const QRect last = placeOf(clips[2]);
    const QRect first = placeOf(clips[0]);
    drag({last.center().x(), last.bottom() - 20}, {first.left() + 2, last.bottom() - 20});
    (void)expectTimeline("the last one is the first", [&](const json& timeline) {
        return picturesOf(timeline)[0]["clipID"] == before[2]["clipID"];
    });
    // By the button, back behind the next one.
    click("push button", "Move Later");
    (void)expectTimeline("it is the second", [&](const json& timeline) {
        return picturesOf(timeline)[1]["clipID"] == before[2]["clipID"];
    });
}

void PointerJourney::changeVolume() {
    const auto clips = videoClips(3);
    if (HasFailure()) return;
    const QRect clip = placeOf(clips[2]);
    hands->doubleClick({clip.center().x(), clip.bottom() - 8});
    const auto slider = node("slider", "Volume");
    if (HasFailure()) return;
    const QRect place = placeOf(slider);
    drag({place.right() - 7, place.center().y()}, place.center());
    const auto volume = [](const json& timeline) { return picturesOf(timeline)[2].value("volume", 0.0); };
    (void)expectTimeline("half as loud", [&](const json& timeline) { return std::abs(volume(timeline) - 0.5) < 0.1; });
    choose("Edit", "Undo");
    (void)expectTimeline("the whole drag is taken back", [&](const json& timeline) { return volume(timeline) == 1; });
    choose("Edit", "Redo");
    (void)expectTimeline("and done again", [&](const json& timeline) { return volume(timeline) < 1; });
}

void PointerJourney::rename() {
    click("push button", "Project name: First Try. Rename project");
    expectFocus("text", "Project name");
    type("Harbour Day");
    // Beside the field.
    if (!HasFailure()) hands->click(middleOf(node("label", "Assets")));
    expectEditor("Harbour Day");
}

void PointerJourney::exportMovie() {
    click("push button", "Export");
    expectForecast();
    click("combo box", "Frame rate");
    click("list item", "60");
    (void)node("label", "Slower clips will repeat frames at this rate.");
    click("combo box", "Frame rate");
    click("list item", "30");
    (void)node("label", "30 frames per second");
    expectForecast();
    click("push button", "Export…");
    expectFocus("text", "File name");
    press("Ctrl+A");
    type(folder.path("Film.mp4"));
    click("push button", "Save");
    (void)node("dialog", "Exporting Video");
    (void)node("progress bar", "Export progress");
    expectExported();
    click("push button", "Done");
    expectGone("alert", "Video Exported");
    expectMovie(folder.path("Film.mp4"), {1080, 1920});
}

void PointerJourney::handOver() {
    click("push button", "Edit with AI…");
    (void)node("dialog", "Edit with AI");
    (void)node("label", "Choose an app to edit this project.");
    click("push button", "Claude", "Desktop app");
    expectHandedOver("Harbour Day");
}

void PointerJourney::takeBackWhatTheAssistantDid() {
    if (HasFailure()) return;
    const json before = state();
    const auto clip = before["timeline"][0].value("clipID", "");
    app->result({"clip", "--revision", before.value("revision", ""), "--id", clip, "--volume", "0.3"});
    (void)node("label", "Assistant changed 1 clip");
    click("push button", "Undo");
    (void)expectTimeline("it is as before", [&](const json& timeline) { return timeline == before["timeline"]; });
}

void PointerJourney::comeBack() {
    click("push button", "Projects");
    expectCard("Harbour Day");
    click("push button", "Open project", "Harbour Day");
    expectEditor("Harbour Day");
    click("push button", "Projects");
    expectCard("Harbour Day");
}

void PointerJourney::duplicateAndDelete() {
    click("push button", "Actions for Harbour Day");
    click("menu item", "Duplicate");
    (void)node("push button", "Actions for Harbour Day Copy");
    click("push button", "Actions for Harbour Day Copy");
    click("menu item", "Delete…");
    (void)node("alert", "Delete “Harbour Day Copy”?");
    click("push button", "Delete");
    expectGone("push button", "Actions for Harbour Day Copy");
    expectCard("Harbour Day");
}

TEST_F(PointerJourney, GoesFromAnEmptyLibraryToALinkThatLeadsBack) {
    launch();
    createProject();
    dropFiles();
    layClips();
    cutClips();
    moveClip();
    changeVolume();
    rename();
    exportMovie();
    handOver();
    takeBackWhatTheAssistantDid();
    comeBack();
    duplicateAndDelete();
    reopenByLink("Harbour Day");
    choose("File", "Close Window");
    if (HasFailure()) return;
    EXPECT_EQ(app->wait(), 0) << log();
}

}  // namespace
}  // namespace kelvane::testing
