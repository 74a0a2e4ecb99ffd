#pragma once

#include <chrono>

#include "DesktopEntries.h"
#include "DesktopServices.h"
#include "MainContext.h"
#include "SessionBus.h"

namespace kelvane {

/// Applications by their desktop entries. A program is started in a session of its own, without this process's streams
/// and open files, and lives on when this process ends.
class XDGDesktopServices final : public DesktopServices {
public:
    /// How long a started program is watched: one that ends with a failure by then was not opened. Long enough for a
    /// loader to miss a library or a script to miss its program, short enough for a person to wait for.
    static constexpr std::chrono::milliseconds watch{1000};

    /// How long the session's file manager has for its answer before the folder is opened without it: some are started
    /// by the question.
    static constexpr std::chrono::milliseconds fileManagerPatience{5000};

    /// `context` outlives this object; `folders` absent asks the process's variables on each call.
    explicit XDGDesktopServices(MainContext& context, std::optional<DesktopFolders> folders = std::nullopt,
                                std::chrono::milliseconds watched = watch, BusSource bus = sessionBus)
        : context_(context), folders_(std::move(folders)), watched_(watched), bus_(std::move(bus)) {}

    [[nodiscard]] std::optional<DesktopApplication> applicationFor(std::string_view id,
                                                                   std::string_view scheme) override;
    QCoro::Task<Result<void>> open(std::string url, DesktopApplication application) override;
    /// Asks the session's file manager (org.freedesktop.FileManager1), else opens the folder by xdg-open.
    QCoro::Task<Result<void>> showInFolder(FileURL file) override;

private:
    [[nodiscard]] DesktopFolders folders() const { return folders_ ? *folders_ : DesktopFolders::ofProcess(); }

    MainContext& context_;
    std::optional<DesktopFolders> folders_;
    std::chrono::milliseconds watched_;
    BusSource bus_;
};

}  // namespace kelvane
