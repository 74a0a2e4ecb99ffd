#include "UnfinishedWork.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <ctime>
#include <map>
#include <optional>
#include <tuple>
#include <utility>

#include "AtomicFile.h"
#include "LiveFile.h"
#include "UUID.h"

namespace kelvane {

namespace {

using Kind = UnfinishedThing::Kind;

/// How often a record is made anew that a sweep took first. Beside sweeps without a pause four in a row were taken in 3
/// of 900 runs of a test.
constexpr int makingAttempts = 16;
/// Far above any record: an entry is a path, and a process has few at a time.
constexpr std::size_t recordLimit = std::size_t{64} << 20;
/// Seconds after which a record is given up that can't be settled: its disk was away for all that time.
constexpr std::time_t keptAge = std::time_t{30} * 24 * 3600;

constexpr std::pair<Kind, std::string_view> kindNames[] = {
    {Kind::mediaCopy, "media"},       {Kind::mediaFolder, "media-folder"},     {Kind::exportFile, "export"},
    {Kind::projectFolder, "project"}, {Kind::writtenFolder, "written-folder"},
};

std::string_view kindName(Kind kind) {
    for (const auto& [known, name] : kindNames)
        if (known == kind) return name;
    return {};
}

std::optional<Kind> kindNamed(std::string_view text) {
    for (const auto& [kind, name] : kindNames)
        if (name == text) return kind;
    return std::nullopt;
}

/// The part of `line` before the next blank, which is taken off it.
std::string_view takeWord(std::string_view& line) {
    const auto blank = line.find(' ');
    const std::string_view word = line.substr(0, blank);
    line.remove_prefix(blank == std::string_view::npos ? line.size() : blank + 1);
    return word;
}

/// Takes one line of a record into account: "+ <number> <kind> <URL>" begins an entry, "- <number>" ends it. Others say
/// nothing.
void readLine(std::string_view line, std::map<UnfinishedWork::Ticket, UnfinishedThing>& things) {
    const std::string_view sign = takeWord(line);
    const std::string_view digits = takeWord(line);
    UnfinishedWork::Ticket number = 0;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), number).ec != std::errc()) return;
    if (sign == "-") things.erase(number);
    const auto kind = kindNamed(takeWord(line));
    const auto place = FileURL::parse(line);
    if (sign == "+" && kind && place && place->isFile()) things[number] = {*kind, *place};
}

/// What a record names as begun and not ended. A line without its end was being written when the process ended: what
/// it names wasn't made.
std::map<UnfinishedWork::Ticket, UnfinishedThing> readRecord(std::string_view text) {
    std::map<UnfinishedWork::Ticket, UnfinishedThing> things;
    for (auto end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        readLine(text.substr(0, end), things);
        text.remove_prefix(end + 1);
    }
    return things;
}

bool isOld(const FileDescriptor& record) {
    struct stat status{};
    return fstat(record.get(), &status) == 0 && std::time(nullptr) - status.st_mtim.tv_sec > keptAge;
}

}  // namespace

UnfinishedWork::Ticket UnfinishedWork::begin(const UnfinishedThing& thing) {
    std::unique_lock lock(mutex_);
    if (!record_ && !makeRecord()) return 0;
    const Ticket ticket = last_ + 1;
    if (!append(fmt::format("+ {} {} {}\n", ticket, kindName(thing.kind), thing.place.absoluteString()))) return 0;
    last_ = ticket;
    pending_.insert(ticket);
    const auto record = record_;
    lock.unlock();
    sync(record);
    return ticket;
}

void UnfinishedWork::end(const std::vector<Ticket>& tickets) {
    // Another thread may hold the mutex for as long as a disk takes to make the record.
    if (std::ranges::all_of(tickets, [](Ticket ticket) { return ticket == 0; })) return;
    std::unique_lock lock(mutex_);
    std::string lines;
    for (const Ticket ticket : tickets)
        if (pending_.erase(ticket) > 0) lines += fmt::format("- {}\n", ticket);
    if (lines.empty()) return;
    if (!pending_.empty())
        append(lines);
    else if (ftruncate(record_->get(), 0) == 0)
        // Nothing is unfinished, and the record stays short.
        length_ = 0;
    const auto record = record_;
    lock.unlock();
    sync(record);
}

void UnfinishedWork::retire() {
    const std::scoped_lock lock(mutex_);
    if (!record_ || !pending_.empty()) return;
    unlink(path_.c_str());
    record_.reset();
}

bool UnfinishedWork::makeRecord() {
    for (int attempt = 0; attempt < makingAttempts; ++attempt) {
        if (!makeFolders(folder_)) return false;
        const std::string path = folder_ + "/" + UUID::random().upper();
        FileDescriptor file = FileDescriptor::open(path, O_WRONLY | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
        if (!file.isOpen()) return false;
        if (!holdWhileOpen(file, path)) continue;
        record_ = std::make_shared<const FileDescriptor>(std::move(file));
        path_ = path;
        length_ = 0;
        isNameSynced_ = false;
        return true;
    }
    return false;
}

bool UnfinishedWork::append(const std::string& line) {
    if (!record_->writeAll(line)) {
        // A line without its end would swallow the next one.
        std::ignore = ftruncate(record_->get(), length_);
        return false;
    }
    length_ += static_cast<std::int64_t>(line.size());
    return true;
}

void UnfinishedWork::sync(const std::shared_ptr<const FileDescriptor>& record) {
    std::ignore = record->sync();
    std::unique_lock lock(mutex_);
    if (isNameSynced_ || record_ != record) return;
    lock.unlock();
    std::ignore = syncFolder(folder_);
    lock.lock();
    // Each who comes before this syncs the name as well, so that no entry is told of that could still vanish.
    if (record_ == record) isNameSynced_ = true;
}

void UnfinishedWork::settleAbandoned(const std::string& folder,
                                     const std::function<bool(const UnfinishedThing&)>& settle,
                                     const std::stop_token& stop) {
    for (const std::string& name : folderEntries(folder)) {
        if (!UUID::parse(name)) continue;
        const std::string path = folder + "/" + name;
        const FileDescriptor record = takeAbandoned(path, S_IFREG);
        if (!record.isOpen()) continue;
        const auto text = readFile(path, recordLimit);
        if (!text) continue;
        bool isSettled = true;
        const auto things = readRecord(*text);
        // What was made later may lie in what was made before.
        for (auto entry = things.rbegin(); entry != things.rend(); ++entry) {
            if (stop.stop_requested()) return;
            isSettled = settle(entry->second) && isSettled;
        }
        if (isSettled || isOld(record)) unlink(path.c_str());
    }
}

}  // namespace kelvane
