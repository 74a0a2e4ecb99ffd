#include "PanelQuestions.h"

#include <QThread>

#include "Support/Error.h"
#include "Support/Text.h"

namespace kelvane {

namespace {
/// Byte for byte, as names need not be text.
FileURL fileURL(const QUrl& url) {
    return FileURL::fromPath(percentDecoded(url.path(QUrl::FullyEncoded).toStdString()));
}

/// "Movies (*.mp4 *.mov)" as a chooser takes it.
std::vector<ChooserRequest::Filter> chooserFilters(const QStringList& texts) {
    std::vector<ChooserRequest::Filter> filters;
    for (const QString& text : texts) {
        const auto open = text.lastIndexOf('(');
        const QString patterns = text.mid(open + 1, text.lastIndexOf(')') - open - 1);
        filters.push_back({text.left(open).trimmed(), patterns.split(' ', Qt::SkipEmptyParts)});
    }
    return filters;
}
}  // namespace

bool PanelQuestion::enter(Stage stage) {
    if (stage <= stage_) return false;
    stage_ = stage;
    return true;
}

void PanelQuestion::finish(const std::function<void()>& tell) {
    check(QThread::currentThread() == thread(), "a question is answered off the main thread");
    if (!enter(Stage::answered)) return;
    Q_EMIT answered();
    tell();
    Q_EMIT finished();
}

void PanelQuestion::cancel() {
    finish([this] { decline(); });
}

void FilesQuestion::answer(const QList<QUrl>& files) {
    std::vector<FileURL> chosen;
    for (const QUrl& file : files) chosen.push_back(fileURL(file));
    finish([&] { answer_(std::move(chosen)); });
}

ChooserRequest FilesQuestion::request() const {
    return {
        .saves = false, .title = title(), .filters = chooserFilters(filters_), .proposedName = {}, .parentWindow = {}};
}

void FilesQuestion::choose(const std::vector<FileURL>& files, bool) {
    finish([&] { answer_(files); });
}

void DestinationQuestion::answer(const QUrl& file) { choose({fileURL(file)}, false); }

ChooserRequest DestinationQuestion::request() const {
    return {.saves = true,
            .title = title(),
            .filters = chooserFilters(filters_),
            .proposedName = initial_,
            .parentWindow = {}};
}

void DestinationQuestion::choose(const std::vector<FileURL>& files, bool knows) {
    Destination place{files.front(), knows};
    const std::string ending = "." + suffix_.toStdString();
    // Choosers of the desktop add nothing to a name; about the longer one nobody was asked.
    if (!suffix_.isEmpty() && !lowered(place.file.fileName()).ends_with(ending))
        place = {place.file.parentFolder().appending(place.file.fileName() + ending), false};
    finish([&] { answer_(place); });
}

void NameQuestion::answer(const QString& name) {
    finish([&] { answer_(name.toStdString()); });
}

void ConfirmQuestion::confirm() {
    finish([this] { answer_(true); });
}

}  // namespace kelvane
