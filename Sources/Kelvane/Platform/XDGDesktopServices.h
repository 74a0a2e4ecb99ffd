#pragma once

#include <chrono>

#include "DesktopEntries.h"
#include "DesktopServices.h"
#include "MainContext.h"

namespace kelvane {

/// Applications by their desktop entries. A program is started in a session of its own, without this process's streams
/// and open files, and lives on when this process ends.
class XDGDesktopServices final : public DesktopServices {
public:
    /// How long a started program is watched: one that ends with a failure by then was not opened. Long enough for a
    /// loader to miss a library or a script to miss its program, short enough for a person to wait for.
    static constexpr std::chrono::milliseconds watch{1000};

    /// `context` outlives this object; `folders` absent asks the process's variables on each call.
    explicit XDGDesktopServices(MainContext& context, std::optional<DesktopFolders> folders = std::nullopt,
                                std::chrono::milliseconds watched = watch)
        : context_(context), folders_(std::move(folders)), watched_(watched) {}

    [[nodiscard]] std::optional<DesktopApplication> applicationFor(std::string_view id,
                                                                   std::string_view scheme) override;
    QCoro::Task<Result<void>> open(std::string url, DesktopApplication application) override;

private:
    [[nodiscard]] DesktopFolders folders() const { return folders_ ? *folders_ : DesktopFolders::ofProcess(); }

    MainContext& context_;
    std::optional<DesktopFolders> folders_;
    std::chrono::milliseconds watched_;
};

}  // namespace kelvane
