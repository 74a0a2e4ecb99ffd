#include "ProjectMedia.h"

#include <filesystem>
#include <system_error>
#include <unordered_map>

#include "Support/AtomicFile.h"
#include "Support/FileCopy.h"

namespace kelvane {

namespace {

/// The part of `path` behind the folder `root`, or nothing when it lies elsewhere.
std::optional<std::string> pathBelow(const std::string& root, const std::string& path) {
    const std::string prefix = root == "/" ? root : root + "/";
    if (!path.starts_with(prefix)) return std::nullopt;
    return path.substr(prefix.size());
}

}  // namespace

ProjectMedia::ProjectMedia(const FileURL& directory) : directory_(directory.resolved()) {}

ProjectMedia::~ProjectMedia() {
    if (committed_) return;
    for (const FileURL& folder : createdFolders_) {
        std::error_code ignored;
        std::filesystem::remove_all(folder.path(), ignored);
    }
}

Result<FileURL> ProjectMedia::copy(const FileURL& url, std::stop_token stop) {
    if (stop.stop_requested()) return fail(Error::cancelled());
    if (!url.isFile()) return fail("“" + url.absoluteString() + "” is not a file on this computer.");
    const auto [entry, isNew] = sources_.try_emplace(url);
    if (isNew) entry->second = url.resolved();
    const FileURL& source = entry->second;
    if (const auto rest = pathBelow(directory_.path(), source.path())) {
        // One path has many texts; the text at hand stays, so that nothing seems to have moved.
        if (url.path() == source.path()) return url;
        return directory_.appending(*rest);
    }
    if (const auto known = copies_.find(source); known != copies_.end()) return known->second;

    auto file = FileCopy::open(source.path());
    if (!file) return fail(file.error());
    const FileURL folder = directory_.appending(UUID::random().upper());
    createdFolders_.push_back(folder);
    if (const auto made = makeFolders(folder.path()); !made) return fail(made.error());
    const FileURL destination = folder.appending(source.lastPathComponent());
    if (const auto copied = file->copyTo(destination.path(), stop); !copied) return fail(copied.error());
    if (const auto synced = syncFolder(folder.path()); !synced) return fail(synced.error());
    copies_.emplace(source, destination);
    return destination;
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
    project.mediaRoot = directory_;
    return project;
}

Project ProjectMedia::resolveMedia(Project project, const FileURL& file) {
    if (!project.mediaRoot) return project;
    const FileURL newRoot =
        file.deletingLastPathComponent().appending(project.mediaRoot->lastPathComponent()).resolved();
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
