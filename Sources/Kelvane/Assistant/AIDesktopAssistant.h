#pragma once

#include <array>
#include <compare>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/DesktopServices.h"
#include "Support/FileURL.h"
#include "Support/UUID.h"

namespace kelvane {

/// A desktop assistant that can work on a project, and what assistants share with a project: the session folder, the
/// one place beside a project where an assistant works and where inspection images are left. A plain value, its own
/// identity.
class AIDesktopAssistant {
public:
    enum class Kind : std::uint8_t { chatGPT, claude };
    using enum Kind;

    constexpr AIDesktopAssistant(Kind kind) : kind_(kind) {}  // NOLINT: meant to convert
    /// All of them, in the order in which they are shown.
    static constexpr std::array<Kind, 2> allCases{chatGPT, claude};

    [[nodiscard]] constexpr Kind kind() const { return kind_; }
    /// "chatGPT", "claude".
    [[nodiscard]] std::string_view rawValue() const;
    /// Name for a person.
    [[nodiscard]] std::string_view label() const;
    /// Name of the application within the desktop.
    [[nodiscard]] std::string_view bundleIdentifier() const;
    /// Name of the file in a folder that the assistant reads its instructions from.
    [[nodiscard]] std::string_view instructionFile() const;
    /// Scheme of the URLs that the assistant opens.
    [[nodiscard]] std::string_view taskScheme() const;

    /// Those whose application the desktop knows, in order. Asks anew on each call; the main thread.
    static std::vector<AIDesktopAssistant> installed(DesktopServices& desktop);
    /// The assistant's application; nothing when it isn't installed. Asks anew on each call; the main thread.
    [[nodiscard]] std::optional<DesktopApplication> application(DesktopServices& desktop) const;
    /// The file that describes the application; nothing when it isn't installed. As `application`.
    [[nodiscard]] std::optional<FileURL> applicationURL(DesktopServices& desktop) const;

    /// Writes the managed section into the assistant's instruction file in `folder`, which must exist: in place of the
    /// section that is there, else behind what is there. All else in the file stays, byte for byte. `executable` is
    /// quoted as given, links not resolved. Fails, with the file as it was, in the words of the read or the write, or
    /// with "Could not update Kelvane instructions in <file>: incomplete managed section." Any thread; blocks for the
    /// write.
    [[nodiscard]] Result<void> writeProjectInstructions(const FileURL& folder, const FileURL& executable,
                                                        const UUID& projectID) const;

    /// The URL that begins a task in `folder` with `instructions` as its prompt. In the values of its query, letters,
    /// digits and the characters "-._~!$'()*+,;:@/?" stand for themselves; all other bytes are percent-encoded. Pure.
    [[nodiscard]] std::string taskURL(const FileURL& folder, std::string_view instructions) const;

    /// Opens the assistant on a new task. Fails with "<label> is no longer installed." or the desktop's words.
    /// `desktop` outlives the task. The main thread.
    [[nodiscard]] QCoro::Task<Result<void>> open(DesktopServices& desktop, FileURL folder,
                                                 std::string instructions) const;

    /// Longest part of a project's name that a folder's name takes, in characters as a reader counts them.
    static constexpr std::size_t maximumNameCharacters = 100;
    /// Room for that part, bytes of its canonical decomposition: file systems allow names of 255 bytes, some of them
    /// after decomposing, and "Kelvane - " takes 10.
    static constexpr std::size_t maximumNameBytes = 245;

    /// Name of the session folder: "Kelvane - " and as much of the project's name as a folder's name can hold, with
    /// slashes, colons, backslashes and control characters replaced by "-" and blanks trimmed; "Kelvane - Untitled"
    /// when nothing is left. Bytes that are not UTF-8 count as U+FFFD. Pure.
    static std::string workspaceName(std::string_view projectName);

    /// The session folder of the project file at `projectURL`: "AI/Kelvane - <name>" beside it. Creates nothing. Pure.
    static FileURL sessionFolder(const FileURL& projectURL, std::string_view projectName);

    bool operator==(const AIDesktopAssistant&) const = default;

private:
    Kind kind_;
};

}  // namespace kelvane
