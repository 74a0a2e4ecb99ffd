#pragma once

#include <QGuiApplication>
#include <QWindow>

namespace kelvane::testing {

/// The window that has the keyboard; `otherwise` where none has. From Qt 6.8 on the toolkit's choosers are windows of
/// their own.
inline QWindow* keyboardWindow(QWindow* otherwise) {
    QWindow* focused = QGuiApplication::focusWindow();
    return focused != nullptr ? focused : otherwise;
}

}  // namespace kelvane::testing
