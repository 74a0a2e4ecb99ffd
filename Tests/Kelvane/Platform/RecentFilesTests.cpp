#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QLockFile>
#include <QTimeZone>
#include <QXmlStreamReader>
#include <filesystem>
#include <thread>

#include "Platform/RecentFiles.h"
#include "Support/TempFolder.h"

namespace kelvane::testing {
namespace {

/// The first of May 2026, 10:00, and so many minutes.
QDateTime at(int minute) { return QDateTime(QDate(2026, 5, 1), QTime(10, minute), Qt::UTC); }

/// A list as GTK writes it, with a file of another program and one that it shares with a third.
const std::string foreign = R"(<?xml version="1.0" encoding="UTF-8"?>
<xbel version="1.0"
      xmlns:bookmark="http://www.freedesktop.org/standards/desktop-bookmarks"
      xmlns:mime="http://www.freedesktop.org/standards/shared-mime-info"
>
  <bookmark href="file:///a/notes%20&amp;%20more.txt" added="2026-01-01T00:00:00.000Z" modified="2026-01-02T00:00:00.000Z" visited="2026-01-03T00:00:00.000Z">
    <title>Größe &lt;1&gt;</title>
    <info>
      <metadata owner="http://freedesktop.org">
        <mime:mime-type type="text/plain"/>
        <bookmark:groups><bookmark:group>Writing</bookmark:group></bookmark:groups>
        <bookmark:applications>
          <bookmark:application name="gedit" exec="&apos;gedit %u&apos;" modified="2026-01-02T00:00:00.000Z" count="4"/>
        </bookmark:applications>
      </metadata>
    </info>
  </bookmark>
  <!-- <bookmark href="file:///a/Trip.kelvane"/> -->
</xbel>
)";

QString noted(const QString& list, const char* path, int minute) {
    const auto text = RecentFiles::noted(list, FileURL::fromPath(path), at(minute));
    return text.value_or("none");
}

/// The applications of a file, as "name count", and its times.
std::string entry(const QString& list, const QString& href) {
    std::string found;
    bool inside = false;
    QXmlStreamReader reader(list);
    while (!reader.atEnd()) {
        reader.readNext();
        if (!reader.isStartElement()) continue;
        const auto attributes = reader.attributes();
        if (reader.name() == u"bookmark") {
            inside = attributes.value("href") == href;
            if (inside)
                found += "added " + attributes.value("added").toString().toStdString() + " modified " +
                         attributes.value("modified").toString().toStdString();
        }
        if (inside && reader.name() == u"mime-type") found += " " + attributes.value("type").toString().toStdString();
        if (inside && reader.name() == u"application")
            found += " " + attributes.value("name").toString().toStdString() + " " +
                     attributes.value("count").toString().toStdString();
    }
    return reader.hasError() ? "broken: " + reader.errorString().toStdString() : found;
}

TEST(RecentFiles, AFileIsEnteredIntoAnEmptyList) {
    const auto list = noted("", "/a/Trip & Co.kelvane", 1);
    EXPECT_EQ(entry(list, "file:///a/Trip%20&%20Co.kelvane"),
              "added 2026-05-01T10:01:00.000Z modified 2026-05-01T10:01:00.000Z application/x-kelvane-project Kelvane "
              "1");
    const auto film = noted(list, "/a/Film.MOV", 2);
    EXPECT_EQ(entry(film, "file:///a/Film.MOV"),
              "added 2026-05-01T10:02:00.000Z modified 2026-05-01T10:02:00.000Z video/quicktime Kelvane 1");
    EXPECT_NE(entry(film, "file:///a/Trip%20&%20Co.kelvane"), "");
    EXPECT_NE(entry(noted(list, "/a/Film.mp4", 2), "file:///a/Film.mp4").find("video/mp4"), std::string::npos);
}

TEST(RecentFiles, AFileThatIsUsedAgainIsCounted) {
    auto list = noted("", "/a/Trip.kelvane", 1);
    list = noted(list, "/a/Trip.kelvane", 2);
    list = noted(list, "/a/Trip.kelvane", 3);
    EXPECT_EQ(entry(list, "file:///a/Trip.kelvane"),
              "added 2026-05-01T10:01:00.000Z modified 2026-05-01T10:03:00.000Z application/x-kelvane-project Kelvane "
              "3");
    EXPECT_EQ(list.count("<bookmark "), 1);
}

TEST(RecentFiles, WhatOthersHaveEnteredStaysAsItStands) {
    const auto before = QString::fromStdString(foreign);
    const auto after = noted(before, "/a/Trip.kelvane", 1);
    const auto close = before.lastIndexOf("</xbel>");
    EXPECT_TRUE(after.startsWith(before.left(close)));
    EXPECT_TRUE(after.endsWith(before.mid(close)));
    EXPECT_NE(entry(after, "file:///a/Trip.kelvane"), "") << "a comment is no bookmark";
    EXPECT_EQ(entry(after, "file:///a/notes%20&%20more.txt"), entry(before, "file:///a/notes%20&%20more.txt"));
}

TEST(RecentFiles, AFileThatAnotherProgramUsesHasBoth) {
    const auto before = QString::fromStdString(foreign);
    const auto after = noted(before, "/a/notes & more.txt", 1);
    EXPECT_EQ(entry(after, "file:///a/notes%20&%20more.txt"),
              "added 2026-01-01T00:00:00.000Z modified 2026-05-01T10:01:00.000Z text/plain gedit 4 Kelvane 1");
    EXPECT_TRUE(after.contains("<title>Größe &lt;1&gt;</title>"));
    EXPECT_TRUE(after.contains("<bookmark:group>Writing</bookmark:group>"));
    EXPECT_EQ(entry(noted(after, "/a/notes & more.txt", 2), "file:///a/notes%20&%20more.txt"),
              "added 2026-01-01T00:00:00.000Z modified 2026-05-01T10:02:00.000Z text/plain gedit 4 Kelvane 2");
}

TEST(RecentFiles, AListWithoutAnythingInItTakesTheFile) {
    EXPECT_EQ(entry(noted("<xbel version=\"1.0\" xmlns:bookmark=\"http://www.freedesktop.org/standards/"
                          "desktop-bookmarks\" xmlns:mime=\"http://www.freedesktop.org/standards/shared-mime-info\">"
                          "<bookmark href=\"file:///a/x.mp4\" added=\"2026\"/></xbel>",
                          "/a/x.mp4", 1),
                    "file:///a/x.mp4"),
              "added 2026 modified 2026-05-01T10:01:00.000Z video/mp4 Kelvane 1");
}

TEST(RecentFiles, AListOfOneTagTakesTheFile) {
    EXPECT_NE(entry(noted("<xbel version=\"1.0\"/>", "/a/x.mp4", 1), "file:///a/x.mp4"), "");
}

TEST(RecentFiles, WhatIsNoListIsLeftAlone) {
    for (const char* text : {"not a list", "<html></html>", "<xbel><bookmark", "<xbel/><xbel/>"})
        EXPECT_EQ(RecentFiles::noted(text, FileURL::fromPath("/a/b.mp4"), at(1)), std::nullopt) << text;
    TempFolder folder;
    folder.write("recently-used.xbel", "not a list");
    const auto done = RecentFiles::note(folder.url("x.mp4"), folder.path("recently-used.xbel"), at(1));
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().message,
              "“recently-used.xbel” could not be brought up to date: it isn't a list of bookmarks.");
    EXPECT_EQ(folder.read("recently-used.xbel"), "not a list");
}

