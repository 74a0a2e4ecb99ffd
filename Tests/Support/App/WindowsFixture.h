#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "FakeDesktopServices.h"
#include "FakeMainContext.h"
#include "FakePanels.h"
#include "FakePlayer.h"
#include "FakeRecording.h"
#include "FinishTask.h"
#include "Storage/ProjectFile.h"
#include "Support/ClipBuilder.h"
#include "Support/FakeMediaPlatform.h"
#include "Support/TempFolder.h"
#include "Timeline/TimelineLayout.h"
#include "Windows/ProjectWindows.h"

namespace kelvane::testing {

/// A window that counts what it is told and shows nothing.
struct FakeWindow final : PlatformWindow {
    void bringToFront() override { ++brought; }
    [[nodiscard]] bool isActive() const override { return active; }
    void setHasUnsavedChanges(bool has) override { unsaved = has; }
    void setProjectFile(const std::optional<FileURL>& url) override { projectFile = url; }

    int brought = 0;
    bool active = false;
    bool unsaved = false;
    std::optional<FileURL> projectFile;
};

/// Runs the owner of open projects over fakes, with a library on the disk ("Projects" in `folder`) that goes when the
/// test ends.
class WindowsFixture : public ::testing::Test {
protected:
    WindowsFixture() {
        windows = std::make_unique<ProjectWindows>(
            EditorServices{.context = &context,
                           .media = &media,
                           .panels = &panels,
                           .makePlayer = [](PlayerRole) { return std::make_unique<FakePlayer>(); },
                           .recording = &recording,
                           .desktop = &desktop},
            folder.url("Projects"));
        context.settle();
        windows->tell = [this](const std::string& sentence) { told.push_back(sentence); };
        windows->openWindow = [this](const UUID& id) { asked.push_back(id); };
    }
    ~WindowsFixture() override {
        windows.reset();
        context.settle();
    }

    /// A window that shows what `workspace(for:)` answers for `id`.
    std::shared_ptr<Workspace> show(FakeWindow& window, std::optional<UUID> id = std::nullopt) {
        auto workspace = windows->workspace(id);
        windows->attach(workspace, &window);
        return workspace;
    }
    LibraryProject project(const std::string& name, const Project& contents) {
        auto& library = windows->library();
        const auto row = library.newRow(name, TimelineLayout::duration(contents.clips), std::nullopt);
        const auto created = library.store().create(*row, contents);
        EXPECT_TRUE(created) << created.error().message;
        library.adopt(*row);
        return *row;
    }
    LibraryProject project(const std::string& name) { return project(name, Project{}); }
    /// A project whose one clip lies in its media folder.
    LibraryProject projectWithClip(const std::string& name) {
        const auto source = folder.write("Sources/" + name + ".mov");
        media.addFileNamed(name + ".mov", FakeFile::video(10));
        Project contents;
        contents.clips = {videoClip(1, source)};
        contents.assets = {{videoClip(2, source)}};
        return project(name, contents);
    }
    // What the owner does, to its end. Other work stays under way where it is.
    std::shared_ptr<Editor> open(const LibraryProject& row, const std::shared_ptr<Workspace>& workspace,
                                 bool newWindow) {
        return finish(context, windows->open(row, workspace, newWindow));
    }
    void openProject(const FileURL& file, const std::shared_ptr<Workspace>& workspace, bool newWindow) {
        finish(context, windows->openProject(file, workspace, newWindow));
    }
    void openPreview(const UUID& id) { finish(context, windows->openPreview(id)); }
    void showHome(const std::shared_ptr<Workspace>& workspace) { finish(context, windows->showHome(workspace)); }
    bool confirmClose(const std::shared_ptr<Workspace>& workspace) {
        return finish(context, windows->confirmClose(workspace));
    }
    bool flush(const std::shared_ptr<Editor>& editor) { return finish(context, windows->flush(editor)); }
    bool confirmQuit() { return finish(context, windows->confirmQuit()); }
    void duplicate(const UUID& id) { finish(context, windows->duplicate(id)); }
    Result<void> rename(const UUID& id, const std::string& name) { return finish(context, windows->rename(id, name)); }
    bool canSave(Editor& editor, const FileURL& file) { return finish(context, editor.canSaveToURL(file)); }
    /// Asks for a deletion; what is confirmed comes to its end.
    void remove(const UUID& id, bool toTheEnd = true) {
        windows->remove(id);
        if (toTheEnd) runUntil(context, [this] { return windows->work().empty(); });
    }
    /// Lets time pass, and what it brings come to its end.
    void advance(std::chrono::milliseconds duration) {
        context.advance(duration);
        context.settle();
    }
    /// A change that makes the project dirty.
    static void edit(Editor& editor) {
        auto clips = editor.clips();
        clips.front().volume /= 2;
        editor.commit(clips);
    }
    [[nodiscard]] double savedVolume(const LibraryProject& row) const {
        const auto saved = ProjectFile::read(windows->library().projectURL(row.id));
        return saved ? saved->clips.front().volume : -1;
    }
    /// Starts an import that stays under way until the background work runs.
    void beginImport(Editor& editor) {
        media.addFileNamed("late.mov", FakeFile::video(3));
        editor.importURLs({folder.write("Sources/late.mov")});
        ASSERT_TRUE(editor.busy());
    }
    /// The document can't be replaced while a folder that isn't empty stands in its place.
    void breakDocument(const LibraryProject& row) {
        const auto path = windows->library().projectURL(row.id).path();
        std::filesystem::rename(path, path + ".kept");
        std::filesystem::create_directories(path + "/in the way");
    }
    void mendDocument(const LibraryProject& row) {
        const auto path = windows->library().projectURL(row.id).path();
        std::filesystem::remove_all(path);
        std::filesystem::rename(path + ".kept", path);
    }

    TempFolder folder;
    FakeMainContext context;
    FakeMediaPlatform media;
    FakePanels panels;
    FakeRecording recording;
    FakeDesktopServices desktop;
    std::unique_ptr<ProjectWindows> windows;
    std::vector<UUID> asked;
    /// What was told beside windows.
    std::vector<std::string> told;
    FakeWindow first;
    FakeWindow second;
};

}  // namespace kelvane::testing
