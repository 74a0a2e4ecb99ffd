#pragma once

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <memory>
#include <optional>
#include <stop_token>

#include "Editor/Editor.h"

namespace kelvane {

/// The timeline's picture at the playhead while a hand changes a clip again and again: the preview's own build waits
/// for the hand to pause, and what the editor's player holds is out of date until then. Pictures come one after the
/// other, each of the clips as they are when it is begun, so that none is given up for a newer one. Draws nothing. The
/// main thread.
class DraftPreview final : public QObject {
    Q_OBJECT

public:
    DraftPreview();
    ~DraftPreview() override;

    /// Shows the clips as they are now; ends where the playhead is on none with a picture. Nothing while busy, while it
    /// plays or while an asset is shown.
    void show(const std::shared_ptr<Editor>& editor);
    /// The editor's player is shown again.
    void end();
    /// Ends once the editor's player shows the clips as they are, and where something else is to be seen.
    void endWhenBuilt();
    /// Its picture; null while there is none.
    [[nodiscard]] PictureFeed* feed() const;
    /// Pixels of the screen that it is painted on.
    void setSurfaceSize(Size pixels);

Q_SIGNALS:
    /// Another picture is to be painted, or none of these.
    void changed();

private:
    /// Begins the next picture if one is wanted and none is on its way.
    void step();
    void seek();
    static QCoro::Task<void> build(QPointer<DraftPreview> self, MainContext* context, MediaPlatform* media, Clip clip,
                                   std::stop_token stop);
    void take(const Clip& clip, Result<EditedMediaPtr> built);

    std::weak_ptr<Editor> editor_;
    std::unique_ptr<Player> player_;
    Size surface_;
    /// Whether the clips have changed since the last picture was begun.
    bool isOld_ = false;
    /// The whole source of the clip at the playhead, as the player has it.
    std::optional<Clip> shown_;
    /// Of a build under way.
    std::stop_source task_{std::nostopstate};
    /// Looks again whether the picture that was asked for is there.
    Timer look_;
    /// Where the playhead was, seconds.
    double playhead_ = 0;
};

}  // namespace kelvane
