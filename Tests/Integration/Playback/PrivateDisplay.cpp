#include "PrivateDisplay.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "Support/FileDescriptor.h"
#include "Support/Patience.h"

namespace kelvane::testing {

bool PrivateDisplay::isInstalled() { return std::system("command -v Xvfb >/dev/null 2>&1") == 0; }

PrivateDisplay::~PrivateDisplay() {
    if (process_ <= 0) return;
    // It takes its socket and its lock along.
    ::kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
}

bool PrivateDisplay::start() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    const FileDescriptor told(ends[0]);
    FileDescriptor tells(ends[1]);
    const FileDescriptor log = FileDescriptor::open(folder_.path("log"), O_WRONLY | O_CREAT | O_APPEND, 0644);
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        dup2(log.get(), 1);
        dup2(log.get(), 2);
        dup2(tells.get(), 3);
        execlp("Xvfb", "Xvfb", "-displayfd", "3", "-screen", "0", "1280x800x24", "-nolisten", "tcp", "-noreset",
               nullptr);
        _exit(127);
    }
    (void)tells.close();
    // The number, and a line's end once connections are taken.
    std::string number;
    pollfd ready{told.get(), POLLIN, 0};
    while (!number.ends_with('\n')) {
        char byte = 0;
        if (poll(&ready, 1, static_cast<int>(patience.count())) <= 0 || ::read(told.get(), &byte, 1) != 1) return false;
        number.push_back(byte);
    }
    number.pop_back();
    name_ = ":" + number;
    return true;
}

}  // namespace kelvane::testing
