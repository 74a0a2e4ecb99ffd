#pragma once

#include <QPoint>
#include <string>
#include <vector>

#include "Integration/Playback/LiveWindow.h"

namespace kelvane::testing {

/// The keyboard and the pointer of a display: what they do reaches whoever has the focus or lies below.
class LiveHands {
public:
    explicit LiveHands(const std::string& display);

    /// Presses and lets go of keys held together: "Ctrl+Shift+S", "Return", "[".
    void press(const std::string& chord);
    /// Types text, a character after the other; those that the keyboard lacks are put on keys that have none.
    void type(const std::string& text);

    /// Moves the pointer, in points of the screen.
    void pointAt(QPoint place);
    /// Presses a button of the pointer, or lets go of it: 1 is the left one, 3 the right one.
    void hold(bool isHeld, int button = 1);
    void click(QPoint place, int button = 1);
    void doubleClick(QPoint place);
    /// Presses the left button and goes on, in a few steps, without letting go.
    void take(QPoint from, QPoint to);

private:
    struct Key {
        int code = 0;
        bool isShifted = false;
    };

    void readKeyboard();
    [[nodiscard]] Key keyOf(xcb_keysym_t symbol) const;
    /// Puts those that the keyboard lacks on it.
    void provide(const std::vector<xcb_keysym_t>& symbols);
    void tap(Key key);
    void send(int type, int detail, QPoint place = {});

    Screen screen_;
    std::vector<xcb_keysym_t> symbols_;
    int columns_ = 1;
    int first_ = 0;
};

}  // namespace kelvane::testing
