#include "WindowPanels.h"

#include <QDateTime>
#include <QPointer>
#include <QThread>
#include <algorithm>
#include <utility>

#include "Platform/RecentFiles.h"
#include "Support/AtomicFile.h"
#include "Support/Error.h"
#include "Support/Text.h"

namespace kelvane {

namespace {

/// Films and sound by their usual extensions. Cameras write them in upper case, and the chooser tells cases apart.
QString mediaFilter() {
    QStringList patterns;
    for (const char* extension : {"mp4",  "mov",  "m4v", "mkv",  "webm", "avi", "3gp", "3g2", "ts",   "mts", "m2ts",
                                  "mpg",  "mpeg", "flv", "wmv",  "ogv",  "m4a", "mp3", "wav", "flac", "ogg", "oga",
                                  "opus", "aac",  "aif", "aiff", "aifc", "ac3", "mka", "wma", "caf"}) {
        patterns << QStringLiteral("*.") + extension << QStringLiteral("*.") + QString(extension).toUpper();
    }
    return QObject::tr("Video and audio (%1)").arg(patterns.join(' '));
}

QStringList filters(PanelContent content) {
    switch (content) {
        case PanelContent::media:
            return {mediaFilter(), QObject::tr("All files (*)")};
        case PanelContent::project:
            return {QObject::tr("Kelvane projects (*.kelvane)")};
        case PanelContent::mp4Movie:
            return {QObject::tr("MP4 movie (*.mp4)")};
        case PanelContent::quickTimeMovie:
            return {QObject::tr("QuickTime movie (*.mov)")};
    }
    return {};
}

QString suffix(PanelContent content) {
    switch (content) {
        case PanelContent::project:
            return "kelvane";
        case PanelContent::mp4Movie:
            return "mp4";
        case PanelContent::quickTimeMovie:
            return "mov";
        case PanelContent::media:
            break;
    }
    return {};
}

}  // namespace

WindowPanels::~WindowPanels() = default;

void WindowPanels::ask(std::unique_ptr<PanelQuestion> question) {
    check(QThread::currentThread() == thread(), "a question is asked off the main thread");
    if (!canAsk_) {
        question->cancel();
        return;
    }
    auto* asked = question.get();
    connect(asked, &PanelQuestion::answered, this, [this, asked] {
        followUps_ = 0;
        const auto found = std::ranges::find(questions_, asked, &std::unique_ptr<PanelQuestion>::get);
        (void)found->release();
        questions_.erase(found);
    });
    connect(asked, &PanelQuestion::finished, this, [this, asked] {
        followUps_.reset();
        announce();
        // Later, as its panel may be the caller; behind the panel, which shows it to its own end.
        asked->deleteLater();
    });
    if (followUps_) {
        questions_.insert(questions_.begin() + (*followUps_)++, std::move(question));
        return;
    }
    questions_.push_back(std::move(question));
    announce();
}

void WindowPanels::announce() {
    if (std::exchange(announced_, question()) != question()) Q_EMIT questionChanged();
}

void WindowPanels::giveUp(PanelQuestion& question, const QString& reason) {
    const QString sentence = tr("%1 can’t be shown: %2.").arg(question.description(), reason);
    question.cancel();
    Q_EMIT failed(sentence);
}

void WindowPanels::chooseFiles(PanelContent content, std::string message,
                               std::function<void(std::vector<FileURL>)> answer) {
    ask(std::make_unique<FilesQuestion>(message, filters(content), std::move(answer)));
}

void WindowPanels::chooseDestination(PanelContent content, std::string proposedName, std::string message,
                                     std::function<void(std::optional<FileURL>)> answer) {
    auto confirmed = [this, content, message,
                      answer = std::move(answer)](const std::optional<DestinationQuestion::Destination>& place) {
        if (!place || place->knows) return answer(place ? std::optional(place->file) : std::nullopt);
        confirmReplacing(place->file, [this, content, message, answer, file = place->file](bool replace) {
            if (replace) return answer(file);
            // To where the chooser was left.
            beginNextIn(file.parentFolder().path());
            chooseDestination(content, file.fileName(), message, answer);
        });
    };
    ask(std::make_unique<DestinationQuestion>(message, proposedName, filters(content), suffix(content),
                                              std::move(confirmed)));
}

QCoro::Task<void> WindowPanels::confirmReplacing(FileURL file, std::function<void(bool)> answer) {
    const QPointer<WindowPanels> self(this);
    isLooking_ = true;
    auto look = [path = file.path()] { return fileExists(path); };
    auto looking = inBackground(context_, std::move(look), Lane::shortWork);
    const bool exists = co_await looking;
    if (self.isNull()) co_return;
    isLooking_ = false;
    followUps_ = 0;
    if (exists)
        confirm(quotedName(file.fileName()) + " already exists. Do you want to replace it?",
                "Replacing it overwrites its present contents.", "Cancel", "Replace", answer);
    else
        answer(true);
    if (self.isNull()) co_return;
    followUps_.reset();
    announce();
}

void WindowPanels::askName(std::string title, std::string initial, std::string button,
                           std::function<void(std::optional<std::string>)> answer) {
    ask(std::make_unique<NameQuestion>(title, initial,
                                       PanelButtons{.accept = QString::fromStdString(button), .reject = tr("Cancel")},
                                       std::move(answer)));
}

void WindowPanels::confirm(std::string message, std::string informativeText, std::string cancelButton,
                           std::string confirmButton, std::function<void(bool)> answer) {
    ask(std::make_unique<ConfirmQuestion>(
        message, informativeText,
        PanelButtons{.accept = QString::fromStdString(confirmButton), .reject = QString::fromStdString(cancelButton)},
        std::move(answer)));
}

void WindowPanels::noteRecentDocument(const FileURL& file) {
    auto note = [file, list = RecentFiles::listPath(), now = QDateTime::currentDateTimeUtc()] {
        // A list that can't be written is no matter of the file's.
        (void)RecentFiles::note(file, list, now);
    };
    context_.runInBackground(std::move(note), Lane::shortWork);
}

}  // namespace kelvane