TEST(RecentFiles, TheListIsMadeForTheUsersEyesAlone) {
    TempFolder folder;
    const auto path = folder.path("share/recently-used.xbel");
    ASSERT_TRUE(RecentFiles::note(folder.url("x.mp4"), path, at(1)));
    struct stat status{};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    EXPECT_EQ(folder.entries(), (std::vector<std::string>{"share", "share/recently-used.xbel"}));
}

TEST(RecentFiles, SeveralThatWriteAtOnceLoseNothing) {
    TempFolder folder;
    const auto path = folder.path("recently-used.xbel");
    folder.write("recently-used.xbel", foreign);
    std::vector<std::thread> writers;
    for (int n = 0; n < 4; ++n) {
        writers.emplace_back([&folder, &path, n] {
            for (int i = 0; i < 5; ++i)
                EXPECT_TRUE(RecentFiles::note(folder.url(std::to_string(n * 5 + i) + ".mp4"), path, at(1)));
        });
    }
    for (auto& writer : writers) writer.join();
    const auto list = QString::fromStdString(folder.read("recently-used.xbel"));
    for (int n = 0; n < 20; ++n) {
        const auto href = QString::fromStdString(folder.url(std::to_string(n) + ".mp4").absoluteString());
        EXPECT_NE(entry(list, href), "") << n;
    }
    EXPECT_NE(entry(list, "file:///a/notes%20&%20more.txt"), "");
}

}  // namespace
}  // namespace kelvane::testing
