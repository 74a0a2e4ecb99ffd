#include "CLIWaveform.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "InspectionFile.h"
#include "Media/AmplitudeBins.h"
#include "Platform/BitmapCanvas.h"
#include "Platform/ImageEncoding.h"
#include "Support/AtomicFile.h"

namespace kelvane::CLIWaveform {

namespace {

constexpr int pictureWidth = 1280;
constexpr int pictureHeight = 240;
/// Height of a full-scale bar, pixels; 20 stay free above and below.
constexpr double fullBar = 200;
constexpr CanvasColor background = CanvasColor::gray(0.08);
constexpr CanvasColor barColor{0.3, 0.65, 1.0};

/// The largest amplitude in each of equal bins of time.
class Peaks {
public:
    Peaks(double start, double end, int count)
        : start_(start), binSeconds_((end - start) / count), values_(static_cast<std::size_t>(count)) {}

    [[nodiscard]] double binSeconds() const { return binSeconds_; }
    [[nodiscard]] std::vector<float>& values() { return values_; }

    void take(const AudioSampleReader::AmplitudeBlock& block) {
        const auto keep = [this](std::size_t bin, float peak) { values_[bin] = std::max(values_[bin], peak); };
        AmplitudeBins::fold(block, [this](double time) { return binAt(time); }, keep);
    }

private:
    [[nodiscard]] std::size_t binAt(double time) const {
        const double bin = (time - start_) / binSeconds_;
        const auto last = static_cast<double>(values_.size() - 1);
        // A bin too short for a double gives no number at its start.
        return bin > 0 ? static_cast<std::size_t>(std::min(bin, last)) : 0;
    }

    double start_;
    double binSeconds_;
    std::vector<float> values_;
};

void describeClip(JSONObject& document, const UUID& clipID, double gain) {
    document.set("clipID", clipID.upper());
    document.set("volume", gain);
    document.set("volumePercent", std::round(gain * 100));
    document.set("muted", gain == 0);
    document.set("scope", "clip");
    document.set("context",
                 "Linear peak amplitude after this clip's trim and volume gain (0=silence, 1=full scale). Image runs "
                 "left to right in source seconds; no speech analysis.");
}

void describeSource(JSONObject& document) {
    document.set("scope", "source");
    document.set("context",
                 "Linear source amplitude per bin (0=silence, 1=full scale); no volume edits or speech analysis. Image "
                 "runs left to right from start to end.");
}

/// The bitmap; nothing without memory for it.
std::optional<BitmapCanvas> drawn(const std::vector<float>& peaks) {
    auto canvas = BitmapCanvas::make(pictureWidth, pictureHeight);
    if (!canvas) return std::nullopt;
    canvas->fill(background);
    const auto count = static_cast<double>(peaks.size());
    const double width = std::max(pictureWidth / count - 1, 1.0);
    for (std::size_t i = 0; i < peaks.size(); ++i) {
        if (!(peaks[i] > 0)) continue;
        const double height = std::min(static_cast<double>(peaks[i]), 1.0) * fullBar;
        const double x = static_cast<double>(i) * pictureWidth / count;
        canvas->fillRect({x, pictureHeight / 2.0 - height * 0.5, width, height}, barColor);
    }
    return canvas;
}

}  // namespace

Result<JSONObject> inspect(MediaPlatform& platform, const Clip& asset, double start, double end, int count,
                           const FileURL& folder, double gain, std::optional<UUID> clipID, std::stop_token stop) {
    const bool isRange =
        std::isfinite(start) && std::isfinite(end) && start >= 0 && end <= asset.sourceDuration && start < end;
    const bool isGain = std::isfinite(gain) && gain >= 0 && gain <= 1;
    if (!isRange || !isGain || count < 1 || count > maximumBins)
        return fail("Require 0 <= start < end <= source duration and count 1...1000.");
    Peaks peaks(start, end, count);
    if (gain > 0) {
        const auto take = [&peaks](const AudioSampleReader::AmplitudeBlock& block) { peaks.take(block); };
        const auto read = AudioSampleReader::readBlocks(platform, asset.url, start, end, take, stop);
        if (!read) return fail(read.error());
        if (!*read) return fail("Asset has no audio track.");
    }
    for (float& peak : peaks.values()) peak *= static_cast<float>(gain);
    if (stop.stop_requested()) return fail(Error::cancelled());

    const auto canvas = drawn(peaks.values());
    if (!canvas) return fail("Could not draw waveform.");
    if (auto made = makeFolders(folder.path()); !made) return fail(made.error());
    const std::string name = "waveform-" + clipID.value_or(asset.id).upper() + "-" + UUID::random().upper() + ".png";
    const std::string path = folder.appending(name).path();
    if (auto written = writeNewPicture(path, pngData(canvas->image()), "waveform"); !written)
        return fail(written.error());

    JSONObject document;
    document.set("assetID", asset.id.upper());
    document.set("path", path);
    document.set("start", start);
    document.set("end", end);
    document.set("binSeconds", peaks.binSeconds());
    document.set("peaks", jsonArray(peaks.values()));
    document.set("peak", static_cast<double>(*std::ranges::max_element(peaks.values())));
    if (clipID)
        describeClip(document, *clipID, gain);
    else
        describeSource(document);
    return document;
}

}  // namespace kelvane::CLIWaveform
