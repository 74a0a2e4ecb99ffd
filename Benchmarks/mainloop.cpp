// Measures the longest turn of the main loop while projects are opened, duplicated and saved: the time from the return
// of one poll of the event loop to the next poll. Every sync of the disk takes 100 ms more than it does. There is no
// window.
//
//     bench-mainloop open <rounds> <folder> <movie> <megabytes>       a project of that much media is imported and
//     shown bench-mainloop duplicate <rounds> <folder> <movie> <megabytes>  it is duplicated bench-mainloop edits
//     <rounds> <folder> <movie>                  1,000 clips of 10 sources, an edit each second
//
// Prints the round whose longest turn was shortest: that turn and the main thread's processor time in it, in
// milliseconds, and the seconds that the round took. Where the folder's disk has no room, prints nothing and ends
// with 3.

#include <dlfcn.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <QGuiApplication>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Platform/QtMainContext.h"
#include "Storage/ProjectFile.h"
#include "Support/App/FakePanels.h"
#include "Windows/ProjectWindows.h"

namespace {

using Clock = std::chrono::steady_clock;

double milliseconds(Clock::duration duration) { return std::chrono::duration<double, std::milli>(duration).count(); }

/// The turns of the main thread's event loop.
class Turns {
public:
    struct Turn {
        double wall = 0;
        /// Processor time of the main thread.
        double processor = 0;
        /// Turns so far.
        int count = 0;
    };

    void begin() {
        longest_ = {};
        returned();
        isRecording_ = true;
    }
    Turn end() {
        polls();
        isRecording_ = false;
        return longest_;
    }
    void polls() {
        if (!isRecording_) return;
        const double wall = milliseconds(Clock::now() - since_);
        const int count = longest_.count + 1;
        if (wall > longest_.wall) longest_ = {wall, processorTime() - processorSince_};
        longest_.count = count;
    }
    void returned() {
        since_ = Clock::now();
        processorSince_ = processorTime();
    }

private:
    static double processorTime() {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    }

    bool isRecording_ = false;
    Clock::time_point since_;
    double processorSince_ = 0;
    Turn longest_;
};

Turns turns;
thread_local bool isMainThread = false;

/// Whether an address lies in the code of an event loop: any other poll of the main thread is a wait within a turn.
bool isEventLoop(const void* caller) {
    Dl_info found{};
    if (dladdr(caller, &found) == 0 || found.dli_fname == nullptr) return false;
    const std::string_view library(found.dli_fname);
    return library.contains("libQt6Core") || library.contains("libglib");
}

/// The kernel's set of signals, which is smaller than the C library's.
constexpr std::size_t kernelMaskBytes = 8;

int polled(pollfd* files, nfds_t count, const timespec* timeout, const sigset_t* mask, const void* caller) {
    const bool endsTurn = isMainThread && isEventLoop(caller);
    if (endsTurn) turns.polls();
    timespec left = timeout != nullptr ? *timeout : timespec{};
    const long found = syscall(SYS_ppoll, files, count, timeout != nullptr ? &left : nullptr, mask, kernelMaskBytes);
    if (endsTurn) turns.returned();
    return static_cast<int>(found);
}

/// What a busy disk of rust takes for a sync.
void takeTheDisksTime() {
    const timespec pause{0, 100'000'000};
    clock_nanosleep(CLOCK_MONOTONIC, 0, &pause, nullptr);
}

}  // namespace

// These stand before the C library's, for the toolkit's libraries as well. sync_file_range(2) is not among them: it
// flushes no disk, and a copy calls it for every few megabytes.
extern "C" {

#define KELVANE_EXPORT __attribute__((visibility("default")))

KELVANE_EXPORT int fsync(int file) {
    takeTheDisksTime();
    return static_cast<int>(syscall(SYS_fsync, file));
}
KELVANE_EXPORT int fdatasync(int file) {
    takeTheDisksTime();
    return static_cast<int>(syscall(SYS_fdatasync, file));
}
KELVANE_EXPORT int syncfs(int file) noexcept {
    takeTheDisksTime();
    return static_cast<int>(syscall(SYS_syncfs, file));
}
KELVANE_EXPORT int ppoll(pollfd* files, nfds_t count, const timespec* timeout, const sigset_t* mask) {
    return polled(files, count, timeout, mask, __builtin_return_address(0));
}
KELVANE_EXPORT int poll(pollfd* files, nfds_t count, int timeout) {
    const timespec time{timeout / 1000, timeout % 1000 * 1'000'000L};
    return polled(files, count, timeout < 0 ? nullptr : &time, nullptr, __builtin_return_address(0));
}
}

