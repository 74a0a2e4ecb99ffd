#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <limits>

#include "Storage/ProjectFile.h"
#include "Storage/ProjectStore.h"
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
using Rows = std::vector<LibraryProject>;

class Store : public ::testing::Test {
protected:
    /// A row of a project that is a second newer than the one before it.
    LibraryProject row(std::string name) { return {UUID::random(), std::move(name), now += 1, 0, std::nullopt}; }
    /// Makes a project on the disk.
    LibraryProject create(std::string name, const Project& project = Project()) {
        const LibraryProject made = row(std::move(name));
        const auto created = store.create(made, project);
        EXPECT_TRUE(created) << created.error().message;
        return made;
    }
    [[nodiscard]] Rows scan(const Rows& known = {}) const { return store.scan(known); }
    static Names names(const Rows& rows) {
        Names out;
        for (const LibraryProject& row : rows) out.push_back(row.name);
        return out;
    }
    /// The path of an entry of a project's folder, below the temporary folder.
    static std::string entry(const LibraryProject& row, const std::string& name) {
        return "data/Kelvane/Projects/" + row.id.upper() + "/" + name;
    }
    [[nodiscard]] Names rootEntries() const { return folderEntries(root.path()); }

    TempFolder folder;
    FileURL root = folder.url("data/Kelvane/Projects");
    ProjectStore store{root};
    double now = 1000;
};

TEST_F(Store, IsEmptyUntilItsFirstProjectMakesIt) {
    EXPECT_TRUE(scan().empty());
    EXPECT_FALSE(folder.exists("data"));
    const LibraryProject row = create("A");
    EXPECT_EQ(scan(), Rows{row});
    EXPECT_EQ(rootEntries(), Names{row.id.upper()});
}

TEST_F(Store, NamesThePlacesOfAProject) {
    const std::string place = root.absoluteString() + "/00000000-0000-0000-0000-0000000000AB";
    EXPECT_EQ(store.root(), root);
    EXPECT_EQ(store.folder(uuid(0xAB)).absoluteString(), place);
    EXPECT_EQ(store.projectURL(uuid(0xAB)).absoluteString(), place + "/Project.kelvane");
    EXPECT_EQ(store.thumbnailURL(uuid(0xAB)).absoluteString(), place + "/Thumbnail.jpg");
    EXPECT_EQ(store.mediaDirectory(uuid(0xAB)).absoluteString(), place + "/Media");
}

TEST_F(Store, MakesAProjectWithItsMediaInside) {
    const FileURL movie = folder.write("card/movie.mov", "pictures");
    const LibraryProject row{UUID::random(), "Trailer", 1001.5, 5, folder.url("Trailer.kelvane")};
    const auto created = store.create(
        row,
        Project{
            1, {videoClip(1, movie, 4), audioClip(2, movie, 3).at(2)}, std::vector<Clip>{videoClip(3, movie, 4)}, {}});
    ASSERT_TRUE(created) << created.error().message;
    const auto project = ProjectFile::read(store.projectURL(row.id));
    ASSERT_TRUE(project) << project.error().message;
    EXPECT_EQ(project->mediaRoot, store.mediaDirectory(row.id));
    EXPECT_EQ(project->clips[0].originalURL, movie);
    EXPECT_TRUE(project->clips[0].url.path().starts_with(store.mediaDirectory(row.id).path() + "/"));
    EXPECT_EQ(*readFile(project->clips[0].url.path()), "pictures");
    EXPECT_EQ(folder.read(entry(row, "Metadata.json")), *encodeLibraryProject(row));
    EXPECT_EQ(scan(), Rows{row});
}

TEST_F(Store, KeepsAnAbsentAssetPoolAbsent) {
    const LibraryProject row = create("A");
    EXPECT_EQ(folder.read(entry(row, "Project.kelvane")).find("assets"), std::string::npos);
}

TEST_F(Store, PassesOverWhatIsNoProject) {
    const LibraryProject good = create("Good");
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
    EXPECT_EQ(scan(), (Rows{good, {uuid(11), "Row", 1, 1, std::nullopt}}));
    EXPECT_EQ(folder.entries(), before);
}

