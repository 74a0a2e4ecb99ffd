#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <set>

#include "Storage/ProjectFile.h"
#include "Storage/ProjectMedia.h"
#include "Storage/ProjectStore.h"
#include "Storage/UnfinishedSweep.h"
#include "Support/AtomicFile.h"
#include "Support/ClipBuilder.h"
#include "Support/FileDescriptor.h"
#include "Support/KilledProcess.h"
#include "Support/LiveFile.h"
#include "Support/TempFolder.h"
#include "Support/UnprivilegedUser.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::ChildEnd;
using testing::killAtFileOperation;
using testing::TempFolder;
using testing::UnprivilegedUser;
using testing::videoClip;
using Kind = UnfinishedThing::Kind;
using Names = std::vector<std::string>;

const std::string projectName = "00000000-0000-4000-8000-000000000001";
const std::string copyName = "00000000-0000-4000-8000-00000000000A";

/// A library with one project, and records of work beside it.
class Sweep : public ::testing::Test {
protected:
    static void clear(const TempFolder& folder) {
        for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
            std::filesystem::remove_all(entry.path());
    }
    /// Leaves the record of a process that is gone.
    void leaveRecord(const std::vector<UnfinishedThing>& things) const {
        const ChildEnd ended = killAtFileOperation(1 << 30, [&] {
            UnfinishedWork work(records);
            for (const UnfinishedThing& thing : things)
                if (work.begin(thing) == 0) return false;
            // The end of the process comes before that of its object.
            _exit(0);
        });
        ASSERT_TRUE(ended == ChildEnd::done || ended == ChildEnd::notPermitted);
    }
    void sweep() const { sweepUnfinishedWork(root); }
    /// Everything but the records.
    Names places() const {
        Names names = folder.entries();
        std::erase_if(names, [](const std::string& name) { return name.starts_with("Kelvane/Unfinished"); });
        return names;
    }
    /// Records that are left.
    std::size_t recordsLeft() const { return folderEntries(records).size(); }

    TempFolder folder;
    FileURL root = folder.makeFolder("Kelvane/Projects");
    std::string records = unfinishedFolder(root);
    std::string project = "Kelvane/Projects/" + projectName;
    std::string copy = project + "/Media/" + copyName;
};

TEST_F(Sweep, FindsTheRecordsBesideTheLibrary) { EXPECT_EQ(records, folder.path("Kelvane/Unfinished")); }

TEST_F(Sweep, OfNothingDoesNothing) {
    sweep();
    EXPECT_EQ(folder.entries(), (Names{"Kelvane", "Kelvane/Projects"}));
    sweepUnfinishedWork(folder.url("no/such/folder"));
    EXPECT_EQ(folder.entries(), (Names{"Kelvane", "Kelvane/Projects"}));
}

TEST_F(Sweep, RemovesWhatAProcessThatIsGoneLeft) {
    folder.write(copy + "/a.mov");
    folder.write("out/.kelvane-" + copyName + ".mp4");
    folder.write("out/.kelvane-" + testing::uuid(3).lower(), "half");
    folder.write("Kelvane/Projects/" + testing::uuid(2).upper() + "/Project.kelvane");
    leaveRecord({{Kind::mediaFolder, folder.url(project + "/Media")},
                 {Kind::mediaCopy, folder.url(copy)},
                 {Kind::exportFile, folder.url("out/.kelvane-" + copyName + ".mp4")},
                 {Kind::projectFolder, root.appending(testing::uuid(2).upper())},
                 {Kind::writtenFolder, folder.url("out")}});
    EXPECT_EQ(recordsLeft(), 1u);
    sweep();
    EXPECT_EQ(places(), (Names{"Kelvane", "Kelvane/Projects", project, "out"}));
    EXPECT_EQ(recordsLeft(), 0u);
}

TEST_F(Sweep, LeavesTheWorkOfALivingProcess) {
    folder.write(copy + "/a.mov");
    UnfinishedWork work(records);
    const auto ticket = work.begin({Kind::mediaCopy, folder.url(copy)});
    EXPECT_NE(ticket, 0u);
    const Names before = folder.entries();
    sweep();
    EXPECT_EQ(folder.entries(), before);
    work.end({ticket});
    work.retire();
    EXPECT_EQ(recordsLeft(), 0u);
    sweep();
    EXPECT_TRUE(folder.exists(copy + "/a.mov"));
}

