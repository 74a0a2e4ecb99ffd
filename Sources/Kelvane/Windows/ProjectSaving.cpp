#include "ProjectSaving.h"

#include <sys/stat.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "Platform/ImageEncoding.h"
#include "Support/Text.h"
#include "Timeline/TimelineLayout.h"

namespace kelvane {

namespace {

/// A pause long enough that typing or dragging doesn't save at each step, short enough that little is ever unsaved.
constexpr std::chrono::milliseconds autosaveDelay{600};
/// Pauses before a failed save is tried again: soon at first, as a full disk is often cleared at once, and seldom
/// enough later that a disk which is gone isn't asked all the time.
constexpr std::chrono::seconds firstRetry{1};
constexpr std::chrono::seconds longestRetry{30};

/// What a save does to the picture on a project's card.
struct CardPicture {
    /// To be stored, unless it is the one that the card shows.
    StillImagePtr wanted;
    PictureMark present;
    bool isRemoved = false;
};

/// The picture of the first clip, or of the first asset where there is no clip.
StillImagePtr cardPicture(const Editor& editor) {
    const auto& clips = editor.clips().empty() ? editor.assets() : editor.clips();
    if (clips.empty()) return nullptr;
    const auto picture = editor.thumbnails().find(clips.front().url);
    return picture == editor.thumbnails().end() ? nullptr : picture->second;
}

/// Writes the row of a project and the picture of its card. Answers the picture that the card shows then. Blocks.
Result<PictureMark> record(const ProjectStore& store, const LibraryProject& row, const CardPicture& picture) {
    if (auto written = store.writeRow(row); !written) return fail(written.error());
    if (picture.isRemoved) {
        store.removeThumbnail(row.id);
        return PictureMark();
    }
    if (!picture.wanted) return picture.present;
    const PictureMark wanted = PictureMark::of(picture.wanted);
    if (wanted == picture.present) return wanted;
    const auto bytes = jpegData(*picture.wanted);
    // What could not be stored, as on a full disk, the next save stores.
    return bytes && store.storeThumbnail(row.id, *bytes) ? wanted : picture.present;
}

}  // namespace

DocumentStamp DocumentStamp::of(const FileURL& file) {
    struct stat status{};
    if (::stat(file.path().c_str(), &status) != 0) return {};
    return {.size = status.st_size,
            .modified = status.st_mtim.tv_sec * 1'000'000'000LL + status.st_mtim.tv_nsec,
            .inode = status.st_ino};
}

PictureMark PictureMark::of(const StillImagePtr& picture) {
    if (!picture) return {};
    const std::string_view bytes(reinterpret_cast<const char*>(picture->pixels.data()), picture->pixels.size());
    return {.width = picture->width, .height = picture->height, .pixels = std::hash<std::string_view>()(bytes)};
}

ProjectSaving::ProjectSaving(MainContext& context, ProjectLibrary& library) : context_(context), library_(library) {}

void ProjectSaving::schedule(const std::shared_ptr<Editor>& editor) { after(autosaveDelay, editor); }

void ProjectSaving::after(std::chrono::milliseconds pause, const std::shared_ptr<Editor>& editor) {
    context_.checkMainThread();
    const QPointer<ProjectSaving> self(this);
    timers_[editor->id()] = context_.after(pause, [self, weak = std::weak_ptr(editor)] {
        const auto dirty = weak.lock();
        if (!self.isNull() && dirty) self->save(dirty, Reason::change);
    });
}

void ProjectSaving::retry(const std::shared_ptr<Editor>& editor) {
    const auto last = pauses_.find(editor->id());
    const std::chrono::milliseconds pause =
        last == pauses_.end() ? firstRetry : std::min<std::chrono::milliseconds>(2 * last->second, longestRetry);
    pauses_[editor->id()] = pause;
    after(pause, editor);
}

bool ProjectSaving::isWriting(const UUID& projectID) const {
    const auto turns = turns_.find(projectID);
    return turns != turns_.end() && turns->second.isTaken();
}

TurnQueue& ProjectSaving::turns(const UUID& projectID) {
    context_.checkMainThread();
    return turns_.try_emplace(projectID, context_).first->second;
}

void ProjectSaving::forget(const UUID& projectID) {
    context_.checkMainThread();
    timers_.erase(projectID);
    turns_.erase(projectID);
    stamps_.erase(projectID);
    pictures_.erase(projectID);
    pauses_.erase(projectID);
    forgotten_.insert(projectID);
}

DocumentStamp ProjectSaving::stamp(const UUID& projectID) const {
    const auto known = stamps_.find(projectID);
    return known == stamps_.end() ? DocumentStamp() : known->second;
}

QCoro::Task<bool> ProjectSaving::flush(std::shared_ptr<Editor> editor) {
    return save(std::move(editor), Reason::request);
}

QCoro::Task<bool> ProjectSaving::save(std::shared_ptr<Editor> editor, Reason reason) {
    context_.checkMainThread();
    const QPointer<ProjectSaving> self(this);
    const UUID id = editor->id();
    if (forgotten_.contains(id)) co_return true;
    // The timer may be the caller; its state must outlive this call.
    const auto pending = timers_.extract(id);
    auto asked = turns(id).next();
    const TurnQueue::Turn turn = co_await asked;
    if (self.isNull()) co_return false;
    for (bool isFirst = true; editor->isDirty() && !forgotten_.contains(id); isFirst = false) {
        // Changes that come as fast as they are saved would keep back who waits: the second write lets none in.
        if (!isFirst) editor->beginSettling();
        auto writing = saveOnce(editor, reason);
        const bool saved = co_await writing;
        if (!isFirst) editor->endSettling();
        if (self.isNull() || !saved) co_return false;
        // A change that came meanwhile has its own time; only who waits for the save wants it at once.
        if (reason == Reason::change) break;
    }
    if (forgotten_.contains(id)) co_return true;
    if (!editor->isDirty()) succeed(*editor);
    co_return !editor->isDirty();
}

QCoro::Task<bool> ProjectSaving::saveOnce(std::shared_ptr<Editor> editor, Reason reason) {
    const QPointer<ProjectSaving> self(this);
    if (!editor->libraryName()) {
        auto saving = saveFreeStanding(editor, reason);
        co_return co_await saving;
    }
    auto saving = saveManaged(editor);
    const Result<void> saved = co_await saving;
    if (self.isNull()) co_return false;
    if (!saved) {
        editor->setSaveFailed(true);
        noteFailure(editor, "Your changes could not be saved: " + saved.error().message, saved.error(), reason);
        co_return false;
    }
    succeed(*editor);
    co_return true;
}

QCoro::Task<bool> ProjectSaving::saveFreeStanding(std::shared_ptr<Editor> editor, Reason reason) {
    const QPointer<ProjectSaving> self(this);
    if (editor->isAtWork()) {
        // Nothing of its own is saved beside that.
        schedule(editor);
        co_return false;
    }
    if (!editor->projectURL()) {
        // A person is being asked for a place.
        auto asking = editor->saveProject(false);
        co_await asking;
        if (!self.isNull()) editor->setSaveFailed(false);
        co_return !self.isNull() && !editor->isDirty();
    }
    auto saving = editor->saveInPlace();
    const Result<void> saved = co_await saving;
    if (self.isNull()) co_return false;
    if (!saved) {
        editor->setSaveFailed(false);
        noteFailure(editor, saved.error().message, saved.error(), reason);
        co_return false;
    }
    succeed(*editor);
    co_return true;
}

QCoro::Task<Result<void>> ProjectSaving::saveManaged(std::shared_ptr<Editor> editor) {
    const QPointer<ProjectSaving> self(this);
    const UUID id = editor->id();
    const Editor::Content written = editor->content();
    const double duration = TimelineLayout::duration(*written.clips);
    CardPicture picture{.wanted = cardPicture(*editor), .present = pictures_[id]};
    picture.isRemoved = !picture.wanted && duration == 0;
    auto writing = editor->writeManagedProject(library_.projectURL(id), false);
    Result<void> document = co_await writing;
    if (self.isNull()) co_return fail(Error::cancelled());
    if (!document) co_return document;

    const auto row = library_.savedRow(id, duration);
    auto work = [store = library_.store(), row, picture, id] {
        // The document is written in any case, and known by what it is now.
        const auto stamp = DocumentStamp::of(store.projectURL(id));
        return std::pair(stamp, row ? record(store, *row, picture) : Result<PictureMark>(fail(row.error())));
    };
    auto background = inBackground(context_, std::move(work), Lane::shortWork);
    auto [stamp, recorded] = co_await background;
    if (self.isNull()) co_return fail(Error::cancelled());
    stamps_[id] = stamp;
    if (!recorded) co_return fail(recorded.error());
    pictures_[id] = *recorded;
    library_.adopt(*row);
    editor->markProjectSaved(written);
    co_return Result<void>();
}

void ProjectSaving::noteFailure(const std::shared_ptr<Editor>& editor, std::string sentence, const Error& error,
                                Reason reason) {
    const bool isFirst = !pauses_.contains(editor->id());
    // Tries that nobody asked for don't raise the alert again and again; the state stays in view.
    if (isFirst || reason == Reason::request) editor->setError(std::move(sentence));
    if (isFirst && tell)
        tell("Your changes to " + quotedName(editor->title()) + " could not be saved: " + error.message);
    retry(editor);
}

void ProjectSaving::succeed(Editor& editor) {
    pauses_.erase(editor.id());
    editor.setSaveFailed(false);
}

}  // namespace kelvane
