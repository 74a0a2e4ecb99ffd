#pragma once

#include <QObject>
#include <QStringList>
#include <QUrl>
#include <memory>

#include "Windows/Workspace.h"

namespace kelvane {

/// What the sheet of assistants of one window shows and what a person can do there; draws nothing. The main thread.
class AIAssistantView final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool shown READ shown NOTIFY changed)
    Q_PROPERTY(bool launching READ launching NOTIFY changed)
    /// Why the last launch failed; empty when it didn't.
    Q_PROPERTY(QString message READ message NOTIFY changed)
    /// Names of the assistants, in order.
    Q_PROPERTY(QStringList names READ names NOTIFY assistantsChanged)
    /// Pictures of their applications, in the same order; empty where an application has none.
    Q_PROPERTY(QList<QUrl> icons READ icons NOTIFY assistantsChanged)
    /// Whether the applications are still there, in the same order.
    Q_PROPERTY(QList<bool> known READ known NOTIFY assistantsChanged)

public:
    explicit AIAssistantView(std::shared_ptr<Workspace> workspace);

    [[nodiscard]] bool shown() const;
    [[nodiscard]] bool launching() const;
    [[nodiscard]] QString message() const;
    [[nodiscard]] const QStringList& names() const { return names_; }
    [[nodiscard]] const QList<QUrl>& icons() const { return icons_; }
    [[nodiscard]] const QList<bool>& known() const { return known_; }

    /// Opens the sheet, where the project's state allows it.
    Q_INVOKABLE void start();
    /// Hands the project to the assistant in that place; nothing where there is none.
    Q_INVOKABLE void launch(int index);
    /// Closes the sheet, unless a launch is under way.
    Q_INVOKABLE void dismiss();

Q_SIGNALS:
    void changed();
    /// The sheet lists others.
    void assistantsChanged();

private:
    void followEditor();
    void refresh();
    void readAssistants();

    std::shared_ptr<Workspace> workspace_;
    QMetaObject::Connection connection_;
    QStringList names_;
    QList<QUrl> icons_;
    QList<bool> known_;
};

}  // namespace kelvane
