#include "TimelineAssetDrop.h"

#include <QMimeData>
#include <QPointer>
#include <algorithm>
#include <unordered_map>
#include <utility>

#include "Platform/MainContext.h"

namespace kelvane {

namespace {

/// Names under which programs offer plain text in UTF-8; some know the longer one alone.
const QString plainTexts[] = {QStringLiteral("text/plain"), QStringLiteral("text/plain;charset=utf-8")};

/// Inserts the assets unless the timeline has changed since `snapshot`, in which `index` counts.
bool insertInto(Editor& editor, const ClipArray& snapshot, const std::vector<UUID>& ids, std::ptrdiff_t index,
                const std::function<void(const std::function<void()>&)>& animation) {
    if (editor.clipArray() != snapshot && editor.clips() != *snapshot) return false;
    if (editor.busy() || editor.isBuilding() || editor.interactionSnapshot()) return false;
    if (!TimelineAssetDropTarget::assets(ids, editor.assets())) return false;
    const auto add = [&] { editor.addAssets(ids, index); };
    if (animation)
        animation(add);
    else
        add();
    return true;
}

}  // namespace

TimelineDrag TimelineDrag::of(const QMimeData& data, QPointF location) {
    const auto* const format =
        std::ranges::find_if(plainTexts, [&data](const QString& text) { return data.hasFormat(text); });
    if (data.hasUrls() || format == std::end(plainTexts)) return {location, {}};
    // Read when it is asked for: each reading may be a talk with another program.
    const auto read = [data = QPointer<const QMimeData>(&data), format](const TextReceiver& receive) {
        if (data)
            receive(data->data(*format).toStdString());
        else
            receive(std::nullopt);
    };
    return {location, {read}};
}

TimelineAssetDropTarget::TimelineAssetDropTarget(MainContext& context) : loader_(textLoader(context)) {}

TimelineAssetDropTarget::TimelineAssetDropTarget(Loader loader) : loader_(std::move(loader)) {}

TimelineAssetDropTarget::Loader TimelineAssetDropTarget::textLoader(MainContext& context) {
    return [&context](const TextProvider& provider, const Completion& complete) {
        provider([&context, complete](std::optional<std::string> text) {
            context.post([complete, text = std::move(text)] { complete(text ? assetIDs(*text) : std::nullopt); });
        });
    };
}

TimelineAssetDropTarget::AssetIDs TimelineAssetDropTarget::assetIDs(std::string_view text) {
    constexpr std::string_view several = "assets:";
    constexpr std::string_view one = "asset:";
    if (text.starts_with(several))
        text.remove_prefix(several.size());
    else if (text.starts_with(one))
        text.remove_prefix(one.size());
    else
        return std::nullopt;
    std::vector<UUID> ids;
    while (true) {
        const std::size_t end = text.find(',');
        const auto id = UUID::parse(text.substr(0, end));
        if (!id) return std::nullopt;
        ids.push_back(*id);
        if (end == std::string_view::npos) return ids;
        text.remove_prefix(end + 1);
    }
}

std::optional<std::vector<Clip>> TimelineAssetDropTarget::assets(std::span<const UUID> ids,
                                                                 std::span<const Clip> assets) {
    std::unordered_map<UUID, const Clip*> known;
    for (const Clip& asset : assets) known.emplace(asset.id, &asset);
    std::vector<Clip> found;
    for (const UUID& id : ids) {
        const auto asset = known.find(id);
        if (asset == known.end()) return std::nullopt;
        found.push_back(*asset->second);
    }
    return found;
}

void TimelineAssetDropTarget::setLocation(std::optional<QPointF> location) {
    if (std::exchange(location_, location) != location) Q_EMIT changed();
}

void TimelineAssetDropTarget::reset() {
    const bool wasShown = location_ || assetIDs_;
    location_.reset();
    assetIDs_.reset();
    requestID_.reset();
    pendingDrop_ = nullptr;
    if (wasShown) Q_EMIT changed();
}

void TimelineAssetDropTarget::load(const TextProvider& provider) {
    const UUID request = UUID::random();
    requestID_ = request;
    loader_(provider, [weak = std::weak_ptr(self_), request](const AssetIDs& ids) {
        if (const auto self = weak.lock()) self->complete(request, ids);
    });
}

void TimelineAssetDropTarget::complete(const UUID& request, const AssetIDs& ids) {
    // One that has its ids has had its payload.
    if (requestID_ != request || assetIDs_) return;
    if (!pendingDrop_) {
        assetIDs_ = ids.value_or(std::vector<UUID>());
        Q_EMIT changed();
        return;
    }
    const PendingDrop drop = std::exchange(pendingDrop_, nullptr);
    reset();
    if (ids) (void)drop(*ids);
}

bool TimelineAssetDropDelegate::validateDrop(const TimelineDrag& drag) const { return !isRefused(drag); }

void TimelineAssetDropDelegate::dropEntered(const TimelineDrag& drag) const {
    if (isRefused(drag)) return;
    editor->endHoverPreview();
    target->reset();
    target->setLocation(drag.location);
    target->load(drag.texts.front());
}

DropProposal TimelineAssetDropDelegate::dropUpdated(const TimelineDrag& drag) const {
    if (isRefused(drag)) return DropProposal::forbidden;
    if (!target->pendingDrop()) target->setLocation(drag.location);
    const auto& ids = target->assetIDs();
    if (ids && !TimelineAssetDropTarget::assets(*ids, editor->assets())) return DropProposal::forbidden;
    return DropProposal::copy;
}

void TimelineAssetDropDelegate::dropExited() const {
    if (!target->pendingDrop()) target->reset();
}

bool TimelineAssetDropDelegate::performDrop(const TimelineDrag& drag) const {
    if (isRefused(drag)) {
        target->reset();
        return false;
    }
    const auto insert = [weak = std::weak_ptr(editor), snapshot = editor->clipArray(),
                         index = insertionIndex(drag.location), animation = animation](const std::vector<UUID>& ids) {
        const auto shown = weak.lock();
        return shown && insertInto(*shown, snapshot, ids, index, animation);
    };
    if (const auto ids = target->assetIDs()) {
        target->reset();
        return insert(*ids);
    }
    target->setPendingDrop(insert);
    target->setLocation(std::nullopt);
    if (!target->requestID()) target->load(drag.texts.front());
    return true;
}

std::optional<std::ptrdiff_t> TimelineAssetDropDelegate::markedIndex() const {
    if (!target->location() || !target->assetIDs()) return std::nullopt;
    const auto assets = TimelineAssetDropTarget::assets(*target->assetIDs(), editor->assets());
    if (!assets || std::ranges::all_of(*assets, &Clip::isAudio)) return std::nullopt;
    return insertionIndex(*target->location());
}

std::ptrdiff_t TimelineAssetDropDelegate::insertionIndex(QPointF location) const {
    const double time = (location.x() - timelineInset) / pointsPerSecond;
    return static_cast<std::ptrdiff_t>(editor->placement().insertionIndex(time));
}

}  // namespace kelvane
