#pragma once

#include <QList>
#include <QObject>
#include <QUrl>
#include <array>
#include <memory>
#include <optional>

#include "Windows/Workspace.h"

namespace kelvane {

/// How the panes of one window's editor stand: the inspector, and the divider between assets and preview, which keeps
/// its place for a project; and what is dropped on the window. Draws nothing. Lengths are points. The main thread.
class EditorView final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool showInspector READ showInspector WRITE setShowInspector NOTIFY inspectorChanged)
    /// Of the row that assets and preview share, as it is laid out.
    Q_PROPERTY(double rowWidth READ rowWidth WRITE setRowWidth NOTIFY widthChanged)
    Q_PROPERTY(double assetsWidth READ assetsWidth NOTIFY widthChanged)
    /// The same in percent of the row, a whole number.
    Q_PROPERTY(int assetsPercent READ assetsPercent NOTIFY widthChanged)
    /// Whether files are dragged over the window that would be imported.
    Q_PROPERTY(bool dropTarget READ dropTarget NOTIFY dropTargetChanged)

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
    /// Moves the divider to so many percent of the row.
    Q_INVOKABLE void setAssetsPercent(double percent);
    /// Back to where the divider stands at first.
    Q_INVOKABLE void resetDivider();

    [[nodiscard]] bool dropTarget() const { return isOver_ && canTakeFiles(); }
    /// What is dragged has come over the window; whether it may be dropped there. That is so for files, whatever else
    /// the drag carries, unless the project is busy.
    Q_INVOKABLE bool enterDrop(const QList<QUrl>& urls);
    /// Asked anew while it stays, as the project may turn busy or come to rest.
    Q_INVOKABLE bool acceptsDrop() const { return dropTarget(); }
    Q_INVOKABLE void leaveDrop();
    /// Imports the files among what is dropped, in their order and in one operation; whether it took any.
    Q_INVOKABLE bool importDrop(const QList<QUrl>& urls);

Q_SIGNALS:
    void inspectorChanged();
    void widthChanged();
    void dropTargetChanged();
    /// A gesture on the timeline is to end first.
    void aboutToChange();

private:
    void followEditor();
    [[nodiscard]] double fraction() const;
    void setAssetsWidth(double width);
    void setFraction(double fraction);
    [[nodiscard]] bool canTakeFiles() const;
    void refreshDropTarget();

    std::shared_ptr<Workspace> workspace_;
    std::array<QMetaObject::Connection, 2> connections_;
    double rowWidth_ = 0;
    /// The width at which a drag began.
    std::optional<double> dividerDragStart_;
    /// Files are dragged over the window.
    bool isOver_ = false;
    /// As announced last.
    bool dropTarget_ = false;
};

}  // namespace kelvane
