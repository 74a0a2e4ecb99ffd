#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>
#include <set>
#include <utility>

#include "Editor.h"
#include "FilePublishing.h"
#include "Support/AtomicFile.h"

namespace kelvane {

namespace {

/// Pause between two looks at the encoder's progress.
constexpr std::chrono::milliseconds progressPause{200};

/// The size and rate that an export's choices come to, and the line that says so.
struct ExportFormat {
    Size size;
    double rate = 0;

    ExportFormat(ExportResolution resolution, ExportFrameRate frameRate, const ExportCapabilities& capabilities)
        : size(kelvane::size(resolution).value_or(capabilities.maximumSize)),
          rate(frameRate == ExportFrameRate::automatic ? capabilities.frameRate : static_cast<double>(frameRate)) {}

    [[nodiscard]] std::string line(ExportContainer container) const {
        return fmt::format("{:.0f} × {:.0f} · {} fps · {}", size.width, size.height, rateLabel(rate), title(container));
    }
};

/// Removes the hidden file, where there still is one, and its record. A file that can't be removed stays recorded.
/// Blocks.
bool removeHidden(const FileURL& file, UnfinishedWork* unfinished, UnfinishedWork::Ticket record) {
    const bool isGone = ::unlink(file.path().c_str()) == 0 || errno == ENOENT;
    if (isGone && unfinished != nullptr) unfinished->end({record});
    return isGone;
}

/// Whether a movie may have its place. Blocks.
Result<void> checkPlace(const FileURL& destination, bool overwrite, const std::optional<FileURL>& project,
                        std::initializer_list<ClipArray> sources) {
    if (!overwrite && fileExists(destination.path())) return fail("Output exists; use --overwrite.");
    const std::string target = destination.resolved().path();
    const auto isTarget = [&target](const FileURL& url) { return url.resolved().path() == target; };
    std::set<FileURL> seen;
    bool taken = project && isTarget(*project);
    for (const ClipArray& clips : sources)
        for (const Clip& clip : *clips) taken = taken || (seen.insert(clip.url).second && isTarget(clip.url));
    if (taken) return fail("Output cannot replace project or source media.");
    return {};
}

}  // namespace

void Editor::exportVideo() {
    if (!busy() && !clips_->empty()) setShowExportOptions(true);
}

std::string Editor::proposedExportName(ExportContainer container) const {
    const std::string name = title();
    return fmt::format("{}.{}", name == "Untitled" ? "Video" : name, rawValue(container));
}

void Editor::confirmExport(ExportResolution resolution, ExportFrameRate frameRate, ExportContainer container) {
    if (busy() || clips_->empty()) return;
    const PanelContent content =
        container == ExportContainer::mov ? PanelContent::quickTimeMovie : PanelContent::mp4Movie;
    const std::string message = fmt::format("{} · {} fps · {}", kelvane::title(resolution), kelvane::title(frameRate),
                                            kelvane::title(container));
    services_.panels->chooseDestination(
        content, proposedExportName(container), message,
        [weak = weak_from_this(), resolution, frameRate](std::optional<FileURL> destination) {
            const auto self = weak.lock();
            if (self && destination) self->exportFromWindow(*destination, resolution, frameRate);
        });
}

QCoro::Task<void> Editor::exportFromWindow(FileURL destination, ExportResolution resolution,
                                           ExportFrameRate frameRate) {
    const std::shared_ptr<Editor> self = shared_from_this();
    const std::stop_source task;
    exportTask_ = task;
    // The panel has asked whether a file may be replaced.
    auto running = exportMedia(std::move(destination), true, resolution, frameRate, nullptr, task.get_token());
    const Result<void> ended = co_await running;
    if (!ended && !ended.error().isCancelled() && !task.stop_requested())
        setError(MediaEngine::exportFailureDescription(ended.error()));
}

void Editor::clearExportedURL() { set(exportedURL_, std::nullopt, State::work); }

void Editor::cancelExport() {
    exportCancellationRequested_ = true;
    exportTask_.request_stop();
    exportWork_.request_stop();
    if (exportSession_) exportSession_->cancelExport();
    announce(State::work);
}

Result<void> Editor::checkExportable() const {
    if (busy() || interactionSnapshot_ || clips_->empty()) return fail("Kelvane is busy or the timeline is empty.");
    return {};
}

Result<Editor::ExportJobPtr> Editor::planExport(FileURL destination, bool overwrite) const {
    if (Result<void> exportable = checkExportable(); !exportable) return fail(exportable.error());
    const Result<ExportContainer> container = exportContainerForDestination(destination);
    if (!container) return fail(container.error());
    auto job = std::make_shared<ExportJob>();
    job->temporary = destination.parentFolder().appending(
        fmt::format("{}{}.{}", temporaryFilePrefix, UUID::random().upper(), rawValue(*container)));
    job->destination = std::move(destination);
    job->overwrite = overwrite;
    job->container = *container;
    return job;
}

QCoro::Task<Result<void>> Editor::admitExport(ExportJobPtr job) {
    for (;;) {
        job->clips = clips_;
        const ClipArray assets = assets_;
        const std::optional<FileURL> project = projectURL_;
        isAdmittingExport_ = true;
        announce(State::work);
        auto look = [job, assets, project] {
            return checkPlace(job->destination, job->overwrite, project, {job->clips, assets});
        };
        auto looking = inBackground(*services_.context, std::move(look), Lane::shortWork);
        Result<void> admitted = co_await looking;
        isAdmittingExport_ = false;
        announce(State::work);
        if (!admitted) co_return admitted;
        if (job->stop.stop_requested()) co_return fail(Error::cancelled());
        if (Result<void> exportable = checkExportable(); !exportable) co_return exportable;
        // A save or a load that began before may have ended meanwhile.
        if (job->clips == clips_ && assets == assets_ && project == projectURL_) co_return admitted;
    }
}

QCoro::Task<Result<void>> Editor::exportMedia(FileURL destination, bool overwrite, ExportResolution resolution,
                                              ExportFrameRate frameRate, std::function<Result<void>()> validatePublish,
                                              std::stop_token stop) {
    const std::shared_ptr<Editor> self = shared_from_this();
    Result<ExportJobPtr> planned = planExport(std::move(destination), overwrite);
    if (!planned) co_return fail(planned.error());
    const ExportJobPtr job = std::move(*planned);
    // One source for both ways to stop: the caller's token and cancelExport.
    std::stop_source work;
    exportWork_ = work;
    auto forward = [work]() mutable { work.request_stop(); };
    const std::stop_callback link(std::move(stop), std::move(forward));
    job->resolution = resolution;
    job->frameRate = frameRate;
    job->validatePublish = std::move(validatePublish);
    job->stop = work.get_token();
    auto admitting = admitExport(job);
    const Result<void> admitted = co_await admitting;
    if (!admitted) co_return admitted;
    enterExport(job->container);
    auto running = runExport(job);
    Result<void> ended = co_await running;
    if (!ended) {
        auto clearing = clearExport(job);
        co_await clearing;
    }
    leaveExport();
    co_return ended;
}

void Editor::enterExport(ExportContainer container) {
    exportFormat_ = "Determining export settings… · " + kelvane::title(container);
    isExporting_ = true;
    showExportOptions_ = false;
    exportProgress_ = 0;
    exportCancellationRequested_ = false;
    pausePlayer();
    announce(State::work);
}

void Editor::leaveExport() {
    progressTimer_.cancel();
    exportSession_.reset();
    isExporting_ = false;
    announce(State::work);
}

QCoro::Task<void> Editor::clearExport(ExportJobPtr job) {
    auto clear = [unfinished = services_.unfinished, job] {
        job->replaced = FileDescriptor();
        return removeHidden(job->temporary, unfinished, job->record);
    };
    auto clearing = inBackground(*services_.context, std::move(clear));
    (void)co_await clearing;
}

bool Editor::isStopped(const ExportJob& job) const { return job.stop.stop_requested() || exportCancellationRequested_; }

QCoro::Task<Result<void>> Editor::runExport(ExportJobPtr job) {
    auto building = buildExport(job);
    Result<void> built = co_await building;
    if (!built) co_return built;
    if (isStopped(*job)) co_return fail(Error::cancelled());
    auto encoding = encodeExport(job);
    Result<void> encoded = co_await encoding;
    if (!encoded) co_return encoded;
    auto publishing = publishExport(job);
    Result<void> published = co_await publishing;
    co_return published;
}

QCoro::Task<Result<void>> Editor::buildExport(ExportJobPtr job) {
    auto measure = [media = services_.media, clips = job->clips, stop = job->stop] {
        return MediaEngine::exportCapabilities(*media, *clips, stop);
    };
    auto measuring = inBackground(*services_.context, std::move(measure));
    const Result<ExportCapabilities> capabilities = co_await measuring;
    if (!capabilities) co_return fail(capabilities.error());
    if (isStopped(*job)) co_return fail(Error::cancelled());
    if (!isAvailable(job->resolution, capabilities->maximumSize)) {
        co_return fail(fmt::format("{} requires enough source resolution in every video clip after crop and zoom.",
                                   kelvane::title(job->resolution)));
    }
    const ExportFormat format(job->resolution, job->frameRate, *capabilities);
    exportFormat_ = format.line(job->container);
    announce(State::work);
    auto build = [media = services_.media, clips = job->clips, stop = job->stop, format] {
        return MediaEngine::build(*media, *clips, format.size, frameDuration(format.rate), stop);
    };
    auto building = inBackground(*services_.context, std::move(build));
    Result<EditedMediaPtr> built = co_await building;
    if (!built) co_return fail(built.error());
    job->edited = std::move(*built);
    co_return Result<void>();
}

QCoro::Task<Result<void>> Editor::encodeExport(ExportJobPtr job) {
    auto make = [media = services_.media, edited = job->edited, container = job->container] {
        return MediaEngine::exporter(*media, edited, container);
    };
    auto making = inBackground(*services_.context, std::move(make));
    Result<std::unique_ptr<ExportSession>> made = co_await making;
    if (!made) co_return fail(made.error());
    if (isStopped(*job)) co_return fail(Error::cancelled());
    exportSession_ = std::move(*made);
    // The movie is written under a hidden name, which tells nobody anything.
    exportSession_->shownName = job->destination.fileName();
    pollExportProgress();
    auto encode = [session = exportSession_, unfinished = services_.unfinished, job]() -> Result<void> {
        // The encoder would speak of the hidden file, and only after its start.
        if (Result<void> accepted = checkFolderAccepts(job->destination); !accepted) return accepted;
        if (unfinished != nullptr) job->record = unfinished->begin({UnfinishedThing::Kind::exportFile, job->temporary});
        return session->exportTo(job->temporary, job->container, job->stop);
    };
    auto encoding = inBackground(*services_.context, std::move(encode));
    Result<void> encoded = co_await encoding;
    progressTimer_.cancel();
    co_return encoded;
}

void Editor::pollExportProgress() {
    set(exportProgress_, exportSession_->progress(), State::work);
    auto again = [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (self && self->exportSession_) self->pollExportProgress();
    };
    progressTimer_ = services_.context->after(progressPause, std::move(again));
}

QCoro::Task<Result<void>> Editor::publishExport(ExportJobPtr job) {
    auto look = [job] {
        if (job->overwrite) job->replaced = holdReplaced(job->destination);
        return fileExists(job->temporary.path());
    };
    auto looking = inBackground(*services_.context, std::move(look), Lane::shortWork);
    const bool isProduced = co_await looking;
    if (isStopped(*job)) co_return fail(Error::cancelled());
    if (!isProduced) co_return fail(fmt::format("Export did not produce a {} file.", kelvane::title(job->container)));
    // From the last check to the rename nothing else can run on the main thread.
    if (Result<void> valid = job->validatePublish ? job->validatePublish() : Result<void>(); !valid) co_return valid;
    if (Result<void> published = publishFile(job->temporary, job->destination, job->overwrite); !published)
        co_return published;
    auto sync = [unfinished = services_.unfinished, job] {
        auto synced = syncFolder(job->destination.parentFolder().path());
        removeHidden(job->temporary, unfinished, job->record);
        return synced;
    };
    auto syncing = inBackground(*services_.context, std::move(sync), Lane::shortWork);
    // The movie is in place and complete; a folder that can't be synced takes nothing from that.
    (void)co_await syncing;
    freeReplaced(*job);
    exportedURL_ = job->destination;
    services_.panels->noteRecentDocument(job->destination);
    exportProgress_ = 1;
    announce(State::work);
    co_return Result<void>();
}

void Editor::freeReplaced(ExportJob& job) {
    if (!job.replaced.isOpen()) return;
    auto hold = std::make_shared<FileDescriptor>(std::move(job.replaced));
    // Nobody waits for it, and it takes as long as the file is large.
    services_.context->runInBackground([hold = std::move(hold)] { *hold = FileDescriptor(); }, Lane::longWork);
}

}  // namespace kelvane
