#pragma once

#include <QCoroTask>
#include <QImage>
#include <QList>
#include <QPointer>
#include <QQuickItem>
#include <optional>
#include <span>

#include "Inspection/AudioWaveformCache.h"
#include "Timeline/Clip.h"
#include "WaveformOutline.h"

class QQmlEngine;

namespace kelvane {

/// Lets the waveforms that `engine` makes ask `cache`, the one of the application, which outlives them. Before it is
/// called, and without an engine, they show live peaks alone.
void shareWaveforms(QQmlEngine& engine, AudioWaveformCache& cache);
/// The one that the engine of this object was given; null where it was given none.
AudioWaveformCache* sharedWaveforms(const QObject& madeByEngine);

/// Draws the sound of the stretch of a file that a clip shows (see waveformOutline). The file's peaks are asked for
/// when the item is shown first and whenever it gets a clip of another file. What comes for a former file is dropped,
/// and where reading fails nothing is drawn.
///
/// An hour of sound is hundreds of thousands of points wide. The item therefore paints an image of what its window
/// shows of it and some more on each side, and a new one once something else comes into sight: a painted item of that
/// width would take more pixels than any painter or texture has. The main thread; its node is made while that one
/// waits.
class AudioWaveformView : public QQuickItem {
    Q_OBJECT
    /// What to draw.
    Q_PROPERTY(kelvane::Clip clip READ clip WRITE setClip NOTIFY clipChanged)
    /// Peaks handed in while the clip is recorded, AudioWaveform::peaksPerSecond of them; `undefined` for none. While
    /// there are any, if only an empty list, no file is read.
    Q_PROPERTY(QList<float> livePeaks READ livePeaks WRITE setLivePeaks RESET resetLivePeaks NOTIFY livePeaksChanged)
    /// Whether the mark of a recording is shown.
    Q_PROPERTY(bool isRecording READ isRecording WRITE setIsRecording NOTIFY isRecordingChanged)
    /// Drawn over another picture, as on a lane, rather than by itself.
    Q_PROPERTY(bool overlay READ overlay WRITE setOverlay NOTIFY overlayChanged)

public:
    explicit AudioWaveformView(QQuickItem* parent = nullptr);

    [[nodiscard]] const Clip& clip() const { return clip_; }
    void setClip(const Clip& clip);
    [[nodiscard]] QList<float> livePeaks() const { return livePeaks_.value_or(QList<float>()); }
    void setLivePeaks(const QList<float>& peaks);
    void resetLivePeaks();
    [[nodiscard]] bool isRecording() const { return isRecording_; }
    void setIsRecording(bool isRecording);
    [[nodiscard]] bool overlay() const { return overlay_; }
    void setOverlay(bool overlay);
    /// What the file's reading gave; empty before and without it.
    [[nodiscard]] std::span<const float> peaks() const;

Q_SIGNALS:
    void clipChanged();
    void livePeaksChanged();
    void isRecordingChanged();
    void overlayChanged();

protected:
    void updatePolish() override;
    QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData* data) override;
    void geometryChange(const QRectF& now, const QRectF& before) override;
    void itemChange(ItemChange change, const ItemChangeData& data) override;

private:
    /// Asks for the file's peaks, in place of those of the file before.
    void load();
    static QCoro::Task<void> take(QPointer<AudioWaveformView> view, AudioWaveformCache* cache, FileURL url, int load);
    /// What is drawn is another from the next frame on.
    void redraw();
    /// Paints again where the image is old, or the window shows what it doesn't hold.
    void followWindow();
    [[nodiscard]] QImage painted(const QRect& part) const;
    void paintSound(QPainter& painter, const QRect& part) const;

    Clip clip_;
    std::optional<QList<float>> livePeaks_;
    bool isRecording_ = false;
    bool overlay_ = false;

    std::optional<AudioWaveformCache::Samples> peaks_;
    /// Which file is waited for; what comes for an earlier load is dropped.
    int load_ = 0;
    bool mustLoad_ = true;
    /// Whether the file's peaks weren't asked for, as there were live ones.
    bool isHeldBack_ = false;

    WaveformOutline outline_;
    bool isOutlineOld_ = true;
    QImage image_;
    /// The part of the item that the image holds.
    QRect part_;
    bool isImageOld_ = true;
    bool isTextureOld_ = true;
    QMetaObject::Connection frames_;
};

}  // namespace kelvane
