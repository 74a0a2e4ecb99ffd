#include <gtest/gtest.h>

#include <chrono>

#include "Storage/ProjectLibrary.h"
#include "Support/ClipBuilder.h"

namespace kelvane {
namespace {

using testing::uuid;
using Names = std::vector<std::string>;

/// The list alone: its root is nowhere, and nothing asks for it.
class Library : public ::testing::Test {
protected:
    /// A row of its own date, taken into the list.
    LibraryProject add(const std::string& name, double duration = 0) {
        auto row = library.newRow(name, duration, std::nullopt);
        if (!row) ADD_FAILURE() << row.error().message;
        library.adopt(*row);
        return *row;
    }
    [[nodiscard]] Names names() const {
        Names out;
        for (const LibraryProject& row : library.projects()) out.push_back(row.name);
        return out;
    }

    double now = 1000;
    ProjectLibrary library{ProjectStore(FileURL::fromPath("/nowhere")), [this] { return now += 1.5; }};
};

TEST_F(Library, NeedsAName) {
    const LibraryProject row = add("  A\n");
    EXPECT_EQ(row.name, "A");
    const Error blank("Enter a project name.", "Kelvane", 2);
    for (const char* name : {"", "   ", "\t\r\n", "\u00A0\u2003"}) {
        EXPECT_EQ(library.newRow(name, 0, std::nullopt).error(), blank);
        EXPECT_EQ(library.renamedRow(row.id, name).error(), blank);
    }
    EXPECT_EQ(add("A").name, "A") << "two may have one name";
    EXPECT_EQ(add("a/b\\..:\"*\n.").name, "a/b\\..:\"*\n.");
}

TEST_F(Library, NewRowsHaveTheirOwnIdAndThePresentDate) {
    const FileURL outside = FileURL::fromPath("/card/Film.kelvane");
    const auto row = library.newRow(" Film ", 5, outside);
    ASSERT_TRUE(row);
    EXPECT_EQ(*row, (LibraryProject{row->id, "Film", 1001.5, 5, outside}));
    EXPECT_NE(library.newRow("Film", 5, outside)->id, row->id);
    EXPECT_TRUE(library.projects().empty()) << "it is in the list once it is made";
}

TEST_F(Library, ARenameKeepsThePlaceInTheList) {
    const LibraryProject oldest = add("Oldest");
    add("Newest");
    const auto renamed = library.renamedRow(oldest.id, " First ");
    ASSERT_TRUE(renamed);
    EXPECT_EQ(*renamed, (LibraryProject{oldest.id, "First", oldest.modified, 0, std::nullopt}));
    EXPECT_EQ(library.find(oldest.id), oldest);
    library.adopt(*renamed);
    EXPECT_EQ(names(), (Names{"Newest", "First"}));
}

TEST_F(Library, ASaveBringsAProjectToTheFront) {
    const LibraryProject row = add("A");
    const LibraryProject other = add("B");
    const auto saved = library.savedRow(row.id, 2);
    ASSERT_TRUE(saved);
    EXPECT_EQ(*saved, (LibraryProject{row.id, "A", now, 2, std::nullopt}));
    library.adopt(*saved);
    EXPECT_EQ(library.projects(), (std::vector{*saved, other}));
}

TEST_F(Library, OfEqualDatesTheOneWrittenLastStandsFirst) {
    for (const std::uint64_t id : {1, 2, 3}) library.adopt({uuid(id), std::to_string(id), 500, 0, std::nullopt});
    library.adopt({uuid(4), "newest", 501, 0, std::nullopt});
    library.adopt({uuid(5), "oldest", 499, 0, std::nullopt});
    EXPECT_EQ(names(), (Names{"newest", "3", "2", "1", "oldest"}));
    library.adopt(*library.renamedRow(uuid(1), "renamed"));
    EXPECT_EQ(names(), (Names{"newest", "3", "2", "renamed", "oldest"})) << "a rename moves nothing";
    library.adopt({uuid(5), "saved", 500, 0, std::nullopt});
    EXPECT_EQ(names(), (Names{"newest", "saved", "3", "2", "renamed"}));
}

TEST_F(Library, WhatChangedSinceAScanStaysAsItIs) {
    const LibraryProject kept = add("Kept");
    const LibraryProject renamed = add("Renamed");
    const LibraryProject saved = add("Saved");
    const LibraryProject forgotten = add("Forgotten");
    const LibraryProject gone = add("Gone");
    const auto known = library.projects();
    const LibraryProject elsewhere{uuid(1), "Made elsewhere", 1, 0, std::nullopt};
    const LibraryProject changed{kept.id, "Changed elsewhere", kept.modified, 4, std::nullopt};
    const std::vector scanned{forgotten, saved, renamed, changed, elsewhere};
    library.adopt(*library.renamedRow(renamed.id, "New name"));
    library.adopt(*library.savedRow(saved.id, 2));
    library.forget(forgotten.id);
    add("Made here");
    library.replaceRows(scanned, known);
    EXPECT_EQ(names(), (Names{"Made here", "Saved", "New name", "Changed elsewhere", "Made elsewhere"}));
    EXPECT_EQ(library.find(saved.id)->duration, 2);
    EXPECT_EQ(library.find(kept.id), changed);
    EXPECT_EQ(library.find(gone.id), std::nullopt);
}

TEST_F(Library, KeepsWhereAProjectCameFromButNotInACopy) {
    const FileURL outside = FileURL::fromPath("/card/Film.kelvane");
    const auto row = library.newRow("Film", 4, outside);
    ASSERT_TRUE(row);
    library.adopt(*row);
    EXPECT_EQ(library.renamedRow(row->id, "Movie")->importedFrom, outside);
    EXPECT_EQ(library.savedRow(row->id, 3)->importedFrom, outside);
    const auto copy = library.copyRow(row->id);
    ASSERT_TRUE(copy);
    EXPECT_NE(copy->id, row->id);
    EXPECT_EQ(*copy, (LibraryProject{copy->id, "Film Copy", now, 4, std::nullopt}));
    library.adopt(*copy);
    EXPECT_EQ(library.copyRow(copy->id)->name, "Film Copy Copy");
}

TEST_F(Library, RefusesUnknownProjects) {
    add("A");
    const Error unknown("The project is no longer in the library.", "NoSuchFile", 0);
    EXPECT_EQ(library.renamedRow(uuid(1), "B").error(), unknown);
    EXPECT_EQ(library.renamedRow(uuid(1), " ").error(), unknown);
    EXPECT_EQ(library.copyRow(uuid(1)).error(), unknown);
    EXPECT_EQ(library.savedRow(uuid(1), 2).error(), unknown);
    EXPECT_EQ(library.find(uuid(1)), std::nullopt);
}

TEST_F(Library, TellsOfEveryChange) {
    int calls = 0;
    library.onChange = [&] { ++calls; };
    library.replaceRows({{uuid(1), "A", 1, 0, std::nullopt}}, {});
    EXPECT_EQ(calls, 1);
    const LibraryProject row = add("B");
    EXPECT_EQ(calls, 2);
    library.adopt(*library.renamedRow(row.id, "C"));
    EXPECT_EQ(calls, 3);
    // The id may lie in the list.
    library.forget(library.projects().front().id);
    EXPECT_EQ(calls, 4);
    EXPECT_EQ(names(), Names{"A"});
}

TEST(LibraryDates, AreTheClocksUnlessToldOtherwise) {
    const ProjectLibrary library{ProjectStore(FileURL::fromPath("/nowhere"))};
    const double before =
        std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count() - 978307200;
    const auto row = library.newRow("A", 0, std::nullopt);
    ASSERT_TRUE(row);
    EXPECT_GE(row->modified, before - 0.001);
    EXPECT_LT(row->modified, before + 600);
}

}  // namespace
}  // namespace kelvane
