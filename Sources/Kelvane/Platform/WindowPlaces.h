#pragma once

#include <QDBusVirtualObject>

class QAccessibleInterface;

namespace kelvane {

/// Answers readers of the screen that ask where something is in its window (AT-SPI's coordinates of windows and of
/// parents), in place of the toolkit's bridge. The bridge takes every dialog within a window for a window, and before
/// Qt 6.5 adds the window's place to each size. All other questions go on to the bridge. The main thread.
class WindowPlaces final : public QDBusVirtualObject {
public:
    /// Stands before `bridge`, on which it also ends.
    explicit WindowPlaces(QDBusVirtualObject& bridge);

    [[nodiscard]] QString introspect(const QString& path) const override { return bridge_.introspect(path); }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    QDBusVirtualObject& bridge_;
};

/// Has such questions answered so from now on, whenever readers are there. To be called once, of an application that
/// has windows.
void answerPlacesInWindows();

}  // namespace kelvane
