#include "LiveApplication.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "Support/Patience.h"

extern char** environ;

namespace kelvane::testing {

namespace {

using namespace std::chrono_literals;

pid_t spawn(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
            const std::array<int, 3>& streams) {
    std::vector<char*> argv;
    for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    std::vector<char*> envp;
    for (const auto& entry : environment) envp.push_back(const_cast<char*>(entry.c_str()));
    envp.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int stream = 0; stream < 3; ++stream)
        if (streams[stream] >= 0) posix_spawn_file_actions_adddup2(&actions, streams[stream], stream);
    pid_t child = -1;
    const int failure = posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    return failure == 0 ? child : -1;
}

int statusOf(int raw) { return WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw); }

std::vector<std::string> currentEnvironment() {
    std::vector<std::string> entries;
    for (char** entry = environ; *entry != nullptr; ++entry) entries.emplace_back(*entry);
    return entries;
}

}  // namespace

bool eventually(const std::function<bool()>& isSo) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!isSo()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

ProcessResult runProcess(const std::vector<std::string>& arguments, const std::string& input) {
    int in[2], out[2], err[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0)
        return {255, {}, "no pipe"};
    const pid_t child = spawn(arguments, currentEnvironment(), {in[0], out[1], err[1]});
    close(in[0]);
    close(out[1]);
    close(err[1]);
    ProcessResult result;
    std::thread feeder([&] {
        std::size_t at = 0;
        while (at < input.size()) {
            const ssize_t sent = write(in[1], input.data() + at, input.size() - at);
            if (sent <= 0) break;
            at += static_cast<std::size_t>(sent);
        }
        close(in[1]);
    });
    std::thread errors([&] {
        char buffer[4096];
        for (ssize_t got; (got = read(err[0], buffer, sizeof buffer)) > 0;) result.errors.append(buffer, got);
    });
    char buffer[65536];
    for (ssize_t got; (got = read(out[0], buffer, sizeof buffer)) > 0;) result.output.append(buffer, got);
    errors.join();
    feeder.join();
    close(out[0]);
    close(err[0]);
    int raw = 0;
    if (child < 0 || waitpid(child, &raw, 0) < 0) return {255, {}, "not started"};
    result.status = statusOf(raw);
    return result;
}

LiveApplication::LiveApplication(const TempFolder& folder, std::vector<std::string> arguments,
                                 const std::vector<std::string>& surroundings)
    : folder_(folder) {
    ::signal(SIGPIPE, SIG_IGN);
    arguments.insert(arguments.begin(), KELVANE_EXECUTABLE);
    const auto isSaid = [&](const std::string& entry) {
        const auto name = entry.substr(0, entry.find('=') + 1);
        return name == "DISPLAY=" || name == "WAYLAND_DISPLAY=" || name == "DBUS_SESSION_BUS_ADDRESS=" ||
               std::ranges::any_of(surroundings, [&name](const auto& said) { return said.starts_with(name); });
    };
    std::vector<std::string> environment = surroundings;
    environment.push_back("XDG_DATA_HOME=" + folder.path());
    for (auto& entry : currentEnvironment())
        if (!isSaid(entry) && !entry.starts_with("XDG_DATA_HOME=")) environment.push_back(std::move(entry));
    const int log = open(folder.path("application.log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    pid_ = spawn(arguments, environment, {-1, log, log});
    if (log >= 0) close(log);
}

LiveApplication::~LiveApplication() {
    if (isRunning()) {
        ::kill(pid_, SIGKILL);
        wait();
    }
}

bool LiveApplication::isRunning() {
    if (pid_ < 0 || status_) return false;
    int raw = 0;
    if (waitpid(pid_, &raw, WNOHANG) == pid_) status_ = statusOf(raw);
    return !status_;
}

bool LiveApplication::tells(const std::string& sentence) const {
    return eventually([&] { return folder_.read("application.log").find(sentence) != std::string::npos; });
}

std::optional<int> LiveApplication::wait() {
    (void)eventually([this] { return !isRunning(); });
    return status_;
}

void LiveApplication::signal(int number) const { ::kill(pid_, number); }

std::optional<int> LiveApplication::quit() {
    signal(SIGTERM);
    return wait();
}

bool LiveApplication::waitForProject() {
    const std::filesystem::path projects = folder_.path("Kelvane/Projects");
    bool answers = false;
    (void)eventually([&] {
        std::error_code none;
        for (const auto& entry : std::filesystem::directory_iterator(projects, none)) {
            project_ = entry.path().filename().string();
            answers = command({"project"}).status == 0;
            if (answers) break;
        }
        return answers || !isRunning();
    });
    return answers;
}

FileURL LiveApplication::projectFile() const {
    return folder_.url("Kelvane/Projects/" + project_ + "/Project.kelvane");
}

ProcessResult LiveApplication::command(std::vector<std::string> arguments, const std::string& input) const {
    const std::vector<std::string> head{KELVANE_EXECUTABLE, "cli", "--project", project_};
    arguments.insert(arguments.begin(), head.begin(), head.end());
    return runProcess(arguments, input);
}

nlohmann::json LiveApplication::result(std::vector<std::string> arguments, const std::string& input) const {
    const auto ended = command(arguments, input);
    const auto reply = nlohmann::json::parse(ended.output, nullptr, false);
    EXPECT_EQ(ended.status, 0) << arguments.front() << ": " << ended.output << ended.errors;
    return reply.is_object() ? reply.value("result", nlohmann::json::object()) : nlohmann::json::object();
}

std::string LiveApplication::refusal(std::vector<std::string> arguments, const std::string& input) const {
    const auto ended = command(arguments, input);
    EXPECT_EQ(ended.status, 1) << arguments.front() << ": " << ended.output;
    const auto reply = nlohmann::json::parse(ended.output.empty() ? ended.errors : ended.output, nullptr, false);
    return reply.is_object() ? reply.value("error", std::string()) : std::string();
}

std::string LiveApplication::revision() const { return result({"project"}).value("revision", std::string()); }

}  // namespace kelvane::testing
