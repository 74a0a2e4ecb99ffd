// The application up to the first frame of its home that shows cards.
//
//     bench-home make <projects> <folder>    makes a library, to be named by XDG_DATA_HOME
//     bench-home show                        starts on that library, and ends with the frame

#include <unistd.h>

#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "App/KelvaneApp.h"
#include "Platform/ImageEncoding.h"
#include "Storage/ProjectStore.h"

namespace {

using namespace kelvane;

int makeLibrary(int count, const std::filesystem::path& folder) {
    const ProjectStore store(FileURL::fromPath((std::filesystem::absolute(folder) / "Kelvane/Projects").string()));
    StillImage picture{.width = 576, .height = 1024, .pixels = {}};
    for (int i = 0; i < picture.width * picture.height; ++i)
        for (const int part : {i % 251, i / picture.width % 256, 96, 255})
            picture.pixels.push_back(static_cast<std::uint8_t>(part));
    const auto jpeg = jpegData(picture);
    for (int i = 0; i < count; ++i) {
        const LibraryProject row{.id = UUID::random(),
                                 .name = "Project " + std::to_string(i),
                                 .modified = 800'000'000.0 + i,
                                 .duration = 12,
                                 .importedFrom = {}};
        if (!store.create(row, Project{}) || !store.storeThumbnail(row.id, *jpeg)) {
            std::fprintf(stderr, "The library can't be made.\n");
            return 1;
        }
    }
    return 0;
}

/// Whether cards stand in the window: what a frame that was drawn in this turn holds.
bool showsCards(const QQuickWindow& window) {
    const auto* cards = window.findChild<QQuickItem*>("projectCards");
    if (cards == nullptr || !cards->isVisible()) return false;
    const auto* content = cards->property("contentItem").value<QQuickItem*>();
    const auto isCard = [](const QQuickItem* item) { return item->property("projectID").isValid(); };
    return content != nullptr && std::ranges::any_of(content->childItems(), isCard);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view act = argc > 1 ? argv[1] : "";
    if (act == "make" && argc == 4) return makeLibrary(std::atoi(argv[2]), argv[3]);
    if (act != "show") return 2;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QQuickStyle::setStyle("Basic");
    QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    auto* app = new KelvaneApp(false, {});
    if (!app->start()) return 1;
    auto* window = qobject_cast<QQuickWindow*>(QGuiApplication::topLevelWindows().value(0));
    if (window == nullptr) return 1;
    QObject::connect(window, &QQuickWindow::frameSwapped, window, [window] {
        if (showsCards(*window)) _exit(0);
    });
    return QGuiApplication::exec();
}
