#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <stop_token>
#include <unordered_map>
#include <vector>

#include "Support/Error.h"
#include "Support/UnfinishedWork.h"
#include "Timeline/Project.h"
#include "TransferProgress.h"

namespace kelvane {

/// Copies media into a project's media folder for the length of one operation, and removes the copies again at the
/// end of its life unless `commit` was called. Should the process end before, a later start removes them. Used by one
/// task at a time; no lock.
class ProjectMedia {
public:
    /// Creates nothing on disk, and doesn't ask it. `report` is told of each copy,
    /// on the thread that copies. The copies are recorded in `unfinished`, which outlives this object, until they are
    /// committed or removed; without it a sudden end leaves them.
    explicit ProjectMedia(const FileURL& directory, ProgressReport report = {}, UnfinishedWork* unfinished = nullptr);
    ~ProjectMedia();
    ProjectMedia(const ProjectMedia&) = delete;
    ProjectMedia& operator=(const ProjectMedia&) = delete;

    /// The media folder, standardised with links resolved. Asks the disk once.
    [[nodiscard]] const FileURL& directory();

    /// The file inside the media folder: itself when it lies there already, else a copy in a folder of its own,
    /// one for each source. The copy is synced to disk. A stop request ends a copy early as cancelled.
    Result<FileURL> copy(const FileURL& url, std::stop_token stop = {});
    /// The clip with its file copied in; `originalURL` names the first place the file was seen.
    Result<Clip> localize(Clip clip, std::stop_token stop = {});
    /// All clips, then all assets, copied in; `mediaRoot` becomes `directory`. What has to be copied is counted before
    /// the first copy and reported as the totals; nothing is reported when all media lies inside.
    Result<Project> localize(Project project, std::stop_token stop = {});
    /// Keeps what was copied. Waits for nothing: the records are withdrawn by `finish`.
    void commit() { committed_ = true; }
    /// Removes what isn't committed, and withdraws the records. The end of this object's life does the same; where that
    /// is on the main thread, this is called before on another, as it waits for the disk where there is something to
    /// remove or to withdraw. Nothing is copied afterwards.
    void finish();
    /// The same for several, whose records are withdrawn in one step. None of them is null.
    static void finish(const std::vector<std::shared_ptr<ProjectMedia>>& all);

    /// Rewrites the media URLs of a project that was moved: those under the old `mediaRoot` come to lie in the
    /// folder of the same name beside `file`.
    static Project resolveMedia(Project project, const FileURL& file);

private:
    /// A folder that was made here, and its record.
    struct Created {
        FileURL folder;
        UnfinishedWork::Ticket ticket = 0;
    };

    /// `url` standardised with links resolved.
    const FileURL& source(const FileURL& url);
    /// Adds to the totals what the files of these clips add to the copies.
    void countAll(const std::vector<Clip>& clips, const std::stop_token& stop);
    void count(const FileURL& source, std::int64_t size);
    /// Removes what isn't committed. Answers the records that are to be withdrawn then.
    [[nodiscard]] std::vector<UnfinishedWork::Ticket> settle();
    [[nodiscard]] Created record(UnfinishedThing::Kind kind, const FileURL& place) const;
    Result<FileURL> makeCopy(const FileURL& source, const std::stop_token& stop);
    void tell() const;

    FileURL directory_;
    bool isResolved_ = false;
    ProgressReport report_;
    TransferProgress progress_;
    /// The size at which each source was counted, bytes.
    std::map<FileURL, std::int64_t> counted_;
    /// The source, standardised with links resolved, of each URL that was asked for: resolving asks the disk, and a
    /// timeline uses one file many times.
    std::unordered_map<FileURL, FileURL> sources_;
    std::map<FileURL, FileURL> copies_;
    std::vector<Created> createdFolders_;
    /// The media folder itself, where it was made for these copies.
    std::optional<Created> createdDirectory_;
    UnfinishedWork* unfinished_;
    bool committed_ = false;
};

}  // namespace kelvane
