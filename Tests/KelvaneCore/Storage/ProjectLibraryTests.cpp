#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <limits>

#include "Storage/ProjectFile.h"
#include "Storage/ProjectLibrary.h"
#include "Support/AtomicFile.h"
#include "Support/ClipBuilder.h"
#include "Support/TempFolder.h"
#include "Support/UnprivilegedUser.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::TempFolder;
using testing::UnprivilegedUser;
using testing::uuid;
using testing::videoClip;
using Names = std::vector<std::string>;

class Library : public ::testing::Test {
protected:
    ProjectLibrary open() {
        return ProjectLibrary(root, [this] { return now += 1.5; });
    }
    LibraryProject create(ProjectLibrary& library, std::string_view name, const Project& project = Project()) const {
        auto row = library.create(name, project, std::nullopt);
        if (!row) ADD_FAILURE() << row.error().message;
        return row.value_or(LibraryProject());
    }
    Names names(const ProjectLibrary& library) const {
        Names out;
        for (const LibraryProject& row : library.projects()) out.push_back(row.name);
        return out;
    }
    /// The path of an entry of a project's folder, below the temporary folder.
    std::string entry(const LibraryProject& row, const std::string& name) const {
        return "data/Kelvane/Projects/" + row.id.upper() + "/" + name;
    }
    Names rootEntries() const {
        Names out;
        std::error_code ignored;
        for (const auto& item : std::filesystem::directory_iterator(root.path(), ignored))
            out.push_back(item.path().filename());
        return out;
    }

    TempFolder folder;
    FileURL root = folder.url("data/Kelvane/Projects");
    double now = 1000;
};

TEST_F(Library, IsEmptyUntilItsFirstProjectMakesIt) {
    ProjectLibrary library = open();
    EXPECT_TRUE(library.projects().empty());
    EXPECT_FALSE(folder.exists("data"));
    const LibraryProject row = create(library, "A");
    EXPECT_EQ(library.projects(), std::vector{row});
    EXPECT_EQ(open().projects(), std::vector{row});
    EXPECT_EQ(rootEntries(), Names{row.id.upper()});
}

TEST_F(Library, NamesThePlacesOfAProject) {
    const ProjectLibrary library = open();
    const std::string place = root.absoluteString() + "/00000000-0000-0000-0000-0000000000AB";
    EXPECT_EQ(library.root(), root);
    EXPECT_EQ(library.folder(uuid(0xAB)).absoluteString(), place);
    EXPECT_EQ(library.projectURL(uuid(0xAB)).absoluteString(), place + "/Project.kelvane");
    EXPECT_EQ(library.thumbnailURL(uuid(0xAB)).absoluteString(), place + "/Thumbnail.jpg");
    EXPECT_EQ(library.mediaDirectory(uuid(0xAB)).absoluteString(), place + "/Media");
}

TEST_F(Library, MakesAProjectWithItsMediaInside) {
    const FileURL movie = folder.write("card/movie.mov", "pictures");
    const FileURL outside = folder.url("Trailer.kelvane");
    ProjectLibrary library = open();
    const auto row = library.create(
        "  Trailer\n",
        Project{
            1, {videoClip(1, movie, 4), audioClip(2, movie, 3).at(2)}, std::vector<Clip>{videoClip(3, movie, 4)}, {}},
        outside);
    ASSERT_TRUE(row) << row.error().message;
    EXPECT_EQ(*row, (LibraryProject{row->id, "Trailer", 1001.5, 5, outside}));
    EXPECT_EQ(library.find(row->id), *row);
    const auto project = ProjectFile::read(library.projectURL(row->id));
    ASSERT_TRUE(project) << project.error().message;
    EXPECT_EQ(project->mediaRoot, library.mediaDirectory(row->id));
    EXPECT_EQ(project->clips[0].originalURL, movie);
    EXPECT_TRUE(project->clips[0].url.path().starts_with(library.mediaDirectory(row->id).path() + "/"));
    EXPECT_EQ(*readFile(project->clips[0].url.path()), "pictures");
    EXPECT_EQ(folder.read(entry(*row, "Metadata.json")), *encodeLibraryProject(*row));
}

