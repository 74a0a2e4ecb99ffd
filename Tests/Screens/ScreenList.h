#pragma once

#include <QSize>
#include <string>
#include <vector>

namespace kelvane::testing {

/// A state in which the window is shown, and its size in points.
struct Screen {
    const char* name;
    QSize size;
};

inline constexpr QSize usualWindow{1060, 760};
inline constexpr QSize narrowWindow{740, 560};

/// What docs/screens holds at scale 1.
inline constexpr Screen screens[]{
    {"empty", usualWindow},         {"editor", usualWindow},
    {"many", usualWindow},          {"drag-video", usualWindow},
    {"drag-sound", usualWindow},    {"drop", usualWindow},
    {"trim", usualWindow},          {"volume", usualWindow},
    {"marquee", usualWindow},       {"recording", usualWindow},
    {"countdown", usualWindow},     {"assistant-edit", usualWindow},
    {"focus", usualWindow},         {"tip", usualWindow},
    {"more-contrast", usualWindow}, {"alert", usualWindow},
    {"home", usualWindow},          {"home-empty", usualWindow},
    {"wide", {1600, 1000}},         {"export-options", usualWindow},
    {"exporting", usualWindow},     {"exported", usualWindow},
    {"importing", usualWindow},     {"asset-preview", usualWindow},
    {"confirm", usualWindow},       {"name", usualWindow},
};

/// Those that it also holds where the window is as narrow as it can be.
inline constexpr const char* narrowScreens[]{
    "empty",          "editor",    "trim",     "recording", "assistant-edit", "alert",   "home", "home-empty",
    "export-options", "exporting", "exported", "importing", "asset-preview",  "confirm", "name"};

/// Those that it also holds at these scales.
inline constexpr double scales[]{1.5, 2};
inline constexpr const char* scaledScreens[]{
    "empty",     "editor",    "drag-video", "drag-sound",    "trim",           "volume", "marquee",
    "recording", "countdown", "home",       "home-empty",    "assistant-edit", "alert",  "export-options",
    "exporting", "exported",  "importing",  "asset-preview", "confirm",        "name"};

/// One picture: "trim", "trim-narrow" or "trim@1.5".
struct ScreenPicture {
    std::string file;
    std::string state;
    QSize size;
    double scale = 1;
};

inline std::vector<ScreenPicture> screenPictures() {
    std::vector<ScreenPicture> pictures;
    for (const auto& [name, size] : screens) pictures.push_back({std::string(name) + ".png", name, size, 1});
    for (const char* name : narrowScreens)
        pictures.push_back({std::string(name) + "-narrow.png", name, narrowWindow, 1});
    for (const double scale : scales)
        for (const char* name : scaledScreens)
            pictures.push_back({std::string(name) + (scale == 2 ? "@2" : "@1.5") + ".png", name, usualWindow, scale});
    return pictures;
}

}  // namespace kelvane::testing
