#include "IncomingURLs.h"

#include <algorithm>

#include "Assistant/KelvaneProjectLink.h"
#include "Support/Text.h"
#include "Windows/ProjectWindows.h"

namespace kelvane {

std::vector<FileURL> incomingURLs(const std::vector<std::string>& arguments) {
    std::vector<FileURL> urls;
    for (const auto& argument : arguments) {
        const std::string lower = lowered(argument);
        if (lower.starts_with("kelvane:")) {
            if (const auto url = FileURL::parse(argument)) urls.push_back(*url);
        } else if (lower.ends_with(".kelvane")) {
            const auto url = lower.starts_with("file:") ? FileURL::parse(argument) : std::nullopt;
            urls.push_back(url ? *url : FileURL::fromPath(argument));
        }
    }
    return urls;
}

void IncomingURLQueue::open(const std::vector<FileURL>& urls) {
    for (const auto& url : urls)
        if (projects_ != nullptr && projects_->openWindow)
            handle(url);
        else
            pending_.push_back(url);
}

void IncomingURLQueue::start(ProjectWindows& projects) {
    projects_ = &projects;
    const auto waiting = std::exchange(pending_, {});
    for (const auto& url : waiting) handle(url);
}

void IncomingURLQueue::handle(const FileURL& url) {
    if (url.isFile()) {
        projects_->openProject(url, nullptr, false);
        return;
    }
    if (const auto project = KelvaneProjectLink::projectID(url.absoluteString())) projects_->openPreview(*project);
}

}  // namespace kelvane