TEST_F(Library, KeepsAnAbsentAssetPoolAbsent) {
    ProjectLibrary library = open();
    const LibraryProject row = create(library, "A");
    EXPECT_EQ(folder.read(entry(row, "Project.kelvane")).find("assets"), std::string::npos);
}

TEST_F(Library, PassesOverWhatIsNoProject) {
    ProjectLibrary library = open();
    const LibraryProject good = create(library, "Good");
    const auto make = [&](std::uint64_t id, const std::string& metadata) {
        const std::string place = "data/Kelvane/Projects/" + uuid(id).upper();
        folder.write(place + "/Project.kelvane", "{}");
        folder.write(place + "/Metadata.json", metadata);
        return place;
    };
    const auto metadata = [](std::uint64_t id) { return *encodeLibraryProject({uuid(id), "Row", 1, 1, std::nullopt}); };
    folder.makeFolder("data/Kelvane/Projects/" + uuid(1).upper());
    make(2, "{");
    make(3, metadata(33));
    std::filesystem::remove(folder.path(make(4, metadata(4)) + "/Project.kelvane"));
    std::filesystem::rename(folder.path(make(5, metadata(5))), folder.path("data/Kelvane/Projects/Renamed"));
    std::filesystem::rename(folder.path(make(0xABC, metadata(0xABC))),
                            folder.path("data/Kelvane/Projects/" + uuid(0xABC).lower()));
    folder.write("data/Kelvane/Projects/" + uuid(6).upper(), "a file");
    folder.write("data/Kelvane/Projects/notes.txt");
    const std::string pipe = make(7, "");
    std::filesystem::remove(folder.path(pipe + "/Metadata.json"));
    mkfifo(folder.path(pipe + "/Metadata.json").c_str(), 0600);
    folder.makeFolder("data/Kelvane/Projects/" + uuid(8).upper() + "/Metadata.json");
    make(9, std::string(20'000'000, ' ') + metadata(9));
    std::filesystem::create_symlink("nowhere", folder.path("data/Kelvane/Projects/" + uuid(10).upper()));
    make(11, metadata(11));

    const Names before = folder.entries();
    library.reload();
    EXPECT_EQ(names(library), (Names{"Good", "Row"}));
    EXPECT_EQ(library.projects()[1].id, uuid(11));
    EXPECT_EQ(folder.entries(), before);
    EXPECT_EQ(library.find(good.id), good);
}

TEST_F(Library, PassesOverFoldersThatMayNotBeReadUnlessItKnewThem) {
    ProjectLibrary known = open();
    const LibraryProject open = create(known, "Open");
    const LibraryProject shut = create(known, "Shut");
    const LibraryProject secret = create(known, "Secret");
    const Names all{"Secret", "Shut", "Open"};
    ProjectLibrary library = ProjectLibrary::unread(root);
    EXPECT_EQ(names(library), Names());
    for (const char* place : {"", "data", "data/Kelvane", "data/Kelvane/Projects"})
        chmod(folder.path(place).c_str(), 0755);
    chmod(library.folder(shut.id).path().c_str(), 0);
    chmod(folder.path(entry(secret, "Metadata.json")).c_str(), 0);
    {
        const UnprivilegedUser unprivileged;
        library.reload();
        EXPECT_EQ(names(library), Names{"Open"});
        known.reload();
        EXPECT_EQ(names(known), all);
    }
    chmod(root.path().c_str(), 0);
    {
        const UnprivilegedUser unprivileged;
        ProjectLibrary unknown = ProjectLibrary::unread(root);
        unknown.reload();
        EXPECT_EQ(names(unknown), Names());
        library.reload();
        EXPECT_EQ(names(library), Names{"Open"});
        known.reload();
        EXPECT_EQ(names(known), all);
    }
    chmod(root.path().c_str(), 0755);
    library.reload();
    EXPECT_EQ(names(library), all);
    std::filesystem::remove_all(known.folder(shut.id).path());
    std::filesystem::remove(known.projectURL(secret.id).path());
    known.reload();
    EXPECT_EQ(names(known), Names{"Open"}) << "what is known to be gone goes";
}

