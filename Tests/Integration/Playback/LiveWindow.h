#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kelvane::testing {

struct ScreenRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool operator==(const ScreenRect&) const = default;
};

/// Pixels of a stretch of a screen.
struct ScreenImage {
    int width = 0;
    int height = 0;
    /// Blue, green, red and nothing.
    std::vector<std::uint8_t> pixels;
    /// 0 to 255.
    [[nodiscard]] int luma(int x, int y) const;
    /// What lies in a stretch of it, which must lie in it.
    [[nodiscard]] ScreenImage part(const ScreenRect& rect) const;
};

/// A connection to a display, which shows what is on its screen. One thread at a time.
class Screen {
public:
    explicit Screen(const std::string& display);
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    [[nodiscard]] xcb_connection_t* connection() const { return connection_; }
    [[nodiscard]] xcb_window_t root() const { return root_; }
    /// What the screen shows there at one moment; without pixels where it shows nothing.
    [[nodiscard]] ScreenImage image(const ScreenRect& rect) const;

private:
    xcb_connection_t* connection_;
    xcb_window_t root_ = 0;
};

/// The one window of an application on a display, and the hands of who works with it.
class LiveWindow {
public:
    explicit LiveWindow(const std::string& display) : screen_(display) {}

    /// Waits until the window is shown, and makes it the active one, as a window manager would.
    bool waitForIt();
    [[nodiscard]] const Screen& screen() const { return screen_; }
    [[nodiscard]] const ScreenRect& rect() const { return rect_; }
    [[nodiscard]] xcb_window_t id() const { return window_; }

    /// Presses and lets go of a key of its keyboard, by the symbol: ' ', 'r'.
    void press(char symbol);
    /// Moves the pointer, in points of the screen.
    void pointAt(int x, int y);
    /// Presses the pointer's first button, or lets go of it.
    void hold(bool isHeld);
    /// Makes it the active window, or none.
    void setActive(bool isActive);
    /// Moves its upper left corner there, in points of the screen. The application hears of it later.
    void moveTo(int x, int y);

private:
    [[nodiscard]] xcb_window_t find();
    void send(std::uint8_t type, std::uint8_t detail, int x = 0, int y = 0);

    Screen screen_;
    xcb_window_t window_ = 0;
    ScreenRect rect_;
};

}  // namespace kelvane::testing
