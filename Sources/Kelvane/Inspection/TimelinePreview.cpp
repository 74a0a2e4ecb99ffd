#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "CLIMediaInspection.h"
#include "InspectionDocument.h"
#include "InspectionSheet.h"
#include "Media/MediaEngine.h"
#include "Timeline/Framing.h"

namespace kelvane::CLIMediaInspection {

namespace {

/// How far before a point its last frame is looked for: one frame, seconds.
constexpr double oneFrame = MediaEngine::previewFrame.seconds();
constexpr int maximumMiddles = 8;
constexpr int maximumCuts = 7;

/// Pixels a side of a rendered still.
constexpr Size stillSize{1280, 1280};
/// How much before the end the last frame is asked for.
constexpr MediaTime lastInstant{1, compositionTimescale};
constexpr std::size_t shortIDCharacters = 8;

/// At most `maximum` places, evenly over 0 to `count` - 1.
std::vector<std::size_t> spread(std::size_t count, int maximum) {
    const std::size_t picks = std::min(count, static_cast<std::size_t>(maximum));
    if (picks <= 1) return std::vector<std::size_t>(picks);
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < picks; ++i) {
        const double place = static_cast<double>((count - 1) * i) / static_cast<double>(picks - 1);
        places.push_back(static_cast<std::size_t>(std::round(place)));
    }
    return places;
}

using Spans = TimelineSpans<MediaTime>;

/// Which picture shows at `time`, seconds, where the clips lie as `spans` say.
std::optional<TimelinePosition> position(double time, std::span<const Clip> clips, const Spans& spans) {
    if (!std::isfinite(time)) return std::nullopt;
    const auto index = spans.videoAt(time, &MediaTime::seconds);
    if (!index) return std::nullopt;
    return TimelinePosition{
        *index, MediaEngine::sourceRange(clips[*index]).start.seconds() + time - spans[*index].start.seconds()};
}

/// One preview under way: which times are drawn how, and what the document tells of them.
class Preview {
public:
    Preview(const std::vector<Clip>& clips, const std::vector<double>& requested, Sheet sheet)
        : clips_(clips),
          spans_(MediaEngine::timelineSpans(clips)),
          requested_(requested),
          sheet_(std::move(sheet)),
          shown_(requested.size()),
          entries_(requested.size()) {}

    Result<void> draw(MediaPlatform& platform, const EditedMediaPtr& media, const std::stop_token& stop) {
        const auto exact = mediaTimes(requested_);
        if (!exact) return fail(exact.error());
        const MediaTime last = media->composition.duration() - lastInstant;
        std::vector<MediaTime> pictured;
        std::vector<std::size_t> slots;
        for (std::size_t i = 0; i < exact->size(); ++i) {
            if (stop.stop_requested()) return fail(Error::cancelled());
            const MediaTime time = picturedTime(*media, std::min((*exact)[i], last));
            if (position(time.seconds(), clips_, spans_)) {
                pictured.push_back(time);
                slots.push_back(i);
            } else if (auto drawn = addBlack(i, time.seconds()); !drawn) {
                return drawn;
            }
        }
        if (pictured.empty()) return {};
        const auto take = [&](std::size_t index, const TimedStill& still) -> Result<void> {
            if (stop.stop_requested()) return fail(Error::cancelled());
            return addPicture(slots[index], still);
        };
        return platform.timelineStills(media, pictured, stillSize, take, stop);
    }

    [[nodiscard]] const Sheet& sheet() const { return sheet_; }
    [[nodiscard]] const std::vector<double>& shown() const { return shown_; }
    [[nodiscard]] const std::vector<JSONObject>& entries() const { return entries_; }

private:
    Result<void> addBlack(std::size_t slot, double time) {
        if (!black_) {
            black_ = BitmapCanvas::make(static_cast<int>(Framing::size.width), static_cast<int>(Framing::size.height));
            if (!black_) return fail("Could not render black frame.");
            black_->fill(CanvasColor::gray(0));
        }
        sheet_.add(black_->image(), static_cast<int>(slot), fmt::format("{:02} · Timeline {:.3f} s", slot + 1, time),
                   "Black frame · audio tail");
        describe(slot, time).set("kind", "black");
        return {};
    }

