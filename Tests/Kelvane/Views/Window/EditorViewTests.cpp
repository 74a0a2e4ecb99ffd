#include <gmock/gmock.h>

#include <filesystem>

#include "Support/App/WindowsFixture.h"
#include "Views/Window/AssetsPaneWidth.h"
#include "Views/Window/EditorView.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;

TEST(AssetsPaneWidth, IsHeldToTheRowAndToItsLeast) {
    struct Row {
        double width, rowWidth, held;
    };
    for (const Row& row : std::vector<Row>{{300, 1060, 300},
                                           {100, 1060, 200},
                                           {900, 1060, 700},
                                           // Where the two limits contradict each other, the least holds.
                                           {140, 500, 200},
                                           {300, 500, 200},
                                           {0, 0, 200},
                                           {200, 560, 200},
                                           {201, 561, 201}})
        EXPECT_EQ(AssetsPaneWidth::held(row.width, row.rowWidth), row.held) << row.width << " of " << row.rowWidth;
}

class EditorViewTests : public WindowsFixture {
protected:
    EditorViewTests() : workspace(show(first)), view(workspace) {
        media.addFileNamed("One.mov", FakeFile::video(3));
        media.addFileNamed("Two.mov", FakeFile::video(3));
        QObject::connect(&view, &EditorView::aboutToChange, [this] { ++resets; });
    }
    std::shared_ptr<Editor> openClip(const char* name = "A") {
        auto editor = open(projectWithClip(name), workspace, false);
        context.settle();
        return editor;
    }
    [[nodiscard]] QUrl url(const char* name) const { return QUrl::fromLocalFile(path(name)); }
    [[nodiscard]] QString path(const char* name) const {
        return QString::fromStdString(folder.write("Sources/" + std::string(name)).path());
    }

    std::shared_ptr<Workspace> workspace;
    EditorView view;
    int resets = 0;
};

TEST_F(EditorViewTests, AThirdOfTheRowIsTheAssetsAtFirst) {
    const auto editor = openClip();
    view.setRowWidth(1060);
    EXPECT_EQ(view.assetsWidth(), 353);
    EXPECT_EQ(view.assetsPercent(), 33);
    view.setRowWidth(500);
    EXPECT_EQ(view.assetsWidth(), 200) << "the least holds against the room for the preview";
    EXPECT_EQ(view.assetsPercent(), 40);
    view.setRowWidth(1200);
    EXPECT_EQ(view.assetsWidth(), 400) << "the part of the row stays";
}

TEST_F(EditorViewTests, ADragMovesTheDividerFromWhereItStoodAndIsHeldAtEachStep) {
    const auto editor = openClip();
    view.setRowWidth(900);
    view.dragDivider(50);
    EXPECT_EQ(view.assetsWidth(), 300) << "no hand has it";
    view.beginDividerDrag();
    view.dragDivider(60);
    EXPECT_EQ(view.assetsWidth(), 360);
    view.dragDivider(1000);
    EXPECT_EQ(view.assetsWidth(), 540);
    view.dragDivider(-1000);
    EXPECT_EQ(view.assetsWidth(), 200);
    view.dragDivider(150);
    EXPECT_EQ(view.assetsWidth(), 450) << "from where it began";
    view.endDividerDrag();
    view.dragDivider(0);
    EXPECT_EQ(view.assetsWidth(), 450);
    view.setRowWidth(1800);
    EXPECT_EQ(view.assetsWidth(), 900) << "as a part of the row";
    view.resetDivider();
    EXPECT_EQ(view.assetsWidth(), 600);
}

TEST_F(EditorViewTests, AStepMovesTheDividerByATwentiethOfTheRow) {
    const auto editor = openClip();
    view.setRowWidth(1000);
    view.setAssetsPercent(40);
    EXPECT_EQ(view.assetsWidth(), 400);
    view.stepDivider(1);
    EXPECT_EQ(view.assetsWidth(), 450);
    view.stepDivider(-2);
    EXPECT_EQ(view.assetsWidth(), 350);
    view.stepDivider(-20);
    EXPECT_EQ(view.assetsWidth(), 200);
    view.setAssetsPercent(99);
    EXPECT_EQ(view.assetsPercent(), 64) << "as far as the preview has room";
}

TEST_F(EditorViewTests, EachProjectKeepsItsDivider) {
    const auto row = projectWithClip("One");
    const auto one = open(row, workspace, false);
    view.setRowWidth(1000);
    view.setAssetsPercent(50);
    view.beginDividerDrag();
    const auto other = openClip("Other");
    EXPECT_EQ(view.assetsWidth(), 333);
    view.dragDivider(100);
    EXPECT_EQ(view.assetsWidth(), 333) << "the drag was of the other project";
    open(row, workspace, false);
    EXPECT_EQ(view.assetsWidth(), 500);
}

