#include "ApplicationIcon.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QStringList>

namespace kelvane {

namespace {

/// Where icons lie below a data folder, what suits 40 points best first.
QStringList places(const QString& name) {
    QStringList found;
    for (const char* size : {"64x64", "96x96", "128x128", "48x48", "256x256", "512x512", "1024x1024"})
        found << QStringLiteral("icons/hicolor/%1/apps/%2.png").arg(QLatin1String(size), name);
    found << QStringLiteral("icons/hicolor/scalable/apps/%1.svg").arg(name);
    for (const char* ending : {".png", ".svg", ""}) found << QStringLiteral("pixmaps/") + name + QLatin1String(ending);
    return found;
}

}  // namespace

QUrl applicationIcon(const QString& icon) {
    if (icon.isEmpty()) return {};
    if (QDir::isAbsolutePath(icon)) return QFileInfo(icon).isFile() ? QUrl::fromLocalFile(icon) : QUrl();
    for (const QString& place : places(icon)) {
        const QString file = QStandardPaths::locate(QStandardPaths::GenericDataLocation, place);
        if (!file.isEmpty()) return QUrl::fromLocalFile(file);
    }
    return {};
}

}  // namespace kelvane
