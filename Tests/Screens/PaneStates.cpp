#include <QCoreApplication>
#include <QDropEvent>
#include <QMimeData>
#include <QTest>
#include <filesystem>

#include "Stage.h"

namespace kelvane::testing {

namespace fs = std::filesystem;

void Stage::showSoundClip() {
    open("Late light", film(), 17.5);
    editor().selectTimelineClips({editor().clips()[7].id});
    editor().setShowInspector(true);
}

void Stage::showSeveral() {
    open("Late light", film(), 17.5);
    editor().selectTimelineClips({editor().clips()[2].id, editor().clips()[3].id, editor().clips()[7].id});
    editor().setShowInspector(true);
}

void Stage::showRename() {
    open("Late light", film(), 17.5);
    view_->naming()->edit();
    leaving_.emplace_back([this] { press(Qt::Key_Escape); });
}

void Stage::showRenameProblem() {
    showRename();
    press(Qt::Key_Delete);
    press(Qt::Key_Return);
}

void Stage::showMenu() {
    open("Late light", film(), 17.5);
    press(Qt::Key_F, Qt::AltModifier);
    leaving_.emplace_back([this] { press(Qt::Key_Escape); });
    settle();
    QTest::mouseMove(window_.get(), middleOf(shown("text", "Import Videos…")));
}

void Stage::showAssetMenu() {
    open("Late light", film(), 17.5);
    QTest::mouseClick(window_.get(), Qt::RightButton, {}, item("assetsSurface").mapToScene({80, 60}).toPoint());
    leaving_.emplace_back([this] { press(Qt::Key_Escape); });
}

void Stage::showClipMenu() {
    open("Late light", film(), 17.5);
    QTest::mouseClick(window_.get(), Qt::RightButton, {}, at(18.5, 0, 50));
    leaving_.emplace_back([this] { press(Qt::Key_Escape); });
}

void Stage::showFileDrop() {
    open("Late light", film(), 17.5);
    // The platform keeps the payload for as long as the drag.
    const auto data = std::make_shared<QMimeData>();
    data->setUrls({QUrl::fromLocalFile("/Take 1.mp4"), QUrl::fromLocalFile("/Take 2.mp4")});
    const QPoint point = middleOf(item("assetsSurface"));
    QDragEnterEvent entered(point, Qt::CopyAction, data.get(), Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window_.get(), &entered);
    leaving_.emplace_back([this, data] {
        QDragLeaveEvent left;
        QCoreApplication::sendEvent(window_.get(), &left);
    });
}

void Stage::showAssetPreview() {
    open("Late light", film(), 17.5);
    editor().showAssetPreview(editor().assets()[1].id);
    settle();
    editor().seekPreview(4);
}

void Stage::showAudioPreview() {
    open("Late light", film(), 17.5);
    editor().showAssetPreview(editor().assets()[4].id);
    settle();
    editor().seekPreview(14);
}

}  // namespace kelvane::testing