TEST_F(Sweep, KeepsMediaWithoutARecord) {
    folder.write(copy + "/a.mov");
    folder.write(project + "/Media/Voice Over 2026-01-02 at 03.04.05 1A2B.m4a");
    folder.write("Kelvane/Recordings/Voice Over 2026-01-02 at 03.04.05 1A2C.m4a");
    const Names before = places();
    leaveRecord({{Kind::mediaFolder, folder.url(project + "/Media")}});
    sweep();
    EXPECT_EQ(places(), before);
    EXPECT_EQ(recordsLeft(), 0u);
}

TEST_F(Sweep, KeepsACopyThatADocumentNames) {
    folder.write(copy + "/a.mov");
    folder.write("there/Film.media/" + copyName + "/a.mov");
    folder.write(project + "/Project.kelvane", "{ no document: ..\\/" + copyName + "\\/a.mov");
    folder.write("there/Renamed.kelvane", copyName);
    const Names before = places();
    leaveRecord({{Kind::mediaCopy, folder.url(copy)}, {Kind::mediaCopy, folder.url("there/Film.media/" + copyName)}});
    sweep();
    EXPECT_EQ(places(), before);
    EXPECT_EQ(recordsLeft(), 0u);
}

TEST_F(Sweep, WaitsWhereADocumentCannotBeRead) {
    folder.write(copy + "/a.mov");
    folder.write(project + "/Project.kelvane", "{}");
    leaveRecord({{Kind::mediaCopy, folder.url(copy)}});
    if (geteuid() == 0) {
        // What the superuser made is nobody's to sweep.
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path()))
            ASSERT_EQ(chown(entry.path().c_str(), 65534, 65534), 0);
        ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    }
    chmod(folder.path(project + "/Project.kelvane").c_str(), 0);
    {
        const UnprivilegedUser unprivileged;
        sweep();
    }
    EXPECT_TRUE(folder.exists(copy + "/a.mov"));
    EXPECT_EQ(recordsLeft(), 1u);
    chmod(folder.path(project + "/Project.kelvane").c_str(), 0644);
    {
        const UnprivilegedUser unprivileged;
        sweep();
    }
    EXPECT_FALSE(folder.exists(copy));
    EXPECT_EQ(recordsLeft(), 0u);
}

TEST_F(Sweep, WaitsForADiskThatIsAway) {
    const std::string hidden = ".kelvane-" + copyName + ".mov";
    folder.write("disk/out/" + hidden);
    leaveRecord({{Kind::exportFile, folder.url("disk/out/" + hidden)}});
    std::filesystem::rename(folder.path("disk"), folder.path("away"));
    sweep();
    EXPECT_EQ(recordsLeft(), 1u);
    std::filesystem::rename(folder.path("away"), folder.path("disk"));
    sweep();
    EXPECT_EQ(recordsLeft(), 0u);
    EXPECT_FALSE(folder.exists("disk/out/" + hidden));
}

TEST_F(Sweep, GivesUpAfterAMonth) {
    leaveRecord({{Kind::exportFile, folder.url("away/.kelvane-" + copyName + ".mov")}});
    const std::filesystem::path record = folder.path("Kelvane/Unfinished/" + folderEntries(records).front());
    const auto now = std::filesystem::file_time_type::clock::now();
    std::filesystem::last_write_time(record, now - std::chrono::days(29));
    sweep();
    EXPECT_EQ(recordsLeft(), 1u);
    std::filesystem::last_write_time(record, now - std::chrono::days(31));
    sweep();
    EXPECT_EQ(recordsLeft(), 0u);
}

TEST_F(Sweep, RemovesNothingElseThatARecordNames) {
    folder.write("mine/Film.mov");
    folder.write("mine/notes/a.txt");
    folder.write(project + "/Metadata.json");
    std::filesystem::create_symlink("mine", folder.path("mine/" + copyName));
    std::filesystem::create_symlink("Film.mov", folder.path("mine/.kelvane-" + copyName + ".mov"));
    const Names before = places();
    leaveRecord({{Kind::mediaCopy, folder.url("mine/notes")},
                 {Kind::mediaCopy, folder.url("mine/" + copyName)},
                 {Kind::mediaFolder, folder.url("mine")},
                 {Kind::exportFile, folder.url("mine/Film.mov")},
                 {Kind::exportFile, folder.url("mine/.kelvane-" + copyName + ".mov")},
                 {Kind::projectFolder, folder.url("mine")},
                 {Kind::projectFolder, folder.url(project)}});
    sweep();
    EXPECT_EQ(places(), before);
}

