#pragma once

#include <QWindow>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ActivationLeave.h"

struct xcb_connection_t;

namespace kelvane {

/// What a window of this process tells the window manager beyond what the toolkit tells it (freedesktop.org's Extended
/// Window Manager Hints). Made for one turn of the main thread. Questions wait for the server.
class X11Window final {
public:
    /// The window on the server, made if need be; nothing where windows are shown by something else.
    static std::optional<X11Window> of(QWindow& window);

    /// Whether a window manager is there that is asked for the focus.
    [[nodiscard]] bool canAskToBeActive() const;
    /// When a person last did something in the window, on the server's clock; nothing if never.
    [[nodiscard]] std::optional<std::uint32_t> userTime() const;
    void setUserTime(std::uint32_t time) const;
    /// Which startup sequence the window belongs to.
    void setStartupID(std::string_view startupID) const;
    /// Asks the window manager for the focus, for an act of a person at `time`.
    void askToBeActive(std::uint32_t time) const;
    /// Tells every client that a startup sequence is over.
    void endStartup(std::string_view startupID) const;

private:
    X11Window(xcb_connection_t* server, std::uint32_t window);

    [[nodiscard]] std::uint32_t atom(std::string_view name) const;
    /// A property's numbers; none where it isn't there.
    [[nodiscard]] std::vector<std::uint32_t> numbers(std::uint32_t window, std::string_view property) const;
    /// The window that holds the time of a person's last act in this one.
    [[nodiscard]] std::uint32_t userTimeWindow() const;

    xcb_connection_t* server_;
    std::uint32_t window_;
    std::uint32_t root_ = 0;
};

}  // namespace kelvane
