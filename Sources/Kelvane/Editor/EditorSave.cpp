#include <utility>

#include "Editor.h"
#include "Storage/ProjectFile.h"

namespace kelvane {

namespace {

bool samePath(const std::optional<FileURL>& a, const std::optional<FileURL>& b) {
    return a.has_value() == b.has_value() && (!a || a->path() == b->path());
}

/// Copies into `directory` what the project uses from elsewhere, and keeps its file in step with the disk.
Result<Project> settledInto(const FileURL& directory, Project project, const FileURL& file) {
    ProjectMedia media(directory);
    Result<Project> localized = media.localize(project);
    if (!localized) return localized;
    // A media folder that is spelled with or without a trailing slash is the same.
    const bool changed = localized->clips != project.clips || localized->assets != project.assets ||
                         !samePath(localized->mediaRoot, project.mediaRoot);
    if (changed) {
        if (const Result<void> written = ProjectFile::write(*localized, file); !written) return fail(written.error());
    }
    media.commit();
    return localized;
}

/// Writes a project to a place of its own, with copies of its media in the folder beside it.
Result<void> writeWithMedia(Project project, const FileURL& file) {
    ProjectMedia media(file.replacingExtension("media"));
    const Result<Project> localized = media.localize(std::move(project));
    if (!localized) return fail(localized.error());
    Result<void> written = ProjectFile::write(*localized, file);
    if (written) media.commit();
    return written;
}

}  // namespace

Result<void> Editor::loadProject(const FileURL& url) {
    Result<Project> project = ProjectFile::read(url);
    if (project && mediaDirectory_) project = settledInto(*mediaDirectory_, std::move(*project), url);
    if (!project) return fail(project.error());
    projectURL_ = url;
    savedClips_ = std::make_shared<const std::vector<Clip>>(std::move(project->clips));
    savedAssets_ = std::make_shared<const std::vector<Clip>>(std::move(project->assets).value_or(std::vector<Clip>()));
    assets_ = savedAssets_;
    undoStack_.clear();
    redoStack_.clear();
    // A gesture on the project before has nothing to go back to.
    interactionSnapshot_.reset();
    apply(savedClips_);
    set(playhead_, 0, State::position);
    reloadThumbnails();
    return {};
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

Project Editor::project() const { return {1, *clips_, *assets_, mediaDirectory_}; }

void Editor::saveProject(bool saveAs) {
    if (busy()) return;
    if (projectURL_ && !saveAs) {
        saveTo(FileURL(*projectURL_), false, false);
        return;
    }
    services_.panels->chooseDestination(PanelContent::project, title() + ".kelvane", "",
                                        [weak = weak_from_this(), saveAs](std::optional<FileURL> destination) {
                                            const auto self = weak.lock();
                                            if (self && destination) self->saveTo(*destination, saveAs, true);
                                        });
}

void Editor::saveTo(const FileURL& destination, bool saveAs, bool firstSave) {
    if (canSaveToURL && !canSaveToURL(destination)) {
        setError("This project is already open in another window. Choose a different name with Save Project As.");
        return;
    }
    const Result<void> written =
        firstSave ? writeWithMedia(project(), destination) : ProjectFile::write(project(), destination);
    if (!written) {
        setError(written.error().message);
        return;
    }
    if (!libraryName_) projectURL_ = destination;
    if (!libraryName_ || !saveAs) {
        savedClips_ = clips_;
        savedAssets_ = assets_;
        setDirty(false);
    }
    if (!libraryName_ || saveAs) services_.panels->noteRecentDocument(destination);
    announce(State::content);
}

Result<void> Editor::writeManagedProject(const FileURL& url, bool markSaved) {
    Result<void> written = ProjectFile::write(project(), url);
    if (!written) return written;
    projectURL_ = url;
    announce(State::content);
    if (markSaved) markProjectSaved();
    return {};
}

void Editor::markProjectSaved() {
    savedClips_ = clips_;
    savedAssets_ = assets_;
    setDirty(false);
    setSaveFailed(false);
}

}  // namespace kelvane
