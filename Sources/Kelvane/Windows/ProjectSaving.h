#pragma once

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "Editor/Editor.h"
#include "Platform/TurnQueue.h"
#include "Storage/ProjectLibrary.h"

namespace kelvane {

/// What a project's document was when it was last read or written here.
struct DocumentStamp {
    std::int64_t size = -1;
    /// Nanoseconds since 1970.
    std::int64_t modified = 0;
    std::uint64_t inode = 0;
    bool operator==(const DocumentStamp&) const = default;

    /// The stamp of a file, or the default where there is none. Blocks; any thread.
    static DocumentStamp of(const FileURL& file);
};

/// What tells one picture from another without keeping it; all 0 for no picture.
struct PictureMark {
    int width = 0;
    int height = 0;
    /// A hash of the pixels.
    std::size_t pixels = 0;
    bool operator==(const PictureMark&) const = default;

    /// Reads all pixels; any thread.
    static PictureMark of(const StillImagePtr& picture);
};

/// Saves open projects: each change by itself after a pause, and at once where something waits for it. What is written
/// is a copy; the files are written in the background, one project's in turns, so that an older state never replaces a
/// newer one. A save that fails is shown by its editor and tried again after growing pauses until it succeeds or the
/// project is forgotten. The main thread.
class ProjectSaving final : public QObject {
    Q_OBJECT

public:
    /// Both outlive this object.
    ProjectSaving(MainContext& context, ProjectLibrary& library);

    /// Told once for each run of failures, in a sentence: where no window is looked at, a person still learns of it.
    std::function<void(const std::string&)> tell;

    /// Saves the project 0.6 seconds after the last of these calls.
    void schedule(const std::shared_ptr<Editor>& editor);
    /// Saves the project if it is dirty, and what changes meanwhile, behind a write under way; answers whether nothing
    /// is left to save, as of a project that was forgotten nothing is. What changes during the first write is saved by
    /// a second, during which the project settles: no stream of changes keeps the answer back. Answers in the same turn
    /// of the event loop where nothing is to be done.
    QCoro::Task<bool> flush(std::shared_ptr<Editor> editor);
    /// Whether a write of the project is under way.
    [[nodiscard]] bool isWriting(const UUID& projectID) const;
    /// Turns at the files of a project other than its media. Whoever writes one takes a turn.
    [[nodiscard]] TurnQueue& turns(const UUID& projectID);
    /// Drops the save that is scheduled.
    void unschedule(const UUID& projectID) { timers_.erase(projectID); }
    /// Drops all that is known and scheduled of a project that is gone, and lets saves that wait for a turn end in
    /// silence.
    void forget(const UUID& projectID);

    [[nodiscard]] DocumentStamp stamp(const UUID& projectID) const;
    void noteStamp(const UUID& projectID, DocumentStamp stamp) { stamps_[projectID] = stamp; }

private:
    enum class Reason { change, request };

    QCoro::Task<bool> save(std::shared_ptr<Editor> editor, Reason reason);
    /// One write; answers whether it succeeded. A failure has been shown, and the next try is scheduled.
    QCoro::Task<bool> saveOnce(std::shared_ptr<Editor> editor, Reason reason);
    QCoro::Task<Result<void>> saveManaged(std::shared_ptr<Editor> editor);
    QCoro::Task<bool> saveFreeStanding(std::shared_ptr<Editor> editor, Reason reason);
    void after(std::chrono::milliseconds pause, const std::shared_ptr<Editor>& editor);
    /// Shows a failure as `sentence`, and schedules the next try.
    void noteFailure(const std::shared_ptr<Editor>& editor, std::string sentence, const Error& error, Reason reason);
    void retry(const std::shared_ptr<Editor>& editor);
    /// Nothing is left to save: failures before are over.
    void succeed(Editor& editor);

    MainContext& context_;
    ProjectLibrary& library_;
    std::map<UUID, Timer> timers_;
    std::map<UUID, TurnQueue> turns_;
    std::map<UUID, DocumentStamp> stamps_;
    /// The picture that a project's card shows, as of the last save.
    std::map<UUID, PictureMark> pictures_;
    /// How long the last pause before a next try was; only of projects whose last save failed.
    std::map<UUID, std::chrono::milliseconds> pauses_;
    /// Projects that are gone. Their ids never come again.
    std::set<UUID> forgotten_;
};

}  // namespace kelvane
