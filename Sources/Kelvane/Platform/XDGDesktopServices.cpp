#include "XDGDesktopServices.h"

#include "ProgramLaunch.h"
#include "Support/Text.h"

namespace kelvane {

std::optional<DesktopApplication> XDGDesktopServices::applicationFor(std::string_view id, std::string_view scheme) {
    const auto all = folders();
    auto entry = DesktopEntries::find(all, id);
    if (!entry) entry = DesktopEntries::handler(all, "x-scheme-handler/" + std::string(scheme));
    if (!entry) return std::nullopt;
    return DesktopApplication{.id = std::move(entry->id),
                              .entry = FileURL::fromPath(entry->path),
                              .name = std::move(entry->name),
                              .icon = std::move(entry->icon)};
}

QCoro::Task<Result<void>> XDGDesktopServices::open(std::string url, DesktopApplication application) {
    const auto all = folders();
    const std::string what = quotedName(application.name) + " could not be opened";
    // The entry may have changed, or gone, since the application was found.
    auto entry = DesktopEntries::find(all, application.id);
    if (!entry) co_return fail(what + ": it is no longer installed.");
    auto words = DesktopEntries::command(*entry, url);
    if (!words) co_return fail(words.error());
    const auto program = DesktopEntries::programPath(all.programs, words->front());
    if (!program) co_return fail(what + ": its program " + quotedName(words->front()) + " can't be found.");
    auto work = [what, program = *program, words = *std::move(words), folder = entry->workingFolder,
                 watched = watched_] { return launchProgram(what, program, words, folder, watched); };
    auto background = inBackground(context_, std::move(work));
    co_return co_await background;
}

}  // namespace kelvane