TEST_F(Library, ListsTheNewestFirstAndEqualDatesAsTheFolderDoes) {
    ProjectLibrary library = open();
    std::vector<std::string> listed;
    for (int i = 0; i < 20; ++i) {
        now = 500;
        create(library, "Equal");
    }
    now = 400;
    const LibraryProject oldest = create(library, "Oldest");
    now = 600;
    const LibraryProject newest = create(library, "Newest");
    library.reload();
    Names expected{newest.id.upper()};
    for (const std::string& name : rootEntries())
        if (name != newest.id.upper() && name != oldest.id.upper()) expected.push_back(name);
    expected.push_back(oldest.id.upper());
    Names ids;
    for (const LibraryProject& row : library.projects()) ids.push_back(row.id.upper());
    EXPECT_EQ(ids, expected);
}

TEST_F(Library, NeedsAName) {
    ProjectLibrary library = open();
    const LibraryProject row = create(library, "  A  ");
    EXPECT_EQ(row.name, "A");
    const Names before = folder.entries();
    const Error blank("Enter a project name.", "Kelvane", 2);
    for (const char* name : {"", "   ", "\t\r\n", "\u00A0\u2003"}) {
        EXPECT_EQ(library.create(name, Project(), std::nullopt).error(), blank);
        EXPECT_EQ(library.rename(row.id, name).error(), blank);
    }
    EXPECT_EQ(folder.entries(), before);
    EXPECT_EQ(create(library, "A").name, "A");
    EXPECT_EQ(create(library, "a/b\\..:\"*\n.").name, "a/b\\..:\"*\n.");
}

TEST_F(Library, RenamesWithoutMovingUpInTheList) {
    ProjectLibrary library = open();
    const LibraryProject oldest = create(library, "Oldest");
    create(library, "Newest");
    const std::string document = folder.read(entry(oldest, "Project.kelvane"));
    ASSERT_TRUE(library.rename(oldest.id, " First "));
    EXPECT_EQ(names(library), (Names{"Newest", "First"}));
    EXPECT_EQ(library.find(oldest.id)->modified, oldest.modified);
    EXPECT_EQ(names(open()), (Names{"Newest", "First"}));
    EXPECT_EQ(folder.read(entry(oldest, "Project.kelvane")), document);
}

TEST_F(Library, RefusesUnknownProjects) {
    ProjectLibrary library = open();
    create(library, "A");
    const Error unknown("The project is no longer in the library.", "NoSuchFile", 0);
    EXPECT_EQ(library.rename(uuid(1), "B").error(), unknown);
    EXPECT_EQ(library.rename(uuid(1), " ").error(), unknown);
    EXPECT_EQ(library.duplicate(uuid(1)).error(), unknown);
    EXPECT_EQ(library.update(uuid(1), 2, std::nullopt).error(), unknown);
    EXPECT_EQ(library.find(uuid(1)), std::nullopt);
    const Names before = folder.entries();
    library.cacheThumbnail("jpeg", uuid(1));
    EXPECT_EQ(folder.entries(), before);
}

TEST_F(Library, UpdatesDateLengthAndThumbnail) {
    ProjectLibrary library = open();
    const LibraryProject row = create(library, "A");
    const LibraryProject other = create(library, "B");
    EXPECT_EQ(names(library), (Names{"B", "A"}));
    const auto thumbnail = [&] { return folder.read(entry(row, "Thumbnail.jpg")); };

    ASSERT_TRUE(library.update(row.id, 2, "first"));
    EXPECT_EQ(thumbnail(), "first");
    EXPECT_EQ(names(library), (Names{"A", "B"}));
    EXPECT_EQ(library.find(row.id), (LibraryProject{row.id, "A", now, 2, std::nullopt}));
    ASSERT_TRUE(library.update(row.id, 2, std::nullopt));
    EXPECT_EQ(thumbnail(), "first");
    ASSERT_TRUE(library.update(row.id, 0, "second"));
    EXPECT_EQ(thumbnail(), "second");
    ASSERT_TRUE(library.update(row.id, 1e-9, std::nullopt));
    EXPECT_EQ(thumbnail(), "second");
    ASSERT_TRUE(library.update(row.id, 0, std::nullopt));
    EXPECT_FALSE(folder.exists(entry(row, "Thumbnail.jpg")));
    ASSERT_TRUE(library.update(row.id, 0, std::nullopt));
    library.cacheThumbnail("third", row.id);
    EXPECT_EQ(thumbnail(), "third");
    EXPECT_EQ(library.find(other.id), other);
    EXPECT_EQ(open().projects(), library.projects());
}