TEST_F(Store, PassesOverFoldersThatMayNotBeReadUnlessTheyWereKnown) {
    const LibraryProject open = create("Open");
    const LibraryProject shut = create("Shut");
    const LibraryProject secret = create("Secret");
    const Rows known = scan();
    EXPECT_EQ(known, (Rows{secret, shut, open}));
    for (const char* place : {"", "data", "data/Kelvane", "data/Kelvane/Projects"})
        chmod(folder.path(place).c_str(), 0755);
    chmod(store.folder(shut.id).path().c_str(), 0);
    chmod(folder.path(entry(secret, "Metadata.json")).c_str(), 0);
    {
        const UnprivilegedUser unprivileged;
        EXPECT_EQ(scan(), Rows{open});
        EXPECT_EQ(scan(known), known);
    }
    chmod(root.path().c_str(), 0);
    {
        const UnprivilegedUser unprivileged;
        EXPECT_EQ(scan(), Rows());
        EXPECT_EQ(scan({open}), Rows{open});
        EXPECT_EQ(scan(known), known);
    }
    chmod(root.path().c_str(), 0755);
    EXPECT_EQ(scan({open}), known);
    std::filesystem::remove_all(store.folder(shut.id).path());
    std::filesystem::remove(store.projectURL(secret.id).path());
    EXPECT_EQ(scan(known), Rows{open}) << "what is known to be gone goes";
    std::filesystem::remove_all(store.folder(open.id).path());
    EXPECT_EQ(scan(known), Rows()) << "an empty root is one that can be read";
    std::filesystem::remove_all(root.path());
    EXPECT_EQ(scan(known), Rows());
}

TEST_F(Store, ListsTheNewestFirstAndEqualDatesAsTheFolderDoes) {
    for (int i = 0; i < 20; ++i) {
        now = 500;
        create("Equal");
    }
    now = 400;
    const LibraryProject oldest = create("Oldest");
    now = 600;
    const LibraryProject newest = create("Newest");
    Names expected{newest.id.upper()};
    for (const std::string& name : rootEntries())
        if (name != newest.id.upper() && name != oldest.id.upper()) expected.push_back(name);
    expected.push_back(oldest.id.upper());
    Names ids;
    for (const LibraryProject& row : scan()) ids.push_back(row.id.upper());
    EXPECT_EQ(ids, expected);
}

TEST_F(Store, WritesARowAndNothingElse) {
    LibraryProject row = create("A");
    folder.write(entry(row, "Thumbnail.jpg"), "jpeg");
    const std::string document = folder.read(entry(row, "Project.kelvane"));
    const Names before = folder.entries();
    row.name = "a/b\\..:\"*\n.";
    row.duration = 3;
    row.importedFrom = folder.url("Film.kelvane");
    ASSERT_TRUE(store.writeRow(row));
    EXPECT_EQ(scan(), Rows{row});
    EXPECT_EQ(folder.read(entry(row, "Project.kelvane")), document);
    EXPECT_EQ(folder.read(entry(row, "Thumbnail.jpg")), "jpeg");
    EXPECT_EQ(folder.entries(), before);
}

TEST_F(Store, SaysWhatIsInTheWayOfARow) {
    const LibraryProject row = create("A");
    std::filesystem::remove(folder.path(entry(row, "Metadata.json")));
    folder.makeFolder(entry(row, "Metadata.json"));
    const auto written = store.writeRow(row);
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().message, "“Metadata.json” is a folder, not a file.");
}

TEST_F(Store, StoresAndRemovesThePictureOfACard) {
    const LibraryProject row = create("A");
    for (const char* picture : {"first", "second"}) {
        store.storeThumbnail(row.id, picture);
        EXPECT_EQ(folder.read(entry(row, "Thumbnail.jpg")), picture);
    }
    store.removeThumbnail(row.id);
    EXPECT_FALSE(folder.exists(entry(row, "Thumbnail.jpg")));
    store.removeThumbnail(row.id);
    EXPECT_EQ(scan(), Rows{row});
}

