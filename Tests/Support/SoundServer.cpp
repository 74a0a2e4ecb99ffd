#include "SoundServer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "Support/FileDescriptor.h"
#include "Support/Patience.h"

namespace kelvane::testing {

namespace {

using namespace std::chrono_literals;

FileDescriptor connectTo(const std::string& path) {
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    const auto* where = reinterpret_cast<const sockaddr*>(&address);
    return ::connect(socket.get(), where, sizeof address) == 0 ? std::move(socket) : FileDescriptor();
}

}  // namespace

bool SoundServer::isInstalled() {
    std::string folders = std::getenv("PATH") != nullptr ? std::getenv("PATH") : "";
    for (std::size_t at = 0; at < folders.size();) {
        const std::size_t end = std::min(folders.find(':', at), folders.size());
        if (access((folders.substr(at, end - at) + "/pulseaudio").c_str(), X_OK) == 0) return true;
        at = end + 1;
    }
    return false;
}

SoundServer::SoundServer() {
    folder_.makeFolder("home");
    chmod(folder_.path().c_str(), 0700);
    setenv("PULSE_SERVER", address().c_str(), 1);
    setenv("PULSE_COOKIE", folder_.path("cookie").c_str(), 1);
}

SoundServer::~SoundServer() {
    kill();
    unsetenv("PULSE_SERVER");
    unsetenv("PULSE_COOKIE");
}

bool SoundServer::start(Devices devices) {
    kill();
    std::string script = "load-module module-native-protocol-unix auth-anonymous=1 socket=" + folder_.path("native") +
                         "\nload-module module-cli-protocol-unix socket=" + folder_.path("cli") + "\n";
    if (devices == Devices::earsAndMicrophone)
        script +=
            "load-module module-null-sink sink_name=ears rate=48000 norewinds=1\n"
            "load-module module-sine sink=ears\nset-sink-input-volume 0 0\n"
            "set-default-sink ears\nset-default-source ears.monitor\n";
    folder_.write("script", script);
    const std::string home = "HOME=" + folder_.path("home");
    const std::string runtime = "XDG_RUNTIME_DIR=" + folder_.path();
    const std::string file = folder_.path("script");
    const std::string path = std::string("PATH=") + (std::getenv("PATH") != nullptr ? std::getenv("PATH") : "");
    const char* arguments[] = {"pulseaudio",
                               "-n",
                               "-F",
                               file.c_str(),
                               "--daemonize=no",
                               "--exit-idle-time=-1",
                               "--use-pid-file=no",
                               "--disable-shm=yes",
                               "--log-target=stderr",
                               nullptr};
    const char* environment[] = {home.c_str(), runtime.c_str(), path.c_str(), nullptr};
    const FileDescriptor log = FileDescriptor::open(folder_.path("log"), O_WRONLY | O_CREAT | O_APPEND, 0644);
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(log.get(), 1);
        dup2(log.get(), 2);
        execvpe(arguments[0], const_cast<char**>(arguments), const_cast<char**>(environment));
        _exit(127);
    }
    return process_ > 0 && waitForSocket(folder_.path("native")) && waitForSocket(folder_.path("cli"));
}

bool SoundServer::waitForSocket(const std::string& path) const {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (std::chrono::steady_clock::now() < end) {
        if (connectTo(path).isOpen()) return true;
        std::this_thread::sleep_for(5ms);
    }
    return false;
}

void SoundServer::kill() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = -1;
    for (const char* socket : {"native", "cli"}) std::filesystem::remove(folder_.path(socket));
}

std::string SoundServer::ask(const std::string& line) {
    const FileDescriptor socket = connectTo(folder_.path("cli"));
    if (!socket.isOpen() || !socket.writeAll("hello\n")) return "no server";
    // Greeted, the server ends all that it says with a prompt.
    const auto untilPrompt = [&socket] {
        std::string heard;
        pollfd ready{socket.get(), POLLIN, 0};
        while (!heard.ends_with(">>> ")) {
            char buffer[4096];
            const ssize_t got = poll(&ready, 1, static_cast<int>(patience.count())) > 0
                                    ? ::read(socket.get(), buffer, sizeof buffer)
                                    : -1;
            if (got <= 0) return std::string("no answer");
            heard.append(buffer, static_cast<std::size_t>(got));
        }
        heard.resize(heard.size() - 4);
        return heard;
    };
    (void)untilPrompt();
    return socket.writeAll(line + "\n") ? untilPrompt() : "no server";
}

bool SoundServer::command(const std::string& line) { return ask(line).empty(); }

bool SoundServer::addSink(const std::string& name) {
    if (!command("load-module module-null-sink rate=48000 norewinds=1 sink_name=" + name) ||
        !command("load-module module-sine sink=" + name))
        return false;
    // The newest stream is the last that is listed.
    const std::string streams = ask("list-sink-inputs");
    const auto at = streams.rfind("index: ");
    return at != std::string::npos &&
           command("set-sink-input-volume " + std::to_string(std::atoi(streams.c_str() + at + 7)) + " 0");
}

bool SoundServer::addVoice(int frequency, const std::string& sink) {
    if (!command("load-module module-sine sink=" + sink + " frequency=" + std::to_string(frequency))) return false;
    // The newest module is the last that is listed.
    const std::string modules = ask("list-modules");
    const auto at = modules.rfind("index: ");
    if (at == std::string::npos) return false;
    voice_ = std::to_string(std::atoi(modules.c_str() + at + 7));
    return true;
}

bool SoundServer::removeVoice() { return command("unload-module " + voice_); }

}  // namespace kelvane::testing
