#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "Storage/UnfinishedSweep.h"
#include "Support/App/EditorFixture.h"
#include "Support/AtomicFile.h"
#include "Support/ClipBuilder.h"
#include "Support/KilledProcess.h"
#include "Support/UnfinishedWork.h"

namespace kelvane::testing {
namespace {

std::string contents(const FileURL& file) {
    std::ostringstream text;
    text << std::ifstream(file.path(), std::ios::binary).rdbuf();
    return text.str();
}

/// An editor whose process is killed before each step of an operation in turn.
class KilledEditor : public EditorFixture {
protected:
    KilledEditor() {
        movie = makeManaged("a.mov", FakeFile::video(4));
        // Made anew by the child, with its record.
        editor.reset();
        context.settle();
    }
    [[nodiscard]] FileURL root() const { return folder().appending("Kelvane/Projects"); }
    [[nodiscard]] FileURL output() const { return folder().appending("Output"); }

    /// Runs `operation` to each of its steps in a child, and lets `check` look at what is left after the sweep of a
    /// next start. Both begin with what `prepare` makes.
    void run(const std::function<void()>& prepare, const std::function<bool()>& operation,
             const std::function<void(bool done)>& check) {
        for (int step = 1;; ++step) {
            SCOPED_TRACE("killed before step " + std::to_string(step));
            prepare();
            const ChildEnd ended = killAtFileOperation(step, [&] {
                UnfinishedWork work(unfinishedFolder(root()));
                unfinished = &work;
                makeEditor();
                load({videoClip(1, movie, 4)}, std::vector<Clip>{videoClip(91, movie, 4)});
                return operation();
            });
            if (ended == ChildEnd::notPermitted) GTEST_SKIP() << "no process can be watched here";
            ASSERT_NE(ended, ChildEnd::failed);
            sweepUnfinishedWork(root());
            EXPECT_EQ(folderEntries(unfinishedFolder(root())).size(), 0u);
            check(ended == ChildEnd::done);
            if (HasFailure()) return;
            if (ended == ChildEnd::done) {
                EXPECT_GT(step, 10) << "no steps were seen";
                return;
            }
        }
    }

    FileURL movie;
};

TEST_F(KilledEditor, LeavesTheOldFileOrTheWholeExportAndNothingElse) {
    const FileURL destination = output().appending("Film.mp4");
    std::set<std::string> seen;
    run(
        [&] {
            std::filesystem::create_directories(output().path());
            std::ofstream(destination.path()) << "the old film";
        },
        [&] {
            auto exporting = editor->exportMedia(destination, true, ExportResolution::automatic,
                                                 ExportFrameRate::automatic, nullptr);
            return finish(std::move(exporting)).has_value();
        },
        [&](bool done) {
            EXPECT_EQ(entries(output()), std::vector<std::string>{"Film.mp4"});
            seen.insert(contents(destination));
            // Nothing but the old film and the whole new one was ever there.
            EXPECT_EQ(seen.size(), seen.contains("the old film") && seen.size() > 1 ? 2u : 1u);
            if (done) EXPECT_NE(contents(destination), "the old film");
        });
    EXPECT_EQ(seen.size(), 2u);
}

/// Two files that are brought in one after the other, and the save behind them.
class KilledImport : public KilledEditor {
protected:
    /// Runs `import` and the save to each of their steps, and finds the copies of both files or none: those that the
    /// document names.
    void runImport(const std::function<bool()>& import) {
        const std::vector<std::string> before = folderEntries(mediaFolder().path());
        std::set<std::size_t> seen;
        run(
            [&] {
                std::filesystem::remove(projectFile().path());
                for (const std::string& name : folderEntries(mediaFolder().path()))
                    if (!movie.path().contains(name)) std::filesystem::remove_all(mediaFolder().appending(name).path());
            },
            [&] { return import() && finish(editor->writeManagedProject(projectFile(), true)).has_value(); },
            [&](bool done) {
                const std::string document = contents(projectFile());
                std::size_t left = 0;
                for (const std::string& name : folderEntries(mediaFolder().path())) {
                    if (movie.path().contains(name)) continue;
                    EXPECT_THAT(document, ::testing::HasSubstr(name)) << "nobody's copy";
                    ++left;
                }
                EXPECT_TRUE(!done || left == 2);
                seen.insert(left);
                for (const std::string& file : mediaFiles())
                    if (file.ends_with("b.mov")) EXPECT_EQ(contents(mediaFolder().appending(file)), contents(picture));
            });
        EXPECT_EQ(seen, (std::set<std::size_t>{0, 2}));
    }

    const FileURL picture = makeSource("b.mov", FakeFile::video(2));
    const FileURL sound = makeSource("c.wav", FakeFile::audio(3));
};

TEST_F(KilledImport, LeavesTheCopiesThatTheDocumentNamesAndNoOther) {
    runImport([&] { return finish(editor->importMedia({picture, sound}, nullptr)).has_value(); });
}

TEST_F(KilledImport, FromTheWindowLeavesTheCopiesThatTheDocumentNamesAndNoOther) {
    runImport([&] {
        editor->importURLs({picture, sound});
        context.settle();
        return editor->assets().size() == 3 && !editor->error();
    });
}

/// Media that was brought in and stands in no document.
class UnsavedImport : public EditorFixture {
protected:
    UnsavedImport() {
        unfinished = &work_;
        makeEditor();
        load({}, std::vector<Clip>());
        const auto imported = finish(editor->importMedia({makeSource("b.mov", FakeFile::video(2))}, nullptr));
        EXPECT_TRUE(imported);
    }
    ~UnsavedImport() override {
        editor.reset();
        context.settle();
    }
    /// Whether a process that ended now would have the copy swept by the next start.
    [[nodiscard]] bool isRecorded() const {
        for (const std::string& name : folderEntries(unfinishedFolder(root())))
            if (!contents(FileURL::fromPath(unfinishedFolder(root())).appending(name)).empty()) return true;
        return false;
    }
    [[nodiscard]] FileURL root() const { return folder().appending("Kelvane/Projects"); }

private:
    UnfinishedWork work_{unfinishedFolder(folder().appending("Kelvane/Projects"))};
};

TEST_F(UnsavedImport, IsRecordedUntilADocumentNamesIt) {
    EXPECT_TRUE(isRecorded());
    EXPECT_TRUE(writeManaged(projectFile(), true));
    EXPECT_FALSE(isRecorded());
}

TEST_F(UnsavedImport, IsKeptWhereItIsUndone) {
    editor->undo();
    context.settle();
    EXPECT_FALSE(isRecorded());
    editor->redo();
    EXPECT_TRUE(std::filesystem::exists(editor->assets().front().url.path()));
}

TEST_F(UnsavedImport, IsKeptWhereTheDocumentCantBeWritten) {
    EXPECT_FALSE(writeManaged(folder().appending("nowhere/Project.kelvane"), true));
    EXPECT_FALSE(isRecorded()) << "nobody knows how long that lasts";
}

TEST_F(UnsavedImport, IsKeptWhereTheEditorGoes) {
    editor.reset();
    context.settle();
    EXPECT_FALSE(isRecorded());
    EXPECT_EQ(mediaFiles().size(), 2u);
}

}  // namespace
}  // namespace kelvane::testing
