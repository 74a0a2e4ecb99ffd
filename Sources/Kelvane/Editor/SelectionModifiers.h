#pragma once

namespace kelvane {

/// Keyboard modifiers that a click's selection looks at.
struct SelectionModifiers {
    bool shift = false;
    bool command = false;
};

}  // namespace kelvane
