#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "Support/FileURL.h"
#include "Support/TempFolder.h"
#include "Support/UUID.h"

namespace kelvane::testing {

/// Asks until the answer is yes; false where patience ends first.
bool eventually(const std::function<bool()>& isSo);

/// How a process ended and what it wrote.
struct ProcessResult {
    /// Exit status, or 128 and the signal's number.
    int status = 0;
    std::string output;
    std::string errors;
};

/// Runs a program to its end. `input` goes to its standard input.
ProcessResult runProcess(const std::vector<std::string>& arguments, const std::string& input = {});

/// The real application with a library of its own and no session bus, driven by the real client.
class LiveApplication {
public:
    /// Starts the application with these arguments; it keeps running until `quit`, `kill` or the end of this object.
    /// `surroundings` are entries of its environment that say where it shows its windows: nowhere, if nothing else is
    /// said.
    explicit LiveApplication(const TempFolder& folder, std::vector<std::string> arguments = {},
                             const std::vector<std::string>& surroundings = {"QT_QPA_PLATFORM=offscreen"});
    ~LiveApplication();

    /// Waits until a project of the library answers, and remembers it. False when none does in 30 s or the application
    /// ends.
    bool waitForProject();
    [[nodiscard]] const std::string& project() const { return project_; }
    [[nodiscard]] FileURL projectFile() const;
    [[nodiscard]] bool isRunning();
    [[nodiscard]] pid_t pid() const { return pid_; }
    /// Whether it has told this sentence on standard error, or tells it soon.
    [[nodiscard]] bool tells(const std::string& sentence) const;

    /// One command on the remembered project.
    ProcessResult command(std::vector<std::string> arguments, const std::string& input = {}) const;
    /// The same, which must succeed: the reply's "result".
    nlohmann::json result(std::vector<std::string> arguments, const std::string& input = {}) const;
    /// The same, which must be refused: the reply's "error".
    std::string refusal(std::vector<std::string> arguments, const std::string& input = {}) const;
    /// The present revision.
    [[nodiscard]] std::string revision() const;

    void signal(int number) const;
    /// Waits for the end; the exit status, or nothing where patience ends first.
    std::optional<int> wait();
    /// SIGTERM, and the exit status.
    std::optional<int> quit();

private:
    const TempFolder& folder_;
    pid_t pid_ = -1;
    std::optional<int> status_;
    std::string project_;
};

}  // namespace kelvane::testing