namespace kelvane {
namespace {

namespace fs = std::filesystem;

constexpr int mediaFiles = 8;
constexpr int sourceCount = 10;
constexpr int clipCount = 1'000;
constexpr int editCount = 5;
constexpr int noRoom = 3;
constexpr std::uint64_t megabyte = 1'000'000;

[[noreturn]] void stop(const std::string& words) {
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
    explicit Application(const fs::path& library)
        : windows(EditorServices{.context = &context,
                                 .media = &media,
                                 .panels = &panels,
                                 .makePlayer = [](PlayerRole) { return std::make_unique<StillPlayer>(); }},
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
    void open(const fs::path& file) {
        context.post([this, file] { windows.openProject(FileURL::fromPath(file.string()), workspace, false); });
        runUntil([this] {
            const auto& editor = workspace->editor();
            return editor && !editor->isLoadingThumbnails() && !editor->isBuilding();
        });
    }

    FFmpegPlatform media;
    testing::FakePanels panels;
    QtMainContext context;
    NoWindow window;
    ProjectWindows windows;
    std::shared_ptr<Workspace> workspace;
};

/// A copy of a movie that takes `bytes` bytes of disk: behind its end stands a box that players pass over.
void writePadded(const fs::path& movie, const fs::path& file, std::uint64_t bytes) {
    fs::copy_file(movie, file, fs::copy_options::overwrite_existing);
    const auto own = fs::file_size(file);
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
fs::path writeProject(const fs::path& folder, const fs::path& movie, int sources, int clips, std::uint64_t bytes) {
    fs::create_directories(folder);
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

struct Round {
    Turns::Turn longest;
    double seconds = 0;
};

template <class Work>
Round measured(Work work) {
    const auto begin = Clock::now();
    turns.begin();
    work();
    const auto longest = turns.end();
    return {longest, milliseconds(Clock::now() - begin) / 1e3};
}

Round openOnce(const fs::path& folder, const fs::path& file) {
    fs::remove_all(folder / "Library");
    Application application(folder / "Library");
    return measured([&] { application.open(file); });
}

/// Duplicates the project that is shown, and deletes the copy.
Round duplicateOnce(Application& application) {
    const auto& library = application.windows.library();
    std::set<UUID> known;
    for (const auto& row : library.projects()) known.insert(row.id);
    std::optional<UUID> copy;
    const auto round = measured([&] {
        const UUID id = application.workspace->editor()->id();
        application.context.post([&application, id] { application.windows.duplicate(id); });
        application.runUntil([&] {
            for (const auto& row : library.projects())
                if (!known.contains(row.id)) copy = row.id;
            return copy.has_value();
        });
    });
    fs::remove_all(library.store().folder(*copy).path());
    return round;
}

ino_t documentOf(const Editor& editor) {
    struct stat status{};
    (void)::stat(editor.projectURL()->path().c_str(), &status);
    return status.st_ino;
}

/// Edits once a second, until the last edit is saved.
Round editOnce(Application& application) {
    const auto editor = application.workspace->editor();
    int edits = 0;
    int saves = 0;
    Timer timer;
    std::function<void()> edit = [&] {
        const auto& clips = editor->clips();
        const auto& clip = clips[static_cast<std::size_t>(edits * 37) % clips.size()];
        editor->update(clip.id, [](Clip& changed) { changed.volume = changed.volume == 1 ? 0.5 : 1; });
        if (++edits < editCount) timer = application.context.after(std::chrono::seconds(1), edit);
    };
    auto last = documentOf(*editor);
    const auto round = measured([&] {
        timer = application.context.after(std::chrono::milliseconds(0), edit);
        application.runUntil([&] {
            if (const auto now = documentOf(*editor); now != last) {
                last = now;
                ++saves;
            }
            return edits == editCount && !editor->isDirty() && !editor->isBuilding();
        });
    });
    std::fprintf(stderr, "  %d edits, %d saves\n", edits, saves);
    if (saves < editCount / 2) stop("The edits did not save themselves.");
    return round;
}

void checkRoom(const fs::path& folder, std::uint64_t bytes) {
    struct statvfs disk{};
    if (::statvfs(folder.c_str(), &disk) == 0 && disk.f_bavail * disk.f_frsize > bytes) return;
    std::fprintf(stderr, "There is no room for %llu MB.\n", static_cast<unsigned long long>(bytes / megabyte));
    std::exit(noRoom);
}

template <class Once>
void report(int rounds, Once once) {
    std::optional<Round> best;
    for (int i = 0; i < rounds; ++i) {
        const Round round = once();
        std::fprintf(stderr, "  %.1f ms, processor %.1f ms, %d turns in %.1f s\n", round.longest.wall,
                     round.longest.processor, round.longest.count, round.seconds);
        if (!best || round.longest.wall < best->longest.wall) best = round;
    }
    std::printf("%.1f %.1f %.1f\n", best->longest.wall, best->longest.processor, best->seconds);
}

int run(const std::vector<std::string>& arguments) {
    const std::string& scene = arguments.at(1);
    const int rounds = std::atoi(arguments.at(2).c_str());
    const fs::path folder = fs::absolute(arguments.at(3)) / ("mainloop-" + scene);
    const fs::path movie = fs::absolute(arguments.at(4));
    fs::remove_all(folder);
    fs::create_directories(folder);
    if (scene == "edits") {
        const auto file = writeProject(folder / "Outside", movie, sourceCount, clipCount, 0);
        Application application(folder / "Library");
        application.open(file);
        report(rounds, [&] { return editOnce(application); });
    } else {
        const auto bytes = static_cast<std::uint64_t>(std::atoll(arguments.at(5).c_str())) * megabyte;
        // The media outside, its copy in the library, the duplicate's, and something for the rest of the machine.
        checkRoom(folder, 4 * bytes);
        const auto file = writeProject(folder / "Outside", movie, mediaFiles, mediaFiles, bytes);
        if (scene == "open") {
            report(rounds, [&] { return openOnce(folder, file); });
        } else {
            Application application(folder / "Library");
            application.open(file);
            report(rounds, [&] { return duplicateOnce(application); });
        }
    }
    fs::remove_all(folder);
    return 0;
}

}  // namespace
}  // namespace kelvane

int main(int argc, char** argv) {
    QGuiApplication application(argc, argv);
    isMainThread = true;
    if (argc < 5) {
        std::fprintf(stderr, "bench-mainloop open|duplicate|edits <rounds> <folder> <movie> [<megabytes>]\n");
        return 2;
    }
    return kelvane::run({argv, argv + argc});
}
