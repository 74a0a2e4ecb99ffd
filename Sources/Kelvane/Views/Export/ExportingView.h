#pragma once

#include <QCoroTask>
#include <QObject>
#include <array>
#include <memory>

#include "Editor/Editor.h"
#include "RemainingTime.h"
#include "Windows/Workspace.h"

namespace kelvane {

/// How far the export of one window's project is, and where its movie is when it is done; draws nothing. The main
/// thread.
class ExportingView final : public QObject {
    Q_OBJECT
    /// Whether an export is under way, whoever asked for it.
    Q_PROPERTY(bool shown READ shown NOTIFY changed)
    /// Size, rate and container.
    Q_PROPERTY(QString format READ format NOTIFY changed)
    /// 0 to 1.
    Q_PROPERTY(double progress READ progress NOTIFY changed)
    /// The same in percent, or that it is being cancelled.
    Q_PROPERTY(QString progressText READ progressText NOTIFY changed)
    /// How long it still takes; empty where that can't be told.
    Q_PROPERTY(QString remainingText READ remainingText NOTIFY changed)
    Q_PROPERTY(bool canCancel READ canCancel NOTIFY changed)
    /// Whether the movie is there and nobody has taken note of it.
    Q_PROPERTY(bool exported READ exported NOTIFY changed)

public:
    explicit ExportingView(std::shared_ptr<Workspace> workspace);

    [[nodiscard]] bool shown() const;
    [[nodiscard]] QString format() const;
    [[nodiscard]] double progress() const;
    [[nodiscard]] QString progressText() const;
    [[nodiscard]] QString remainingText() const;
    [[nodiscard]] bool canCancel() const;
    [[nodiscard]] bool exported() const;

    /// Ends the export under way.
    Q_INVOKABLE void cancel();
    /// Has the desktop show the movie in its folder, and takes note of it. What fails is told as the project's error.
    Q_INVOKABLE void showInFolder();
    /// Takes note of the movie.
    Q_INVOKABLE void dismissExported();

Q_SIGNALS:
    void changed();

private:
    void followEditor();
    void refresh();
    static QCoro::Task<void> show(std::weak_ptr<Editor> weak, DesktopServices* desktop, FileURL movie);

    std::shared_ptr<Workspace> workspace_;
    QMetaObject::Connection connection_;
    RemainingTime remaining_;
};

}  // namespace kelvane