TEST_F(Library, KeepsTheThumbnailWhenTheMetadataCannotBeWritten) {
    ProjectLibrary library = open();
    const LibraryProject row = create(library, "A");
    library.cacheThumbnail("kept", row.id);
    std::filesystem::remove(folder.path(entry(row, "Metadata.json")));
    folder.makeFolder(entry(row, "Metadata.json"));
    for (const auto& data : {std::optional<std::string>("new"), std::optional<std::string>()}) {
        const auto updated = library.update(row.id, 0, data);
        ASSERT_FALSE(updated);
        EXPECT_EQ(updated.error().message, "“Metadata.json” is a folder, not a file.");
        EXPECT_EQ(folder.read(entry(row, "Thumbnail.jpg")), "kept");
        EXPECT_EQ(library.projects(), std::vector{row});
    }
    EXPECT_EQ(library.rename(row.id, "B").error().message, "“Metadata.json” is a folder, not a file.");
    EXPECT_EQ(library.projects(), std::vector{row});
}

TEST_F(Library, NeverFailsForAThumbnail) {
    ProjectLibrary library = open();
    const LibraryProject row = create(library, "A");
    folder.makeFolder(entry(row, "Thumbnail.jpg/inside"));
    EXPECT_TRUE(library.update(row.id, 1, "jpeg"));
    EXPECT_TRUE(library.update(row.id, 0, std::nullopt));
    EXPECT_TRUE(library.duplicate(row.id));
    EXPECT_TRUE(folder.exists(entry(row, "Thumbnail.jpg/inside")));
}

TEST_F(Library, LeavesNothingOfAProjectThatCouldNotBeMade) {
    ProjectLibrary library = open();
    const LibraryProject kept = create(library, "Kept");
    const FileURL movie = folder.write("card/movie.mov");
    const Names before = folder.entries();
    const auto missing = library.create(
        "A", Project{1, {videoClip(1, movie), videoClip(2, "/gone/b.mov")}, std::nullopt, std::nullopt}, std::nullopt);
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().message, "“b.mov” could not be read: No such file or directory.");
    const auto unwritable = library.create(
        "A",
        Project{1, {videoClip(1, movie).zoom(std::numeric_limits<double>::infinity())}, std::nullopt, std::nullopt},
        std::nullopt);
    ASSERT_FALSE(unwritable);
    EXPECT_EQ(unwritable.error().message, "clips[0].zoom must be a finite number.");
    now = std::numeric_limits<double>::infinity();
    const auto undated = library.create("A", Project{1, {videoClip(1, movie)}, std::nullopt, std::nullopt}, {});
    ASSERT_FALSE(undated);
    EXPECT_EQ(undated.error().message, "modified must be a finite number.");
    EXPECT_EQ(folder.entries(), before);
    EXPECT_EQ(library.projects(), std::vector{kept});
}

TEST_F(Library, SaysWhenNoProjectCanBeMade) {
    folder.write("data/Kelvane", "a file");
    ProjectLibrary library = open();
    const auto created = library.create("A", Project(), std::nullopt);
    ASSERT_FALSE(created);
    EXPECT_TRUE(created.error().message.ends_with("could not be made: Not a directory.")) << created.error().message;
    EXPECT_TRUE(library.projects().empty());
}

