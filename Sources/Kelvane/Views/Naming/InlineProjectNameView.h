#pragma once

#include <QMetaObject>
#include <QObject>
#include <QString>
#include <memory>

#include "ProjectNameEditor.h"
#include "Windows/Workspace.h"

namespace kelvane {

/// The name of the project that a window shows, as a button that is turned into a field: what the head of the window
/// shows of it. Draws nothing. The main thread.
class InlineProjectNameView final : public QObject {
    Q_OBJECT
    /// The name on one line; empty while the home is shown.
    Q_PROPERTY(QString title READ title NOTIFY titleChanged)
    /// What a reader of the screen calls the button.
    Q_PROPERTY(QString label READ label NOTIFY titleChanged)
    Q_PROPERTY(bool editing READ editing NOTIFY editingChanged)
    /// The edit under way; null without one.
    Q_PROPERTY(kelvane::ProjectNameEditor* nameEditor READ nameEditor NOTIFY editingChanged)

public:
    explicit InlineProjectNameView(std::shared_ptr<Workspace> workspace);

    [[nodiscard]] QString title() const { return title_; }
    [[nodiscard]] QString label() const;
    [[nodiscard]] bool editing() const { return nameEditor_ != nullptr; }
    [[nodiscard]] ProjectNameEditor* nameEditor() const { return nameEditor_.get(); }

    /// Begins to edit the name.
    Q_INVOKABLE void edit();

Q_SIGNALS:
    void titleChanged();
    void editingChanged();
    /// An edit has ended, and the focus is to go: to the button, with a ring where a key ended it, or `step` controls
    /// further.
    void ended(bool byKey, int step);

private:
    void followEditor();
    void refreshTitle();
    void finish(NameExit exit);
    void close();

    std::shared_ptr<Workspace> workspace_;
    QMetaObject::Connection connection_;
    QString title_;
    /// How many edits there have been.
    int edits_ = 0;
    /// Ends itself later in the turn, as it may be amid its own work.
    struct Later {
        void operator()(QObject* object) const { object->deleteLater(); }
    };
    std::unique_ptr<ProjectNameEditor, Later> nameEditor_;
};

/// A name as it is shown on one line: what would break the line is a blank.
QString onOneLine(const std::string& name);

}  // namespace kelvane