TEST_F(Sweep, OverlooksWhatIsNoRecord) {
    folder.write("Kelvane/Unfinished/notes.txt", "+ 1 export file:///");
    folder.write("Kelvane/Unfinished/" + testing::uuid(5).upper(),
                 "+\n+ x export\n- 7\n+ 2 export https://a/b\nnonsense");
    folder.write("out/.kelvane-" + copyName + ".mov");
    const std::string torn = "+ 1 export " + folder.url("out/.kelvane-" + copyName + ".mov").absoluteString();
    folder.write("Kelvane/Unfinished/" + testing::uuid(6).upper(), torn);
    folder.write("Kelvane/Unfinished/" + testing::uuid(7).upper(), torn + "\n- 1\n");
    sweep();
    EXPECT_TRUE(folder.exists("out/.kelvane-" + copyName + ".mov"));
    EXPECT_EQ(folderEntries(records), Names{"notes.txt"});
}

TEST_F(Sweep, RemovesHalfWrittenFilesWhoseWritersAreGone) {
    const std::string name = "/.kelvane-" + testing::uuid(3).lower();
    const Names halves{project + name, project + "/AI" + name, project + "/AI/Kelvane - Film" + name};
    const Names kept{project + "/AI/Kelvane - Film/Frames" + name, project + "/.kelvane-notes",
                     "Kelvane/Projects/Mine" + name};
    for (const auto& file : halves) folder.write(file, "half");
    for (const auto& file : kept) folder.write(file, "half");
    sweep();
    for (const auto& file : halves) EXPECT_FALSE(folder.exists(file)) << file;
    for (const auto& file : kept) EXPECT_TRUE(folder.exists(file)) << file;
}

TEST_F(Sweep, LeavesHalfWrittenFilesOfLivingWriters) {
    const std::string name = project + "/.kelvane-" + testing::uuid(3).lower();
    folder.write(name, "half");
    const auto writer = FileDescriptor::open(folder.path(name), O_WRONLY);
    ASSERT_TRUE(holdWhileOpen(writer, folder.path(name)));
    sweep();
    EXPECT_TRUE(folder.exists(name));
}

TEST_F(Sweep, FinishesDeletionsThatWereCutOff) {
    const std::string left = "Kelvane/Projects/.deleted-" + testing::uuid(1).upper();
    const std::string live = "Kelvane/Projects/.deleted-" + testing::uuid(2).upper();
    const std::string other = "Kelvane/Projects/.deleted-other";
    for (const auto& place : {left, live, other}) folder.write(place + "/Media/a.mov");
    const auto holder = FileDescriptor::open(folder.path(live), O_RDONLY | O_DIRECTORY);
    ASSERT_TRUE(holdWhileOpen(holder, folder.path(live)));
    sweep();
    EXPECT_FALSE(folder.exists(left));
    EXPECT_TRUE(folder.exists(live + "/Media/a.mov"));
    EXPECT_TRUE(folder.exists(other + "/Media/a.mov"));
}

TEST_F(Sweep, EndsAtAStopRequest) {
    folder.write("out/.kelvane-" + copyName + ".mov");
    leaveRecord({{Kind::exportFile, folder.url("out/.kelvane-" + copyName + ".mov")}});
    std::stop_source stop;
    stop.request_stop();
    sweepUnfinishedWork(root, stop.get_token());
    EXPECT_EQ(recordsLeft(), 1u);
    EXPECT_TRUE(folder.exists("out/.kelvane-" + copyName + ".mov"));
}

