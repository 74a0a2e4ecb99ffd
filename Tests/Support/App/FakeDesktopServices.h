#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Platform/DesktopServices.h"

namespace kelvane::testing {

/// A desktop with the applications that a test gives it. What is opened is kept, and done at once.
class FakeDesktopServices final : public DesktopServices {
public:
    struct Opened {
        std::string url;
        std::string application;
        bool operator==(const Opened&) const = default;
    };

    /// Makes an application known by its id.
    void install(const std::string& id) {
        applications[id] = {
            .id = id, .entry = FileURL::fromPath("/desktop/" + id + ".desktop"), .name = "The " + id, .icon = id};
    }

    /// By id.
    std::map<std::string, DesktopApplication, std::less<>> applications;
    /// Ids of the applications that open URLs, by scheme.
    std::map<std::string, std::string, std::less<>> handlers;
    /// The answer to the next openings; nothing lets them succeed.
    std::optional<Error> refusal;
    std::vector<Opened> opened;
    /// Files that were to be shown in their folders, oldest first.
    std::vector<FileURL> shown;

    [[nodiscard]] std::optional<DesktopApplication> applicationFor(std::string_view id,
                                                                   std::string_view scheme) override {
        if (const auto known = applications.find(id); known != applications.end()) return known->second;
        const auto handler = handlers.find(scheme);
        if (handler == handlers.end()) return std::nullopt;
        const auto known = applications.find(handler->second);
        return known == applications.end() ? std::nullopt : std::optional(known->second);
    }
    QCoro::Task<Result<void>> open(std::string url, DesktopApplication application) override {
        opened.push_back({std::move(url), application.id});
        if (refusal) co_return fail(*refusal);
        co_return Result<void>();
    }
    QCoro::Task<Result<void>> showInFolder(FileURL file) override {
        shown.push_back(std::move(file));
        if (refusal) co_return fail(*refusal);
        co_return Result<void>();
    }
};

}  // namespace kelvane::testing
