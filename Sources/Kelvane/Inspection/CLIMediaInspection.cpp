#include "CLIMediaInspection.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <system_error>
#include <thread>
#include <utility>

#include "InspectionDocument.h"
#include "InspectionFile.h"
#include "InspectionSheet.h"
#include "Support/AtomicFile.h"
#include "Support/Text.h"

namespace kelvane::CLIMediaInspection {

namespace {

/// Pixels a side of a still that is a file of its own, and of one that is reduced into a box of 300 × 216.
constexpr Size frameSize{1280, 1280};
constexpr Size tileSize{640, 640};

/// The files that one call has written, removed at its end unless they were kept.
class WrittenFiles {
public:
    WrittenFiles() = default;
    WrittenFiles(const WrittenFiles&) = delete;
    WrittenFiles& operator=(const WrittenFiles&) = delete;
    ~WrittenFiles() {
        for (const std::string& path : paths_) ::unlink(path.c_str());
    }

    void add(std::string path) { paths_.push_back(std::move(path)); }
    void keep() { paths_.clear(); }

private:
    std::vector<std::string> paths_;
};

JSONObject frameEntry(std::size_t index, double actual, double requested) {
    JSONObject entry;
    entry.set("index", static_cast<double>(index + 1));
    entry.set("timestamp", actual);
    entry.set("requestedTime", requested);
    return entry;
}

}  // namespace

Result<std::vector<double>> times(const std::optional<std::string>& text, double duration, int defaultCount,
                                  int limit) {
    if (!std::isfinite(duration) || duration <= 0) return fail("There is no video to inspect.");
    std::vector<double> found;
    if (!text) {
        for (int i = 0; i < defaultCount; ++i) found.push_back((i + 0.5) * duration / defaultCount);
        return found;
    }
    const auto pieces = std::ranges::count(*text, ',') + 1;
    if (pieces > limit) return fail(fmt::format("Request {} frames at a time.", limit));
    std::string_view rest = *text;
    for (auto piece = pieces; piece > 0; --piece) {
        const auto comma = std::min(rest.find(','), rest.size());
        const auto time = finiteNumber(rest.substr(0, comma));
        if (!time || *time < 0 || *time >= duration) return fail(unusableTimes());
        found.push_back(*time);
        rest.remove_prefix(std::min(comma + 1, rest.size()));
    }
    return found;
}

Result<std::vector<JSONObject>> frames(MediaPlatform& platform, const Clip& asset, const std::vector<double>& times,
                                       const FileURL& folder, std::stop_token stop, WhenStopped whenStopped) {
    const auto exact = mediaTimes(times);
    if (!exact) return fail(exact.error());
    if (auto made = makeFolders(folder.path()); !made) return fail(made.error());

    WrittenFiles files;
    std::vector<JSONObject> entries(times.size());
    const auto take = [&](std::size_t index, const TimedStill& still) -> Result<void> {
        if (stop.stop_requested()) return fail(Error::cancelled());
        const auto path = folder.appending(asset.id.upper() + "-" + UUID::random().upper() + ".jpg").path();
        files.add(path);
        if (auto written = writeInspectionImage(path, *still.image); !written) return written;
        entries[index].set("timestamp", still.actualTime.seconds());
        entries[index].set("path", std::string_view(path));
        return {};
    };
    const auto taken = platform.sourceStills(asset.url, *exact, frameSize, take, stop);
    if (taken || (taken.error().isCancelled() && whenStopped == WhenStopped::keeps)) files.keep();
    if (!taken) return fail(taken.error());
    return entries;
}

Result<JSONObject> contactSheet(MediaPlatform& platform, const Clip& asset, const std::vector<double>& times,
                                const FileURL& folder, bool compact, std::stop_token stop) {
    const auto exact = mediaTimes(times);
    if (!exact) return fail(exact.error());
    auto sheet = Sheet::make("Source · " + asset.name(), "Asset " + asset.id.upper() + " · original aspect ratio",
                             static_cast<int>(times.size()));
    if (!sheet) return fail(sheet.error());

    std::vector<double> shown(times.size());
    std::vector<JSONObject> entries(times.size());
    const auto take = [&](std::size_t index, const TimedStill& still) -> Result<void> {
        if (stop.stop_requested()) return fail(Error::cancelled());
        shown[index] = still.actualTime.seconds();
        sheet->add(*still.image, static_cast<int>(index), fmt::format("{:02} · {:.3f} s", index + 1, shown[index]), "");
        entries[index] = frameEntry(index, shown[index], times[index]);
        return {};
    };
    if (auto taken = platform.sourceStills(asset.url, *exact, tileSize, take, stop); !taken) return fail(taken.error());
    if (stop.stop_requested()) return fail(Error::cancelled());
    const auto path = sheet->save(folder, "source-" + asset.id.upper());
    if (!path) return fail(path.error());

    JSONObject document;
    document.set("assetID", std::string_view(asset.id.upper()));
    document.set("path", std::string_view(*path));
    if (compact) {
        document.set("timestamps", jsonArray(shown));
    } else {
        document.set("frames", jsonArray(entries));
        document.set("context",
                     "Sparse source stills in original aspect ratio. No continuous motion or audio analysis.");
    }
    return document;
}

JSONObject contactSheets(const std::vector<Clip>& assets, const RenderAsset& render, std::stop_token stop) {
    // Each result has one writer, and all are read behind the threads' ends.
    std::vector<std::optional<Result<JSONObject>>> results(assets.size());
    std::atomic<std::size_t> next = 0;
    const auto work = [&] {
        while (!stop.stop_requested()) {
            const std::size_t index = next.fetch_add(1);
            if (index >= assets.size()) return;
            results[index] = render(assets[index]);
        }
    };
    {
        std::jthread second;
        if (assets.size() > 1) {
            try {
                second = std::jthread(work);
            } catch (const std::system_error&) {
                // No thread to be had: this one does it all.
            }
        }
        work();
    }

    std::vector<JSONObject> sheets;
    std::vector<JSONObject> errors;
    for (std::size_t i = 0; i < assets.size(); ++i) {
        auto& result = results[i];
        if (result && *result) {
            sheets.push_back(**std::move(result));
            continue;
        }
        const bool isInterrupted = !result || result->error().isCancelled();
        JSONObject& entry = errors.emplace_back();
        entry.set("assetID", std::string_view(assets[i].id.upper()));
        entry.set("error", isInterrupted ? std::string_view("Inspection was interrupted.") : result->error().message);
    }
    JSONObject document;
    document.set("sheets", jsonArray(sheets));
    document.set("errors", jsonArray(errors));
    document.set("complete", errors.empty());
    return document;
}

}  // namespace kelvane::CLIMediaInspection
