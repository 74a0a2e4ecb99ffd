// The one executable with two faces. The client must start in a millisecond, so nothing of the application is linked
// here: it lives in a library that is opened only when it is wanted.
#include <dlfcn.h>
#include <limits.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "CLI/KelvaneCLI.h"

namespace {

constexpr const char* libraryName = "libkelvane-app.so";
using ApplicationMain = int (*)(int, char**);

int refuse(const std::string& sentence) {
    const std::string line = sentence + "\n";
    // Nobody is left to hear that even this could not be written.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
    return 1;
}

/// The folder of the running executable, links resolved.
std::string executableFolder() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0) return ".";
    const std::string whole(path, static_cast<std::size_t>(length));
    return whole.substr(0, whole.rfind('/'));
}

/// The application's library: beside the executable in a build folder, in the sibling `lib` of an installed one.
/// Empty when there is none.
std::string libraryPath() {
    const std::string folder = executableFolder();
    for (const char* place : {"/lib/kelvane/", "/../lib/kelvane/"}) {
        const std::string path = folder + place + libraryName;
        if (access(path.c_str(), F_OK) == 0) return path;
    }
    return {};
}

int runApplication(int argc, char** argv) {
    const std::string path = libraryPath();
    if (path.empty())
        return refuse(std::string("Kelvane cannot start: its library ") + libraryName + " is missing; reinstall it.");
    // Functions are looked up as they are called: most of the toolkit's never are.
    void* library = dlopen(path.c_str(), RTLD_LAZY);
    if (library == nullptr) return refuse(std::string("Kelvane cannot start: ") + dlerror() + ".");
    const auto start = reinterpret_cast<ApplicationMain>(dlsym(library, "kelvaneApplicationMain"));
    if (start == nullptr) return refuse("Kelvane cannot start: " + path + " is not its library; reinstall it.");
    return start(argc, argv);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 2 && std::strcmp(argv[1], "cli") == 0) {
        const std::vector<std::string> arguments(argv + 2, argv + argc);
        return kelvane::KelvaneCLI::run(arguments);
    }
    return runApplication(argc, argv);
}
