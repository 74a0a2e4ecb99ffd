#pragma once

#include <QSize>
#include <string>
#include <vector>

namespace kelvane::testing {

inline constexpr QSize usualWindow{1060, 760};
inline constexpr QSize narrowWindow{740, 560};
inline constexpr QSize wideWindow{1600, 1000};

/// Where a state has pictures beside the one at scale 1: in the window as narrow as it can be, and at `scales`.
enum class Also { nothing, narrow, scaled, narrowAndScaled };

/// A state in which the window is shown.
struct Screen {
    const char* name;
    Also also = Also::nothing;
    QSize size = usualWindow;
};

inline constexpr double scales[]{1.5, 2};

/// The states whose pictures docs/screens holds, in the order in which they are shown: the library is empty first, then
/// holds projects, and all others add some.
inline constexpr Screen screens[]{
    {"home-empty", Also::narrowAndScaled},
    {"working"},
    {"home", Also::narrowAndScaled},
    {"home-menu", Also::narrowAndScaled},
    {"home-rename", Also::narrowAndScaled},
    {"home-nothing", Also::narrowAndScaled},
    {"confirm", Also::narrowAndScaled},
    {"name", Also::narrowAndScaled},
    {"home-focus"},
    {"deleting", Also::narrow},
    {"home-many", Also::narrow},
    {"empty", Also::narrowAndScaled},
    {"editor", Also::narrowAndScaled},
    {"sound", Also::narrow},
    {"several", Also::narrow},
    {"rename", Also::narrow},
    {"rename-problem"},
    {"menu", Also::narrowAndScaled},
    {"asset-menu"},
    {"clip-menu"},
    {"many"},
    {"drag-video", Also::scaled},
    {"drag-sound", Also::scaled},
    {"drop"},
    {"drop-files", Also::narrow},
    {"trim", Also::narrowAndScaled},
    {"volume", Also::scaled},
    {"marquee", Also::scaled},
    {"recording", Also::narrowAndScaled},
    {"countdown", Also::narrowAndScaled},
    {"assistant-edit", Also::narrowAndScaled},
    {"tip"},
    {"more-contrast"},
    {"importing", Also::narrowAndScaled},
    {"asset-preview", Also::narrowAndScaled},
    {"audio-preview", Also::narrow},
    {"export-options", Also::narrowAndScaled},
    {"export-choices", Also::narrowAndScaled},
    {"exporting", Also::narrowAndScaled},
    {"exported", Also::narrowAndScaled},
    {"alert", Also::narrowAndScaled},
    {"chooser", Also::narrowAndScaled},
    {"chooser-save", Also::narrow},
    {"assistants", Also::narrowAndScaled},
    {"assistants-none", Also::narrow},
    {"assistants-message", Also::narrow},
    {"shortcuts", Also::narrowAndScaled},
    {"about", Also::narrowAndScaled},
    {"wide", Also::nothing, wideWindow},
    // Who works by the keyboard sees its focus in what follows.
    {"focus"},
};

/// One picture: "trim", "trim-narrow" or "trim@1.5".
struct ScreenPicture {
    std::string file;
    std::string state;
    QSize size;
    double scale = 1;
};

inline std::vector<ScreenPicture> screenPictures() {
    std::vector<ScreenPicture> pictures;
    for (const auto& [name, also, size] : screens) {
        pictures.push_back({std::string(name) + ".png", name, size, 1});
        if (also == Also::narrow || also == Also::narrowAndScaled)
            pictures.push_back({std::string(name) + "-narrow.png", name, narrowWindow, 1});
        if (also != Also::scaled && also != Also::narrowAndScaled) continue;
        for (const double scale : scales)
            pictures.push_back({std::string(name) + (scale == 2 ? "@2" : "@1.5") + ".png", name, size, scale});
    }
    return pictures;
}

}  // namespace kelvane::testing
