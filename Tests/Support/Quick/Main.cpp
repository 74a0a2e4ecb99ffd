#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QQuickStyle>
#include <QQuickWindow>

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QQuickStyle::setStyle("Basic");
    QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
