// Times two commands in turns, so that both meet the same noise, and prints the medians of their whole lives.
//
//     bench-processes <rounds> <command A …> -- <command B …>
//
// Prints: median A, median B (milliseconds), median of the rounds' ratios A/B.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

extern char** environ;

namespace {

double lifetime(std::vector<char*>& argv, int nowhere) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, nowhere, 1);
    posix_spawn_file_actions_adddup2(&actions, nowhere, 2);
    pid_t child = 0;
    const auto start = std::chrono::steady_clock::now();
    if (posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
        std::fprintf(stderr, "%s can't be started\n", argv[0]);
        std::exit(1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    const std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - start;
    posix_spawn_file_actions_destroy(&actions);
    if (status != 0) {
        std::fprintf(stderr, "%s failed\n", argv[0]);
        std::exit(1);
    }
    return spent.count();
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5) return 2;
    const int rounds = std::atoi(argv[1]);
    std::vector<char*> commands[2];
    int which = 0;
    for (int i = 2; i < argc; ++i)
        if (std::string_view(argv[i]) == "--" && which == 0)
            which = 1;
        else
            commands[which].push_back(argv[i]);
    for (auto& command : commands) command.push_back(nullptr);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    std::vector<double> a, b, ratios;
    for (int round = -3; round < rounds; ++round) {
        const double first = lifetime(commands[round & 1], nowhere);
        const double second = lifetime(commands[1 - (round & 1)], nowhere);
        if (round < 0) continue;
        a.push_back(round & 1 ? second : first);
        b.push_back(round & 1 ? first : second);
        ratios.push_back(a.back() / b.back());
    }
    std::printf("%.3f %.3f %.3f\n", median(a), median(b), median(ratios));
}
