#include "ProjectLibrary.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <utility>

#include "Support/Text.h"

namespace kelvane {

namespace {

constexpr int blankNameCode = 2;

double presentDate() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count() - referenceDate;
}

Error unknownProject() { return Error("The project is no longer in the library.", "NoSuchFile", 0); }

/// The trimmed name of a project.
Result<std::string> validatedProjectName(std::string_view name) {
    const std::string_view trimmed = trimmedText(name);
    if (trimmed.empty()) return fail(Error("Enter a project name.", "Kelvane", blankNameCode));
    return std::string(trimmed);
}

}  // namespace

ProjectLibrary::ProjectLibrary(ProjectStore store, Now now)
    : store_(std::move(store)), now_(now ? std::move(now) : Now(presentDate)) {}

std::optional<LibraryProject> ProjectLibrary::find(const UUID& id) const {
    const auto row = std::ranges::find(projects_, id, &LibraryProject::id);
    return row == projects_.end() ? std::nullopt : std::optional(*row);
}

Result<LibraryProject> ProjectLibrary::newRow(std::string_view name, double duration,
                                              const std::optional<FileURL>& importedFrom) const {
    auto validated = validatedProjectName(name);
    if (!validated) return fail(validated.error());
    return LibraryProject{UUID::random(), *std::move(validated), now_(), duration, importedFrom};
}

Result<LibraryProject> ProjectLibrary::renamedRow(const UUID& id, std::string_view name) const {
    auto row = find(id);
    if (!row) return fail(unknownProject());
    auto validated = validatedProjectName(name);
    if (!validated) return fail(validated.error());
    row->name = *std::move(validated);
    return *std::move(row);
}

Result<LibraryProject> ProjectLibrary::savedRow(const UUID& id, double duration) const {
    auto row = find(id);
    if (!row) return fail(unknownProject());
    row->modified = now_();
    row->duration = duration;
    return *std::move(row);
}

Result<LibraryProject> ProjectLibrary::copyRow(const UUID& id) const {
    const auto row = find(id);
    if (!row) return fail(unknownProject());
    return newRow(row->name + " Copy", row->duration, std::nullopt);
}

void ProjectLibrary::replaceRows(std::vector<LibraryProject> rows, const std::vector<LibraryProject>& known) {
    std::map<UUID, const LibraryProject*> before;
    for (const LibraryProject& row : known) before[row.id] = &row;
    const auto present = std::exchange(projects_, std::move(rows));
    for (const LibraryProject& row : present) {
        const auto old = before.extract(row.id);
        if (old.empty() || *old.mapped() != row) place(row);
    }
    // What is left was forgotten meanwhile.
    std::erase_if(projects_, [&before](const LibraryProject& row) { return before.contains(row.id); });
    tellChange();
}

void ProjectLibrary::adopt(LibraryProject row) {
    place(std::move(row));
    tellChange();
}

void ProjectLibrary::place(LibraryProject row) {
    const auto old = std::ranges::find(projects_, row.id, &LibraryProject::id);
    if (old != projects_.end() && old->modified == row.modified) {
        *old = std::move(row);
        return;
    }
    if (old != projects_.end()) projects_.erase(old);
    // Before all rows that are not newer, as the one written last.
    const auto next =
        std::ranges::find_if(projects_, [&row](const LibraryProject& other) { return other.modified <= row.modified; });
    projects_.insert(next, std::move(row));
}

void ProjectLibrary::forget(UUID id) {
    std::erase_if(projects_, [&id](const LibraryProject& row) { return row.id == id; });
    tellChange();
}

void ProjectLibrary::tellChange() {
    if (onChange) onChange();
}

}  // namespace kelvane
