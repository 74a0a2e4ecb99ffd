#pragma once

#include <cstdint>
#include <map>
#include <stop_token>
#include <unordered_map>
#include <vector>

#include "Support/Error.h"
#include "Timeline/Project.h"
#include "TransferProgress.h"

namespace kelvane {

/// Copies media into a project's media folder for the length of one operation, and removes the copies again at the
/// end of its life unless `commit` was called. Used by one task at a time; no lock.
class ProjectMedia {
public:
    /// Creates nothing on disk. `directory` is held standardised with links resolved. `report` is told of each copy,
    /// on the thread that copies.
    explicit ProjectMedia(const FileURL& directory, ProgressReport report = {});
    ~ProjectMedia();
    ProjectMedia(const ProjectMedia&) = delete;
    ProjectMedia& operator=(const ProjectMedia&) = delete;

    [[nodiscard]] const FileURL& directory() const { return directory_; }

    /// The file inside the media folder: itself when it lies there already, else a copy in a folder of its own,
    /// one for each source. The copy is synced to disk. A stop request ends a copy early as cancelled.
    Result<FileURL> copy(const FileURL& url, std::stop_token stop = {});
    /// The clip with its file copied in; `originalURL` names the first place the file was seen.
    Result<Clip> localize(Clip clip, std::stop_token stop = {});
    /// All clips, then all assets, copied in; `mediaRoot` becomes `directory`. What has to be copied is counted before
    /// the first copy and reported as the totals; nothing is reported when all media lies inside.
    Result<Project> localize(Project project, std::stop_token stop = {});
    /// Keeps what was copied.
    void commit() { committed_ = true; }

    /// Rewrites the media URLs of a project that was moved: those under the old `mediaRoot` come to lie in the
    /// folder of the same name beside `file`.
    static Project resolveMedia(Project project, const FileURL& file);

private:
    /// `url` standardised with links resolved.
    const FileURL& source(const FileURL& url);
    /// Adds to the totals what the files of these clips add to the copies.
    void countAll(const std::vector<Clip>& clips, const std::stop_token& stop);
    void count(const FileURL& source, std::int64_t size);
    Result<FileURL> makeCopy(const FileURL& source, const std::stop_token& stop);
    void tell() const;

    FileURL directory_;
    ProgressReport report_;
    TransferProgress progress_;
    /// The size at which each source was counted, bytes.
    std::map<FileURL, std::int64_t> counted_;
    /// The source, standardised with links resolved, of each URL that was asked for: resolving asks the disk, and a
    /// timeline uses one file many times.
    std::unordered_map<FileURL, FileURL> sources_;
    std::map<FileURL, FileURL> copies_;
    std::vector<FileURL> createdFolders_;
    bool committed_ = false;
};

}  // namespace kelvane
