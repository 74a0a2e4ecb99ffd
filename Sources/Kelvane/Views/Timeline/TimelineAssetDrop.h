#pragma once

#include <QObject>
#include <QPointF>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Editor/Editor.h"

class QMimeData;

namespace kelvane {

/// Takes a text, or nothing where there is none. May be called late, and on any thread.
using TextReceiver = std::function<void(std::optional<std::string>)>;
/// One item of a drag that promises plain text; reads it for the receiver. Asked on the main thread.
using TextProvider = std::function<void(TextReceiver)>;

/// A drag over the timeline, as one event of the platform tells of it. Good during the event.
struct TimelineDrag {
    /// The pointer's place in the scrolled content, points from its left edge, where half a viewport lies before
    /// time 0, and from the top of the ruler.
    QPointF location;
    /// The items of plain text; none where the drag has another content.
    std::vector<TextProvider> texts;

    /// `data` is that of a platform's event. Files, which other programs put into plain text as well, count as none.
    static TimelineDrag of(const QMimeData& data, QPointF location);
};

/// The state of a drag of assets over one timeline. The platform hands the payload over when it likes: late, so that
/// the drop has to wait for it, twice, or never. The main thread.
class TimelineAssetDropTarget final : public QObject {
    Q_OBJECT

public:
    /// What a payload names; nothing for one that can't be read.
    using AssetIDs = std::optional<std::vector<UUID>>;
    /// Takes what was loaded, on the main thread.
    using Completion = std::function<void(AssetIDs)>;
    /// Reads the payload of a drag.
    using Loader = std::function<void(const TextProvider&, Completion)>;
    /// What waits for a payload that comes after the drop. Answers whether something was inserted.
    using PendingDrop = std::function<bool(const std::vector<UUID>&)>;

    /// Loads by `textLoader`.
    explicit TimelineAssetDropTarget(MainContext& context);
    explicit TimelineAssetDropTarget(Loader loader);

    /// Asks a provider for its text, and completes in a later turn of the main thread, wherever the text comes.
    /// `context` outlives all providers.
    static Loader textLoader(MainContext& context);
    /// Reads "asset:" or "assets:" and ids parted by commas, in their order. One that is none spoils all.
    static AssetIDs assetIDs(std::string_view text);
    /// The assets with these ids, in the order of the ids; nothing when one is missing.
    static std::optional<std::vector<Clip>> assets(std::span<const UUID> ids, std::span<const Clip> assets);

    /// Where the pointer is, as TimelineDrag has it; nothing while no drag is over the timeline.
    [[nodiscard]] const std::optional<QPointF>& location() const { return location_; }
    void setLocation(std::optional<QPointF> location);
    /// What is dragged; nothing before it is known, and empty for a payload that isn't ours.
    [[nodiscard]] const AssetIDs& assetIDs() const { return assetIDs_; }
    /// The load that counts; what another one brings is dropped.
    [[nodiscard]] const std::optional<UUID>& requestID() const { return requestID_; }
    [[nodiscard]] const PendingDrop& pendingDrop() const { return pendingDrop_; }
    void setPendingDrop(PendingDrop drop) { pendingDrop_ = std::move(drop); }

    /// Back to no drag. What is being loaded is dropped when it comes.
    void reset();
    /// Begins to load, in place of an earlier load. What it brings counts once.
    void load(const TextProvider& provider);

Q_SIGNALS:
    /// `location` or the assets' ids.
    void changed();

private:
    void complete(const UUID& request, const AssetIDs& ids);

    Loader loader_;
    std::optional<QPointF> location_;
    AssetIDs assetIDs_;
    std::optional<UUID> requestID_;
    PendingDrop pendingDrop_;
    /// Weak pointers to it tell a load whether somebody waits for it still.
    std::shared_ptr<TimelineAssetDropTarget> self_{this, [](TimelineAssetDropTarget*) {}};
};

enum class DropProposal { forbidden, copy };

/// Answers the platform's events of a drag over the timeline; made anew for each. The main thread.
struct TimelineAssetDropDelegate {
    std::shared_ptr<Editor> editor;
    TimelineAssetDropTarget* target = nullptr;
    /// False while the editor is busy.
    bool isEnabled = false;
    /// Of time 0 from the content's left edge, points: half the viewport's width.
    double timelineInset = 0;
    double pointsPerSecond = 1;
    /// Runs an edit in such a way that what it moves travels there. Without it things jump.
    std::function<void(const std::function<void()>&)> animation;

    /// Whether the drag is of any interest.
    [[nodiscard]] bool validateDrop(const TimelineDrag& drag) const;
    void dropEntered(const TimelineDrag& drag) const;
    [[nodiscard]] DropProposal dropUpdated(const TimelineDrag& drag) const;
    void dropExited() const;
    /// Inserts what is dragged where it was let go, at once or when it is known, unless the timeline has changed until
    /// then. False where it is refused at once.
    [[nodiscard]] bool performDrop(const TimelineDrag& drag) const;

    /// The index in the clips at which the track marks that the drag would land. Nothing before its assets are known,
    /// without video among them, and when one of them is gone.
    [[nodiscard]] std::optional<std::ptrdiff_t> markedIndex() const;

private:
    /// Index in the clips where a drop at this place inserts.
    [[nodiscard]] std::ptrdiff_t insertionIndex(QPointF location) const;
    [[nodiscard]] bool isRefused(const TimelineDrag& drag) const { return !isEnabled || drag.texts.empty(); }
};

}  // namespace kelvane
