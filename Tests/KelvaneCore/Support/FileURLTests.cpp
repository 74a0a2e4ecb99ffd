#include <gtest/gtest.h>
#include <limits.h>
#include <unistd.h>

#include <filesystem>
#include <unordered_set>

#include "Support/FileURL.h"
#include "Support/TempFolder.h"

namespace kelvane {
namespace {

using testing::TempFolder;

TEST(FileURL, OfAPathIsPercentEncodedAndReadsBack) {
    const struct {
        std::string_view path;
        const char* text;
        const char* back;
    } rows[] = {
        {"/a/take1.wav", "file:///a/take1.wav", "/a/take1.wav"},
        {"/a b/ü.mov", "file:///a%20b/%C3%BC.mov", "/a b/ü.mov"},
        {"/a;b%c?d#e[f]", "file:///a%3Bb%25c%3Fd%23e%5Bf%5D", "/a;b%c?d#e[f]"},
        {"/keep-._~!$&'()*+,=:@", "file:///keep-._~!$&'()*+,=:@", "/keep-._~!$&'()*+,=:@"},
        {"/not UTF-8 \xff", "file:///not%20UTF-8%20%FF", "/not UTF-8 \xff"},
        {"//a/./b/../c//d/", "file:///a/c/d", "/a/c/d"},
        {"/../..", "file:///", "/"},
        {"/", "file:///", "/"},
    };
    for (const auto& row : rows) {
        const FileURL url = FileURL::fromPath(row.path);
        EXPECT_EQ(url.absoluteString(), row.text);
        EXPECT_EQ(url.path(), row.back);
        EXPECT_TRUE(url.isFile());
        EXPECT_EQ(FileURL::parse(url.absoluteString()), url);
    }
}

TEST(FileURL, OfARelativePathStartsAtTheCurrentFolder) {
    EXPECT_EQ(FileURL::fromPath("a/../b.mov").path(),
              standardizedPath(std::filesystem::current_path().string()) + "/b.mov");
}

TEST(FileURL, KeepsTheTextThatItWasReadFrom) {
    for (const char* text : {"file:///a%2fb/", "file:///%61", "FILE:///a", "https://host/a.mov?x=1#y", "a.mov"}) {
        const auto url = FileURL::parse(text);
        ASSERT_TRUE(url) << text;
        EXPECT_EQ(url->absoluteString(), text);
    }
    EXPECT_NE(FileURL::parse("file:///%61"), FileURL::parse("file:///a"));
    EXPECT_EQ(FileURL::parse("file:///%61")->path(), "/a");
    EXPECT_EQ(FileURL::parse("file:///a/b/")->path(), "/a/b");
    EXPECT_EQ(FileURL::parse("file://localhost/a")->path(), "/a");
    EXPECT_EQ(FileURL::parse("https://host/a.mov?x=1#y")->path(), "/a.mov");
    EXPECT_FALSE(FileURL::parse("https://host/a.mov")->isFile());
    EXPECT_TRUE(FileURL::parse("FILE:///a")->isFile());
}

TEST(FileURL, RefusesWhatNoURLHolds) {
    for (const std::string_view text :
         {"", "file:///a b", "file:///ü", "file:///a%", "file:///a%2", "file:///a%zz", "file:///a<b>", "file:///a\"",
          "file:///a\\b", "file:///a\n", "file:///a%00b", "file:///{a}", "file:///a|b", "file:///a^b", "file:///a`b"}) {
        EXPECT_EQ(FileURL::parse(text), std::nullopt) << text;
    }
    EXPECT_EQ(FileURL::parse(std::string_view("file:///a\0b", 11)), std::nullopt);
}

TEST(FileURL, TellsNameAndExtension) {
    const struct {
        const char* path;
        const char* last;
        const char* base;
        const char* extension;
    } rows[] = {
        {"/m/take1.wav", "take1.wav", "take1", "wav"},
        {"/m/archive.tar.gz", "archive.tar.gz", "archive.tar", "gz"},
        {"/m/none", "none", "none", ""},
        {"/m/.hidden", ".hidden", ".hidden", ""},
        {"/m/.hidden.mov", ".hidden.mov", ".hidden", "mov"},
        {"/m/Ünïcode 1.MOV", "Ünïcode 1.MOV", "Ünïcode 1", "MOV"},
        {"/m/end.", "end.", "end.", ""},
        {"/", "/", "/", ""},
    };
    for (const auto& row : rows) {
        const FileURL url = FileURL::fromPath(row.path);
        EXPECT_EQ(url.fileName(), row.last);
        EXPECT_EQ(url.baseName(), row.base);
        EXPECT_EQ(url.extension(), row.extension);
    }
}

TEST(FileURL, LeadsToItsNeighbours) {
    const FileURL file = FileURL::fromPath("/a b/Trailer.kelvane");
    EXPECT_EQ(file.parentFolder().absoluteString(), "file:///a%20b");
    EXPECT_EQ(file.replacingExtension("media").absoluteString(), "file:///a%20b/Trailer.media");
    EXPECT_EQ(FileURL::fromPath("/a/none").replacingExtension("media").path(), "/a/none.media");
    EXPECT_EQ(file.parentFolder().appending("x y/z").absoluteString(), "file:///a%20b/x%20y/z");
    EXPECT_EQ(FileURL::parse("file:///a/")->appending("b").absoluteString(), "file:///a/b");
    EXPECT_EQ(FileURL::fromPath("/").appending("b").absoluteString(), "file:///b");
    EXPECT_EQ(FileURL::fromPath("/a").parentFolder().absoluteString(), "file:///");
    EXPECT_EQ(FileURL::fromPath("/").parentFolder().absoluteString(), "file:///");
}

TEST(FileURL, ResolvesLinksAsFarAsThePathExists) {
    const TempFolder folder;
    folder.write("real/file.mov");
    std::filesystem::create_symlink(folder.path("real"), folder.path("link"));
    std::filesystem::create_symlink("real/file.mov", folder.path("relative"));
    std::filesystem::create_symlink(folder.path("nowhere"), folder.path("dangling"));
    std::filesystem::create_symlink("loop", folder.path("loop"));
    EXPECT_EQ(folder.url("link/file.mov").resolved(), folder.url("real/file.mov"));
    EXPECT_EQ(folder.url("relative").resolved(), folder.url("real/file.mov"));
    EXPECT_EQ(folder.url("link/new/deep.mov").resolved(), folder.url("real/new/deep.mov"));
    EXPECT_EQ(folder.url("dangling").resolved(), folder.url("dangling"));
    EXPECT_EQ(folder.url("loop").resolved(), folder.url("loop"));
    EXPECT_EQ(folder.url("real/file.mov").resolved(), folder.url("real/file.mov"));
    const auto web = *FileURL::parse("https://host/a/../b");
    EXPECT_EQ(web.resolved(), web);
}

TEST(FileURL, ComparesAndHashesByItsText) {
    const std::unordered_set<FileURL> urls = {FileURL::fromPath("/a"), FileURL::fromPath("/b"),
                                              FileURL::fromPath("/a")};
    EXPECT_EQ(urls.size(), 2u);
    EXPECT_LT(FileURL::fromPath("/a"), FileURL::fromPath("/b"));
    EXPECT_TRUE(FileURL().empty());
    EXPECT_FALSE(FileURL().isFile());
}

}  // namespace
}  // namespace kelvane
