#include "ProjectNameTextField.h"

#include <QCoreApplication>
#include <QQuickWindow>
#include <utility>

namespace kelvane {

/// A click, and what the pointer did behind it, until it is known what becomes of it.
struct ProjectNameTextField::HeldClick {
    /// What an event says. It is made anew when it is sent, as what a pointer holds is only known then.
    struct Moment {
        QEvent::Type type;
        QPointF place;
        QPointF onScreen;
        Qt::MouseButton button;
        Qt::MouseButtons buttons;
        Qt::KeyboardModifiers modifiers;
        quint64 time;
    };
    QPointer<QWindow> window;
    std::optional<bool> ended;
    std::vector<Moment> moments;

    void hold(const QMouseEvent& event) {
        moments.push_back({event.type(), event.position(), event.globalPosition(), event.button(), event.buttons(),
                           event.modifiers(), event.timestamp()});
    }
    void replay() {
        for (const Moment& moment : std::exchange(moments, {})) {
            QMouseEvent event(moment.type, moment.place, moment.place, moment.onScreen, moment.button, moment.buttons,
                              moment.modifiers);
            event.setTimestamp(moment.time);
            if (window) QCoreApplication::sendEvent(window, &event);
        }
    }
};

namespace {

bool isPress(QEvent::Type type) {
    return type == QEvent::MouseButtonPress || type == QEvent::MouseButtonDblClick || type == QEvent::TouchBegin;
}

bool isMouse(QEvent::Type type) {
    return type == QEvent::MouseButtonPress || type == QEvent::MouseButtonDblClick ||
           type == QEvent::MouseButtonRelease || type == QEvent::MouseMove;
}

/// An edit that is gone has ended.
QCoro::Task<bool> commitOf(QPointer<ProjectNameEditor> editor, NameExit exit) {
    if (editor.isNull()) co_return true;
    auto committing = editor->commit(exit);
    co_return co_await committing;
}

/// Takes the focus back where the name can't be taken. Later, as the focus is amid its way.
QCoro::Task<void> keepFocus(QPointer<ProjectNameTextField> field) {
    auto ending = field->commitEditing(false, NameExit::focus);
    const bool ended = co_await ending;
    if (ended || field.isNull()) co_return;
    const auto takeBack = [field] {
        if (!field.isNull() && !field->finished() && field->item())
            field->item()->forceActiveFocus(Qt::OtherFocusReason);
    };
    QMetaObject::invokeMethod(field.data(), takeBack, Qt::QueuedConnection);
}

}  // namespace

ProjectNameTextField::~ProjectNameTextField() { stopMonitoring(); }

void ProjectNameTextField::setItem(QQuickItem* item) {
    if (item == item_) return;
    if (item_) disconnect(item_, nullptr, this, nullptr);
    item_ = item;
    if (item_) {
        connect(item_, &QQuickItem::windowChanged, this, &ProjectNameTextField::startMonitoring);
        connect(item_, &QObject::destroyed, this, &ProjectNameTextField::stopMonitoring);
    }
    startMonitoring();
    Q_EMIT itemChanged();
}

void ProjectNameTextField::setEditor(ProjectNameEditor* editor) {
    if (editor == editor_) return;
    editor_ = editor;
    const QPointer<ProjectNameEditor> edited(editor);
    onChange = [edited](const QString& text) {
        if (edited) edited->setDraft(text);
    };
    onCancel = [edited](NameExit exit) {
        if (edited) edited->cancel(exit);
    };
    onCommit = [edited](NameExit exit) { return commitOf(edited, exit); };
    Q_EMIT editorChanged();
}

void ProjectNameTextField::startMonitoring() {
    stopMonitoring();
    if (!item_ || !item_->window()) return;
    window_ = item_->window();
    connect(window_, &QWindow::activeChanged, this, [this] {
        if (window_ && !window_->isActive()) windowResigned();
    });
    QCoreApplication::instance()->installEventFilter(this);
}

void ProjectNameTextField::stopMonitoring() {
    if (auto* application = QCoreApplication::instance()) application->removeEventFilter(this);
    if (window_) disconnect(window_, nullptr, this, nullptr);
    window_ = nullptr;
}

void ProjectNameTextField::setFinishing(bool finishing) {
    if (finishing == finishing_) return;
    finishing_ = finishing;
    Q_EMIT finishingChanged();
}

void ProjectNameTextField::textChanged(const QString& text) {
    if (!finished_ && onChange) onChange(text);
}

bool ProjectNameTextField::pressKey(int key) {
    switch (key) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            commitEditing(true, NameExit::key);
            return true;
        case Qt::Key_Tab:
            commitEditing(true, NameExit::forward);
            return true;
        case Qt::Key_Backtab:
            commitEditing(true, NameExit::backward);
            return true;
        case Qt::Key_Escape:
            if (!std::exchange(finished_, true)) {
                const QPointer<QQuickItem> field(item_);
                if (onCancel) onCancel(NameExit::key);
                if (field) field->setFocus(false);
            }
            return true;
        default:
            return false;
    }
}

