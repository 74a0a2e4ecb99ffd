#include "TimelineChanges.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "Views/Rows/RowChanges.h"

namespace kelvane {

namespace {

std::vector<UUID> idsOf(std::span<const Clip> clips) {
    std::vector<UUID> ids;
    ids.reserve(clips.size());
    for (const Clip& clip : clips) ids.push_back(clip.id);
    return ids;
}

/// The ids of the rows that move.
std::unordered_set<UUID> moved(std::vector<UUID> rows, std::span<const UUID> after) {
    std::unordered_set<UUID> found;
    for (const auto& [kind, first, count, destination] : rowChanges(rows, after)) {
        const auto begin = rows.begin() + first;
        switch (kind) {
            case RowChange::Kind::remove:
                rows.erase(begin, begin + count);
                break;
            case RowChange::Kind::move:
                found.insert(begin, begin + count);
                if (destination < first)
                    std::rotate(rows.begin() + destination, begin, begin + count);
                else
                    std::rotate(begin, begin + count, rows.begin() + destination);
                break;
            case RowChange::Kind::insert:
                return found;
        }
    }
    return found;
}

}  // namespace

std::vector<UUID> changedClips(std::span<const Clip> before, std::span<const Clip> after) {
    std::unordered_map<UUID, const Clip*> known;
    for (const Clip& clip : before) known.emplace(clip.id, &clip);
    const std::unordered_set<UUID> elsewhere = moved(idsOf(before), idsOf(after));
    std::vector<UUID> changed;
    for (const Clip& clip : after) {
        const auto was = known.find(clip.id);
        if (was == known.end() || *was->second != clip || elsewhere.contains(clip.id)) changed.push_back(clip.id);
    }
    return changed;
}

ClipChanges clipChanges(std::span<const Clip> before, std::span<const Clip> after) {
    const std::vector<UUID> was = idsOf(before);
    const std::vector<UUID> is = idsOf(after);
    const std::unordered_set<UUID> known(was.begin(), was.end());
    const std::unordered_set<UUID> left(is.begin(), is.end());
    ClipChanges changes;
    for (const UUID& id : changedClips(before, after))
        (known.contains(id) ? changes.changed : changes.added).push_back(id);
    for (const UUID& id : was)
        if (!left.contains(id)) changes.removed.push_back(id);
    return changes;
}

}  // namespace kelvane
