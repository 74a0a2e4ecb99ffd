#include "SourcesAhead.h"

#include <algorithm>
#include <cstddef>
#include <thread>
#include <unordered_set>
#include <vector>

namespace kelvane {

namespace {

/// Files that are opened at once: of the six threads that wait for a player's work half stay free, and of the cores
/// half are left to the window, which is made meanwhile.
std::size_t filesAtOnce() { return std::clamp(std::thread::hardware_concurrency() / 2, 1U, 3U); }

/// Each once, in the order of the clips.
std::vector<FileURL> sourcesOf(const std::vector<Clip>& clips) {
    std::unordered_set<FileURL> known;
    std::vector<FileURL> sources;
    for (const Clip& clip : clips)
        if (known.insert(clip.url).second) sources.push_back(clip.url);
    return sources;
}

}  // namespace

void openSourcesAhead(MainContext& context, MediaPlatform& media, const ClipArray& clips,
                      const std::weak_ptr<const Editor>& owner) {
    if (clips->empty()) return;
    for (std::size_t lane = 0, lanes = filesAtOnce(); lane < lanes; ++lane) {
        auto work = [&media, clips, owner, lane, lanes] {
            const auto sources = sourcesOf(*clips);
            for (std::size_t behind = lane; behind < sources.size() && !owner.expired(); behind += lanes)
                (void)media.openAsset(sources[sources.size() - 1 - behind], {});
        };
        context.runInBackground(std::move(work), Lane::playback);
    }
}

}  // namespace kelvane
