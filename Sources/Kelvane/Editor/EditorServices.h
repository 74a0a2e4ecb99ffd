#pragma once

#include <functional>
#include <memory>

#include "Media/MediaPlatform.h"
#include "Platform/DesktopServices.h"
#include "Platform/MainContext.h"
#include "Platform/Panels.h"
#include "Platform/Player.h"
#include "Platform/SoundRecorder.h"
#include "Support/UnfinishedWork.h"

namespace kelvane {

/// What a player is for.
enum class PlayerRole {
    /// Shows and sounds the timeline or an asset.
    main,
    /// Shows single pictures under the pointer, and never plays.
    hover,
};

/// What an editor needs of its surroundings. All outlive it.
struct EditorServices {
    MainContext* context = nullptr;
    MediaPlatform* media = nullptr;
    Panels* panels = nullptr;
    std::function<std::unique_ptr<Player>(PlayerRole)> makePlayer;
    /// Microphones; without it there is no access to one.
    SoundRecording* recording = nullptr;
    /// Where copies and exports are recorded while they are made; without it a sudden end leaves them.
    UnfinishedWork* unfinished = nullptr;
    /// The desktop's other applications; without it there are none.
    DesktopServices* desktop = nullptr;
};

}  // namespace kelvane
