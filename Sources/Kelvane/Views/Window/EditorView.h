#pragma once

#include <QObject>
#include <memory>
#include <optional>

#include "Windows/Workspace.h"

namespace kelvane {

/// How the panes of one window's editor stand: the inspector, and the divider between assets and preview; draws
/// nothing. Lengths are points. The main thread.
class EditorView final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool showInspector READ showInspector WRITE setShowInspector NOTIFY inspectorChanged)
    /// Of the row that assets and preview share, as it is laid out.
    Q_PROPERTY(double rowWidth READ rowWidth WRITE setRowWidth NOTIFY widthChanged)
    Q_PROPERTY(double assetsWidth READ assetsWidth NOTIFY widthChanged)
    /// The same in percent of the row, a whole number.
    Q_PROPERTY(int assetsPercent READ assetsPercent NOTIFY widthChanged)

public:
    explicit EditorView(std::shared_ptr<Workspace> workspace);

    [[nodiscard]] bool showInspector() const;
    void setShowInspector(bool show);
    [[nodiscard]] double rowWidth() const { return rowWidth_; }
    void setRowWidth(double width);
    [[nodiscard]] double assetsWidth() const;
    [[nodiscard]] int assetsPercent() const;

    /// A hand takes hold of the divider, moves by so much since then, and lets go.
    Q_INVOKABLE void beginDividerDrag();
    Q_INVOKABLE void dragDivider(double translation);
    Q_INVOKABLE void endDividerDrag();
    /// Moves the divider by so many steps to the right.
    Q_INVOKABLE void stepDivider(int steps);
    /// Back to where the divider stands at first.
    Q_INVOKABLE void resetDivider();

Q_SIGNALS:
    void inspectorChanged();
    void widthChanged();

private:
    void followEditor();
    void setAssetsWidth(double width);
    void setFraction(double fraction);

    std::shared_ptr<Workspace> workspace_;
    QMetaObject::Connection connection_;
    double rowWidth_ = 0;
    double fraction_;
    /// The width at which a drag began.
    std::optional<double> dividerDragStart_;
};

}  // namespace kelvane
