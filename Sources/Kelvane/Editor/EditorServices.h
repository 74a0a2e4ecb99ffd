#pragma once

#include <functional>
#include <memory>

#include "Media/MediaPlatform.h"
#include "Platform/MainContext.h"
#include "Platform/Panels.h"
#include "Platform/Player.h"
#include "Support/UnfinishedWork.h"

namespace kelvane {

/// What an editor needs of its surroundings. All outlive it.
struct EditorServices {
    MainContext* context = nullptr;
    MediaPlatform* media = nullptr;
    Panels* panels = nullptr;
    std::function<std::unique_ptr<Player>()> makePlayer;
    /// Where copies and exports are recorded while they are made; without it a sudden end leaves them.
    UnfinishedWork* unfinished = nullptr;
};

}  // namespace kelvane
