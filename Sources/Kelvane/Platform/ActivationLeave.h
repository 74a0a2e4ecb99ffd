#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane {

/// The desktop's leave to bring a window forward, as a launcher gives it to the program that it starts. A plain value.
struct ActivationLeave {
    /// Of a Wayland compositor (XDG_ACTIVATION_TOKEN); empty when there is none.
    std::string token;
    /// Of a startup sequence on X11 (DESKTOP_STARTUP_ID); empty when there is none.
    std::string startupID;

    bool operator==(const ActivationLeave&) const = default;
};

/// Whether a desktop may have given `text`, which comes from outside: at most 1,024 bytes of UTF-8 without control
/// characters.
bool isActivationText(std::string_view text);

/// The moment of the act that began a startup sequence, in ms of the X server's clock, which begins anew after 2³²: the
/// digits behind the last "_TIME" of `startupID`. Nothing where the id doesn't tell one.
std::optional<std::uint32_t> startupTime(std::string_view startupID);
/// Whether `time` lies behind `other` on that clock, on which neither is more than half a round ahead.
bool isLaterOnServer(std::uint32_t time, std::uint32_t other);

/// What one client message on X11 carries of a longer text.
using StartupMessagePiece = std::array<char, 20>;
/// The message by which a program tells everybody that a startup sequence is over (freedesktop.org's startup
/// notification), piece by piece; the last one is filled up with zeros, of which it has at least one.
std::vector<StartupMessagePiece> startupEndMessage(std::string_view startupID);

}  // namespace kelvane
