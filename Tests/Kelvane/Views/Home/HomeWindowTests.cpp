#include "HomeWindowFixture.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;

class HomeWindowTests : public HomeWindowFixture {};

TEST_F(HomeWindowTests, AClickOnACardOpensItsProjectHere) {
    project("A");
    project("B");
    showWindow();
    click(onCard(1));
    ASSERT_TRUE(workspace->editor());
    EXPECT_EQ(workspace->editor()->title(), "A");
}

TEST_F(HomeWindowTests, CardsStandWhereTheGridSays) {
    for (const char* name : {"A", "B", "C", "D"}) project(name);
    showWindow();
    for (int row = 0; row < 4; ++row) {
        const auto* shown = card(row);
        ASSERT_NE(shown, nullptr);
        const QRectF drawn = shown->mapRectToItem(&grid(), {0, 0, shown->width(), shown->height()});
        const QRectF told = grid().frame(row);
        EXPECT_NEAR(drawn.x(), told.x(), 0.01);
        EXPECT_NEAR(drawn.y(), told.y(), 0.01);
        EXPECT_NEAR(drawn.width(), told.width(), 0.01);
        EXPECT_NEAR(drawn.height(), told.height(), 0.01);
    }
    EXPECT_EQ(onCard(0, {}), QPoint(24, 134));
}

TEST_F(HomeWindowTests, TheMenuOpensByItsButtonAndByTheOtherMouseButton) {
    project("A");
    showWindow();
    click(onCard(0, {grid().cardWidth() - 21, 23}));
    ASSERT_NE(itemWithText("Open in New Window"), nullptr);
    click(middle(*itemWithText("Open in New Window")));
    EXPECT_EQ(asked.size(), 1U);
    EXPECT_EQ(itemWithText("Open in New Window"), nullptr);
    click(onCard(0), Qt::RightButton);
    ASSERT_NE(itemWithText("Duplicate"), nullptr);
    click(middle(*itemWithText("Duplicate")));
    EXPECT_THAT(names(), ElementsAre("A Copy", "A"));
}

TEST_F(HomeWindowTests, TheKeyboardGoesThroughTheCards) {
    for (const char* name : {"A", "B", "C", "D", "E"}) project(name);
    showWindow();
    grid().focusCard(0, true);
    EXPECT_EQ(grid().current(), 0);
    EXPECT_TRUE(grid().showsFocus());
    struct Row {
        Qt::Key key;
        int current;
    };
    const Row rows[] = {{Qt::Key_Right, 1}, {Qt::Key_Down, 4}, {Qt::Key_Right, 4}, {Qt::Key_Left, 3},
                        {Qt::Key_Up, 0},    {Qt::Key_End, 4},  {Qt::Key_Home, 0},  {Qt::Key_Left, 0}};
    for (const Row& row : rows) {
        press(row.key);
        EXPECT_EQ(grid().current(), row.current) << row.key;
    }
    press(Qt::Key_Right);
    press(Qt::Key_Return);
    ASSERT_TRUE(workspace->editor());
    EXPECT_EQ(workspace->editor()->title(), "D");
}

TEST_F(HomeWindowTests, TheKeyboardOpensTheMenuAndWorksIt) {
    project("A");
    showWindow();
    grid().focusCard(0, true);
    press(Qt::Key_F10, Qt::ShiftModifier);
    ASSERT_NE(itemWithText("Duplicate"), nullptr);
    press(Qt::Key_Escape);
    EXPECT_EQ(itemWithText("Duplicate"), nullptr);
    EXPECT_TRUE(grid().hasActiveFocus());
    press(Qt::Key_Menu);
    press(Qt::Key_Down);
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    EXPECT_EQ(asked.size(), 1U) << "opened in a new window";
}

TEST_F(HomeWindowTests, F2RenamesAndReturnBringsTheFocusBack) {
    project("A");
    project("B");
    showWindow();
    grid().focusCard(0, true);
    press(Qt::Key_Right);
    press(Qt::Key_F2);
    ASSERT_NE(named("projectNameField"), nullptr);
    type("Coast");
    press(Qt::Key_Return);
    EXPECT_THAT(names(), ElementsAre("B", "Coast")) << "a rename moves nothing";
    EXPECT_TRUE(grid().hasActiveFocus());
    EXPECT_EQ(grid().current(), 1);
}

