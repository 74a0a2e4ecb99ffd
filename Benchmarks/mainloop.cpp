// Measures the longest turn of the main loop while projects are opened, duplicated and saved: the time from the return
// of one poll of the event loop to the next poll. Every sync of the disk takes 100 ms more than it does. There is no
// window, but in the scene that measures its making.
//
//     bench-mainloop open <rounds> <folder> <movie> <megabytes>
//     bench-mainloop duplicate <rounds> <folder> <movie> <megabytes>
//     bench-mainloop edits <rounds> <folder> <movie>
//     bench-mainloop views <rounds> <folder> <movie>
//
// A project of that much media is imported and shown; such a project is duplicated; a project of 1,000 clips of 10
// sources is edited each second; the application's window is made and shows such a project, which the first round does
// as a start of the application does.
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
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickStyle>
#include <QQuickWindow>
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

#include "Views/Window/PanelHost.h"
#include "Views/Window/ProjectWindowView.h"
#include "application.h"

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

namespace kelvane::benchmarks {
namespace {

namespace fs = std::filesystem;

constexpr int mediaFiles = 8;
constexpr int sourceCount = 10;
constexpr int clipCount = 1'000;
constexpr int editCount = 5;
constexpr int noRoom = 3;
constexpr std::uint64_t megabyte = 1'000'000;

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

/// Makes the window as the application does, and opens a project in it.
Round viewsOnce(const fs::path& folder, const fs::path& file) {
    fs::remove_all(folder / "Library");
    Application application(folder / "Library");
    QQmlEngine engine;
    ProjectWindowView view(application.windows, application.workspace);
    std::unique_ptr<QObject> window;
    const auto make = [&] {
        QQmlComponent component(&engine, QUrl("qrc:/Views/Window/ProjectWindow.qml"));
        window.reset(component.createWithInitialProperties({{"view", QVariant::fromValue(&view)}}));
        auto* const shown = qobject_cast<QQuickWindow*>(window.get());
        if (shown == nullptr) stop(component.errorString().toStdString());
        shown->show();
    };
    return measured([&] {
        application.context.post(make);
        application.open(file);
    });
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
    if (scene == "views") {
        registerWindowTypes();
        const auto file = writeProject(folder / "Outside", movie, sourceCount, clipCount, 0);
        report(rounds, [&] { return viewsOnce(folder, file); });
    } else if (scene == "edits") {
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
}  // namespace kelvane::benchmarks

int main(int argc, char** argv) {
    QQuickStyle::setStyle("Basic");
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QGuiApplication application(argc, argv);
    isMainThread = true;
    if (argc < 5) {
        std::fprintf(stderr, "bench-mainloop open|duplicate|edits|views <rounds> <folder> <movie> [<megabytes>]\n");
        return 2;
    }
    return kelvane::benchmarks::run({argv, argv + argc});
}
