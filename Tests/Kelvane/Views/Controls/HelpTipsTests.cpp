#include "../Timeline/TimelineWindowFixture.h"
#include "Views/Controls/HelpTips.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

/// "Split at Playhead", or with its key "Play|Space", and behind a line break why it is dimmed; empty while none shows.
class HelpTipsInAWindow : public TimelineWindowFixture {
protected:
    [[nodiscard]] std::string shown() {
        const HelpTips& tips = *view.tips();
        if (!tips.shown()) return {};
        QString all = tips.text();
        if (!tips.key().isEmpty()) all += "|" + tips.key();
        if (!tips.reason().isEmpty()) all += "\n" + tips.reason();
        return all.toStdString();
    }
    void hover(const char* name) { QTest::mouseMove(window.get(), middle(name)); }
    void hoverNothing() { QTest::mouseMove(window.get(), QPoint(530, 200)); }
};

TEST_F(HelpTipsInAWindow, ATipComesAfterSixTenthsOfASecondAndTellsTheKeyApart) {
    hover("playButton");
    advance(599ms);
    EXPECT_EQ(shown(), "");
    advance(1ms);
    EXPECT_EQ(shown(), "Play|Space");
    hoverNothing();
    EXPECT_EQ(shown(), "");
}

TEST_F(HelpTipsInAWindow, AControlThatIsLeftBeforeItsTimeShowsNone) {
    hover("playButton");
    advance(500ms);
    hoverNothing();
    advance(10s);
    EXPECT_EQ(shown(), "");
}

TEST_F(HelpTipsInAWindow, ANeighbourThatIsReachedWithinThreeTenthsShowsItsTipAtOnce) {
    hover("splitButton");
    advance(600ms);
    EXPECT_EQ(shown(), "Split at Playhead");
    hover("deleteButton");
    EXPECT_EQ(shown(), "Delete clips|Del");
    hoverNothing();
    advance(300ms);
    hover("splitButton");
    EXPECT_EQ(shown(), "Split at Playhead");
    hoverNothing();
    advance(301ms);
    hover("deleteButton");
    EXPECT_EQ(shown(), "");
    advance(600ms);
    EXPECT_EQ(shown(), "Delete clips|Del");
}

TEST_F(HelpTipsInAWindow, APressTakesTheTipAwayUntilTheControlIsEnteredAnew) {
    hover("zoomInButton");
    advance(600ms);
    EXPECT_EQ(shown(), "Zoom in");
    click(middle("zoomInButton"));
    EXPECT_EQ(shown(), "");
    hover("zoomInButton");
    advance(10s);
    EXPECT_EQ(shown(), "");
    hover("zoomOutButton");
    EXPECT_EQ(shown(), "") << "what is pressed calls for no neighbour's";
    advance(600ms);
    EXPECT_EQ(shown(), "Zoom out");
    hover("zoomInButton");
    EXPECT_EQ(shown(), "Zoom in");
    press(Qt::Key_Control);
    EXPECT_EQ(shown(), "");
}

TEST_F(HelpTipsInAWindow, TheKeyboardsFocusShowsThemToo) {
    item("zoomSlider")->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Tab);
    ASSERT_TRUE(item("zoomInButton")->hasActiveFocus());
    EXPECT_EQ(shown(), "");
    advance(600ms);
    EXPECT_EQ(shown(), "Zoom in");
    QTest::keyClick(window.get(), Qt::Key_Backtab);
    ASSERT_TRUE(item("zoomSlider")->hasActiveFocus());
    EXPECT_EQ(shown(), "Timeline Zoom") << "a neighbour";
    press(Qt::Key_Escape);
    EXPECT_EQ(shown(), "");
}

TEST_F(HelpTipsInAWindow, AFocusThatAClickMovesShowsNone) {
    click(body(2, 0));
    advance(10s);
    EXPECT_EQ(shown(), "");
}

TEST_F(HelpTipsInAWindow, ADimmedControlSaysWhatItDoesAndWhileTheProjectIsBusyWhyItIsDimmed) {
    editor->selectTimelineClips({});
    refresh();
    ASSERT_FALSE(item("deleteButton")->isEnabled());
    hover("deleteButton");
    advance(600ms);
    EXPECT_EQ(shown(), "Delete clips|Del");
    editor->beginCopying();
    refresh();
    EXPECT_EQ(shown(), "Delete clips|Del\nNot available while media is copied");
    hover("zoomInButton");
    EXPECT_EQ(shown(), "Zoom in") << "it can be used";
    hover("deleteButton");
    editor->endCopying();
    refresh();
    EXPECT_EQ(shown(), "Delete clips|Del");
}

TEST_F(HelpTipsInAWindow, AControlWithoutAHelpOfItsOwnSaysWhyItIsDimmed) {
    editor->setShowInspector(true);
    editor->select(a);
    refresh();
    hover("resetFrameButton");
    advance(600ms);
    EXPECT_EQ(shown(), "");
    hoverNothing();
    editor->beginCopying();
    refresh();
    hover("resetFrameButton");
    advance(600ms);
    EXPECT_EQ(shown(), "\nNot available while media is copied");
    editor->endCopying();
    refresh();
    EXPECT_EQ(shown(), "");
}

TEST_F(HelpTipsInAWindow, ATipFollowsWhatItsControlDoes) {
    auto* play = item("playButton");
    hover("playButton");
    advance(600ms);
    EXPECT_EQ(shown(), "Play|Space");
    play->setProperty("help", "Pause (Space)");
    EXPECT_EQ(shown(), "Pause|Space");
    play->setProperty("help", "");
    play->setProperty("label", "Pause Timeline");
    EXPECT_EQ(shown(), "Pause Timeline");
    play->setVisible(false);
    EXPECT_EQ(shown(), "");
}

TEST_F(HelpTipsInAWindow, WhatLiesBelowAnOpenAlertHasNone) {
    editor->setError("The disk is full.");
    refresh();
    QTest::mouseMove(window.get(), middle("splitButton"));
    advance(10s);
    EXPECT_EQ(shown(), "");
}

TEST(HelpTips, ABubbleStandsAboveItsControlOrBelowAndStaysInTheWindow) {
    const QSizeF bubble(100, 28);
    const QSizeF window(740, 560);
    EXPECT_EQ(HelpTips::place({300, 400, 30, 30}, bubble, window), QPointF(265, 366));
    EXPECT_EQ(HelpTips::place({300, 7, 30, 30}, bubble, window), QPointF(265, 43)) << "no room above";
    EXPECT_EQ(HelpTips::place({2, 400, 30, 30}, bubble, window), QPointF(6, 366));
    EXPECT_EQ(HelpTips::place({705, 400, 30, 30}, bubble, window), QPointF(634, 366));
    EXPECT_EQ(HelpTips::place({300, 400, 30, 30}, {900, 28}, window), QPointF(6, 366)) << "wider than the window";
}

}  // namespace
}  // namespace kelvane::testing