TEST_F(HomeWindowTests, AFieldOnACardKeepsItsKeysAndSwallowsTheClickItMust) {
    project("A");
    project("B");
    showWindow();
    grid().focusCard(0, true);
    press(Qt::Key_F2);
    type("x");
    press(Qt::Key_Delete);
    press(Qt::Key_Home);
    press(Qt::Key_Z, Qt::ControlModifier);
    press(Qt::Key_A, Qt::ControlModifier);
    press(Qt::Key_Backspace);
    EXPECT_TRUE(panels.askedConfirmations.empty());
    EXPECT_EQ(window->property("undone"), 0);
    EXPECT_EQ(named("projectNameField")->property("text"), "");
    click(onCard(1));
    EXPECT_FALSE(workspace->editor()) << "the click was swallowed";
    EXPECT_EQ(named("projectNameProblem")->property("text"), "Enter a project name.");
    type("Coast");
    click(onCard(1));
    EXPECT_THAT(names(), ElementsAre("Coast", "A"));
    ASSERT_TRUE(workspace->editor()) << "the click did its work";
    EXPECT_EQ(workspace->editor()->title(), "A");
}

TEST_F(HomeWindowTests, TheMenuRenamesByPointerAndByKeyboard) {
    project("A");
    showWindow();
    click(onCard(0, {grid().cardWidth() - 21, 23}));
    ASSERT_NE(itemWithText("Rename…"), nullptr);
    click(middle(*itemWithText("Rename…")));
    ASSERT_NE(named("projectNameField"), nullptr);
    EXPECT_TRUE(named("projectNameField")->hasActiveFocus());
    type("Coast");
    press(Qt::Key_Return);
    EXPECT_THAT(names(), ElementsAre("Coast"));
    press(Qt::Key_Menu);
    for (int step = 0; step < 3; ++step) press(Qt::Key_Down);
    press(Qt::Key_Return);
    ASSERT_NE(named("projectNameField"), nullptr);
    EXPECT_TRUE(named("projectNameField")->hasActiveFocus());
    type("Road");
    press(Qt::Key_Return);
    EXPECT_THAT(names(), ElementsAre("Road"));
    EXPECT_TRUE(grid().hasActiveFocus());
}

TEST_F(HomeWindowTests, AClickThatEndsAnEditKeepsTheFocusThatItGives) {
    project("A");
    showWindow();
    for (const char* name : {"A", "Coast"}) {
        grid().focusCard(0, true);
        press(Qt::Key_F2);
        type(name);
        click(middle(*named("projectSearch")));
        EXPECT_THAT(names(), ElementsAre(name));
        EXPECT_TRUE(named("projectSearch")->hasActiveFocus()) << name;
    }
}

TEST_F(HomeWindowTests, AClickOnTheFrameOfAFieldKeepsTheEdit) {
    project("A");
    showWindow();
    grid().focusCard(0, true);
    press(Qt::Key_F2);
    const auto* field = named("projectNameField");
    ASSERT_NE(field, nullptr);
    for (const QPointF place : {QPointF(-4, field->height() / 2), QPointF(field->width() / 2, -2)}) {
        click(field->mapToScene(place).toPoint());
        EXPECT_FALSE(workspace->editor()) << "the card below it was not pressed";
        ASSERT_EQ(named("projectNameField"), field);
        EXPECT_TRUE(field->hasActiveFocus());
    }
}

TEST_F(HomeWindowTests, TheKeyboardFindsCardsThatComeLater) {
    showWindow();
    grid().setVisible(true);
    grid().forceActiveFocus();
    manyProjects(4);
    refresh();
    EXPECT_EQ(grid().current(), 0);
    press(Qt::Key_Right);
    EXPECT_EQ(grid().current(), 1);
}

TEST_F(HomeWindowTests, SpaceOpensACardAsReturnDoes) {
    project("A");
    showWindow();
    grid().focusCard(0, true);
    press(Qt::Key_Space);
    ASSERT_TRUE(workspace->editor());
    EXPECT_EQ(workspace->editor()->title(), "A");
}

