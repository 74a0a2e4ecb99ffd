#include "AIDesktopAssistant.h"

#include <sys/stat.h>

#include <cerrno>

#include "AssistantInstructions.h"
#include "CLI/CLIError.h"
#include "CLI/CLIReplyDocument.h"
#include "KelvaneProjectLink.h"
#include "ShellQuoting.h"
#include "Support/AtomicFile.h"
#include "Support/Text.h"

namespace kelvane {

namespace {

/// Everything that differs between assistants.
struct Row {
    std::string_view rawValue;
    std::string_view label;
    std::string_view bundleIdentifier;
    std::string_view instructionFile;
    std::string_view scheme;
    std::string_view host;
    std::string_view path;
    std::string_view folderKey;
    std::string_view promptKey;
    /// A further item at the end of the query, ready to stand there; empty when there is none.
    std::string_view lastItem;
};

constexpr Row rows[] = {
    {.rawValue = "chatGPT",
     .label = "ChatGPT",
     .bundleIdentifier = "com.openai.codex",
     .instructionFile = "AGENTS.md",
     .scheme = "codex",
     .host = "threads",
     .path = "/new",
     .folderKey = "path",
     .promptKey = "prompt",
     .lastItem = "mode=work"},
    {.rawValue = "claude",
     .label = "Claude",
     .bundleIdentifier = "com.anthropic.claudefordesktop",
     .instructionFile = "CLAUDE.md",
     .scheme = "claude",
     .host = "code",
     .path = "/new",
     .folderKey = "folder",
     .promptKey = "q",
     .lastItem = ""},
};

const Row& rowOf(AIDesktopAssistant::Kind kind) { return rows[static_cast<std::size_t>(kind)]; }

/// A value of a query: what RFC 3986 lets stand in a query stays, but for the two that divide its items.
std::string queryValue(std::string_view text) { return percentEncoded(text, "!$'()*+,;:@/?"); }

/// What an instruction file holds; nothing of one that isn't there.
Result<std::string> contentsOf(const std::string& path) {
    struct stat status{};
    if (stat(path.c_str(), &status) != 0 && errno == ENOENT) return std::string();
    auto contents = readFile(path);
    if (contents && !isUTF8(*contents)) return fail(quotedFileName(path) + " could not be read: it is not UTF-8 text.");
    return contents;
}

std::string managedSection(const FileURL& executable, const UUID& projectID) {
    std::string section(AssistantInstructions::beginMarker);
    section += AssistantInstructions::beforeCommand;
    section += shellQuoted(executable.path()) + " cli --project " + shellQuoted(projectID.upper());
    section += AssistantInstructions::behindCommand;
    section += KelvaneProjectLink::openCommand(projectID, executable);
    section += AssistantInstructions::behindOpenCommand;
    section += AssistantInstructions::endMarker;
    return section;
}

/// Puts `section` into `contents`; false when a section begins there and doesn't end.
bool place(const std::string& section, std::string& contents) {
    const auto begin = contents.find(AssistantInstructions::beginMarker);
    if (begin == std::string::npos) {
        // One empty line divides it from what a person wrote.
        if (!contents.empty() && !contents.ends_with("\n\n")) contents += contents.ends_with('\n') ? "\n" : "\n\n";
        contents += section + "\n";
        return true;
    }
    const auto end = contents.find(AssistantInstructions::endMarker, begin + AssistantInstructions::beginMarker.size());
    if (end == std::string::npos) return false;
    contents.replace(begin, end + AssistantInstructions::endMarker.size() - begin, section);
    return true;
}

}  // namespace

std::string_view AIDesktopAssistant::rawValue() const { return rowOf(kind_).rawValue; }
std::string_view AIDesktopAssistant::label() const { return rowOf(kind_).label; }
std::string_view AIDesktopAssistant::bundleIdentifier() const { return rowOf(kind_).bundleIdentifier; }
std::string_view AIDesktopAssistant::instructionFile() const { return rowOf(kind_).instructionFile; }
std::string_view AIDesktopAssistant::taskScheme() const { return rowOf(kind_).scheme; }

std::vector<AIDesktopAssistant> AIDesktopAssistant::installed(DesktopServices& desktop) {
    std::vector<AIDesktopAssistant> found;
    for (const AIDesktopAssistant assistant : allCases)
        if (assistant.application(desktop)) found.push_back(assistant);
    return found;
}

std::optional<DesktopApplication> AIDesktopAssistant::application(DesktopServices& desktop) const {
    return desktop.applicationFor(bundleIdentifier(), taskScheme());
}

std::optional<FileURL> AIDesktopAssistant::applicationURL(DesktopServices& desktop) const {
    const auto found = application(desktop);
    return found ? std::optional(found->entry) : std::nullopt;
}

std::string AIDesktopAssistant::taskURL(const FileURL& folder, std::string_view instructions) const {
    const Row& row = rowOf(kind_);
    std::string url;
    url.append(row.scheme).append("://").append(row.host).append(row.path);
    url.append("?").append(row.folderKey).append("=").append(queryValue(folder.path()));
    url.append("&").append(row.promptKey).append("=").append(queryValue(instructions));
    if (!row.lastItem.empty()) url.append("&").append(row.lastItem);
    check(FileURL::parse(url).has_value(), "a task URL is no URL");
    return url;
}

QCoro::Task<Result<void>> AIDesktopAssistant::open(DesktopServices& desktop, FileURL folder,
                                                   std::string instructions) const {
    // The assistant may be a temporary that is gone once the desktop answers.
    const AIDesktopAssistant self = *this;
    auto found = self.application(desktop);
    if (!found) co_return fail(CLIError(std::string(self.label()) + " is no longer installed."));
    auto opening = desktop.open(self.taskURL(folder, instructions), *std::move(found));
    co_return co_await opening;
}

Result<void> AIDesktopAssistant::writeProjectInstructions(const FileURL& folder, const FileURL& executable,
                                                          const UUID& projectID) const {
    const std::string path = folder.appending(instructionFile()).path();
    auto contents = contentsOf(path);
    if (!contents) return fail(contents.error());
    if (!place(managedSection(executable, projectID), *contents)) {
        return fail(CLIError("Could not update Kelvane instructions in " + std::string(instructionFile()) +
                             ": incomplete managed section."));
    }
    return writeFileAtomically(path, *contents);
}

}  // namespace kelvane