QCoro::Task<bool> ProjectNameTextField::commitEditing(bool relinquishFocus, NameExit exit) {
    const QPointer<ProjectNameTextField> self(this);
    if (finished_ || finishing_) co_return true;
    if (!onCommit) co_return false;
    setFinishing(true);
    // What ends the edit may let go of this object.
    const auto commit = onCommit;
    auto committing = commit(exit);
    const bool ended = co_await committing;
    // With the field goes the edit.
    if (self.isNull()) co_return true;
    if (ended) finished_ = true;
    if (ended && relinquishFocus && item_) item_->setFocus(false);
    if (!self.isNull()) setFinishing(false);
    co_return ended;
}

void ProjectNameTextField::windowResigned() { commitEditing(true, NameExit::pointer); }

void ProjectNameTextField::loseFocus() {
    if (finished_ || finishing_) return;
    keepFocus(this);
}

QCoro::Task<void> ProjectNameTextField::judge(std::shared_ptr<HeldClick> click) {
    const QPointer<ProjectNameTextField> self(this);
    auto ending = commitEditing(true, NameExit::pointer);
    click->ended = co_await ending;
    if (!self.isNull() && click_ == click) click_ = nullptr;
    if (*click->ended) click->replay();
}

ProjectNameTextField::Click ProjectNameTextField::handleMouseDown(const QWindow* window, const QPointF& place) {
    if (!item_ || !item_->window()) return Click::passed;
    const bool isSame = window == item_->window();
    const QRectF bounds(0, 0, item_->width(), item_->height());
    if (isSame &&
        bounds.adjusted(-grownAside, -grownUpAndDown, grownAside, grownUpAndDown).contains(item_->mapFromScene(place)))
        return Click::passed;
    const auto click = std::make_shared<HeldClick>();
    click->window = item_->window();
    judge(click);
    if (!isSame) return Click::passed;
    if (click->ended) return *click->ended ? Click::passed : Click::swallowed;
    click_ = click;
    return Click::held;
}

bool ProjectNameTextField::eventFilter(QObject* watched, QEvent* event) {
    auto* window = qobject_cast<QWindow*>(watched);
    const bool isPointer = isMouse(event->type()) || event->type() == QEvent::TouchBegin;
    return (window != nullptr && isPointer && filterPointer(*window, *event)) || QObject::eventFilter(watched, event);
}

bool ProjectNameTextField::filterPointer(QWindow& window, QEvent& event) {
    if (click_ && click_->window == &window) {
        // What follows on a click that waits comes behind it.
        if (isMouse(event.type())) click_->hold(static_cast<const QMouseEvent&>(event));
        return true;
    }
    if (!isPress(event.type())) return false;
    auto& pointer = static_cast<QPointerEvent&>(event);
    if (pointer.pointCount() == 0) return false;
    switch (handleMouseDown(&window, pointer.point(0).position())) {
        case Click::passed:
            return false;
        case Click::swallowed:
            return true;
        case Click::held:
            if (isMouse(event.type())) click_->hold(static_cast<const QMouseEvent&>(event));
            return true;
    }
    return false;
}

}  // namespace kelvane
