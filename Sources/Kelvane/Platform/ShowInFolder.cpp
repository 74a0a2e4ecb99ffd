#include <QStringList>

#include "ProgramLaunch.h"
#include "SessionBus.h"
#include "Support/AtomicFile.h"
#include "Support/Text.h"
#include "XDGDesktopServices.h"

namespace kelvane {

namespace {

const QString fileManager = QStringLiteral("org.freedesktop.FileManager1");
const QString fileManagerPath = QStringLiteral("/org/freedesktop/FileManager1");

struct Place {
    bool hasFile = false;
    bool hasFolder = false;
};

QString text(const FileURL& url) { return QString::fromStdString(url.absoluteString()); }

}  // namespace

QCoro::Task<Result<void>> XDGDesktopServices::showInFolder(FileURL file) {
    const std::string what = quotedName(file.fileName()) + " can't be shown in its folder";
    const FileURL folder = file.parentFolder();
    auto look = [path = file.path(), folder = folder.path()] { return Place{fileExists(path), fileExists(folder)}; };
    auto looking = inBackground(context_, std::move(look), Lane::shortWork);
    const Place place = co_await looking;
    if (!place.hasFolder) co_return fail(what + ": the folder " + quotedName(folder.fileName()) + " is gone.");
    if (const auto bus = bus_()) {
        auto question = QDBusMessage::createMethodCall(fileManager, fileManagerPath, fileManager,
                                                       place.hasFile ? "ShowItems" : "ShowFolders");
        question << QStringList(text(place.hasFile ? file : folder)) << QString();
        auto asking = askBus(context_, *bus, question, fileManagerPatience);
        const QDBusMessage answer = co_await asking;
        if (answer.type() == QDBusMessage::ReplyMessage) co_return Result<void>();
    }
    const auto program = DesktopEntries::programPath(folders().programs, "xdg-open");
    if (!program) co_return fail(what + ": the desktop has no program that opens folders.");
    auto work = [what, program = *program, folder = folder.path(), watched = watched_] {
        return launchProgram(what, program, {"xdg-open", folder}, "", watched);
    };
    auto background = inBackground(context_, std::move(work));
    co_return co_await background;
}

}  // namespace kelvane