TEST_F(EditorViewTests, TheInspectorIsTheProjectsOwn) {
    EXPECT_FALSE(view.showInspector());
    view.setShowInspector(true);
    EXPECT_FALSE(view.showInspector()) << "there is none on the home";
    const auto one = openClip("One");
    view.setShowInspector(true);
    EXPECT_TRUE(view.showInspector());
    openClip("Other");
    EXPECT_FALSE(view.showInspector());
}

TEST_F(EditorViewTests, FilesAreImportedInTheirOrderAndInOneOperation) {
    const auto editor = openClip();
    const QList<QUrl> urls{url("One.mov"), QUrl("https://example.org/Three.mov"), url("Two.mov")};
    EXPECT_TRUE(view.enterDrop(urls));
    EXPECT_TRUE(view.dropTarget());
    EXPECT_TRUE(view.importDrop(urls));
    EXPECT_EQ(resets, 1);
    EXPECT_FALSE(view.dropTarget());
    EXPECT_TRUE(editor->isImporting());
    context.settle();
    std::vector<std::string> names;
    for (const Clip& asset : editor->assets()) names.push_back(asset.name());
    EXPECT_THAT(names, ElementsAre("A", "One", "Two"));
}

TEST_F(EditorViewTests, OfFiveHundredTheMediaArriveAndEachOtherIsToldOnce) {
    const auto editor = openClip();
    QList<QUrl> urls;
    std::vector<std::string> expected{"A"};
    for (int i = 1; i <= 490; ++i) {
        const std::string name = "Take " + std::to_string(i);
        media.addFileNamed(name + ".mov", FakeFile::video(3));
        urls << url((name + ".mov").c_str());
        expected.push_back(name);
    }
    // A folder and a file of another kind are no media; what is there twice comes once; a link is as good as its file.
    media.addFileNamed("Notes.txt", FakeFile::neither());
    media.addFileNamed("Link.mov", FakeFile::video(3));
    std::filesystem::create_directories(folder.path("Sources/Folder"));
    std::filesystem::create_symlink(folder.path("Sources/Take 1.mov"), folder.path("Sources/Link.mov"));
    const auto fromFolder = [this](const char* name) {
        return QUrl::fromLocalFile(QString::fromStdString(folder.path("Sources/" + std::string(name))));
    };
    for (int i = 0; i < 3; ++i) urls.insert(100 * i, fromFolder("Folder"));
    for (int i = 0; i < 3; ++i) urls.insert(150 * i, url("Notes.txt"));
    urls << url("Take 7.mov") << url("Take 8.mov") << QUrl("https://example.org/Take.mov") << fromFolder("Link.mov");
    // A copy of what it leads to.
    expected.emplace_back("Take 1");
    ASSERT_EQ(urls.size(), 500);
    EXPECT_TRUE(view.importDrop(urls));
    context.settle();
    std::vector<std::string> names;
    for (const Clip& asset : editor->assets()) names.push_back(asset.name());
    EXPECT_EQ(names, expected);
    EXPECT_EQ(editor->error(),
              "“Notes.txt” has an invalid trim range or could not be read.\n“Folder” could not be opened.");
}

TEST_F(EditorViewTests, NothingButFilesIsTaken) {
    EXPECT_FALSE(view.enterDrop({url("One.mov")})) << "there is no project on the home";
    EXPECT_FALSE(view.importDrop({url("One.mov")}));
    const auto editor = openClip();
    EXPECT_FALSE(view.enterDrop({QUrl("https://example.org/Three.mov")}));
    EXPECT_FALSE(view.dropTarget());
    EXPECT_FALSE(view.importDrop({QUrl("https://example.org/Three.mov")}));
    EXPECT_FALSE(view.importDrop({}));
    EXPECT_FALSE(editor->busy());
    EXPECT_EQ(resets, 0);
}

TEST_F(EditorViewTests, ABusyProjectTakesNothing) {
    const auto editor = openClip();
    beginImport(*editor);
    EXPECT_FALSE(view.enterDrop({url("One.mov")}));
    EXPECT_FALSE(view.dropTarget());
    EXPECT_FALSE(view.importDrop({url("One.mov")}));
    context.settle();
    EXPECT_EQ(editor->assets().size(), 2U);
}

TEST_F(EditorViewTests, TheFrameGoesWhenTheProjectTurnsBusyUnderADragAndComesBack) {
    const auto editor = openClip();
    int told = 0;
    QObject::connect(&view, &EditorView::dropTargetChanged, [&told] { ++told; });
    EXPECT_TRUE(view.enterDrop({url("One.mov")}));
    beginImport(*editor);
    context.runPosted();
    EXPECT_FALSE(view.acceptsDrop());
    EXPECT_EQ(told, 2);
    context.settle();
    EXPECT_TRUE(view.acceptsDrop());
    view.leaveDrop();
    EXPECT_FALSE(view.dropTarget());
    EXPECT_EQ(told, 4);
}

}  // namespace
}  // namespace kelvane::testing