TEST_F(Store, NeverFailsForAThumbnail) {
    const LibraryProject row = create("A");
    folder.makeFolder(entry(row, "Thumbnail.jpg/inside"));
    store.storeThumbnail(row.id, "jpeg");
    store.removeThumbnail(row.id);
    EXPECT_TRUE(store.duplicate(row.id, this->row("Copy")));
    EXPECT_TRUE(folder.exists(entry(row, "Thumbnail.jpg/inside")));
}

TEST_F(Store, LeavesNothingOfAProjectThatCouldNotBeMade) {
    const LibraryProject kept = create("Kept");
    const FileURL movie = folder.write("card/movie.mov");
    const Names before = folder.entries();
    const auto refused = [&](const LibraryProject& row, std::vector<Clip> clips) {
        const auto created = store.create(row, Project{1, std::move(clips), std::nullopt, std::nullopt});
        return created ? "(made)" : created.error().message;
    };
    EXPECT_EQ(refused(row("A"), {videoClip(1, movie), videoClip(2, "/gone/b.mov")}),
              "“b.mov” could not be read: No such file or directory.");
    EXPECT_EQ(refused(row("A"), {videoClip(1, movie).zoom(std::numeric_limits<double>::infinity())}),
              "clips[0].zoom must be a finite number.");
    now = std::numeric_limits<double>::infinity();
    EXPECT_EQ(refused(row("A"), {videoClip(1, movie)}), "modified must be a finite number.");
    EXPECT_EQ(folder.entries(), before);
    EXPECT_EQ(scan(), Rows{kept});
}

TEST_F(Store, SaysWhenNoProjectCanBeMade) {
    folder.write("data/Kelvane", "a file");
    const auto created = store.create(row("A"), Project());
    ASSERT_FALSE(created);
    EXPECT_TRUE(created.error().message.ends_with("could not be made: Not a directory.")) << created.error().message;
    EXPECT_TRUE(scan().empty());
}

TEST_F(Store, DuplicatesAProjectThatSharesNothing) {
    const FileURL movie = folder.write("card/movie.mov", "pictures");
    const LibraryProject source =
        create("Film", Project{1, {videoClip(1, movie, 4)}, std::vector<Clip>{videoClip(2, movie, 4)}, std::nullopt});
    store.storeThumbnail(source.id, "jpeg");
    LibraryProject expected = row("Film Copy");
    const auto copy = store.duplicate(source.id, expected);
    ASSERT_TRUE(copy) << copy.error().message;
    expected.duration = 4;
    EXPECT_EQ(*copy, expected) << "as long as what was copied";
    EXPECT_EQ(scan(), (Rows{expected, source}));
    EXPECT_EQ(folder.read(entry(*copy, "Thumbnail.jpg")), "jpeg");
    const auto original = ProjectFile::read(store.projectURL(source.id));
    const auto project = ProjectFile::read(store.projectURL(copy->id));
    ASSERT_TRUE(original && project);
    EXPECT_EQ(project->clips[0].id, original->clips[0].id);
    EXPECT_NE(project->clips[0].url, original->clips[0].url);
    EXPECT_EQ(project->clips[0].originalURL, movie);
    ASSERT_TRUE(store.remove(source.id, "Film"));
    EXPECT_TRUE(ProjectFile::read(store.projectURL(copy->id)));
}

TEST_F(Store, ADuplicateRemembersTheSourceProjectsFile) {
    const LibraryProject row = create("Film");
    const FileURL inside = folder.write(entry(row, "Media/7D1E/recorded.m4a"));
    ASSERT_TRUE(ProjectFile::write({1, {audioClip(1, inside)}, std::nullopt, store.mediaDirectory(row.id)},
                                   store.projectURL(row.id)));
    const auto copy = store.duplicate(row.id, this->row("Copy"));
    ASSERT_TRUE(copy) << copy.error().message;
    EXPECT_EQ(ProjectFile::read(store.projectURL(copy->id))->clips[0].originalURL, inside);
}

