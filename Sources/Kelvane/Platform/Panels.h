#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Support/FileURL.h"

namespace kelvane {

/// What kinds of file a panel offers.
enum class PanelContent { media, project, mp4Movie, quickTimeMovie };

/// The desktop's modal questions. Each answers by its callback on the main thread, later or at once; where no person
/// can answer (no display), at once as if cancelled. The main thread.
class Panels {
public:
    virtual ~Panels() = default;

    virtual void chooseFiles(PanelContent content, std::string message,
                             std::function<void(std::vector<FileURL>)> answer) = 0;
    /// `proposedName` with its extension.
    virtual void chooseDestination(PanelContent content, std::string proposedName, std::string message,
                                   std::function<void(std::optional<FileURL>)> answer) = 0;
    virtual void askName(std::string title, std::string initial, std::string button,
                         std::function<void(std::optional<std::string>)> answer) = 0;
    /// Two buttons; answers whether `confirmButton` was chosen.
    virtual void confirm(std::string message, std::string informativeText, std::string cancelButton,
                         std::string confirmButton, std::function<void(bool)> answer) = 0;
    /// Tells the desktop's list of recent documents, behind the caller's back: what keeps it out is told nobody.
    virtual void noteRecentDocument(const FileURL& file) = 0;
};

}  // namespace kelvane
