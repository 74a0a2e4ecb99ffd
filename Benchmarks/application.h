#pragma once

#include <QCoreApplication>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Platform/QtMainContext.h"
#include "Storage/ProjectFile.h"
#include "Storage/UnfinishedSweep.h"
#include "Support/App/FakePanels.h"
#include "Support/UnfinishedWork.h"
#include "Windows/ProjectWindows.h"

namespace kelvane::benchmarks {

[[noreturn]] inline void stop(const std::string& words) {
    std::fprintf(stderr, "%s\n", words.c_str());
    std::exit(1);
}

/// A window that shows nothing.
struct NoWindow final : PlatformWindow {
    void bringToFront() override {}
    [[nodiscard]] bool isActive() const override { return true; }
    void setHasUnsavedChanges(bool) override {}
    void setProjectFile(const std::optional<FileURL>&) override {}
};

/// The application without its views.
struct Application {
    using MakePlayer = std::function<std::unique_ptr<Player>(Application&, PlayerRole)>;

    explicit Application(
        const std::filesystem::path& library,
        MakePlayer makePlayer = [](Application&, PlayerRole) { return std::make_unique<StillPlayer>(); })
        : unfinished(unfinishedFolder(FileURL::fromPath(library.string()))),
          windows(EditorServices{.context = &context,
                                 .media = &media,
                                 .panels = &panels,
                                 .makePlayer = [this, makePlayer](PlayerRole role) { return makePlayer(*this, role); },
                                 .unfinished = &unfinished},
                  FileURL::fromPath(library.string())),
          workspace(windows.workspace(std::nullopt)) {
        windows.attach(workspace, &window);
    }
    ~Application() { windows.unregister(workspace); }

    template <class Condition>
    void runUntil(Condition isDone) {
        while (!isDone()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            if (windows.error()) stop(*windows.error());
            if (workspace->editor() && workspace->editor()->error()) stop(*workspace->editor()->error());
        }
    }
    /// Shows a project file in the window, and waits until its pictures and its preview are there.
    void open(const std::filesystem::path& file) {
        context.post([this, file] { windows.openProject(FileURL::fromPath(file.string()), workspace, false); });
        runUntil([this] {
            const auto& editor = workspace->editor();
            return editor && !editor->isLoadingThumbnails() && !editor->isBuilding();
        });
    }

    UnfinishedWork unfinished;
    FFmpegPlatform media;
    testing::FakePanels panels;
    QtMainContext context;
    NoWindow window;
    ProjectWindows windows;
    std::shared_ptr<Workspace> workspace;
};

/// A copy of a movie that takes `bytes` bytes of disk: behind its end stands a box that players pass over.
inline void writePadded(const std::filesystem::path& movie, const std::filesystem::path& file, std::uint64_t bytes) {
    std::filesystem::copy_file(movie, file, std::filesystem::copy_options::overwrite_existing);
    const auto own = std::filesystem::file_size(file);
    if (own + 8 > bytes) return;
    const auto length = static_cast<std::uint32_t>(bytes - own);
    std::ofstream out(file, std::ios::binary | std::ios::app);
    const char header[8] = {static_cast<char>(length >> 24),
                            static_cast<char>(length >> 16),
                            static_cast<char>(length >> 8),
                            static_cast<char>(length),
                            'f',
                            'r',
                            'e',
                            'e'};
    out.write(header, sizeof header);
    std::vector<std::uint64_t> block(1 << 17);
    std::uint64_t noise = 88172645463325252ULL;
    for (std::uint64_t left = length - 8; left > 0;) {
        for (auto& word : block) {
            noise ^= noise << 13;
            noise ^= noise >> 7;
            noise ^= noise << 17;
            word = noise;
        }
        const auto part = std::min<std::uint64_t>(left, block.size() * sizeof block[0]);
        out.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(part));
        left -= part;
    }
    if (!out.flush()) stop("The media could not be written.");
}

/// A project file outside the library, of `clips` clips of 1 s each of the `sources` files beside it.
inline std::filesystem::path writeProject(const std::filesystem::path& folder, const std::filesystem::path& movie,
                                          int sources, int clips, std::uint64_t bytes) {
    std::filesystem::create_directories(folder);
    Project project;
    project.assets.emplace();
    for (int i = 0; i < sources; ++i) {
        const auto file = folder / ("source " + std::to_string(i) + ".mp4");
        writePadded(movie, file, bytes / static_cast<std::uint64_t>(sources));
        Clip asset;
        asset.id = UUID::random();
        asset.url = FileURL::fromPath(file.string());
        asset.sourceDuration = asset.end = 12;
        project.assets->push_back(asset);
    }
    for (int i = 0; i < clips; ++i) {
        Clip clip = (*project.assets)[static_cast<std::size_t>(i % sources)];
        clip.id = UUID::random();
        clip.start = i % 10;
        clip.end = clip.start + 1;
        project.clips.push_back(clip);
    }
    const auto file = folder / "Outside.kelvane";
    if (const auto written = ProjectFile::write(project, FileURL::fromPath(file.string())); !written)
        stop(written.error().message);
    return file;
}

}  // namespace kelvane::benchmarks