TEST_F(HomeWindowTests, EscapeAmongTheCardsEndsTheSearch) {
    project("Road trip");
    project("Coast");
    showWindow();
    home.setSearch("road");
    refresh();
    grid().focusCard(0, true);
    press(Qt::Key_Escape);
    EXPECT_EQ(home.search(), "");
    EXPECT_EQ(named("projectSearch")->property("text"), "");
    EXPECT_EQ(names().size(), 2U);
    EXPECT_EQ(names().at(static_cast<std::size_t>(grid().current())), "Road trip");
}

TEST_F(HomeWindowTests, DelAsksAndDeletesAndTheNextCardIsCurrent) {
    for (const char* name : {"A", "B", "C"}) project(name);
    showWindow();
    grid().focusCard(0, true);
    press(Qt::Key_Right);
    panels.confirmations = {false};
    press(Qt::Key_Delete);
    EXPECT_EQ(names().size(), 3U);
    panels.confirmations = {true};
    press(Qt::Key_Delete);
    EXPECT_THAT(names(), ElementsAre("C", "A"));
    EXPECT_EQ(grid().current(), 1);
}

TEST_F(HomeWindowTests, TheSearchFiltersAtEachLetterAndEscapeClearsIt) {
    project("Road trip");
    project("Coast");
    showWindow();
    click(middle(*named("projectSearch")));
    type("RO");
    EXPECT_THAT(names(), ElementsAre("Road trip"));
    type("x");
    EXPECT_NE(itemWithText("No Results for “ROx”"), nullptr);
    EXPECT_NE(itemWithText("New Project"), nullptr) << "the toolbar stays";
    EXPECT_FALSE(grid().isVisible());
    press(Qt::Key_Escape);
    EXPECT_EQ(named("projectSearch")->property("text"), "");
    EXPECT_EQ(names().size(), 2U);
}

TEST_F(HomeWindowTests, AnEmptyLibraryInvites) {
    showWindow();
    EXPECT_NE(itemWithText("Create a video"), nullptr);
    EXPECT_FALSE(grid().isVisible());
    panels.names = {"Coast"};
    click(middle(*itemWithText("New Project…")));
    ASSERT_TRUE(workspace->editor());
    EXPECT_EQ(workspace->editor()->title(), "Coast");
    showHome(workspace);
    finishWork();
    EXPECT_EQ(itemWithText("Create a video"), nullptr);
    EXPECT_TRUE(grid().isVisible());
}

TEST_F(HomeWindowTests, AThousandProjectsMakeTheCardsInSightAlone) {
    manyProjects(1000);
    showWindow();
    EXPECT_EQ(home.countText(), "1000 projects · Recently edited first");
    EXPECT_LE(madeCards(), 24U);
    grid().focusCard(0, true);
    press(Qt::Key_End);
    EXPECT_EQ(grid().current(), 999);
    EXPECT_LE(madeCards(), 36U);
    const QRectF last = grid().frame(999);
    EXPECT_GE(last.top(), 0);
    EXPECT_LE(last.bottom(), grid().height());
    const auto* shown = card(999);
    ASSERT_NE(shown, nullptr);
    EXPECT_NEAR(shown->mapToItem(&grid(), QPointF()).y(), last.top(), 0.01);
}

TEST_F(HomeWindowTests, ACardElidesItsNameAndNeverGrows) {
    project(std::string(10'000, 'm'));
    project("مشروع البحر");
    project("a\nb\nc\nd");
    showWindow();
    for (int row = 0; row < 3; ++row) {
        const auto* shown = card(row);
        ASSERT_NE(shown, nullptr);
        EXPECT_EQ(shown->height(), 168);
        const auto* name = find(card(row), "text", shown->property("name"));
        ASSERT_NE(name, nullptr);
        EXPECT_LE(name->property("lineCount").toInt(), 2);
        EXPECT_LE(name->width(), shown->width() - 150);
        if (row == 1) EXPECT_EQ(name->property("effectiveHorizontalAlignment").toInt(), Qt::AlignRight);
    }
}

}  // namespace
}  // namespace kelvane::testing
