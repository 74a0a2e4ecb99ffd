#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Support/FileURL.h"

namespace kelvane {

class ProjectWindows;

/// The URLs among the program's arguments, in order: "kelvane:" URLs as they stand, and paths and file URLs that end in
/// ".kelvane" as file URLs, relative ones from the current folder. Other arguments are left out.
std::vector<FileURL> incomingURLs(const std::vector<std::string>& arguments);

/// Takes URLs from outside and holds them back until a window can be opened. The main thread.
class IncomingURLQueue {
public:
    /// Handles the URLs in order, at once when `start` was called, else then.
    void open(const std::vector<FileURL>& urls);
    /// Windows can be opened from now on; handles what has waited.
    void start(ProjectWindows& projects);

private:
    void handle(const FileURL& url);

    ProjectWindows* projects_ = nullptr;
    std::vector<FileURL> pending_;
};

}  // namespace kelvane