TEST_F(Store, CannotDuplicateAProjectWithMissingMedia) {
    const LibraryProject row = create("Film");
    ASSERT_TRUE(ProjectFile::write({1, {videoClip(1, "/gone/a.mov")}, std::vector<Clip>(), std::nullopt},
                                   store.projectURL(row.id)));
    EXPECT_EQ(store.duplicate(row.id, this->row("Copy")).error(),
              Error("The source media could not be found. Move them back to their original location:\n/gone/a.mov",
                    "Kelvane", 1));
    EXPECT_EQ(rootEntries(), Names{row.id.upper()});
}

TEST_F(Store, RemovesAProjectForGood) {
    const LibraryProject row = create("A");
    const LibraryProject kept = create("B");
    folder.write(entry(row, "AI/Kelvane - A/AGENTS.md"));
    ASSERT_TRUE(store.remove(row.id, "A"));
    EXPECT_EQ(scan(), Rows{kept});
    EXPECT_EQ(rootEntries(), Names{kept.id.upper()});
    EXPECT_EQ(store.remove(row.id, "A").error().message, "“A” could not be deleted: No such file or directory.");
}

TEST_F(Store, RemovesAFolderThatItDoesNotList) {
    folder.write("data/Kelvane/Projects/" + uuid(1).upper() + "/Media/a.mov");
    EXPECT_TRUE(store.remove(uuid(1), "A"));
    EXPECT_TRUE(rootEntries().empty());
}

TEST_F(Store, LosesNothingOfAProjectThatCannotBeRemoved) {
    const LibraryProject row = create("A");
    folder.write(entry(row, "Media/a.mov"));
    for (const auto& item : std::filesystem::recursive_directory_iterator(folder.path()))
        chmod(item.path().c_str(), 0777);
    chmod(folder.path().c_str(), 0755);
    chmod(root.path().c_str(), 0555);
    const Names before = folder.entries();
    {
        const UnprivilegedUser unprivileged;
        EXPECT_EQ(store.remove(row.id, "A").error().message, "“A” could not be deleted: Permission denied.");
    }
    EXPECT_EQ(folder.entries(), before);
}

TEST_F(Store, TellsOfARemovalAtAPace) {
    const LibraryProject row = create("A");
    for (int i = 0; i < 998; ++i) folder.write(entry(row, "Media/" + std::to_string(i)));
    std::vector<TransferProgress> told;
    ASSERT_TRUE(store.remove(row.id, "A", {}, [&](const TransferProgress& progress) { told.push_back(progress); }));
    ASSERT_EQ(told.size(), 101U);
    for (std::size_t i = 0; i < told.size(); ++i)
        EXPECT_EQ(told[i], (TransferProgress{.items = 10 * i, .totalItems = 1000})) << i;
}

TEST_F(Store, TellsWhichProjectOwnsAFile) {
    const LibraryProject row = create("A");
    create("B");
    const Rows rows = scan();
    std::filesystem::create_directory_symlink(root.path(), folder.path("alias"));
    std::filesystem::create_symlink(store.projectURL(row.id).path(), folder.path("Link.kelvane"));
    EXPECT_EQ(store.owner(store.projectURL(row.id), rows), row);
    EXPECT_EQ(store.owner(folder.url("alias/" + row.id.upper() + "/Project.kelvane"), rows), row);
    EXPECT_EQ(store.owner(folder.url("Link.kelvane"), rows), row);
    EXPECT_EQ(store.owner(folder.url("Other.kelvane"), rows), std::nullopt);
    EXPECT_EQ(store.owner(store.folder(row.id), rows), std::nullopt);
    EXPECT_EQ(ProjectStore(folder.url("alias")).owner(store.projectURL(row.id), rows), row);
}

TEST(DefaultRoot, FollowsTheEnvironment) {
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
        EXPECT_EQ(ProjectStore::defaultRoot().path(), std::string(row.folder) + "/Kelvane/Projects");
    }
    unsetenv("XDG_DATA_HOME");
    unsetenv("HOME");
    EXPECT_TRUE(ProjectStore::defaultRoot().path().starts_with("/"));
    for (int i = 0; i < 2; ++i) set(names[i], old[i] ? old[i]->c_str() : nullptr);
}

}  // namespace
}  // namespace kelvane
