#pragma once

#include <qcorotask.h>

#include <optional>
#include <string>
#include <string_view>

#include "Support/Error.h"
#include "Support/FileURL.h"

namespace kelvane {

/// An application as the desktop knows it.
struct DesktopApplication {
    /// Name within the desktop, such as "org.example.Editor".
    std::string id;
    /// The file that describes it.
    FileURL entry;
    /// Name for a person.
    std::string name;
    /// Name in the icon theme, or path, of its icon; empty when it has none.
    std::string icon;

    bool operator==(const DesktopApplication&) const = default;
};

/// Finds applications and hands them URLs, and shows files in their folders. Outlives everything that uses it. The main
/// thread.
class DesktopServices {
public:
    virtual ~DesktopServices() = default;

    /// The application with this id, else the one that opens URLs of `scheme`; nothing when the desktop knows neither.
    /// Asks anew on each call; starts nothing.
    [[nodiscard]] virtual std::optional<DesktopApplication> applicationFor(std::string_view id,
                                                                           std::string_view scheme) = 0;
    /// Opens `url` with `application`. Done when the application has been started, and failed in words when it could
    /// not be, or ended at once with a failure.
    virtual QCoro::Task<Result<void>> open(std::string url, DesktopApplication application) = 0;
    /// Has the desktop's file manager show `file` selected in its folder, or the folder alone where the file is gone or
    /// nothing can select. Done when a program has taken it up; fails in words where the folder is gone and where
    /// nothing opens it.
    virtual QCoro::Task<Result<void>> showInFolder(FileURL file) = 0;
};

}  // namespace kelvane
