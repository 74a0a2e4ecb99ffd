#include "Session/AIAssistantSession.h"
#include "Support/App/FinishTask.h"
#include "Support/App/WindowsFixture.h"

namespace kelvane::testing {
namespace {

/// Which projects have a player and pictures.
class ShownProjects : public WindowsFixture {
protected:
    std::shared_ptr<Editor> open(const LibraryProject& row, const std::shared_ptr<Workspace>& workspace) {
        auto editor = testing::finish(context, windows->open(row, workspace, workspace == nullptr));
        context.settle();
        EXPECT_NE(editor, nullptr);
        return editor;
    }
    static void expectShown(const Editor& editor, bool shown) {
        EXPECT_EQ(editor.isShown(), shown);
        EXPECT_EQ(editor.player() != nullptr, shown);
        EXPECT_EQ(editor.thumbnails().size(), shown ? 1U : 0U);
    }
};

TEST_F(ShownProjects, TheProjectInAWindowHasThemAndTheOneBeforeHasNot) {
    const auto workspace = show(first);
    const auto a = open(projectWithClip("A"), workspace);
    expectShown(*a, true);
    edit(*a);
    const auto b = open(projectWithClip("B"), workspace);
    expectShown(*b, true);
    expectShown(*a, false);
    EXPECT_FALSE(a->isDirty());

    EXPECT_EQ(open(*windows->library().find(a->id()), workspace), a);
    expectShown(*a, true);
    expectShown(*b, false);
    EXPECT_EQ(a->undoStack().size(), 1U) << "the history stays";
}

TEST_F(ShownProjects, TheHomeAndAClosedWindowShowNone) {
    const auto workspace = show(first);
    const auto row = projectWithClip("A");
    const auto editor = open(row, workspace);
    testing::finish(context, windows->showHome(workspace));
    context.settle();
    expectShown(*editor, false);
    open(row, workspace);
    expectShown(*editor, true);
    edit(*editor);
    EXPECT_TRUE(testing::finish(context, windows->flush(editor)));
    const std::weak_ptr<const StillImage> onTheCard = editor->thumbnails().begin()->second;
    windows->unregister(workspace);
    context.settle();
    expectShown(*editor, false);
    EXPECT_TRUE(onTheCard.expired()) << "what was saved keeps no picture";
}

TEST_F(ShownProjects, AWindowOnItsWayCounts) {
    const auto editor = open(projectWithClip("A"), nullptr);
    expectShown(*editor, true);
    ASSERT_EQ(asked.size(), 1U);
    const auto workspace = show(second, asked.front());
    EXPECT_EQ(workspace->editor(), editor);
    expectShown(*editor, true);
}

TEST_F(ShownProjects, AProjectThatDidNotComeToBeShownHasNone) {
    const auto workspace = show(first);
    const auto a = open(projectWithClip("A"), workspace);
    breakDocument(*windows->library().find(a->id()));
    edit(*a);
    const auto row = projectWithClip("B");
    EXPECT_EQ(testing::finish(context, windows->open(row, workspace, false)), nullptr);
    context.settle();
    ASSERT_TRUE(windows->editors().contains(row.id));
    expectShown(*windows->editors().at(row.id), false);
    expectShown(*a, true);
    mendDocument(*windows->library().find(a->id()));
}

TEST_F(ShownProjects, ADeletedProjectLetsGoOfThem) {
    const auto workspace = show(first);
    const auto row = projectWithClip("A");
    const auto editor = open(row, workspace);
    panels.confirmations = {true};
    windows->remove(row.id);
    context.settle();
    EXPECT_EQ(workspace->editor(), nullptr);
    expectShown(*editor, false);
}

}  // namespace
}  // namespace kelvane::testing
