#pragma once

#include <QWindow>

#include "ActivationLeave.h"

namespace kelvane {

/// Brings windows forward in such a way that the desktop allows it: by the leave that came with a further start of the
/// program, else by what the toolkit knows of a person's last act in the windows. The main thread.
class WindowActivation final {
public:
    /// Takes the leave of this process out of the environment, but for what the toolkit still takes there itself: the
    /// programs that this one starts are none of those that it was given for.
    WindowActivation();

    /// The leave for the windows that come forward from now on, in place of an earlier one. An empty one allows
    /// nothing.
    void accept(ActivationLeave leave);
    /// Shows a window that wasn't shown yet. It comes forward where it is the first behind a leave; else the desktop
    /// decides, and where there is none the window has the keyboard.
    void show(QWindow& window);
    /// Asks the desktop to make `window`, which is shown, the one that a person works in. It may refuse, and mark the
    /// window instead.
    void activate(QWindow& window);
    /// Gives the keyboard to a window that is shown, on a display where no window manager does so: elsewhere nothing.
    void takeKeyboard(QWindow& window);

private:
    ActivationLeave leave_;
    /// Whether the desktop still waits to see what came of the start.
    bool isWaiting_ = false;
};

}  // namespace kelvane