TEST_F(Library, DuplicatesAProjectThatSharesNothing) {
    const FileURL movie = folder.write("card/movie.mov", "pictures");
    ProjectLibrary library = open();
    const auto row = library.create(
        "Film", Project{1, {videoClip(1, movie, 4)}, std::vector<Clip>{videoClip(2, movie, 4)}, std::nullopt},
        folder.url("Film.kelvane"));
    ASSERT_TRUE(row);
    library.cacheThumbnail("jpeg", row->id);
    const auto copy = library.duplicate(row->id);
    ASSERT_TRUE(copy) << copy.error().message;
    EXPECT_EQ(*copy, (LibraryProject{copy->id, "Film Copy", now, 4, std::nullopt}));
    EXPECT_NE(copy->id, row->id);
    EXPECT_EQ(folder.read(entry(*copy, "Thumbnail.jpg")), "jpeg");
    const auto source = ProjectFile::read(library.projectURL(row->id));
    const auto project = ProjectFile::read(library.projectURL(copy->id));
    ASSERT_TRUE(source && project);
    EXPECT_EQ(project->clips[0].id, source->clips[0].id);
    EXPECT_NE(project->clips[0].url, source->clips[0].url);
    EXPECT_EQ(project->clips[0].originalURL, movie);
    ASSERT_TRUE(library.remove(row->id));
    EXPECT_TRUE(ProjectFile::read(library.projectURL(copy->id)));

    EXPECT_EQ(library.duplicate(copy->id)->name, "Film Copy Copy");
    EXPECT_EQ(library.duplicate(copy->id)->name, "Film Copy Copy");
}

TEST_F(Library, ADuplicateRemembersTheSourceProjectsFile) {
    ProjectLibrary library = open();
    const LibraryProject row = create(library, "Film");
    const FileURL inside = folder.write(entry(row, "Media/7D1E/recorded.m4a"));
    ASSERT_TRUE(ProjectFile::write({1, {audioClip(1, inside)}, std::nullopt, library.mediaDirectory(row.id)},
                                   library.projectURL(row.id)));
    const auto copy = library.duplicate(row.id);
    ASSERT_TRUE(copy) << copy.error().message;
    EXPECT_EQ(ProjectFile::read(library.projectURL(copy->id))->clips[0].originalURL, inside);
}

TEST_F(Library, CannotDuplicateAProjectWithMissingMedia) {
    ProjectLibrary library = open();
    const LibraryProject row = create(library, "Film");
    ASSERT_TRUE(ProjectFile::write({1, {videoClip(1, "/gone/a.mov")}, std::vector<Clip>(), std::nullopt},
                                   library.projectURL(row.id)));
    EXPECT_EQ(library.duplicate(row.id).error(),
              Error("The source media could not be found. Move them back to their original location:\n/gone/a.mov",
                    "Kelvane", 1));
    EXPECT_EQ(rootEntries(), Names{row.id.upper()});
}

TEST_F(Library, KeepsWhereAProjectCameFrom) {
    const FileURL outside = folder.url("Film.kelvane");
    ProjectLibrary library = open();
    const auto row = library.create("Film", Project(), outside);
    ASSERT_TRUE(row);
    ASSERT_TRUE(library.rename(row->id, "Movie"));
    ASSERT_TRUE(library.update(row->id, 3, std::nullopt));
    EXPECT_EQ(open().find(row->id)->importedFrom, outside);
    EXPECT_EQ(library.duplicate(row->id)->importedFrom, std::nullopt);
}

TEST_F(Library, RemovesAProjectForGood) {
    ProjectLibrary library = open();
    const LibraryProject row = create(library, "A");
    const LibraryProject kept = create(library, "B");
    folder.write(entry(row, "AI/Kelvane - A/AGENTS.md"));
    ASSERT_TRUE(library.remove(row.id));
    EXPECT_EQ(library.projects(), std::vector{kept});
    EXPECT_EQ(rootEntries(), Names{kept.id.upper()});
    EXPECT_EQ(library.remove(row.id).error().message,
              "“" + row.id.upper() + "” could not be deleted: No such file or directory.");
}

TEST_F(Library, RemovesAFolderThatItDoesNotList) {
    ProjectLibrary library = open();
    folder.write("data/Kelvane/Projects/" + uuid(1).upper() + "/Media/a.mov");
    EXPECT_TRUE(library.remove(uuid(1)));
    EXPECT_TRUE(rootEntries().empty());
}

