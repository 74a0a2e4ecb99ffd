#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "Media/MediaPlatform.h"
#include "Support/FakeMediaPlatform.h"
#include "Support/TempFolder.h"
#include "Support/TestData.h"

namespace kelvane::testing {

/// A picture of one colour.
inline StillImage plainStill(int width, int height, int red, int green, int blue) {
    StillImage image{width, height, {}};
    for (int i = 0; i < width * height; ++i)
        for (const int part : {red, green, blue, 255}) image.pixels.push_back(static_cast<std::uint8_t>(part));
    return image;
}

/// A platform that hands stills over from the last to the first, as a real one may, each of the colour and time that
/// the test says; all else is the fake's.
class StillPlatform final : public MediaPlatform {
public:
    FakeMediaPlatform fake;
    /// What is shown for the time at `index`.
    std::function<Result<TimedStill>(std::size_t index, MediaTime time)> still = [](std::size_t index, MediaTime time) {
        const int shade = 40 + 8 * static_cast<int>(index);
        return TimedStill{std::make_shared<StillImage>(plainStill(64, 36, shade, 255 - shade, 90)), time};
    };
    /// One line for each request: "a.mov within 640x640: 300/600 600/600"; "timeline …" for those of a timeline.
    std::vector<std::string> requests;

    Result<void> sourceStills(const FileURL& url, const std::vector<MediaTime>& times, Size maximum,
                              const StillConsumer& consume, std::stop_token stop) override {
        return handOver(url.fileName(), times, maximum, consume, stop);
    }
    Result<void> timelineStills(const EditedMediaPtr& media, const std::vector<MediaTime>& times, Size maximum,
                                const StillConsumer& consume, std::stop_token stop) override {
        timeline = media;
        return handOver("timeline", times, maximum, consume, stop);
    }
    /// The media of the last timeline's stills.
    EditedMediaPtr timeline;

    Result<MediaAssetPtr> openAsset(const FileURL& url, std::stop_token stop) override {
        return fake.openAsset(url, stop);
    }
    Result<StillImagePtr> image(const MediaAssetPtr& asset, MediaTime time, Size maximum,
                                std::stop_token stop) override {
        return fake.image(asset, time, maximum, stop);
    }
    Result<void> readSamples(const MediaTrackPtr& track, const std::string& name, double start,
                             std::optional<double> end, const SampleConsumer& consume, std::stop_token stop) override {
        return fake.readSamples(track, name, start, end, consume, stop);
    }
    std::unique_ptr<ExportSession> makeExportSession(EditedMediaPtr media) override {
        return fake.makeExportSession(std::move(media));
    }

private:
    Result<void> handOver(const std::string& name, const std::vector<MediaTime>& times, Size maximum,
                          const StillConsumer& consume, const std::stop_token&) {
        std::string line = name + " within " + std::to_string(static_cast<int>(maximum.width)) + "x" +
                           std::to_string(static_cast<int>(maximum.height)) + ":";
        for (const MediaTime time : times) line += " " + FakeMediaPlatform::describe(time);
        requests.push_back(line);
        for (std::size_t i = times.size(); i-- > 0;) {
            const auto shown = still(i, times[i]);
            if (!shown) return fail(shown.error());
            if (auto taken = consume(i, *shown); !taken) return taken;
        }
        return {};
    }
};

/// A document's text with what differs from run to run put right: the folder's path, and the new ids in files' names.
inline std::string normalized(std::string text, const TempFolder& folder) {
    for (auto at = text.find(folder.path()); at != std::string::npos; at = text.find(folder.path()))
        text.replace(at, folder.path().size(), "FOLDER");
    static const std::regex newID("-[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\\.jpg");
    return std::regex_replace(text, newID, "-NEW-ID.jpg");
}

inline std::string golden(const std::string& name) {
    std::string text = testData(name);
    while (text.ends_with('\n')) text.pop_back();
    return text;
}

/// The files below the folder.
inline std::size_t fileCount(const TempFolder& folder) {
    const auto entries = folder.entries();
    return static_cast<std::size_t>(
        std::ranges::count_if(entries, [](const auto& name) { return name.ends_with(".jpg"); }));
}

}  // namespace kelvane::testing
