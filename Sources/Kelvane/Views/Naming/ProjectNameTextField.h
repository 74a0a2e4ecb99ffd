#pragma once

#include <QCoroTask>
#include <QMouseEvent>
#include <QObject>
#include <QPointer>
#include <QQuickItem>
#include <QString>
#include <QWindow>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "ProjectNameEditor.h"

namespace kelvane {

/// What the field in which a name is edited does with keys, clicks and the focus, so that an edit ends exactly once and
/// a name that can't be taken keeps the field open. It draws nothing: `item` is the field in the window. While that
/// stands in a window, clicks of the whole application pass through here first. Once the edit is over, all later events
/// do nothing. The main thread.
class ProjectNameTextField : public QObject {
    Q_OBJECT
    /// The field in the window, a text input.
    Q_PROPERTY(QQuickItem* item READ item WRITE setItem NOTIFY itemChanged)
    /// What the field edits.
    Q_PROPERTY(kelvane::ProjectNameEditor* editor READ editor WRITE setEditor NOTIFY editorChanged)
    /// Whether an attempt to take the name is under way: what is typed then would be lost.
    Q_PROPERTY(bool finishing READ finishing NOTIFY finishingChanged)

public:
    /// What becomes of a click.
    enum class Click {
        /// It goes its way.
        passed,
        /// It goes nowhere.
        swallowed,
        /// It waits until it is known whether the name is taken; then it goes its way or nowhere.
        held,
    };
    /// By how much a field's bounds are grown before a click counts as one elsewhere, points.
    static constexpr double grownAside = 6;
    static constexpr double grownUpAndDown = 3;

    explicit ProjectNameTextField(QObject* parent = nullptr) : QObject(parent) {}
    ~ProjectNameTextField() override;

    /// Each edit.
    std::function<void(const QString&)> onChange;
    /// Answers whether the edit may end.
    std::function<QCoro::Task<bool>(NameExit)> onCommit;
    /// Escape.
    std::function<void(NameExit)> onCancel;

    [[nodiscard]] QQuickItem* item() const { return item_; }
    void setItem(QQuickItem* item);
    [[nodiscard]] ProjectNameEditor* editor() const { return editor_; }
    /// Has the functions above act on `editor`.
    void setEditor(ProjectNameEditor* editor);
    [[nodiscard]] bool finishing() const { return finishing_; }
    [[nodiscard]] bool finished() const { return finished_; }
    /// Whether clicks and the window are watched.
    [[nodiscard]] bool isMonitoring() const { return window_ != nullptr; }

    /// The field holds another text.
    Q_INVOKABLE void textChanged(const QString& text);
    /// A key, `Qt::Key`, is pressed in the field. Whether it is one of those that end the edit.
    Q_INVOKABLE bool pressKey(int key);
    /// The field has lost the focus.
    Q_INVOKABLE void loseFocus();

    /// Tries to end the edit. Answers whether it ended, true also while another attempt is under way. With
    /// `relinquishFocus` the field gives the focus up once it has.
    QCoro::Task<bool> commitEditing(bool relinquishFocus, NameExit exit);
    /// A button of a pointer goes down at `place`, in points of the content of `window`.
    Click handleMouseDown(const QWindow* window, const QPointF& place);
    /// The window of the field ceases to be the active one.
    void windowResigned();
    void stopMonitoring();

    bool eventFilter(QObject* watched, QEvent* event) override;

Q_SIGNALS:
    void itemChanged();
    void editorChanged();
    void finishingChanged();

private:
    struct HeldClick;

    void startMonitoring();
    QCoro::Task<void> judge(std::shared_ptr<HeldClick> click);
    bool filterPointer(QWindow& window, QEvent& event);
    void setFinishing(bool finishing);

    QPointer<QQuickItem> item_;
    QPointer<ProjectNameEditor> editor_;
    /// Watched while it is there.
    QPointer<QQuickWindow> window_;
    std::shared_ptr<HeldClick> click_;
    bool finished_ = false;
    bool finishing_ = false;
};

}  // namespace kelvane
