#pragma once

#include <QObject>
#include <QString>
#include <array>
#include <optional>

#include "Editor/HistoryEntry.h"
#include "InspectorField.h"

namespace kelvane {

class InspectorView;

/// One row of the inspector: a number of the selected clip, with what a hand, keys and a reader of the screen do to it.
/// Draws nothing. Belongs to an InspectorView. The main thread.
class InspectorRow final : public QObject {
    Q_OBJECT
    Q_PROPERTY(double value READ value NOTIFY changed)
    Q_PROPERTY(double from READ from NOTIFY changed)
    Q_PROPERTY(double to READ to NOTIFY changed)
    /// The value for people.
    Q_PROPERTY(QString text READ text NOTIFY changed)
    /// What a press of an arrow key adds.
    Q_PROPERTY(double step READ step CONSTANT)

public:
    InspectorRow(InspectorView& view, InspectorField field);

    [[nodiscard]] double value() const { return value_; }
    [[nodiscard]] double from() const { return range_.from; }
    [[nodiscard]] double to() const { return range_.to; }
    [[nodiscard]] const QString& text() const { return text_; }
    [[nodiscard]] double step() const { return InspectorFields::step(field_); }
    [[nodiscard]] InspectorField field() const { return field_; }

    // A hand takes hold of the slider, moves it to a value, again and again, and lets go: one step of history, and none
    // where the value comes back. What no clip may have changes nothing.
    Q_INVOKABLE void begin();
    Q_INVOKABLE void drag(double value);
    Q_INVOKABLE void end();

    // Presses of keys, and what a reader of the screen sets: one step of history, as long as no pause of half a second
    // lies between them.
    Q_INVOKABLE void set(double value);
    Q_INVOKABLE void stepBy(int steps);
    Q_INVOKABLE void pageBy(int pages);
    Q_INVOKABLE void goToEnd(bool upper);
    /// A double click: back to where the value stands in a new clip, as one step with what its two presses have
    /// changed. Nothing for times.
    Q_INVOKABLE void reset();

    /// Shows this clip. While a hand holds the slider its range stays, so that the value stays under the hand.
    void show(const Clip& clip, double timelineDuration);

Q_SIGNALS:
    void changed();

private:
    InspectorView& view_;
    InspectorField field_;
    double value_ = 0;
    InspectorFields::Range range_;
    QString text_;
    bool isHeld_ = false;
    /// What the hand's last press has changed, and the one before: from which clips to which.
    struct Step {
        ClipArray before;
        ClipArray after;
    };
    std::array<std::optional<Step>, 2> presses_;
};

}  // namespace kelvane
