#pragma once

#include <QObject>
#include <QString>
#include <array>
#include <chrono>
#include <memory>
#include <optional>

#include "DraftPreview.h"
#include "Platform/MainContext.h"
#include "Support/Geometry.h"
#include "Views/NoticedWork.h"
#include "Windows/Workspace.h"

namespace kelvane {

class PictureFeed;

/// What the preview of one window shows and what a person can do with it; draws nothing. Times are seconds. The main
/// thread.
class PreviewView final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool hasPreview READ hasPreview NOTIFY contentChanged)
    Q_PROPERTY(double duration READ duration NOTIFY contentChanged)
    /// Whether a placeholder stands for the picture, as sound alone is shown. It stays until the picture behind it is
    /// there, so that none flashes up which was shown before it.
    Q_PROPERTY(bool audioOnly READ audioOnly NOTIFY audioOnlyChanged)
    Q_PROPERTY(double position READ position NOTIFY positionChanged)
    Q_PROPERTY(bool playing READ playing NOTIFY positionChanged)
    Q_PROPERTY(bool building READ building NOTIFY workChanged)
    Q_PROPERTY(bool recording READ recording NOTIFY workChanged)
    /// 3, 2 or 1 while a take is counted in, else 0.
    Q_PROPERTY(int countdown READ countdown NOTIFY workChanged)
    /// How much of the countdown is left, from 1 to 0; told thirty times a second.
    Q_PROPERTY(double countdownShare READ countdownShare NOTIFY countdownMoved)
    /// Whether an import has been under way for so long that it covers the picture.
    Q_PROPERTY(bool importing READ importing NOTIFY workChanged)
    /// Whether an asset is shown in place of the timeline.
    Q_PROPERTY(bool showsAsset READ showsAsset NOTIFY contentChanged)
    /// The position as a label has it.
    Q_PROPERTY(QString positionText READ positionText NOTIFY positionChanged)
    Q_PROPERTY(bool canPlay READ canPlay NOTIFY workChanged)
    Q_PROPERTY(bool canSeek READ canSeek NOTIFY workChanged)
    Q_PROPERTY(bool canRecord READ canRecord NOTIFY workChanged)

public:
    explicit PreviewView(std::shared_ptr<Workspace> workspace);
    ~PreviewView() override;

    [[nodiscard]] bool hasPreview() const;
    [[nodiscard]] double duration() const;
    [[nodiscard]] double position() const;
    [[nodiscard]] bool playing() const;
    [[nodiscard]] bool audioOnly() const { return audioOnly_; }
    [[nodiscard]] bool building() const;
    [[nodiscard]] bool recording() const;
    [[nodiscard]] int countdown() const;
    [[nodiscard]] double countdownShare() const { return countdownShare_; }
    [[nodiscard]] bool importing() const { return import_.isShown(); }
    [[nodiscard]] bool showsAsset() const;
    [[nodiscard]] QString positionText() const;
    [[nodiscard]] bool canPlay() const;
    [[nodiscard]] bool canSeek() const;
    [[nodiscard]] bool canRecord() const;
    /// What the surface paints: the hovered picture, or the player's. Null while there is neither; good until
    /// `feedChanged`.
    [[nodiscard]] PictureFeed* feed() const;
    /// Pixels of the screen that pictures are painted on, hovered ones and the player's.
    void setSurfaceSize(Size pixels);

    /// Shows the timeline's picture at the playhead as the clips are now, until the preview is built: behind each step
    /// of a hand that edits them live.
    void showDraft();
    Q_INVOKABLE void togglePlayback();
    Q_INVOKABLE void seek(double seconds);
    Q_INVOKABLE void toggleRecording();
    /// Leaves the preview of an asset.
    Q_INVOKABLE void showTimeline();

Q_SIGNALS:
    void contentChanged();
    void workChanged();
    void positionChanged();
    void audioOnlyChanged();
    void countdownMoved();
    /// Another feed is to be painted, or its picture is another one.
    void feedChanged();

private:
    void followEditor();
    void followPlayers();
    void tellFeed();
    /// Whether what would be painted is of before what is wanted now.
    [[nodiscard]] bool isBehind() const;
    /// Content and choice decide what is shown, and with it everything else.
    void tellAll();
    void followWork();
    /// Tells where the countdown is, and again in a thirtieth of a second while it runs.
    void stepCountdown();

    std::shared_ptr<Workspace> workspace_;
    DraftPreview draft_;
    std::array<QMetaObject::Connection, 5> connections_;
    /// The editor whose players report here.
    std::weak_ptr<Editor> followed_;
    bool audioOnly_ = false;
    /// When the countdown began, on its editor's clock; none while there is none.
    std::optional<std::chrono::nanoseconds> countdownBegan_;
    /// What it counted from.
    int countdownFrom_ = 0;
    double countdownShare_ = 0;
    Timer countdownTimer_;
    NoticedWork import_;
};

}  // namespace kelvane
