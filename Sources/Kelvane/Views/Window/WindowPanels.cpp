#include "WindowPanels.h"

#include <QUrl>
#include <QVariantList>
#include <filesystem>
#include <system_error>

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

QString text(const std::string& string) { return QString::fromStdString(string); }

}  // namespace

QVariantMap WindowPanels::question() const { return questions_.empty() ? QVariantMap() : questions_.front().shown; }

void WindowPanels::ask(QVariantMap shown, std::function<void(Answer)> answer) {
    if (!canAsk_) {
        answer({});
        return;
    }
    questions_.push_back({std::move(shown), std::move(answer)});
    if (questions_.size() == 1) Q_EMIT questionChanged();
}

void WindowPanels::finish(Answer answer) {
    if (questions_.empty()) return;
    const auto question = std::move(questions_.front());
    questions_.pop_front();
    Q_EMIT questionChanged();
    question.answer(std::move(answer));
}

void WindowPanels::answerFiles(const QVariantList& urls) {
    Answer answer{.given = true, .files = {}, .text = {}};
    for (const auto& url : urls) answer.files.push_back(FileURL::fromPath(url.toUrl().toLocalFile().toStdString()));
    finish(std::move(answer));
}

void WindowPanels::answerText(const QString& string) {
    finish({.given = true, .files = {}, .text = string.toStdString()});
}

void WindowPanels::answerYes() { finish({.given = true, .files = {}, .text = {}}); }

void WindowPanels::cancel() { finish({}); }

void WindowPanels::chooseFiles(PanelContent content, std::string message,
                               std::function<void(std::vector<FileURL>)> answer) {
    ask({{"kind", "files"}, {"title", text(message)}, {"filters", filters(content)}},
        [answer = std::move(answer)](Answer given) { answer(std::move(given.files)); });
}

void WindowPanels::chooseDestination(PanelContent content, std::string proposedName, std::string message,
                                     std::function<void(std::optional<FileURL>)> answer) {
    ask({{"kind", "destination"},
         {"title", text(message)},
         {"initial", text(proposedName)},
         {"filters", filters(content)},
         {"suffix", suffix(content)}},
        [this, answer = std::move(answer)](Answer given) {
            if (given.files.empty()) {
                answer(std::nullopt);
                return;
            }
            confirmReplacing(given.files.front(), answer);
        });
}

void WindowPanels::confirmReplacing(const FileURL& file, std::function<void(std::optional<FileURL>)> answer) {
    std::error_code unknown;
    if (!std::filesystem::exists(file.path(), unknown)) {
        answer(file);
        return;
    }
    confirm("“" + file.lastPathComponent() + "” already exists. Do you want to replace it?",
            "Replacing it overwrites its present contents.", "Cancel", "Replace",
            [file, answer = std::move(answer)](bool replace) { answer(replace ? std::optional(file) : std::nullopt); });
}

void WindowPanels::askName(std::string title, std::string initial, std::string button,
                           std::function<void(std::optional<std::string>)> answer) {
    ask({{"kind", "name"},
         {"title", text(title)},
         {"initial", text(initial)},
         {"accept", text(button)},
         {"reject", "Cancel"}},
        [answer = std::move(answer)](Answer given) {
            answer(given.given ? std::optional(std::move(given.text)) : std::nullopt);
        });
}

void WindowPanels::confirm(std::string message, std::string informativeText, std::string cancelButton,
                           std::string confirmButton, std::function<void(bool)> answer) {
    ask({{"kind", "confirm"},
         {"title", text(message)},
         {"text", text(informativeText)},
         {"accept", text(confirmButton)},
         {"reject", text(cancelButton)}},
        [answer = std::move(answer)](Answer given) { answer(given.given); });
}

void WindowPanels::noteRecentDocument(const FileURL&) {}

}  // namespace kelvane
