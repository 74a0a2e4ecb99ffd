#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "Support/TempFolder.h"
#include "Views/Window/FolderListing.h"

namespace kelvane::testing {
namespace {

using namespace FolderListing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Paths = std::vector<std::string>;

TEST(FolderListing, TypedTextIsOnePathOrSeveralInQuotes) {
    struct Row {
        std::string text;
        Paths paths;
    };
    for (const Row& row : {
             Row{"film.mp4", {"/here/film.mp4"}},
             Row{"  film.mp4 ", {"/here/film.mp4"}},
             Row{"My film.mp4", {"/here/My film.mp4"}},
             Row{"/a/b.mp4", {"/a/b.mp4"}},
             Row{"../x/./b.mp4", {"/x/b.mp4"}},
             Row{"sub/b.mp4", {"/here/sub/b.mp4"}},
             Row{"sub/", {"/here/sub"}},
             Row{"~", {"/home/me"}},
             Row{"~/b.mp4", {"/home/me/b.mp4"}},
             Row{"~b.mp4", {"/here/~b.mp4"}},
             Row{"file:///a/b%20c.mp4", {"/a/b c.mp4"}},
             Row{"\"a.mp4\" \"b c.mp4\"", {"/here/a.mp4", "/here/b c.mp4"}},
             Row{"\"a.mp4\"   \"/x/b.mp4\" \"~/c.mp4\"", {"/here/a.mp4", "/x/b.mp4", "/home/me/c.mp4"}},
             Row{"\"only one.mp4\"", {"/here/only one.mp4"}},
             Row{R"("a \"b\" \\c.mp4" "d.mp4")", {R"(/here/a "b" \c.mp4)", "/here/d.mp4"}},
             // No list of quoted names: a name as it stands.
             Row{"say \"hi\".mp4", {"/here/say \"hi\".mp4"}},
             Row{"\"a.mp4", {"/here/\"a.mp4"}},
             Row{"\"a\"b.mp4", {"/here/\"a\"b.mp4"}},
             Row{"\"a.mp4\" b.mp4", {"/here/\"a.mp4\" b.mp4"}},
             Row{"", {}},
             Row{"   ", {}},
             Row{"\"\"", {}},
         })
        EXPECT_EQ(typedPaths(row.text, "/here", "/home/me"), row.paths) << row.text;
}

TEST(FolderListing, TheTextOfNamesIsReadAsThem) {
    EXPECT_EQ(textOf({"film.mp4"}), "film.mp4");
    EXPECT_EQ(textOf({"My film.mp4"}), "My film.mp4");
    EXPECT_EQ(textOf({"a.mp4", "b c.mp4"}), "\"a.mp4\" \"b c.mp4\"");
    for (const Paths& names : {Paths{"a.mp4"}, Paths{"\"a\""}, Paths{" a "}, Paths{"~"}, Paths{"~/"}, Paths{"file:x"},
                               Paths{"a\"b", "c\\d", "~", "file:///x"}}) {
        Paths wanted;
        for (const auto& name : names) wanted.push_back(standardizedPath("/here/" + name));
        EXPECT_EQ(typedPaths(textOf(names), "/here", "/home/me"), wanted) << textOf(names);
    }
}

TEST(FolderListing, AFolderShowsItsFoldersFirstAndTheFilesOfTheFilter) {
    TempFolder folder;
    for (const char* name : {"clip 10.mp4", "clip 9.MP4", "B.mov", "a.mov", "notes.txt", ".hidden.mp4"})
        folder.write(name);
    folder.makeFolder("zoo");
    folder.makeFolder("Archive");
    folder.makeFolder(".git");
    std::filesystem::create_directory_symlink(folder.path("zoo"), folder.path("link"));
    std::filesystem::create_symlink(folder.path("nowhere"), folder.path("broken.mov"));
    const auto listing = list({folder.path()}, {"*.mp4", "*.mov"});
    EXPECT_EQ(listing.problem, "");
    EXPECT_EQ(listing.folder, folder.path());
    EXPECT_EQ(listing.entries, (std::vector<Entry>{{"Archive", true},
                                                   {"link", true},
                                                   {"zoo", true},
                                                   {"a.mov", false},
                                                   {"B.mov", false},
                                                   {"broken.mov", false},
                                                   {"clip 9.MP4", false},
                                                   {"clip 10.mp4", false}}));
    EXPECT_EQ(list({folder.path()}, {"*"}).entries.size(), 9U);
}

TEST(FolderListing, NamesAreSortedAsPeopleDo) {
    TempFolder folder;
    Paths mixed{"01.mp4", "1.mp4", "a1b2.mp4", "A1b10.mp4", "a02.mp4", "über 2.mp4", "Über.mp4", "x", "x1", "x001y"};
    for (const auto& name : mixed) folder.write(name);
    Paths names;
    for (const auto& entry : list({folder.path()}, {"*"}).entries) names.push_back(entry.name);
    std::ranges::sort(mixed);
    auto sorted = names;
    std::ranges::sort(sorted);
    EXPECT_EQ(sorted, mixed);
    const auto at = [&](const char* name) { return std::ranges::find(names, name) - names.begin(); };
    EXPECT_LT(at("a1b2.mp4"), at("A1b10.mp4"));
    EXPECT_LT(at("A1b10.mp4"), at("a02.mp4"));
    EXPECT_LT(at("x"), at("x1"));
    EXPECT_LT(at("x1"), at("x001y"));
    EXPECT_LT(at("über 2.mp4"), at("Über.mp4"));
}

TEST(FolderListing, TheFirstFolderThatCanBeReadIsShown) {
    TempFolder folder;
    const auto listing = list({folder.path("gone"), folder.path()}, {"*"});
    EXPECT_EQ(listing.folder, folder.path());
    EXPECT_EQ(listing.problem, "");
    const auto none = list({folder.path("gone")}, {"*"});
    EXPECT_EQ(none.folder, folder.path("gone"));
    EXPECT_EQ(none.problem, "The folder “gone” can’t be shown: No such file or directory.");
    EXPECT_THAT(none.entries, IsEmpty());
}

TEST(FolderListing, FilesMustBeThereAndAFolderIsShown) {
    TempFolder folder;
    folder.write("a.mp4");
    folder.makeFolder("sub");
    const auto a = folder.path("a.mp4");
    const auto sub = folder.path("sub");
    EXPECT_EQ(choiceOfFiles({a, a}), (Choice{Choice::Kind::chosen, {a, a}, ""}));
    EXPECT_EQ(choiceOfFiles({sub}), (Choice{Choice::Kind::folder, {sub}, ""}));
    EXPECT_EQ(choiceOfFiles({a, sub}).problem, "“sub” is a folder.");
    EXPECT_EQ(choiceOfFiles({a, folder.path("b.mp4")}).problem, "“b.mp4” can’t be found.");
    EXPECT_EQ(choiceOfFiles({}).problem, "Choose a file.");
}

TEST(FolderListing, AFileToWriteNeedsItsFolderAndGetsItsExtension) {
    TempFolder folder;
    folder.makeFolder("sub");
    folder.makeFolder("taken.mp4");
    const auto chosen = [&](const char* name) { return Choice{Choice::Kind::chosen, {folder.path(name)}, ""}; };
    EXPECT_EQ(choiceOfPlace({folder.path("film")}, "mp4"), chosen("film.mp4"));
    EXPECT_EQ(choiceOfPlace({folder.path("film.mp4")}, "mp4"), chosen("film.mp4"));
    EXPECT_EQ(choiceOfPlace({folder.path("film.MP4")}, "mp4"), chosen("film.MP4"));
    EXPECT_EQ(choiceOfPlace({folder.path("film.2")}, "mp4"), chosen("film.2.mp4"));
    EXPECT_EQ(choiceOfPlace({folder.path("sub")}, "mp4"), (Choice{Choice::Kind::folder, {folder.path("sub")}, ""}));
    EXPECT_EQ(choiceOfPlace({folder.path("taken")}, "mp4").problem, "“taken.mp4” is a folder.");
    EXPECT_EQ(choiceOfPlace({folder.path("none/film.mp4")}, "mp4").problem, "The folder “none” can’t be found.");
    EXPECT_EQ(choiceOfPlace({"/a.mp4", "/b.mp4"}, "mp4").problem, "Enter one file name.");
    EXPECT_EQ(choiceOfPlace({}, "mp4").problem, "Enter a file name.");
}

}  // namespace
}  // namespace kelvane::testing
