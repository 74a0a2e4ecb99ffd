#include "ProgramLaunch.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Support/FileDescriptor.h"
#include "Support/Text.h"

extern char** environ;

namespace kelvane {

namespace {

/// The one file that stays open behind the streams, for reports.
constexpr int onlyFile = 3;
/// Between two looks at a program that was started.
constexpr int lookInterval = 10;  // ms

/// What became of the program, as the process between reports it.
struct Report {
    enum class Fate : int { runs, ended, notStarted, noFolder };
    Fate fate = Fate::notStarted;
    /// Status of waitpid(2), or errno.
    int number = 0;
};

// Everything below runs between fork and exec of a process with many threads: system calls alone, no memory, no locks.

[[noreturn]] void become(const char* path, char* const* words, const char* folder) {
    Report report;
    const int nowhere = open("/dev/null", O_RDWR);
    for (int stream = 0; nowhere >= 0 && stream < 3; ++stream) dup2(nowhere, stream);
    if (nowhere >= 3) close(nowhere);
    if (*folder != '\0' && chdir(folder) != 0)
        report.fate = Report::Fate::noFolder;
    else
        execve(path, words, environ);
    report.number = errno;
    [[maybe_unused]] const auto sent = write(onlyFile, &report, sizeof report);
    _exit(127);
}

/// The process between: it starts the program and watches it, and its own end makes the program nobody's child.
[[noreturn]] void startAndWatch(const char* path, char* const* words, const char* folder, int reports, int looks) {
    setsid();
    sigset_t none;
    sigemptyset(&none);
    for (int number = 1; number < NSIG; ++number) signal(number, SIG_DFL);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // A lock or a socket of the application must not be held here, nor by the program.
    if (reports != onlyFile) dup3(reports, onlyFile, O_CLOEXEC);
    close_range(onlyFile + 1, ~0U, 0);
    const pid_t program = fork();
    if (program == 0) become(path, words, folder);
    Report report;
    report.number = errno;
    if (program > 0) {
        report.fate = Report::Fate::runs;
        for (int status = 0; looks >= 0; --looks) {
            if (waitpid(program, &status, WNOHANG) == program) {
                report = {Report::Fate::ended, status};
                break;
            }
            poll(nullptr, 0, lookInterval);
        }
    }
    [[maybe_unused]] const auto sent = write(onlyFile, &report, sizeof report);
    _exit(0);
}

Result<void> outcome(const std::string& what, const Report& report, const std::string& folder) {
    switch (report.fate) {
        case Report::Fate::runs:
            return {};
        case Report::Fate::notStarted:
            return fail(Error::posix(what, report.number));
        case Report::Fate::noFolder:
            return fail(Error::posix(what + ": its folder " + quotedName(folder) + " can't be entered", report.number));
        case Report::Fate::ended:
            break;
    }
    if (WIFEXITED(report.number) && WEXITSTATUS(report.number) == 0) return {};
    if (WIFEXITED(report.number)) {
        return fail(what + ": its program ended at once with the status " + std::to_string(WEXITSTATUS(report.number)) +
                    ".");
    }
    return fail(what + ": its program was ended at once by a signal (" + strsignal(WTERMSIG(report.number)) + ").");
}

}  // namespace

Result<void> launchProgram(const std::string& what, const std::string& path, const std::vector<std::string>& words,
                           const std::string& folder, std::chrono::milliseconds watched) {
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (const auto& word : words) argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    const int looks = static_cast<int>(watched.count() / lookInterval);

    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return fail(Error::posix(what, errno));
    const FileDescriptor reports(ends[0]);
    FileDescriptor sender(ends[1]);
    const pid_t between = fork();
    if (between == 0) startAndWatch(path.c_str(), argv.data(), folder.c_str(), sender.get(), looks);
    const int reason = errno;
    sender = FileDescriptor();
    if (between < 0) return fail(Error::posix(what, reason));

    // The first report is the one that counts: a program that could not be started says so itself.
    Report report{.fate = Report::Fate::notStarted, .number = EIO};
    while (read(reports.get(), &report, sizeof report) < 0 && errno == EINTR) {
    }
    while (waitpid(between, nullptr, 0) < 0 && errno == EINTR) {
    }
    return outcome(what, report, folder);
}

}  // namespace kelvane
