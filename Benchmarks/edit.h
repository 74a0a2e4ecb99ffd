#pragma once

#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/MediaEngine.h"

namespace kelvane::benchmarks {

/// The edit that a command line describes, as media; on failure the reason is printed. `arguments` begins with width,
/// height and frames a second; clips follow, each "video:<path>:<start>:<end>[:<volume>]" or
/// "audio:<path>:<start>:<end>:<at>[:<volume>]".
inline EditedMediaPtr edit(FFmpegPlatform& platform, const std::vector<std::string>& arguments) {
    const auto told = [](const Error& error) {
        std::fprintf(stderr, "%s\n", error.message.c_str());
        return nullptr;
    };
    std::vector<Clip> clips;
    std::map<std::string, Clip> assets;
    for (std::size_t i = 3; i < arguments.size(); ++i) {
        std::vector<std::string> fields;
        std::istringstream text(arguments[i]);
        for (std::string field; std::getline(text, field, ':');) fields.push_back(field);
        const bool audio = fields[0] == "audio";
        if (!assets.contains(fields.at(1))) {
            // As an asset of a project: its thumbnail was made when it was imported.
            Clip asset;
            asset.url = FileURL::fromPath(fields[1]);
            const auto opened = platform.openAsset(asset.url, {});
            if (!opened) return told(opened.error());
            const auto seconds = (*opened)->loadDuration();
            if (!seconds) return told(seconds.error());
            asset.sourceDuration = *seconds;
            if (audio) asset.audioOnly = true;
            assets.emplace(fields[1], asset);
        }
        Clip clip = assets.at(fields[1]);
        clip.id = UUID::random();
        clip.start = std::atof(fields.at(2).c_str());
        clip.end = std::atof(fields.at(3).c_str());
        if (audio) clip.timelineStart = std::atof(fields.at(4).c_str());
        const std::size_t volume = audio ? 5 : 4;
        if (fields.size() > volume) clip.volume = std::atof(fields[volume].c_str());
        clips.push_back(clip);
    }
    const Size size{std::atof(arguments.at(0).c_str()), std::atof(arguments.at(1).c_str())};
    auto media = MediaEngine::build(platform, clips, size, frameDuration(std::atof(arguments.at(2).c_str())), {});
    return media ? *media : told(media.error());
}

}  // namespace kelvane::benchmarks
