#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "FileDescriptor.h"
#include "FileURL.h"

namespace kelvane {

/// Something that is made in steps, and must not stay as it is when the process ends between them.
struct UnfinishedThing {
    enum class Kind {
        /// A folder with one media file's copy, until the operation is committed.
        mediaCopy,
        /// A folder for such folders that was made for them; what is in it is recorded by itself.
        mediaFolder,
        /// The hidden file that an export is encoded into, until it gets its name.
        exportFile,
        /// The folder of a new project, until its row is written.
        projectFolder,
        /// A folder that isn't the library's and in which files are being replaced.
        writtenFolder,
    };
    Kind kind = Kind::mediaCopy;
    FileURL place;

    bool operator==(const UnfinishedThing&) const = default;
};

/// What this process has made and not finished, kept in a file of its own that outlives a sudden end, so that a later
/// start can remove it. The file is locked while the process lives; it is made with the first entry. One instance for
/// each process and folder. Any thread; all calls block for a sync, so none is for the main thread.
class UnfinishedWork {
public:
    /// Names an entry; 0 is none.
    using Ticket = std::uint64_t;

    /// `folder` holds the files of all processes of the user; nothing is made yet.
    explicit UnfinishedWork(std::string folder) : folder_(std::move(folder)) {}
    ~UnfinishedWork() { retire(); }
    UnfinishedWork(const UnfinishedWork&) = delete;
    UnfinishedWork& operator=(const UnfinishedWork&) = delete;

    /// Records a thing that is about to be made; it is on disk when this returns. Where that fails the answer is 0 and
    /// the work goes on: what is then left by a sudden end stays, which is no reason to refuse the work.
    Ticket begin(const UnfinishedThing& thing);
    /// Withdraws entries, all in one step, once their things are finished, or are removed. 0 is passed over; where
    /// nothing else is given it waits for nothing.
    void end(const std::vector<Ticket>& tickets);
    /// Removes the process's file unless something is unfinished. Later entries make a new one.
    void retire();

    /// Tells `settle` of each thing that processes which are gone have left unfinished, the latest first. It removes
    /// the thing, or finds that nothing is left to do, and answers true; false keeps the record, and the thing is told
    /// again at a later start, for 30 days at most. A stop request is heard between two things. Sweeps of several
    /// processes don't meet: a record is locked while it is worked on, and living processes hold theirs.
    static void settleAbandoned(const std::string& folder, const std::function<bool(const UnfinishedThing&)>& settle,
                                const std::stop_token& stop = {});

private:
    bool makeRecord();
    bool append(const std::string& line);
    /// Has what stands in the record on disk when it returns. Called without the mutex, which others then needn't wait
    /// for.
    void sync(const std::shared_ptr<const FileDescriptor>& record);

    std::string folder_;
    std::mutex mutex_;
    std::string path_;
    /// Shared with those who sync it; none before the first entry.
    std::shared_ptr<const FileDescriptor> record_;
    /// Whether the record's name is on disk.
    bool isNameSynced_ = false;
    /// Length of the whole lines in the record, bytes.
    std::int64_t length_ = 0;
    Ticket last_ = 0;
    std::set<Ticket> pending_;
};

}  // namespace kelvane
