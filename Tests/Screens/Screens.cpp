// Shows the window in each of its states and keeps what it looks like:
//
//     screens <folder of footage> <folder for the pictures> <folder for a library> [<state>…]
//
// The footage is what Tools/screens draws (Stage.h). It keeps the
// pictures of ScreenList.h that belong to the scale at which it is run (QT_SCALE_FACTOR), or those of the states that
// are named alone.

#include <QGuiApplication>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QStyleHints>
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "ScreenList.h"
#include "Stage.h"

int main(int argc, char** argv) {
    using namespace kelvane::testing;
    namespace fs = std::filesystem;
    if (argc < 4) stop("screens <footage> <pictures> <library> [<state>…]");
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QQuickStyle::setStyle("Basic");
    QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    // A field's cursor never comes to rest.
    QGuiApplication::styleHints()->setCursorFlashTime(0);
    // Controls follow the pointer, as on a desktop.
    QGuiApplication::styleHints()->setUseHoverEffects(true);
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    const fs::path pictures = fs::absolute(argv[2]);
    fs::create_directories(pictures);
    const std::vector<std::string> wanted(argv + 4, argv + argc);
    auto shown = screenPictures();
    std::erase_if(shown, [&](const ScreenPicture& picture) {
        const bool isNamed = wanted.empty() || std::ranges::find(wanted, picture.state) != wanted.end();
        return picture.scale != application.devicePixelRatio() || !isNamed;
    });
    auto stage = std::make_unique<Stage>(fs::absolute(argv[1]), fs::absolute(argv[3]));
    for (const ScreenPicture& picture : shown) {
        const fs::path path = pictures / picture.file;
        if (!stage->show(picture.state, picture.size).save(QString::fromStdString(path.string())))
            stop("Can't write " + path.string());
        std::printf("%s\n", picture.file.c_str());
        std::fflush(stdout);
    }
    std::fflush(nullptr);
    std::_Exit(0);
}
