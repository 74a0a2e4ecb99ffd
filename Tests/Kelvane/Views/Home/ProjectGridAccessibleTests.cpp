#include "../Accessible/TreeReading.h"
#include "HomeWindowFixture.h"
#include "Views/Accessible/AccessibleItems.h"

namespace kelvane::testing {
namespace {

using ::testing::IsEmpty;

class ProjectGridAccessibleTests : public HomeWindowFixture {
protected:
    [[nodiscard]] QAccessibleInterface& list() const {
        auto* found = findNode(treeRoot(*window), QAccessible::List, "Projects");
        check(found != nullptr, "the tree has the list");
        return *found;
    }
};

TEST_F(ProjectGridAccessibleTests, TheListHoldsACardForEachProject) {
    QLocale::setDefault(QLocale::c());
    const auto b = project("B");
    const auto a = project("A");
    showWindow();
    const auto date = [](const LibraryProject& row) { return editDate(row.modified).toStdString(); };
    EXPECT_EQ(treeOf(list()),
              "list \"Projects\"\n"
              "  button \"Open project\" (A)\n"
              "    label \"A\"\n"
              "    label \"00:00.0\"\n"
              "    label \"" +
                  date(a) +
                  "\"\n"
                  "    button \"Actions for A\" (Project actions)\n"
                  "  button \"Open project\" (B)\n"
                  "    label \"B\"\n"
                  "    label \"00:00.0\"\n"
                  "    label \"" +
                  date(b) +
                  "\"\n"
                  "    button \"Actions for B\" (Project actions)\n");
    EXPECT_THAT(faultsOf(treeRoot(*window)), IsEmpty());
    EXPECT_NE(findNode(treeRoot(*window), QAccessible::StaticText, "2 projects · Recently edited first"), nullptr);
    EXPECT_NE(findNode(treeRoot(*window), QAccessible::EditableText, "Search projects"), nullptr);
    QLocale::setDefault(QLocale::system());
}

TEST_F(ProjectGridAccessibleTests, CardsScrolledOutStayWithoutShowing) {
    manyProjects(100);
    showWindow();
    EXPECT_EQ(list().childCount(), 100);
    EXPECT_FALSE(list().child(0)->state().offscreen);
    EXPECT_TRUE(list().child(99)->state().offscreen);
    EXPECT_FALSE(list().child(99)->state().invisible);
    EXPECT_EQ(list().child(99)->text(QAccessible::Description), "P0");
    // What is pressed out of sight comes into it.
    auto* button = list().child(99)->child(3);
    button->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    finishWork();
    EXPECT_FALSE(list().child(99)->state().offscreen);
    EXPECT_NE(itemWithText("Duplicate"), nullptr);
}

TEST_F(ProjectGridAccessibleTests, ExtentsAreThoseDrawn) {
    project("A");
    showWindow();
    const auto* shown = card(0);
    const QRect drawn = AccessibleItems::extentsOf(*shown);
    EXPECT_EQ(list().child(0)->rect(), drawn);
    EXPECT_EQ(list().childAt(drawn.x() + 3, drawn.y() + 3), list().child(0));
    auto* actions = shown->property("actions").value<QQuickItem*>();
    EXPECT_EQ(list().child(0)->child(3)->rect(), AccessibleItems::extentsOf(*actions));
    EXPECT_EQ(list().childAt(middle(*actions).x(), middle(*actions).y()), list().child(0)->child(3));
}

TEST_F(ProjectGridAccessibleTests, ACardIsPressedAndFocused) {
    project("A");
    project("B");
    showWindow();
    auto* card = list().child(1);
    card->actionInterface()->doAction(QAccessibleActionInterface::setFocusAction());
    EXPECT_TRUE(card->state().focused);
    EXPECT_FALSE(list().child(0)->state().focused);
    EXPECT_EQ(treeRoot(*window).focusChild(), card);
    card->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    finishWork();
    ASSERT_TRUE(workspace->editor());
    EXPECT_EQ(workspace->editor()->title(), "A");
}

TEST_F(ProjectGridAccessibleTests, TheFieldOfANameIsThereWhileItIsEdited) {
    const auto row = project("A");
    showWindow();
    EXPECT_EQ(list().childCount(), 1);
    home.rename(QString::fromStdString(row.id.upper()));
    refresh();
    ASSERT_EQ(list().childCount(), 2);
    auto* field = findNode(list(), QAccessible::EditableText, "Project name");
    ASSERT_NE(field, nullptr);
    EXPECT_EQ(field->text(QAccessible::Description), "Enter to save. Escape to cancel.");
    EXPECT_EQ(field->parent(), &list());
    auto* card = list().child(0);
    ASSERT_EQ(card->childCount(), 3) << "the name isn't shown beside its field";
    EXPECT_EQ(card->child(0)->text(QAccessible::Name), "00:00.0");
    EXPECT_EQ(card->child(2)->text(QAccessible::Name), "Actions for A");
    EXPECT_EQ(card->indexOfChild(card->child(2)), 2);
    EXPECT_THAT(faultsOf(treeRoot(*window)), IsEmpty());
}

TEST_F(ProjectGridAccessibleTests, ProjectsThatGoLeaveTheTree) {
    const auto a = project("A");
    project("B");
    showWindow();
    (void)treeOf(list());
    windows->library().forget(a.id);
    refresh();
    EXPECT_EQ(list().childCount(), 1);
    EXPECT_EQ(list().child(0)->text(QAccessible::Description), "B");
    EXPECT_THAT(faultsOf(treeRoot(*window)), IsEmpty());
}

TEST_F(ProjectGridAccessibleTests, TheMenuIsOneOfItems) {
    project("A");
    showWindow();
    list().child(0)->actionInterface()->doAction(QAccessibleActionInterface::showMenuAction());
    finishWork();
    // It fades in.
    waitFor([this] { return findNode(treeRoot(*window), QAccessible::MenuItem, "Open") != nullptr; });
    EXPECT_NE(findNode(treeRoot(*window), QAccessible::PopupMenu, "Project actions"), nullptr);
    for (const char* name : {"Open", "Open in New Window", "Rename…", "Duplicate", "Delete…"})
        EXPECT_NE(findNode(treeRoot(*window), QAccessible::MenuItem, name), nullptr) << name;
}

TEST_F(ProjectGridAccessibleTests, AnEmptyLibraryHasNoList) {
    showWindow();
    EXPECT_EQ(findNode(treeRoot(*window), QAccessible::List, "Projects"), nullptr);
    EXPECT_NE(findNode(treeRoot(*window), QAccessible::StaticText, "Create a video"), nullptr);
    EXPECT_NE(findNode(treeRoot(*window), QAccessible::PushButton, "New Project…"), nullptr);
    EXPECT_THAT(faultsOf(treeRoot(*window)), IsEmpty());
}

}  // namespace
}  // namespace kelvane::testing
