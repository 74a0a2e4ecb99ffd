#include "PanelQuestions.h"

#include <QThread>

#include "Support/Error.h"

namespace kelvane {

namespace {
FileURL fileURL(const QUrl& url) { return FileURL::fromPath(url.toLocalFile().toStdString()); }
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

void DestinationQuestion::answer(const QUrl& file) {
    finish([&] { answer_(fileURL(file)); });
}

void NameQuestion::answer(const QString& name) {
    finish([&] { answer_(name.toStdString()); });
}

void ConfirmQuestion::confirm() {
    finish([this] { answer_(true); });
}

}  // namespace kelvane
