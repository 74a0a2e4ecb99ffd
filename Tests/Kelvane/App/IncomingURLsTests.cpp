#include <gtest/gtest.h>

#include "App/IncomingURLs.h"
#include "Support/App/WindowsFixture.h"

namespace kelvane::testing {
namespace {

std::vector<std::string> texts(const std::vector<std::string>& arguments) {
    std::vector<std::string> out;
    for (const auto& url : incomingURLs(arguments)) out.push_back(url.absoluteString());
    return out;
}

TEST(IncomingURLs, LinksAndProjectPathsCountInTheirOrder) {
    const auto here = FileURL::fromPath("Trailer.kelvane").absoluteString();
    EXPECT_EQ(texts({"/a/My film.kelvane", "kelvane://project/1B5C", "Trailer.kelvane"}),
              (std::vector<std::string>{"file:///a/My%20film.kelvane", "kelvane://project/1B5C", here}));
}

TEST(IncomingURLs, UpperCaseSchemesExtensionsAndFileURLsCount) {
    EXPECT_EQ(texts({"KELVANE://PROJECT/x", "/a/B.KELVANE", "file:///a/My%20film.kelvane", "/a/x/../y.kelvane"}),
              (std::vector<std::string>{"KELVANE://PROJECT/x", "file:///a/B.KELVANE", "file:///a/My%20film.kelvane",
                                        "file:///a/y.kelvane"}));
}

TEST(IncomingURLs, OtherArgumentsAreIgnored) {
    EXPECT_EQ(texts({"", "--help", "/a/film.mp4", "https://example.invalid/", "kelvane", "kelvane://a b"}),
              std::vector<std::string>{});
}

class IncomingURLQueueTests : public WindowsFixture {
protected:
    IncomingURLQueueTests() {
        windows->activateApplication = [this] { ++activated; };
        std::filesystem::create_directories(folder.path("Outside"));
    }
    /// A project file outside the library.
    FileURL outside(const std::string& name) {
        EXPECT_TRUE(ProjectFile::write(Project{}, folder.url("Outside/" + name + ".kelvane")));
        return folder.url("Outside/" + name + ".kelvane");
    }
    static FileURL link(const std::string& tail) { return FileURL::parse("kelvane://project/" + tail).value(); }
    /// Names of the projects in the order in which they came into being.
    std::vector<std::string> opened() {
        std::vector<std::string> names;
        for (const auto& row : windows->library().projects()) names.insert(names.begin(), row.name);
        return names;
    }

    IncomingURLQueue queue;
    int activated = 0;
};

TEST_F(IncomingURLQueueTests, WhatComesBeforeTheFirstWindowWaitsForItInOrder) {
    const auto row = project("Linked");
    queue.open({outside("One"), outside("Two")});
    context.settle();
    queue.open({link(row.id.upper())});
    context.settle();
    EXPECT_TRUE(windows->editors().empty());
    const auto workspace = show(first);
    first.active = true;
    queue.start(*windows);
    context.settle();
    EXPECT_EQ(opened(), (std::vector<std::string>{"Linked", "One", "Two"}));
    EXPECT_EQ(windows->editors().size(), 3U);
    ASSERT_TRUE(workspace->editor());
    EXPECT_EQ(workspace->editor()->title(), "Linked") << "the last one stays in the window";
    EXPECT_EQ(activated, 1);
    queue.start(*windows);
    context.settle();
    EXPECT_EQ(activated, 1) << "a URL is handled once";
}

TEST_F(IncomingURLQueueTests, WhatComesLaterIsHandledAtOnceInOrder) {
    const auto workspace = show(first);
    first.active = true;
    queue.start(*windows);
    context.settle();
    queue.open({outside("One"), outside("Two")});
    context.settle();
    EXPECT_EQ(opened(), (std::vector<std::string>{"One", "Two"}));
    ASSERT_TRUE(workspace->editor());
    EXPECT_EQ(workspace->editor()->title(), "Two");
}

TEST_F(IncomingURLQueueTests, NothingIsHandledWhileWindowsCantBeOpened) {
    const auto workspace = show(first);
    first.active = true;
    queue.start(*windows);
    context.settle();
    const auto openWindow = std::exchange(windows->openWindow, nullptr);
    queue.open({outside("One")});
    context.settle();
    EXPECT_EQ(workspace->editor(), nullptr);
    windows->openWindow = openWindow;
    queue.start(*windows);
    context.settle();
    ASSERT_TRUE(workspace->editor());
    EXPECT_EQ(workspace->editor()->title(), "One");
}

TEST_F(IncomingURLQueueTests, AnythingThatIsNoFileAndNoLinkIsDroppedWithoutAWord) {
    const auto row = project("A");
    const auto workspace = show(first);
    first.active = true;
    queue.start(*windows);
    context.settle();
    for (const auto& text :
         {std::string("kelvane://project/not-an-id"), std::string("kelvane://project/"), std::string("kelvane:"),
          "kelvane://project/" + row.id.upper() + "/", "kelvane://project/" + row.id.upper() + "?x=1",
          "kelvane://projects/" + row.id.upper(), "https://project/" + row.id.upper()}) {
        queue.open({FileURL::parse(text).value()});
        context.settle();
        EXPECT_EQ(workspace->editor(), nullptr) << text;
        EXPECT_EQ(windows->error(), std::nullopt) << text;
    }
    EXPECT_EQ(activated, 0);
}

TEST_F(IncomingURLQueueTests, ALinkToAnUnknownProjectIsTold) {
    show(first);
    queue.start(*windows);
    context.settle();
    queue.open({link(uuid(7).upper())});
    context.settle();
    EXPECT_EQ(windows->error(), "This project is no longer in your Kelvane library.");
}

TEST_F(IncomingURLQueueTests, AFileOrLinkThatComesTwiceOpensOneProject) {
    const auto file = outside("One");
    const auto row = project("A");
    queue.open({file, file, link(row.id.upper()), link(row.id.upper())});
    context.settle();
    show(first);
    first.active = true;
    queue.start(*windows);
    context.settle();
    queue.open({file});
    context.settle();
    EXPECT_EQ(opened(), (std::vector<std::string>{"A", "One"}));
    EXPECT_EQ(windows->editors().size(), 2U);
    EXPECT_TRUE(asked.empty());
    EXPECT_EQ(windows->error(), std::nullopt);
}

TEST_F(IncomingURLQueueTests, AFileThatCantBeReadDoesNotStopTheNext) {
    folder.write("Outside/Bad.kelvane", "no project");
    const auto workspace = show(first);
    first.active = true;
    queue.open({folder.url("Outside/Bad.kelvane"), outside("Good")});
    context.settle();
    queue.start(*windows);
    context.settle();
    EXPECT_TRUE(windows->error());
    ASSERT_TRUE(workspace->editor());
    EXPECT_EQ(workspace->editor()->title(), "Good");
}

}  // namespace
}  // namespace kelvane::testing
