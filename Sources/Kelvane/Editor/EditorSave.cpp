#include <utility>

#include "Editor.h"
#include "SourcesAhead.h"
#include "Storage/ProjectFile.h"

namespace kelvane {

namespace {

bool samePath(const std::optional<FileURL>& a, const std::optional<FileURL>& b) {
    return a.has_value() == b.has_value() && (!a || a->path() == b->path());
}

/// Copies into `directory` what the project uses from elsewhere, and keeps its file in step with the disk. Blocks.
Result<Project> settledInto(const FileURL& directory, Project project, const FileURL& file, const std::stop_token& stop,
                            const ProgressReport& report, UnfinishedWork* unfinished) {
    ProjectMedia media(directory, report, unfinished);
    Result<Project> localized = media.localize(project, stop);
    if (!localized) return localized;
    // A media folder that is spelled with or without a trailing slash is the same.
    const bool changed = localized->clips != project.clips || localized->assets != project.assets ||
                         !samePath(localized->mediaRoot, project.mediaRoot);
    if (changed) {
        if (Result<void> written = ProjectFile::write(*localized, file); !written) return fail(written.error());
    }
    media.commit();
    return localized;
}

/// Writes a project file in a folder that isn't the library's, where no sweep would look for a half-written one.
/// Blocks.
Result<void> writeOutside(const Project& project, const FileURL& file, UnfinishedWork* unfinished) {
    if (unfinished == nullptr) return ProjectFile::write(project, file);
    const auto record = unfinished->begin({UnfinishedThing::Kind::writtenFolder, file.parentFolder()});
    Result<void> written = ProjectFile::write(project, file);
    unfinished->end({record});
    return written;
}

/// Writes a project to a place of its own, with copies of its media in the folder beside it. Blocks.
Result<void> writeWithMedia(Project project, const FileURL& file, const std::stop_token& stop,
                            const ProgressReport& report, UnfinishedWork* unfinished) {
    ProjectMedia media(file.replacingExtension("media"), report, unfinished);
    Result<Project> localized = media.localize(std::move(project), stop);
    if (!localized) return fail(localized.error());
    // Where nothing is copied, nobody has asked yet.
    if (stop.stop_requested()) return fail(Error::cancelled());
    Result<void> written = writeOutside(*localized, file, unfinished);
    if (written) media.commit();
    return written;
}

}  // namespace

QCoro::Task<Result<void>> Editor::loadProject(FileURL url, std::stop_token stop, ProgressReport report) {
    const auto self = shared_from_this();
    auto work = [url, directory = mediaDirectory_, stop, report,
                 unfinished = services_.unfinished]() -> Result<Project> {
        Result<Project> project = ProjectFile::read(url);
        if (!project || !directory) return project;
        return settledInto(*directory, *std::move(project), url, stop, report, unfinished);
    };
    beginCopying();
    auto background = inBackground(*services_.context, std::move(work));
    Result<Project> project = co_await background;
    endCopying();
    if (!project) co_return fail(project.error());
    // The same folder, whose links the load has resolved.
    if (mediaDirectory_) mediaDirectory_ = project->mediaRoot;
    show(*std::move(project), url);
    co_return Result<void>();
}

void Editor::show(Project project, const FileURL& url) {
    projectURL_ = url;
    savedClips_ = std::make_shared<const std::vector<Clip>>(std::move(project.clips));
    savedAssets_ = std::make_shared<const std::vector<Clip>>(std::move(project.assets).value_or(std::vector<Clip>()));
    assets_ = savedAssets_;
    isFileAhead_ = false;
    undoStack_.clear();
    redoStack_.clear();
    // A gesture on the project before has nothing to go back to.
    interactionSnapshot_.reset();
    // During the pause before the preview is built.
    if (isShown_) openSourcesAhead(*services_.context, *services_.media, savedClips_, weak_from_this());
    apply(savedClips_);
    set(playhead_, 0, State::position);
    reloadThumbnails();
}

void Editor::reloadThumbnails() {
    thumbnailTask_.request_stop();
    thumbnails_.clear();
    announce(State::content);
    set(isLoadingThumbnails_, isShown_, State::work);
    if (!isShown_) return;
    thumbnailTask_ = std::stop_source();
    loadThumbnails(weak_from_this(), services_.context, services_.media, assets_, thumbnailTask_.get_token());
}

QCoro::Task<void> Editor::loadThumbnails(std::weak_ptr<Editor> weak, MainContext* context, MediaPlatform* media,
                                         ClipArray assets, std::stop_token stop) {
    for (const Clip& asset : *assets) {
        // More would push out what this load brought.
        if (const auto self = weak.lock(); self && !self->thumbnails_.hasRoom()) break;
        auto work = [media, url = asset.url, stop]() -> StillImagePtr {
            auto imported = MediaEngine::importClip(*media, url, stop);
            return imported ? Thumbnails::reduced(std::move(imported->picture)) : nullptr;
        };
        auto background = inBackground(*context, std::move(work));
        StillImagePtr picture = co_await background;
        const std::shared_ptr<Editor> self = weak.lock();
        // The load or the end that stopped this task has set the flag itself.
        if (!self || stop.stop_requested()) co_return;
        if (picture) self->storeThumbnail(asset.url, std::move(picture));
    }
    if (const std::shared_ptr<Editor> self = weak.lock()) self->set(self->isLoadingThumbnails_, false, State::work);
}

void Editor::beginCopying() {
    ++copies_;
    announce(State::work);
}

void Editor::endCopying() {
    check(copies_ > 0, "a copy that ends has begun");
    --copies_;
    copyProgress_ = {};
    announce(State::work);
}

void Editor::setCopyProgress(const TransferProgress& progress) { set(copyProgress_, progress, State::work); }

void Editor::cancelCopying() { copyTask_.request_stop(); }

void Editor::beginSettling() {
    ++settlings_;
    announce(State::work);
}

void Editor::endSettling() {
    check(settlings_ > 0, "a settling that ends has begun");
    --settlings_;
    announce(State::work);
}

Editor::Content Editor::content() const { return {clips_, assets_}; }

QCoro::Task<void> Editor::saveProject(bool saveAs) {
    if (busy()) co_return;
    const auto self = shared_from_this();
    if (projectURL_ && !saveAs) {
        auto saving = saveInPlace();
        Result<void> saved = co_await saving;
        if (!saved) setError(std::move(saved.error().message));
        co_return;
    }
    services_.panels->chooseDestination(PanelContent::project, title() + ".kelvane", "",
                                        [weak = weak_from_this(), saveAs](std::optional<FileURL> destination) {
                                            const auto self = weak.lock();
                                            if (self && destination) self->saveTo(*std::move(destination), saveAs);
                                        });
}

QCoro::Task<Result<void>> Editor::admitSave(FileURL destination) {
    if (!canSaveToURL) co_return Result<void>();
    auto asked = canSaveToURL(std::move(destination));
    const bool allowed = co_await asked;
    if (!allowed)
        co_return fail("This project is already open in another window. Choose a different name with Save Project As.");
    co_return Result<void>();
}

QCoro::Task<Result<void>> Editor::saveInPlace() {
    check(projectURL_.has_value(), "a project that is saved in place has one");
    const auto self = shared_from_this();
    const FileURL file = *projectURL_;
    const auto isElsewhere = [this, &file] { return projectURL_ != file; };
    auto admitting = admitSave(file);
    const Result<void> admitted = co_await admitting;
    if (!admitted || isElsewhere()) co_return admitted;
    // What is written is what stands now; a change that comes later is still to be saved.
    const Content written = content();
    auto writing = writeDocument(written, file);
    Result<void> done = co_await writing;
    if (isElsewhere()) co_return Result<void>();
    if (!done) co_return done;
    markSaved(written);
    if (!libraryName_) services_.panels->noteRecentDocument(file);
    announce(State::content);
    co_return done;
}

QCoro::Task<void> Editor::saveTo(FileURL destination, bool saveAs) {
    const auto self = shared_from_this();
    if (isCopying()) {
        setError("Wait until this project has been copied before saving it elsewhere.");
        co_return;
    }
    copyTask_ = std::stop_source();
    // From the first question on, so that the project is neither left nor removed before its copy stands.
    beginCopying();
    auto copying = writeCopy(destination);
    Result<Content> written = co_await copying;
    endCopying();
    if (!written) {
        if (!written.error().isCancelled()) setError(std::move(written.error().message));
        co_return;
    }
    if (!libraryName_) projectURL_ = destination;
    if (!libraryName_ || !saveAs) markSaved(*written);
    services_.panels->noteRecentDocument(destination);
    announce(State::content);
}

QCoro::Task<Result<void>> Editor::writeDocument(Content content, FileURL file) {
    const auto self = shared_from_this();
    const bool wasAhead = isFileAhead_;
    // What is undone during the write is still to be saved again.
    isFileAhead_ = wasAhead || !isSaved(content);
    auto work = [content = std::move(content), root = mediaDirectory_, file = std::move(file),
                 unfinished = services_.unfinished, copies = std::exchange(unsavedCopies_, {})] {
        const Project project{1, *content.clips, *content.assets, root};
        Result<void> written = root ? ProjectFile::write(project, file) : writeOutside(project, file, unfinished);
        // Where it can't be written they stay, too: nobody knows for how long they are the only ones by then.
        ProjectMedia::finish(copies);
        return written;
    };
    auto background = inBackground(*services_.context, std::move(work), Lane::shortWork);
    Result<void> written = co_await background;
    if (!written) {
        isFileAhead_ = wasAhead;
        set(isDirty_, !isSaved(), State::content);
    }
    co_return written;
}

QCoro::Task<Result<Editor::Content>> Editor::writeCopy(FileURL file) {
    const auto self = shared_from_this();
    auto admitting = admitSave(file);
    const Result<void> admitted = co_await admitting;
    if (!admitted) co_return fail(admitted.error());
    // Told on the thread that copies.
    auto report = [weak = weak_from_this(), context = services_.context](const TransferProgress& progress) {
        context->post([weak, progress] {
            const auto editor = weak.lock();
            if (editor && editor->isCopying()) editor->setCopyProgress(progress);
        });
    };
    const Content written = content();
    auto work = [written, root = mediaDirectory_, file = std::move(file), stop = copyTask_.get_token(), report,
                 unfinished = services_.unfinished] {
        return writeWithMedia(Project{1, *written.clips, *written.assets, root}, file, stop, report, unfinished);
    };
    auto background = inBackground(*services_.context, std::move(work));
    const Result<void> done = co_await background;
    if (!done) co_return fail(done.error());
    co_return written;
}

QCoro::Task<Result<void>> Editor::writeManagedProject(FileURL url, bool markSaved) {
    const auto self = shared_from_this();
    const Content written = content();
    auto writing = writeDocument(written, url);
    Result<void> done = co_await writing;
    if (!done) co_return done;
    projectURL_ = url;
    announce(State::content);
    if (markSaved) markProjectSaved(written);
    co_return done;
}

void Editor::markSaved(const Content& written) {
    savedClips_ = written.clips;
    savedAssets_ = written.assets;
    isFileAhead_ = false;
    // A change that came during the write has asked for its own save.
    set(isDirty_, !isSaved(), State::content);
}

void Editor::markProjectSaved(const Content& written) {
    markSaved(written);
    setSaveFailed(false);
}

void Editor::markProjectSaved() { markProjectSaved(content()); }

}  // namespace kelvane
