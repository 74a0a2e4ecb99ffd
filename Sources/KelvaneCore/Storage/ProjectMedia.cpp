#include "ProjectMedia.h"

#include <unistd.h>

#include <filesystem>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "Support/AtomicFile.h"
#include "Support/FileCopy.h"
#include "Support/Text.h"

namespace kelvane {

namespace {

/// The part of `path` behind the folder `root`, or nothing when it lies elsewhere.
std::optional<std::string> pathBelow(const std::string& root, const std::string& path) {
    const std::string prefix = root == "/" ? root : root + "/";
    if (!path.starts_with(prefix)) return std::nullopt;
    return path.substr(prefix.size());
}

}  // namespace

ProjectMedia::ProjectMedia(const FileURL& directory, ProgressReport report, UnfinishedWork* unfinished)
    : directory_(directory), report_(std::move(report)), unfinished_(unfinished) {}

const FileURL& ProjectMedia::directory() {
    if (!std::exchange(isResolved_, true)) directory_ = directory_.resolved();
    return directory_;
}

ProjectMedia::~ProjectMedia() { finish(); }

void ProjectMedia::finish() {
    const auto tickets = settle();
    if (unfinished_ != nullptr) unfinished_->end(tickets);
}

void ProjectMedia::finish(const std::vector<std::shared_ptr<ProjectMedia>>& all) {
    std::map<UnfinishedWork*, std::vector<UnfinishedWork::Ticket>> tickets;
    for (const auto& one : all)
        for (const UnfinishedWork::Ticket ticket : one->settle()) tickets[one->unfinished_].push_back(ticket);
    for (const auto& [unfinished, ended] : tickets)
        if (unfinished != nullptr) unfinished->end(ended);
}

std::vector<UnfinishedWork::Ticket> ProjectMedia::settle() {
    std::vector<UnfinishedWork::Ticket> tickets;
    for (const Created& created : std::exchange(createdFolders_, {})) {
        const std::error_code failed = committed_ ? std::error_code() : removeFolder(created.folder.path());
        // What can't be removed stays recorded.
        if (!failed) tickets.push_back(created.ticket);
    }
    if (createdDirectory_) {
        // Other operations may have put their copies beside.
        if (!committed_) rmdir(createdDirectory_->folder.path().c_str());
        tickets.push_back(createdDirectory_->ticket);
        createdDirectory_.reset();
    }
    return tickets;
}

ProjectMedia::Created ProjectMedia::record(UnfinishedThing::Kind kind, const FileURL& place) const {
    return {place, unfinished_ == nullptr ? 0 : unfinished_->begin({kind, place})};
}

Result<FileURL> ProjectMedia::copy(const FileURL& url, std::stop_token stop) {
    if (stop.stop_requested()) return fail(Error::cancelled());
    if (!url.isFile()) return fail(quotedName(url.absoluteString()) + " is not a file on this computer.");
    const FileURL& source = this->source(url);
    if (const auto rest = pathBelow(directory().path(), source.path())) {
        // One path has many texts; the text at hand stays, so that nothing seems to have moved.
        if (url.path() == source.path()) return url;
        return directory().appending(*rest);
    }
    if (const auto known = copies_.find(source); known != copies_.end()) return known->second;
    return makeCopy(source, stop);
}

const FileURL& ProjectMedia::source(const FileURL& url) {
    const auto [entry, isNew] = sources_.try_emplace(url);
    if (isNew) entry->second = url.resolved();
    return entry->second;
}

Result<FileURL> ProjectMedia::makeCopy(const FileURL& source, const std::stop_token& stop) {
    const auto file = FileCopy::open(source.path());
    if (!file) return fail(file.error());
    count(source, file->size());
    const FileURL folder = directory().appending(UUID::random().upper());
    if (createdFolders_.empty() && !fileExists(directory().path()))
        createdDirectory_ = record(UnfinishedThing::Kind::mediaFolder, directory());
    createdFolders_.push_back(record(UnfinishedThing::Kind::mediaCopy, folder));
    if (const auto made = makeFolders(folder.path()); !made) return fail(made.error());
    const FileURL destination = folder.appending(source.fileName());
    const std::int64_t before = progress_.bytes;
    const auto advance = [&](std::int64_t copied) {
        progress_.bytes = before + copied;
        tell();
    };
    if (const auto copied = file->copyTo(destination.path(), stop, advance); !copied) return fail(copied.error());
    if (const auto synced = syncFolder(folder.path()); !synced) return fail(synced.error());
    copies_.emplace(source, destination);
    ++progress_.items;
    advance(file->size());
    return destination;
}

void ProjectMedia::count(const FileURL& source, std::int64_t size) {
    const auto [entry, isNew] = counted_.try_emplace(source);
    if (isNew) ++progress_.totalItems;
    progress_.totalBytes += size - std::exchange(entry->second, size);
}

void ProjectMedia::countAll(const std::vector<Clip>& clips, const std::stop_token& stop) {
    for (const Clip& clip : clips) {
        if (stop.stop_requested()) return;
        if (!clip.url.isFile()) continue;
        const FileURL& place = source(clip.url);
        if (counted_.contains(place) || pathBelow(directory().path(), place.path())) continue;
        // A file that can't be measured fails in its turn, when the copies before it are made.
        std::error_code failed;
        const auto size = std::filesystem::file_size(place.path(), failed);
        count(place, failed ? 0 : static_cast<std::int64_t>(size));
    }
}

void ProjectMedia::tell() const {
    if (report_) report_(progress_);
}

Result<Clip> ProjectMedia::localize(Clip clip, std::stop_token stop) {
    auto copied = copy(clip.url, std::move(stop));
    if (!copied) return fail(copied.error());
    if (*copied != clip.url) {
        if (!clip.originalURL) clip.originalURL = clip.url;
        clip.url = *std::move(copied);
    }
    return clip;
}

Result<Project> ProjectMedia::localize(Project project, std::stop_token stop) {
    countAll(project.clips, stop);
    if (project.assets) countAll(*project.assets, stop);
    if (progress_.items < progress_.totalItems) tell();
    const auto localizeAll = [&](std::vector<Clip>& clips) -> Result<void> {
        for (Clip& clip : clips) {
            auto localized = localize(std::move(clip), stop);
            if (!localized) return fail(localized.error());
            clip = *std::move(localized);
        }
        return {};
    };
    if (auto done = localizeAll(project.clips); !done) return fail(done.error());
    if (project.assets) {
        if (auto done = localizeAll(*project.assets); !done) return fail(done.error());
    }
    project.mediaRoot = directory();
    return project;
}

Project ProjectMedia::resolveMedia(Project project, const FileURL& file) {
    if (!project.mediaRoot) return project;
    const FileURL newRoot = file.parentFolder().appending(project.mediaRoot->fileName()).resolved();
    const std::string oldRoot = resolvedPath(project.mediaRoot->path());
    // Many clips use one file, and resolving asks the disk.
    std::unordered_map<FileURL, FileURL> places;
    const auto moved = [&](const FileURL& url) -> const FileURL& {
        auto& place = places[url];
        if (place.empty()) {
            const auto rest = url.isFile() ? pathBelow(oldRoot, resolvedPath(url.path())) : std::nullopt;
            place = rest ? newRoot.appending(*rest) : url;
        }
        return place;
    };
    for (Clip& clip : project.clips) clip.url = moved(clip.url);
    if (project.assets)
        for (Clip& asset : *project.assets) asset.url = moved(asset.url);
    project.mediaRoot = newRoot;
    return project;
}

}  // namespace kelvane
