// An empty Qt Quick window, which ends with its first frame: what any program of its kind pays.

#include <unistd.h>

#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <cstdio>

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData("import QtQuick\nWindow { width: 1060; height: 760 }", QUrl());
    auto* window = qobject_cast<QQuickWindow*>(component.create());
    if (window == nullptr) {
        std::fprintf(stderr, "%s\n", qPrintable(component.errorString()));
        return 1;
    }
    QObject::connect(window, &QQuickWindow::frameSwapped, window, [] { _exit(0); });
    window->show();
    return QGuiApplication::exec();
}