/// Operations that are killed before each of their steps in turn.
class KilledAtEachStep : public Sweep {
protected:
    /// Runs `operation` to each of its steps in a child, on the places that `prepare` makes, and lets `check` look at
    /// them after the sweep of a next start.
    void run(const std::function<void()>& prepare, const std::function<bool(UnfinishedWork&)>& operation,
             const std::function<void()>& check, int leastSteps = 10) {
        for (int step = 1;; ++step) {
            SCOPED_TRACE("killed before step " + std::to_string(step));
            clear(folder);
            folder.makeFolder("Kelvane/Projects");
            prepare();
            const ChildEnd ended = killAtFileOperation(step, [&] {
                UnfinishedWork work(records);
                return operation(work);
            });
            if (ended == ChildEnd::notPermitted) GTEST_SKIP() << "no process can be watched here";
            ASSERT_NE(ended, ChildEnd::failed);
            sweep();
            EXPECT_EQ(recordsLeft(), 0u);
            check();
            if (HasFailure()) return;
            if (ended == ChildEnd::done) {
                EXPECT_GT(step, leastSteps) << "no steps were seen";
                return;
            }
        }
    }
    /// Files and folders below one, as a count of each kind of content.
    std::size_t copiesIn(const std::string& media) const {
        std::size_t whole = 0;
        for (const std::string& name : folderEntries(folder.path(media))) {
            const Names files = folderEntries(folder.path(media + "/" + name));
            EXPECT_EQ(files.size(), 1u) << name;
            if (files.size() != 1) continue;
            EXPECT_EQ(folder.read(media + "/" + name + "/" + files[0]), files[0] + data) << name;
            ++whole;
        }
        return whole;
    }
    FileURL source(const std::string& name) const { return folder.write("card/" + name, name + data); }

    const std::string data = std::string(100'000, 'x');
};

TEST_F(KilledAtEachStep, AnImportLeavesItsCopiesWholeOrNotAtAll) {
    const std::string media = project + "/Media";
    std::size_t kept = 0;
    std::size_t gone = 0;
    run(
        [&] {
            source("a.mov");
            source("b.wav");
            folder.write(project + "/Project.kelvane", "{}");
        },
        [&](UnfinishedWork& work) {
            ProjectMedia transaction(folder.url(media), {}, &work);
            for (const char* name : {"card/a.mov", "card/b.wav"})
                if (!transaction.copy(folder.url(name))) return false;
            transaction.commit();
            return true;
        },
        [&] {
            const std::size_t copies = folder.exists(media) ? copiesIn(media) : 0;
            EXPECT_TRUE(copies == 2 || !folder.exists(media)) << copies;
            ++(copies == 2 ? kept : gone);
        });
    EXPECT_GT(kept, 0u);
    EXPECT_GT(gone, 5u);
}

TEST_F(KilledAtEachStep, ACopyOfAProjectIsThereWithItsMediaOrNotAtAll) {
    std::size_t kept = 0;
    std::size_t gone = 0;
    run(
        [&] {
            source("a.mov");
            source("b.wav");
            folder.makeFolder("there");
        },
        [&](UnfinishedWork& work) {
            const auto ticket = work.begin({Kind::writtenFolder, folder.url("there")});
            {
                ProjectMedia media(folder.url("there/Film.media"), {}, &work);
                const auto localized = media.localize(
                    Project{.version = 1,
                            .clips = {videoClip(1, folder.url("card/a.mov")), audioClip(2, folder.url("card/b.wav"))},
                            .assets = std::nullopt,
                            .mediaRoot = std::nullopt});
                if (!localized || !ProjectFile::write(*localized, folder.url("there/Film.kelvane"))) return false;
                media.commit();
            }
            work.end({ticket});
            return true;
        },
        [&] {
            if (folder.exists("there/Film.kelvane")) {
                ++kept;
                EXPECT_EQ(copiesIn("there/Film.media"), 2u);
                EXPECT_TRUE(ProjectFile::read(folder.url("there/Film.kelvane")));
                EXPECT_EQ(folderEntries(folder.path("there")).size(), 2u);
            } else {
                ++gone;
                EXPECT_EQ(folderEntries(folder.path("there")), Names{});
            }
        });
    EXPECT_GT(kept, 0u);
    EXPECT_GT(gone, 5u);
}

TEST_F(KilledAtEachStep, AnEndedOperationThatRollsBackLeavesNothing) {
    run(
        [&] {
            source("a.mov");
            folder.makeFolder("there");
        },
        [&](UnfinishedWork& work) {
            ProjectMedia media(folder.url("there/Film.media"), {}, &work);
            return media.copy(folder.url("card/a.mov")) && !media.copy(folder.url("card/none.mov"));
        },
        [&] { EXPECT_FALSE(folder.exists("there/Film.media")); });
}

/// The same with the folders of the library.
class KilledLibrary : public KilledAtEachStep {
protected:
    static LibraryProject row(std::uint64_t number) {
        return {testing::uuid(number), "Film " + std::to_string(number), 0, 10, std::nullopt};
    }
    [[nodiscard]] Project film() const {
        return {
            .version = 1,
            .clips = {videoClip(1, folder.url("card/a.mov"))},
            .assets = std::vector<Clip>{videoClip(1, folder.url("card/a.mov")), audioClip(2, folder.url("card/b.wav"))},
            .mediaRoot = std::nullopt};
    }
    void prepareSources() const {
        source("a.mov");
        source("b.wav");
    }
    /// The ids of the projects, each of which is whole; nothing else is in the library.
    [[nodiscard]] std::vector<UUID> wholeProjects() const {
        const ProjectStore store(root);
        std::vector<UUID> ids;
        for (const LibraryProject& found : store.scan({})) {
            EXPECT_EQ(found, row(found.id == testing::uuid(1) ? 1 : 2));
            EXPECT_TRUE(ProjectFile::read(store.projectURL(found.id)));
            EXPECT_EQ(copiesIn("Kelvane/Projects/" + found.id.upper() + "/Media"), 2u);
            EXPECT_EQ(folderEntries(store.folder(found.id).path()).size(), 3u);
            ids.push_back(found.id);
        }
        EXPECT_EQ(folderEntries(root.path()).size(), ids.size());
        std::ranges::sort(ids);
        return ids;
    }

