#include <gmock/gmock.h>

#include "Support/App/FakeMainContext.h"
#include "Support/TempFolder.h"
#include "Views/Window/FileBrowser.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A chooser on a folder with a few files.
class FileBrowserTests : public ::testing::Test {
protected:
    FileBrowserTests() {
        for (const char* name : {"a.mp4", "b.mp4", "c d.mp4", "notes.txt"}) folder.write(name);
        folder.write("sub/inner.mp4");
    }
    void begin(bool saves = false) {
        browser = std::make_unique<FileBrowser>(context,
                                                ChooserRequest{.saves = saves,
                                                               .title = {},
                                                               .filters = {{"Movies", {"*.mp4"}}, {"All files", {"*"}}},
                                                               .proposedName = saves ? "Film.mp4" : "",
                                                               .parentWindow = {}},
                                                saves ? "mp4" : "", std::vector{folder.path()});
        QObject::connect(browser.get(), &FileBrowser::accepted, [this](const QList<QUrl>& files) {
            for (const QUrl& file : files) accepted.push_back(file.toLocalFile().toStdString());
        });
    }
    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const auto& entry : browser->rows()->entries()) names.push_back(entry.name);
        return names;
    }
    void type(const char* text) {
        browser->setText(text);
        browser->accept();
        context.settle();
    }

    TempFolder folder;
    FakeMainContext context;
    std::unique_ptr<FileBrowser> browser;
    std::vector<std::string> accepted;
};

TEST_F(FileBrowserTests, TheDiskIsAskedInTheBackground) {
    begin();
    EXPECT_EQ(context.waitingInBackground(Lane::shortWork), 1U);
    EXPECT_EQ(browser->folder(), "");
    context.settle();
    EXPECT_EQ(browser->folder().toStdString(), folder.path());
    EXPECT_THAT(names(), ElementsAre("sub", "a.mp4", "b.mp4", "c d.mp4"));
    EXPECT_EQ(browser->filters(), QStringList({"Movies", "All files"}));
    browser->setFilter(1);
    context.settle();
    EXPECT_THAT(names(), ElementsAre("sub", "a.mp4", "b.mp4", "c d.mp4", "notes.txt"));
}

TEST_F(FileBrowserTests, APathIsTypedAndTaken) {
    begin();
    context.settle();
    EXPECT_FALSE(browser->canAccept());
    type("sub/inner.mp4");
    type("\"a.mp4\" \"c d.mp4\"");
    type((folder.path() + "/b.mp4").c_str());
    EXPECT_THAT(accepted, ElementsAre(folder.path("sub/inner.mp4"), folder.path("a.mp4"), folder.path("c d.mp4"),
                                      folder.path("b.mp4")));
}

TEST_F(FileBrowserTests, WhatIsTypedBeforeTheFolderIsKnownIsTakenInIt) {
    begin();
    browser->setText("a.mp4");
    browser->accept();
    context.settle();
    EXPECT_THAT(accepted, ElementsAre(folder.path("a.mp4")));
}

TEST_F(FileBrowserTests, AFolderThatIsTypedIsShown) {
    begin();
    context.settle();
    type("sub");
    EXPECT_THAT(accepted, IsEmpty());
    EXPECT_EQ(browser->folder().toStdString(), folder.path("sub"));
    EXPECT_EQ(browser->text(), "");
    EXPECT_THAT(names(), ElementsAre("inner.mp4"));
    browser->showParent();
    context.settle();
    EXPECT_EQ(browser->folder().toStdString(), folder.path());
}

TEST_F(FileBrowserTests, WhatIsNotThereIsToldUntilSomethingElseIsTyped) {
    begin();
    context.settle();
    type("gone.mp4");
    EXPECT_EQ(browser->problem(), "“gone.mp4” can’t be found.");
    EXPECT_THAT(accepted, IsEmpty());
    browser->setText("gone");
    EXPECT_EQ(browser->problem(), "");
}

TEST_F(FileBrowserTests, RowsAreChosenByThePointerAndWriteTheirNames) {
    begin();
    context.settle();
    browser->choose(1, false, false);
    EXPECT_EQ(browser->text(), "a.mp4");
    browser->choose(3, true, false);
    EXPECT_EQ(browser->text(), "\"a.mp4\" \"c d.mp4\"");
    browser->choose(1, true, false);
    EXPECT_EQ(browser->text(), "c d.mp4");
    browser->choose(1, false, false);
    browser->choose(3, false, true);
    EXPECT_EQ(browser->text(), "\"a.mp4\" \"b.mp4\" \"c d.mp4\"");
    browser->accept();
    context.settle();
    EXPECT_THAT(accepted, ElementsAre(folder.path("a.mp4"), folder.path("b.mp4"), folder.path("c d.mp4")));
    browser->setText("x");
    EXPECT_THAT(browser->rows()->chosen(), IsEmpty());
}

TEST_F(FileBrowserTests, ARowOpensItsFolderOrItsFile) {
    begin();
    context.settle();
    browser->open(0);
    context.settle();
    EXPECT_EQ(browser->folder().toStdString(), folder.path("sub"));
    browser->open(0);
    browser->open(9);
    browser->choose(-1, false, false);
    context.settle();
    EXPECT_THAT(accepted, ElementsAre(folder.path("sub/inner.mp4")));
}

TEST_F(FileBrowserTests, ANameThatIsNoTextIsTakenByItsRow) {
    folder.write("\xff.mp4");
    begin();
    context.settle();
    QList<QUrl> urls;
    QObject::connect(browser.get(), &FileBrowser::accepted, [&urls](const QList<QUrl>& files) { urls = files; });
    browser->choose(static_cast<int>(names().size()) - 1, false, false);
    ASSERT_EQ(names().back(), "\xff.mp4");
    browser->accept();
    context.settle();
    ASSERT_EQ(urls.size(), 1);
    EXPECT_TRUE(urls.front().toEncoded().endsWith("/%FF.mp4")) << urls.front().toEncoded().toStdString();
}

TEST_F(FileBrowserTests, TheNameOfAFileToWriteStaysWhileFoldersAreLookedAt) {
    begin(true);
    context.settle();
    EXPECT_EQ(browser->text(), "Film.mp4");
    browser->choose(0, false, false);
    EXPECT_EQ(browser->text(), "Film.mp4");
    browser->open(0);
    context.settle();
    EXPECT_EQ(browser->folder().toStdString(), folder.path("sub"));
    EXPECT_EQ(browser->text(), "Film.mp4");
    browser->accept();
    context.settle();
    EXPECT_THAT(accepted, ElementsAre(folder.path("sub/Film.mp4")));
    type("other");
    EXPECT_EQ(accepted.back(), folder.path("sub/other.mp4"));
    type("../none/x.mp4");
    EXPECT_EQ(browser->problem(), "The folder “none” can’t be found.");
}

TEST_F(FileBrowserTests, AFolderThatCantBeReadIsNotEntered) {
    begin();
    context.settle();
    std::filesystem::remove_all(folder.path("sub"));
    browser->open(0);
    context.settle();
    EXPECT_EQ(browser->folder().toStdString(), folder.path());
    EXPECT_EQ(browser->problem(), "The folder “sub” can’t be shown: No such file or directory.");
    EXPECT_FALSE(names().empty());
}

TEST_F(FileBrowserTests, OneThatGoesWhileTheDiskIsAskedIsForgotten) {
    begin();
    browser.reset();
    context.settle();
}

}  // namespace
}  // namespace kelvane::testing
