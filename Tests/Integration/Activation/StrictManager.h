#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Integration/Playback/LiveWindow.h"

namespace kelvane::testing {

/// A window manager that gives the focus to none but who asks for it with an act of a person that isn't older than the
/// last one it knows of. It acts when `handle` is called.
class StrictManager {
public:
    /// A window's question for the focus.
    struct Ask {
        xcb_window_t window = 0;
        std::uint32_t source = 0;
        std::uint32_t time = 0;
        bool isGranted = false;
    };

    explicit StrictManager(const std::string& display);

    /// Answers what has come since.
    void handle();
    /// The first window of another client that was shown; 0 when there was none.
    [[nodiscard]] xcb_window_t window() const { return window_; }
    [[nodiscard]] const std::vector<Ask>& asks() const { return asks_; }
    /// What was told of startup sequences, message by message.
    [[nodiscard]] const std::vector<std::string>& messages() const { return messages_; }

    /// The server's time now.
    std::uint32_t now();
    /// A person did something at `time`, and not in the application.
    void workElsewhere(std::uint32_t time);
    /// Takes the window off the screen, as one that is put away.
    void putAway();

    [[nodiscard]] bool hasFocus() const;
    [[nodiscard]] bool isShown() const;
    [[nodiscard]] std::string text(const std::string& property) const;
    /// The first number of a property of the window.
    [[nodiscard]] std::optional<std::uint32_t> number(const std::string& property) const;
    void setNumber(const std::string& property, std::uint32_t number);

private:
    [[nodiscard]] xcb_atom_t atom(const std::string& name) const;
    [[nodiscard]] std::string bytes(xcb_window_t window, const std::string& property) const;
    void handle(const xcb_generic_event_t& event);
    void show(xcb_window_t window);
    void configure(const xcb_configure_request_event_t& wish) const;
    void hear(const xcb_client_message_event_t& message);
    void answer(const xcb_client_message_event_t& ask);

    Screen screen_;
    /// Where a person works who doesn't work in the application.
    xcb_window_t elsewhere_ = 0;
    xcb_window_t window_ = 0;
    std::uint32_t lastAct_ = 0;
    std::optional<std::uint32_t> told_;
    std::vector<Ask> asks_;
    std::vector<std::string> messages_;
    /// Messages that aren't whole yet, by who sends them.
    std::map<xcb_window_t, std::string> begun_;
};

}  // namespace kelvane::testing
