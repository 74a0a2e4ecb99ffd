#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>

#include "Platform/QtMainContext.h"
#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"

namespace kelvane::testing {
namespace {

/// An editor on the real event loop and the real pool, so that a race would show itself to a sanitizer.
class RealThreads : public ::testing::Test {
protected:
    RealThreads() {
        EditorServices services{&context, &media, &panels, [](PlayerRole) { return std::make_unique<StillPlayer>(); }};
        editor = Editor::create(uuid(1), folder.makeFolder("Media"), services);
        for (const char* name : {"a.mov", "b.mov"}) {
            media.addFileNamed(name, FakeFile::video(4));
            files.push_back(folder.write(std::string("Sources/") + name));
        }
    }
    /// Runs the event loop until `isDone`.
    template <class Condition>
    static void runUntil(Condition isDone) {
        while (!isDone()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    template <class Answer>
    static Answer finish(QCoro::Task<Answer> task) {
        std::optional<Answer> answer;
        const auto keeper = keep(std::move(task), &answer);
        runUntil([&answer] { return answer.has_value(); });
        return std::move(*answer);
    }
    QCoro::Task<Result<void>> exportTo(const char* name, std::stop_token stop = {}) {
        return editor->exportMedia(folder.url(name), false, ExportResolution::automatic, ExportFrameRate::automatic,
                                   nullptr, std::move(stop));
    }

    int argumentCount = 1;
    char programName[8] = "test";
    char* arguments[2] = {programName, nullptr};
    QCoreApplication application{argumentCount, arguments};
    TempFolder folder;
    FakeMediaPlatform media;
    FakePanels panels;
    QtMainContext context;
    std::shared_ptr<Editor> editor;
    std::vector<FileURL> files;
};

TEST_F(RealThreads, MediaIsImportedShownAndExported) {
    const Result<std::vector<UUID>> imported = finish(editor->importMedia(files, nullptr));
    ASSERT_TRUE(imported) << imported.error().message;
    editor->addAssets(*imported, {});
    runUntil([this] { return !editor->isBuilding(); });
    EXPECT_NE(editor->player()->item(), nullptr);
    EXPECT_EQ(finish(exportTo("Film.mp4")), Result<void>());
    EXPECT_EQ(folder.read("Film.mp4"), media.exports.contents);
}

TEST_F(RealThreads, ACancelReachesARunningEncoder) {
    editor->commit({videoClip(1, files[0], 4)});
    media.exportGate.close();
    media.setProgress(0.5);
    std::optional<Result<void>> answer;
    const auto keeper = keep(exportTo("Film.mp4"), &answer);
    runUntil([this] { return editor->exportProgress() == 0.5F; });
    ASSERT_TRUE(media.exportGate.waitForArrivals());
    editor->cancelExport();
    runUntil([&answer] { return answer.has_value(); });
    ASSERT_FALSE(*answer);
    EXPECT_TRUE(answer->error().isCancelled());
    EXPECT_EQ(folder.entries(), (std::vector<std::string>{"Media", "Sources", "Sources/a.mov", "Sources/b.mov"}));
}

TEST_F(RealThreads, AnotherThreadsStopReachesARunningEncoder) {
    editor->commit({videoClip(1, files[0], 4)});
    media.exportGate.close();
    std::stop_source stop;
    std::optional<Result<void>> answer;
    const auto keeper = keep(exportTo("Film.mp4", stop.get_token()), &answer);
    auto work = [this, stop]() mutable {
        (void)media.exportGate.waitForArrivals();
        stop.request_stop();
    };
    context.runInBackground(std::move(work), Lane::longWork);
    runUntil([&answer] { return answer.has_value(); });
    ASSERT_FALSE(*answer);
    EXPECT_TRUE(answer->error().isCancelled());
    EXPECT_FALSE(editor->busy());
}

TEST_F(RealThreads, AnEditorMayEndInTheMiddleOfItsWork) {
    editor->importURLs(files);
    editor->commit({videoClip(1, files[0], 4)});
    const std::weak_ptr<Editor> weak = editor;
    editor.reset();
    runUntil([&weak] { return weak.expired(); });
    EXPECT_EQ(folder.entries().size(), 8U) << "the import went on to its end";
}

}  // namespace
}  // namespace kelvane::testing