    Result<void> addPicture(std::size_t slot, const TimedStill& still) {
        const double time = still.actualTime.seconds();
        // The frame that was had may lie just across a cut from the time that was asked for.
        const auto shown = position(time, clips_, spans_);
        if (!shown) return fail("Preview frame is outside the video sequence.");
        const std::string clipID = clips_[shown->index].id.upper();
        sheet_.add(*still.image, static_cast<int>(slot),
                   fmt::format("{:02} · Timeline {:.3f} s · Shot {}", slot + 1, time, shown->index + 1),
                   fmt::format("Source {:.3f} s · {}", shown->sourceTime, clipID.substr(0, shortIDCharacters)));
        JSONObject& entry = describe(slot, time);
        entry.set("clipIndex", static_cast<double>(shown->index + 1));
        entry.set("clipID", std::string_view(clipID));
        entry.set("sourceTime", shown->sourceTime);
        return {};
    }

    JSONObject& describe(std::size_t slot, double time) {
        shown_[slot] = time;
        JSONObject& entry = entries_[slot];
        entry.set("index", static_cast<double>(slot + 1));
        entry.set("timestamp", time);
        entry.set("requestedTime", requested_[slot]);
        return entry;
    }

    const std::vector<Clip>& clips_;
    Spans spans_;
    const std::vector<double>& requested_;
    Sheet sheet_;
    std::optional<BitmapCanvas> black_;
    std::vector<double> shown_;
    std::vector<JSONObject> entries_;
};

}  // namespace

std::vector<double> previewTimes(std::span<const Clip> clips) {
    const Spans spans = MediaEngine::timelineSpans(clips);
    const auto& videos = spans.videos();
    if (videos.empty()) return {};
    const double videoEnd = spans.videoEnd().seconds();
    double total = videoEnd;
    for (std::size_t i = 0; i < clips.size(); ++i)
        if (clips[i].isAudio()) total = std::max(total, spans[i].end.seconds());

    std::vector<double> candidates{0, std::max(total - oneFrame, 0.0)};
    if (videoEnd < total) {
        candidates.push_back(videoEnd);
        candidates.push_back((total + videoEnd) * 0.5);
    }
    for (const std::size_t i : spread(videos.size(), maximumMiddles)) {
        const auto& shot = spans[videos[i]];
        candidates.push_back(shot.start.seconds() + (shot.end - shot.start).seconds() * 0.5);
    }
    for (const std::size_t i : spread(videos.size() - 1, maximumCuts)) {
        const double cut = spans[videos[i + 1]].start.seconds();
        candidates.push_back(std::max(cut - oneFrame, 0.0));
        candidates.push_back(cut);
    }
    std::erase_if(candidates, [total](double time) { return time < 0 || time >= total; });
    std::ranges::sort(candidates);
    candidates.erase(std::ranges::unique(candidates).begin(), candidates.end());

    std::vector<double> picked;
    for (const std::size_t i : spread(candidates.size(), maximumSheetFrames)) picked.push_back(candidates[i]);
    return picked;
}

std::optional<TimelinePosition> timelinePosition(double time, std::span<const Clip> clips) {
    return position(time, clips, MediaEngine::timelineSpans(clips));
}

Result<JSONObject> preview(MediaPlatform& platform, const std::vector<Clip>& clips, std::string_view name,
                           const std::vector<double>& times, const FileURL& folder, bool compact,
                           const EditedMediaPtr& preparedMedia, std::stop_token stop) {
    EditedMediaPtr media = preparedMedia;
    if (!media) {
        auto built = MediaEngine::build(platform, clips, Framing::size, MediaEngine::previewFrame, stop);
        if (!built) return fail(built.error());
        media = *std::move(built);
    }
    const double duration = media->composition.duration().seconds();
    auto sheet = Sheet::make("Timeline · " + std::string(name),
                             fmt::format("{:.3f} s · 1080 × 1920 framing · timeline and source timestamps", duration),
                             static_cast<int>(std::min(times.size(), std::size_t{maximumSheetFrames} + 1)));
    if (!sheet) return fail(sheet.error());

    Preview preview(clips, times, *std::move(sheet));
    if (auto drawn = preview.draw(platform, media, stop); !drawn) return fail(drawn.error());
    if (stop.stop_requested()) return fail(Error::cancelled());
    const auto path = preview.sheet().save(folder, "timeline");
    if (!path) return fail(path.error());

    JSONObject document;
    document.set("path", std::string_view(*path));
    document.set("duration", duration);
    if (compact) {
        document.set("timestamps", jsonArray(preview.shown()));
    } else {
        document.set("frames", jsonArray(preview.entries()));
        document.set("context",
                     "Rendered timeline stills with the editor's crop and orientation. Inspect framing and both sides "
                     "of sampled cuts. No continuous motion or audio analysis.");
    }
    return document;
}

}  // namespace kelvane::CLIMediaInspection
