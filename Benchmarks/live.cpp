// Times requests on a running application over its socket.
//
//     bench-live <socket> state <rounds>                  the full state document
//     bench-live <socket> timeline <rounds> <clips>       a request that replaces the whole timeline
//     bench-live <socket> preview <rounds> <path> …       a change of one clip that comes back with a preview
//
// Prints the median in milliseconds, from the first byte sent to the last one received. Each timeline differs from the
// one before, so that each is composed and committed.
//
// A preview is asked for in turns with its stills alone, drawn here from the same edit of the files at the paths, which
// are those of the project's assets in order. Prints the medians of both, and of the rounds' ratios.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "CLI/CLIRequest.h"
#include "CLI/LocalCLIConnection.h"
#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/MediaEngine.h"
#include "Timeline/Framing.h"

namespace {

using nlohmann::json;

/// What a preview shows at most, and the box of each of its stills.
constexpr std::size_t maximumStills = 24;
constexpr double stillSide = 1280;

json ask(const std::string& socket, const kelvane::CLIRequest& request, double* milliseconds) {
    const auto data = kelvane::encodeCLIRequest(request);
    const auto start = std::chrono::steady_clock::now();
    const auto reply = kelvane::LocalCLIConnection::request(data, socket, 0);
    const std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - start;
    if (!reply) {
        std::fprintf(stderr, "%s\n", reply.error().message.c_str());
        std::exit(1);
    }
    auto document = json::parse(*reply);
    if (!document.value("ok", false)) {
        std::fprintf(stderr, "%s\n", reply->substr(0, 400).c_str());
        std::exit(1);
    }
    if (milliseconds != nullptr) *milliseconds = spent.count();
    return document["result"];
}

kelvane::CLIRequest request(std::string command, std::map<std::string, std::string> options = {}) {
    kelvane::CLIRequest made;
    made.command = std::move(command);
    made.options = std::move(options);
    return made;
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

template <class Value>
Value need(kelvane::Result<Value> result) {
    if (!result) {
        std::fprintf(stderr, "%s\n", result.error().message.c_str());
        std::exit(1);
    }
    return *std::move(result);
}

/// The edit that `state` tells of, made of the files at `paths`.
kelvane::EditedMediaPtr edited(kelvane::FFmpegPlatform& platform, const json& state,
                               const std::vector<std::string>& paths) {
    std::map<std::string, kelvane::Clip> sources;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        auto imported = need(kelvane::MediaEngine::importClip(platform, kelvane::FileURL::fromPath(paths[i]), {}));
        sources.emplace(state["assets"].at(i)["assetID"], imported.clip);
    }
    std::vector<kelvane::Clip> clips;
    for (const json& entry : state["timeline"]) {
        kelvane::Clip clip = sources.at(entry["assetID"]);
        clip.start = entry["start"];
        clip.end = entry["end"];
        clips.push_back(clip);
    }
    return need(
        kelvane::MediaEngine::build(platform, clips, kelvane::Framing::size, kelvane::MediaEngine::previewFrame, {}));
}

/// Changes the first clip's volume and has the result shown, against drawing the same stills.
int comparePreview(const std::string& socket, int rounds, const std::vector<std::string>& paths) {
    json state = ask(socket, request("project"), nullptr);
    kelvane::FFmpegPlatform platform;
    const auto media = edited(platform, state, paths);
    const std::string id = state["timeline"].at(0)["clipID"];
    std::vector<double> previews;
    std::vector<double> stills;
    std::vector<double> ratios;
    // The first round warms both and isn't counted.
    for (int round = -1; round < rounds; ++round) {
        double spent = 0;
        const std::string volume = std::to_string(0.5 + 0.001 * round);
        state = ask(socket,
                    request("clip", {{"revision", state["revision"]},
                                     {"id", id},
                                     {"volume", volume},
                                     {"compact", "true"},
                                     {"preview", "true"}}),
                    &spent);
        std::vector<kelvane::MediaTime> times;
        for (const double time : state["preview"].at("timestamps"))
            times.push_back(kelvane::MediaTime::fromSeconds(time));
        std::size_t drawn = 0;
        const auto take = [&](std::size_t, const kelvane::TimedStill&) -> kelvane::Result<void> {
            ++drawn;
            return {};
        };
        const auto start = std::chrono::steady_clock::now();
        const auto done = platform.timelineStills(media, times, {stillSide, stillSide}, take, {});
        const std::chrono::duration<double, std::milli> alone = std::chrono::steady_clock::now() - start;
        if (!done || drawn != maximumStills || times.size() != maximumStills) {
            std::fprintf(stderr, "%zu stills of %zu\n", drawn, times.size());
            return 1;
        }
        if (round < 0) continue;
        previews.push_back(spent);
        stills.push_back(alone.count());
        ratios.push_back(spent / alone.count());
    }
    std::printf("%.1f %.1f %.3f\n", median(previews), median(stills), median(ratios));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) return 2;
    const std::string socket = argv[1];
    const std::string what = argv[2];
    const int rounds = std::atoi(argv[3]);
    if (what == "preview") return comparePreview(socket, rounds, {argv + 4, argv + argc});
    std::vector<double> times;
    auto state = ask(socket, request("project"), nullptr);
    for (int round = 0; round < rounds; ++round) {
        double spent = 0;
        if (what == "state") {
            ask(socket, request("project"), &spent);
        } else {
            json timeline = json::array();
            const auto& assets = state["assets"];
            const int clips = argc > 4 ? std::atoi(argv[4]) : 1000;
            for (int i = 0; i < clips; ++i) {
                const auto& asset = assets[static_cast<std::size_t>(i) % assets.size()];
                timeline.push_back({{"assetID", asset["assetID"]}, {"start", 0.1 + 0.001 * round}, {"end", 0.5}});
            }
            const auto reply = ask(
                socket,
                request("timeline", {{"revision", state["revision"]}, {"json", timeline.dump()}, {"compact", "true"}}),
                &spent);
            state["revision"] = reply["revision"];
        }
        times.push_back(spent);
    }
    std::printf("%.3f\n", median(times));
}
