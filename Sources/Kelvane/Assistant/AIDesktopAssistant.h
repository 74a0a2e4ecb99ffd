#pragma once

#include <string>
#include <string_view>

#include "Support/FileURL.h"

namespace kelvane {

/// What desktop assistants share with a project: the session folder, the one place beside a project where an assistant
/// works and where inspection images are left.
class AIDesktopAssistant {
public:
    /// Longest part of a project's name that a folder's name takes, in characters as a reader counts them.
    static constexpr std::size_t maximumNameCharacters = 100;
    /// Room for that part, bytes of its canonical decomposition: file systems allow names of 255 bytes, some of them
    /// after decomposing, and "Kelvane - " takes 10.
    static constexpr std::size_t maximumNameBytes = 245;

    /// Name of the session folder: "Kelvane - " and as much of the project's name as a folder's name can hold, with
    /// "/",
    /// ":", "\" and control characters replaced by "-" and blanks trimmed; "Kelvane - Untitled" when nothing is left.
    /// Bytes that are not UTF-8 count as U+FFFD. Pure.
    static std::string workspaceName(std::string_view projectName);

    /// The session folder of the project file at `projectURL`: "AI/Kelvane - <name>" beside it. Creates nothing. Pure.
    static FileURL sessionFolder(const FileURL& projectURL, std::string_view projectName);
};

}  // namespace kelvane