    std::set<std::size_t> seen;
};

TEST_F(KilledLibrary, HasANewProjectWholeOrNotAtAll) {
    run([&] { prepareSources(); },
        [&](UnfinishedWork& work) { return ProjectStore(root, &work).create(row(1), film()).has_value(); },
        [&] { seen.insert(wholeProjects().size()); });
    EXPECT_EQ(seen, (std::set<std::size_t>{0, 1}));
}

TEST_F(KilledLibrary, HasADuplicateWholeOrNotAtAllAndItsOriginal) {
    run(
        [&] {
            prepareSources();
            ASSERT_TRUE(ProjectStore(root).create(row(1), film()));
            std::filesystem::remove_all(folder.path("card"));
        },
        [&](UnfinishedWork& work) { return ProjectStore(root, &work).duplicate(testing::uuid(1), row(2)).has_value(); },
        [&] {
            const auto projects = wholeProjects();
            ASSERT_FALSE(projects.empty());
            EXPECT_EQ(projects.front(), testing::uuid(1));
            seen.insert(projects.size());
        });
    EXPECT_EQ(seen, (std::set<std::size_t>{1, 2}));
}

TEST_F(KilledLibrary, HasADeletedProjectWholeOrNotAtAll) {
    run(
        [&] {
            prepareSources();
            ASSERT_TRUE(ProjectStore(root).create(row(1), film()));
        },
        [&](UnfinishedWork& work) { return ProjectStore(root, &work).remove(testing::uuid(1), "Film 1").has_value(); },
        [&] { seen.insert(wholeProjects().size()); }, 5);
    EXPECT_EQ(seen, (std::set<std::size_t>{0, 1}));
}

TEST_F(KilledAtEachStep, ADocumentIsTheOldOrTheNewOneAndNothingElseIsThere) {
    run([&] { folder.write(project + "/Project.kelvane", "old"); },
        [&](UnfinishedWork&) {
            for (int round = 0; round < 3; ++round)
                if (!writeFileAtomically(folder.path(project + "/Project.kelvane"), "new")) return false;
            return true;
        },
        [&] {
            const std::string text = folder.read(project + "/Project.kelvane");
            EXPECT_TRUE(text == "old" || text == "new") << text;
            EXPECT_EQ(folderEntries(folder.path(project)), Names{"Project.kelvane"});
        });
}

TEST_F(KilledAtEachStep, ASweepIsFinishedByTheNext) {
    std::string hidden = "out/.kelvane-" + copyName + ".mov";
    run(
        [&] {
            folder.write(copy + "/a.mov");
            folder.write(copy + "/b.mov");
            folder.write(hidden);
            folder.write("Kelvane/Projects/.deleted-" + projectName + "/Media/a.mov");
            leaveRecord({{Kind::mediaFolder, folder.url(project + "/Media")},
                         {Kind::mediaCopy, folder.url(copy)},
                         {Kind::exportFile, folder.url(hidden)}});
        },
        [&](UnfinishedWork&) {
            sweep();
            return true;
        },
        [&] { EXPECT_EQ(places(), (Names{"Kelvane", "Kelvane/Projects", project, "out"})); });
}

}  // namespace
}  // namespace kelvane
