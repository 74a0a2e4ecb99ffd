#pragma once

#include <QObject>
#include <QRectF>
#include <optional>

#include "AssetsPaneWidth.h"

namespace kelvane {

class Editor;

/// How the window of a project stood, for the next one that shows it. Lives as long as the project's editor, and is not
/// kept on disk. Lengths are points. The main thread.
class ProjectPlace final : public QObject {
    Q_OBJECT

public:
    /// That of a project; made when it is first asked for, and good as long as the editor is.
    static ProjectPlace& of(Editor& editor);

    /// The part of its row that the assets pane has.
    double assetsWidthFraction = AssetsPaneWidth::startFraction;
    /// On the desktop; none before a window of its own was known.
    std::optional<QRectF> windowFrame;

private:
    explicit ProjectPlace(QObject& parent) : QObject(&parent) {}
};

}  // namespace kelvane
