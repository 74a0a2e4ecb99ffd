#pragma once

#include <sys/types.h>

#include <string>

#include "Support/TempFolder.h"

namespace kelvane::testing {

/// A private X server of 1280 × 800 points at scale 1, that nobody sees. It ends with its maker.
class PrivateDisplay {
public:
    /// Whether the package is there at all.
    static bool isInstalled();

    /// Starts nothing yet.
    PrivateDisplay() = default;
    ~PrivateDisplay();
    PrivateDisplay(const PrivateDisplay&) = delete;
    PrivateDisplay& operator=(const PrivateDisplay&) = delete;

    /// False when patience ends before it takes connections; `log` tells why.
    bool start();
    /// What DISPLAY is to be; the server chose it.
    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] std::string log() const { return folder_.read("log"); }

private:
    TempFolder folder_;
    pid_t process_ = -1;
    std::string name_;
};

}  // namespace kelvane::testing
