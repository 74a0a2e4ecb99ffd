#include <gmock/gmock.h>

#include <filesystem>

#include "../Accessible/TreeReading.h"
#include "../Timeline/TimelineWindowFixture.h"
#include "Views/Window/PanelHost.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// Our own chooser of files over a project's window, begun in a folder with two films, a text and a folder with one.
class ChooserPanelTests : public TimelineWindowFixture {
protected:
    ChooserPanelTests() : host(std::make_unique<PanelHost>(chooser, engine, *window)) {
        for (const char* name : {"a.mp4", "b.mp4", "notes.txt", "more/c.mp4"})
            folder.write("Films/" + std::string(name));
        chooser.beginNextIn(folder.path("Films"));
    }
    ~ChooserPanelTests() override { host.reset(); }

    template <class Condition>
    bool becomes(Condition isSo) {
        return QTest::qWaitFor(
            [&] {
                context.settle();
                return isSo();
            },
            static_cast<int>(patience.count()));
    }
    void choose() {
        chooser.chooseFiles(PanelContent::media, "Choose videos or audio files.", [this](const auto& files) {
            answers.emplace_back("chosen");
            for (const auto& file : files) answers.push_back(file.fileName());
        });
        ASSERT_TRUE(becomes([this] { return host->panel() && host->panel()->property("opened").toBool(); }));
    }
    [[nodiscard]] QAccessibleInterface& sheet() {
        auto* found = findNode(treeRoot(*window), QAccessible::Dialog, "Choose videos or audio files.");
        check(found != nullptr, "the chooser stands");
        return *found;
    }
    [[nodiscard]] bool isListed(const std::string& name) {
        return findNode(sheet(), QAccessible::ListItem, name) != nullptr;
    }
    /// The name of what has the keyboard.
    [[nodiscard]] std::string focused() const {
        return QAccessible::queryAccessibleInterface(window->activeFocusItem())->text(QAccessible::Name).toStdString();
    }

    std::vector<std::string> answers;
    WindowPanels chooser{true, context};
    std::unique_ptr<PanelHost> host;
};

TEST_F(ChooserPanelTests, IsASheetWithAFieldAndItsButtons) {
    choose();
    const std::string tree = treeOf(sheet());
    EXPECT_THAT(tree, HasSubstr("text \"File name\"\n"));
    EXPECT_THAT(tree, HasSubstr("combo box \"Kind of file\" (Video and audio)\n"));
    EXPECT_THAT(tree, HasSubstr("button \"Cancel\"\n"));
    EXPECT_THAT(tree, HasSubstr("button \"Open\" disabled default\n"));
    EXPECT_THAT(tree, HasSubstr("list item \"more\" (Folder)\n"));
    EXPECT_FALSE(isListed("notes.txt"));
    EXPECT_THAT(faultsOf(sheet()), IsEmpty());
    EXPECT_EQ(focused(), "File name");
    press(Qt::Key_Return);
    EXPECT_THAT(answers, IsEmpty()) << "there is nothing to take";
    press(Qt::Key_Escape);
    EXPECT_THAT(answers, ElementsAre("chosen"));
    EXPECT_TRUE(becomes([this] { return host->panel() == nullptr; }));
    EXPECT_TRUE(becomes([this] { return surface().hasActiveFocus(); })) << "what had the focus has it again";
}

TEST_F(ChooserPanelTests, ItsListsAreWorkedByKeys) {
    choose();
    press(Qt::Key_Tab, Qt::ShiftModifier);
    ASSERT_EQ(focused(), "more") << "the first row";
    press(Qt::Key_Home);
    press(Qt::Key_Return);
    ASSERT_TRUE(becomes([this] { return isListed("c.mp4"); })) << "a folder is opened, and nothing taken";
    EXPECT_THAT(answers, IsEmpty());
    press(Qt::Key_Backspace);
    ASSERT_TRUE(becomes([this] { return isListed("a.mp4"); }));
    press(Qt::Key_Down);
    press(Qt::Key_Down, Qt::ShiftModifier);
    press(Qt::Key_Return);
    EXPECT_TRUE(becomes([this] { return !answers.empty(); }));
    EXPECT_THAT(answers, ElementsAre("chosen", "a.mp4", "b.mp4"));
}

TEST_F(ChooserPanelTests, ThePlacesAreOneStopAmongWhichArrowsGo) {
    choose();
    press(Qt::Key_Tab, Qt::ShiftModifier);
    press(Qt::Key_Tab, Qt::ShiftModifier);
    press(Qt::Key_End);
    auto* last = findNode(sheet(), QAccessible::ListItem, "File System");
    ASSERT_NE(last, nullptr);
    EXPECT_TRUE(last->state().focused);
    press(Qt::Key_Return);
    EXPECT_TRUE(becomes([this] { return findNode(sheet(), QAccessible::StaticText, "/") != nullptr; }));
    EXPECT_THAT(answers, IsEmpty());
    press(Qt::Key_Tab, Qt::ShiftModifier);
    EXPECT_EQ(focused(), "Parent folder");
}

TEST_F(ChooserPanelTests, AnotherKindOfFileIsTakenByKeys) {
    choose();
    press(Qt::Key_Tab);
    ASSERT_EQ(focused(), "Kind of file");
    press(Qt::Key_Down);
    EXPECT_TRUE(becomes([this] { return isListed("notes.txt"); }));
    press(Qt::Key_Tab, Qt::ShiftModifier);
    for (const char letter : std::string("notes.txt")) QTest::keyClick(window.get(), letter);
    press(Qt::Key_Tab);
    press(Qt::Key_Return);
    EXPECT_TRUE(becomes([this] { return !answers.empty(); })) << "Return on a closed menu is the default button’s";
    EXPECT_THAT(answers, ElementsAre("chosen", "notes.txt"));
}

}  // namespace
}  // namespace kelvane::testing
