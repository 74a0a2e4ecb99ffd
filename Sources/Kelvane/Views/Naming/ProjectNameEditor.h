#pragma once

#include <QCoroTask>
#include <QObject>
#include <QString>
#include <functional>
#include <string>

#include "Support/Error.h"

namespace kelvane {

/// How a person left the field of a name, which says where the focus goes.
enum class NameExit {
    /// By Return or Escape: to what showed the name before.
    key,
    /// By Tab, or by Shift and Tab: one further.
    forward,
    backward,
    /// By a click elsewhere, or with the window: to what showed the name before, without a ring.
    pointer,
    /// The focus went elsewhere before.
    focus,
};

/// One edit of a project's name: the draft, and what came of an attempt to take it. A failed attempt keeps the edit
/// open with its error; nothing follows on the end of an edit. The main thread.
class ProjectNameEditor final : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString draft READ draft WRITE setDraft NOTIFY draftChanged)
    /// Why the draft could not be taken; empty when nothing is amiss.
    Q_PROPERTY(QString error READ error NOTIFY errorChanged)

public:
    /// Takes the new name. Fails in words; fails as cancelled where the check, asked behind all waits, says that
    /// nobody wants it any more.
    using Rename = std::function<QCoro::Task<Result<void>>(std::string, std::function<Result<void>()>)>;

    /// `finish` is called once, at the end of the edit, and may end this object later in the turn.
    ProjectNameEditor(std::string name, Rename rename, std::function<void(NameExit)> finish);

    [[nodiscard]] const QString& draft() const { return draft_; }
    void setDraft(const QString& draft);
    [[nodiscard]] const QString& error() const { return error_; }

    /// Renames to the draft without the white space at its ends, unless that is the name at the start, and ends the
    /// edit. Answers whether it ended; false where the rename failed, and `error` says why. Answers in the same turn
    /// of the event loop where nothing is written.
    QCoro::Task<bool> commit(NameExit exit);
    /// Ends the edit and drops the draft.
    void cancel(NameExit exit);

Q_SIGNALS:
    void draftChanged();
    void errorChanged();

private:
    void end(NameExit exit);
    void setError(const QString& error);

    std::string name_;
    Rename rename_;
    std::function<void(NameExit)> finish_;
    QString draft_;
    QString error_;
    bool ended_ = false;
};

}  // namespace kelvane
