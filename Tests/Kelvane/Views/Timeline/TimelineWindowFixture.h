#pragma once

#include <gmock/gmock.h>

#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

#include "Support/App/WindowsFixture.h"
#include "Support/Patience.h"
#include "Views/Timeline/TimelineMetrics.h"
#include "Views/Timeline/TimelineSurface.h"
#include "Views/Window/ProjectWindowView.h"

namespace kelvane::testing {

/// A window of 1,060 × 760 points that shows a project with video clips A, B and C of 4, 3 and 5 s, all of 10 s of
/// footage from 2 s on, and below them the sounds "Voice", 3 s from 1 s on, and "Music", 6 s from 5 s on, in a lane
/// each. Nothing moves by itself unless a test lets it.
class TimelineWindowFixture : public WindowsFixture {
protected:
    static constexpr UUID a = uuid(1);
    static constexpr UUID b = uuid(2);
    static constexpr UUID c = uuid(3);
    static constexpr UUID voice = uuid(4);
    static constexpr UUID music = uuid(5);
    static constexpr double scale = TimelineMetrics::secondWidth;

    TimelineWindowFixture();
    ~TimelineWindowFixture() override;

    [[nodiscard]] TimelineView& timeline() { return *view.timeline(); }
    [[nodiscard]] QQuickItem* item(const char* name) const;
    [[nodiscard]] TimelineSurface& surface() const { return *static_cast<TimelineSurface*>(item("timelineSurface")); }
    /// In points of the window: where a time stands on the timeline, `y` points below the upper end of `row`; row 0 is
    /// the video, and -1 the ruler.
    [[nodiscard]] QPoint at(double seconds, int row, double y) const;
    /// The middle of a clip's body.
    [[nodiscard]] QPoint body(double seconds, int row) const { return at(seconds, row, 50); }
    /// The middle of a control.
    [[nodiscard]] QPoint middle(const char* name) const;
    /// Presses the first button at `from`, moves in three steps to `to`, and lets go of it unless `isHeld`.
    void drag(QPoint from, QPoint to, Qt::KeyboardModifiers modifiers = {}, bool isHeld = false);
    void letGo(QPoint point, Qt::KeyboardModifiers modifiers = {});
    void click(QPoint point, Qt::KeyboardModifiers modifiers = {});
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {});
    /// As a mouse turns its wheel, by notches away from the hand, or to the side.
    void wheel(QPoint point, double vertical, Qt::KeyboardModifiers modifiers = {}, double horizontal = 0);
    /// Lets what was announced come through, and paints.
    void refresh();
    /// What the viewport shows now.
    [[nodiscard]] QImage picture();
    [[nodiscard]] std::vector<UUID> order() const;
    [[nodiscard]] const Clip& clip(const UUID& id) const;
    [[nodiscard]] std::size_t steps() const { return editor->undoStack().size(); }

    bool reducedMotion = true;
    std::shared_ptr<Workspace> workspace;
    ProjectWindowView view;
    std::vector<std::string> warnings;
    QQmlEngine engine;
    std::unique_ptr<QQuickWindow> window;
    std::shared_ptr<Editor> editor;
};

}  // namespace kelvane::testing
