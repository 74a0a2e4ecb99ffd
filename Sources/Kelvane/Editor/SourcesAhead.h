#pragma once

#include <memory>

#include "Editor.h"

namespace kelvane {

/// Opens the files of `clips` in the background, each once, so that a media engine that remembers what it has opened
/// builds at once. The last ones come first: a build that begins meanwhile comes from the other end, and opens none at
/// the same time. Nobody is told what came of it, as a build meets a broken file again. `context` and `media` outlive
/// the work, which ends with the file at which `owner` is gone.
void openSourcesAhead(MainContext& context, MediaPlatform& media, const ClipArray& clips,
                      const std::weak_ptr<const Editor>& owner);

}  // namespace kelvane
