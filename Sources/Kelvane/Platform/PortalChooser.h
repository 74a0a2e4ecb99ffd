#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <chrono>
#include <functional>
#include <vector>

#include "MainContext.h"
#include "SessionBus.h"
#include "Support/FileURL.h"

namespace kelvane {

/// What a chooser of files is asked. A plain value.
struct ChooserRequest {
    struct Filter {
        QString name;
        /// Such as "*.mp4".
        QStringList patterns;
        bool operator==(const Filter&) const = default;
    };
    /// A place for one file that is to be written; else files that are there, as many as a person likes.
    bool saves = false;
    QString title;
    /// The first one is chosen.
    std::vector<Filter> filters;
    /// Of a file that is to be written.
    QString proposedName;
    /// The window that asks, as the portal names windows ("x11:" and its number in hexadecimal); empty when the desktop
    /// can't be told.
    QString parentWindow;

    bool operator==(const ChooserRequest&) const = default;
};

/// What came of it.
struct ChooserOutcome {
    enum class Kind {
        chosen,
        /// By the person.
        cancelled,
        /// The desktop shows no chooser, or its chooser broke down: somebody else has to ask.
        unavailable,
    };
    Kind kind = Kind::unavailable;
    std::vector<FileURL> files;
};

/// One question by the desktop's own chooser (org.freedesktop.portal.FileChooser), asked from the object's making on.
/// Its end takes the question back. It never waits: a portal that doesn't take the question up in `patience`, whose
/// chooser doesn't show in as long after that, or that goes, counts as unavailable. The main thread.
class PortalChooser final : public QObject {
    Q_OBJECT

public:
    /// How long the portal has for each of its steps. A desktop starts it, and what draws for it, with the first
    /// question.
    static constexpr std::chrono::milliseconds patience{5000};

    /// `seemsShown` tells whether a chooser may have come up since: another window than ours has the focus, or had.
    /// `answer` comes once and later; this object may end in it. `context` outlives this object.
    PortalChooser(MainContext& context, QDBusConnection bus, const ChooserRequest& request,
                  std::function<bool()> seemsShown, std::function<void(ChooserOutcome)> answer);
    ~PortalChooser() override;

private Q_SLOTS:
    void respond(uint response, const QVariantMap& results);
    void followOwner(const QString& name, const QString& before, const QString& now);

private:
    void ask(const ChooserRequest& request);
    void follow(const QString& handle);
    void takeUp(const QDBusMessage& reply);
    void look();
    void finish(ChooserOutcome outcome);

    MainContext& context_;
    QDBusConnection bus_;
    std::function<bool()> seemsShown_;
    std::function<void(ChooserOutcome)> answer_;
    /// The portal's object for this question.
    QString handle_;
    bool isTakenUp_ = false;
    bool isShown_ = false;
    /// When the present step has taken too long.
    std::chrono::nanoseconds limit_;
    Timer timer_;
};

}  // namespace kelvane
