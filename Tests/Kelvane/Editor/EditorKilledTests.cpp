#include <gtest/gtest.h>

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

/// Two files that are brought in one after the other.
class KilledImport : public KilledEditor {
protected:
    /// Runs `import` to each of its steps, and lets `check` see how many of the two copies are left, and whether assets
    /// had come to stand for them.
    void runImport(const std::function<bool()>& import,
                   const std::function<void(std::size_t left, bool taken)>& check) {
        const std::size_t before = mediaFiles().size();
        run(
            [&] {
                std::filesystem::remove(taken.path());
                for (const std::string& name : folderEntries(mediaFolder().path()))
                    if (!movie.path().contains(name)) std::filesystem::remove_all(mediaFolder().appending(name).path());
            },
            [&] {
                editor->onProjectChange = [this] { std::ofstream(taken.path()) << "yes"; };
                return import();
            },
            [&](bool done) {
                // A folder and a file for each copy.
                const std::size_t added = mediaFiles().size() - before;
                EXPECT_EQ(added % 2, 0u);
                EXPECT_TRUE(!done || added == 4);
                for (const std::string& file : mediaFiles())
                    if (file.ends_with("b.mov")) EXPECT_EQ(contents(mediaFolder().appending(file)), contents(picture));
                check(added / 2, std::filesystem::exists(taken.path()));
            });
    }

    const FileURL picture = makeSource("b.mov", FakeFile::video(2));
    const FileURL sound = makeSource("c.wav", FakeFile::audio(3));
    const FileURL taken = folder().appending("taken");
};

TEST_F(KilledImport, LeavesTheCopiesOfBothFilesOrNone) {
    std::set<std::size_t> seen;
    runImport([&] { return finish(editor->importMedia({picture, sound}, nullptr)).has_value(); },
              [&](std::size_t left, bool) { seen.insert(left); });
    EXPECT_EQ(seen, (std::set<std::size_t>{0, 2}));
}

TEST_F(KilledImport, FromTheWindowLeavesNoCopyThatNoAssetStoodFor) {
    std::set<std::size_t> seen;
    runImport(
        [&] {
            editor->importURLs({picture, sound});
            context.settle();
            return editor->assets().size() == 3 && !editor->error();
        },
        [&](std::size_t left, bool taken) {
            if (!taken) EXPECT_EQ(left, 0u);
            if (left == 2) seen.insert(left);
        });
    EXPECT_EQ(seen.size(), 1u);
}

}  // namespace
}  // namespace kelvane::testing