TEST_F(Library, LosesNothingOfAProjectThatCannotBeRemoved) {
    ProjectLibrary library = open();
    const LibraryProject row = create(library, "A");
    folder.write(entry(row, "Media/a.mov"));
    for (const auto& item : std::filesystem::recursive_directory_iterator(folder.path()))
        chmod(item.path().c_str(), 0777);
    chmod(folder.path().c_str(), 0755);
    chmod(root.path().c_str(), 0555);
    const Names before = folder.entries();
    bool called = false;
    library.onChange = [&] { called = true; };
    {
        const UnprivilegedUser unprivileged;
        EXPECT_EQ(library.remove(row.id).error().message, "“A” could not be deleted: Permission denied.");
    }
    EXPECT_EQ(folder.entries(), before);
    EXPECT_FALSE(called);
}

TEST_F(Library, TellsWhichProjectOwnsAFile) {
    ProjectLibrary library = open();
    const LibraryProject row = create(library, "A");
    create(library, "B");
    std::filesystem::create_directory_symlink(root.path(), folder.path("alias"));
    std::filesystem::create_symlink(library.projectURL(row.id).path(), folder.path("Link.kelvane"));
    EXPECT_EQ(library.record(library.projectURL(row.id)), row);
    EXPECT_EQ(library.record(folder.url("alias/" + row.id.upper() + "/Project.kelvane")), row);
    EXPECT_EQ(library.record(folder.url("Link.kelvane")), row);
    EXPECT_EQ(library.record(folder.url("Other.kelvane")), std::nullopt);
    EXPECT_EQ(library.record(library.folder(row.id)), std::nullopt);
    ProjectLibrary aliased(folder.url("alias"));
    EXPECT_EQ(aliased.record(library.projectURL(row.id)), row);
}

TEST_F(Library, TellsOfEveryChange) {
    ProjectLibrary library = open();
    int calls = 0;
    library.onChange = [&] { ++calls; };
    library.reload();
    EXPECT_EQ(calls, 1);
    const LibraryProject row = create(library, "A");
    EXPECT_EQ(calls, 2);
    ASSERT_TRUE(library.rename(row.id, "B"));
    EXPECT_EQ(calls, 3);
    ASSERT_TRUE(library.update(row.id, 1, std::nullopt));
    EXPECT_EQ(calls, 4);
    ASSERT_TRUE(library.remove(row.id));
    EXPECT_EQ(calls, 5);
}

TEST_F(Library, DatesByTheClockUnlessToldOtherwise) {
    ProjectLibrary library(root);
    const double before =
        std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count() - 978307200;
    const LibraryProject row = create(library, "A");
    EXPECT_GE(row.modified, before - 0.001);
    EXPECT_LT(row.modified, before + 600);
    EXPECT_EQ(library.find(row.id)->modified, row.modified);
}

TEST(ApplicationSupportFolder, FollowsTheEnvironment) {
    const auto set = [](const char* name, const char* value) {
        value != nullptr ? setenv(name, value, 1) : unsetenv(name);
    };
    const char* names[] = {"XDG_DATA_HOME", "HOME"};
    std::optional<std::string> old[2];
    for (int i = 0; i < 2; ++i)
        if (const char* value = std::getenv(names[i])) old[i] = value;
    const struct {
        const char* data;
        const char* home;
        const char* folder;
    } rows[] = {
        {"/data", "/home/me", "/data"},
        {nullptr, "/home/me", "/home/me/.local/share"},
        {"", "/home/me", "/home/me/.local/share"},
        {"relative", "/home/me", "/home/me/.local/share"},
    };
    for (const auto& row : rows) {
        set("XDG_DATA_HOME", row.data);
        set("HOME", row.home);
        EXPECT_EQ(applicationSupportFolder(), row.folder);
    }
    set("XDG_DATA_HOME", "/nowhere/data");
    EXPECT_EQ(ProjectLibrary().root().path(), "/nowhere/data/Kelvane/Projects");
    unsetenv("XDG_DATA_HOME");
    unsetenv("HOME");
    EXPECT_TRUE(applicationSupportFolder().starts_with("/"));
    for (int i = 0; i < 2; ++i) set(names[i], old[i] ? old[i]->c_str() : nullptr);
}

}  // namespace
}  // namespace kelvane
