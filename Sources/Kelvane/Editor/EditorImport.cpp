#include <algorithm>
#include <utility>

#include "Editor.h"

namespace kelvane {

namespace {

using MediaEngine::ImportedClip;

/// The record among `clips` that stands for `url`: by the very same URL, now or before it was copied in.
const Clip* knownAs(const std::vector<Clip>& clips, const FileURL& url) {
    const auto found =
        std::ranges::find_if(clips, [&url](const Clip& clip) { return clip.url == url || clip.originalURL == url; });
    return found == clips.end() ? nullptr : &*found;
}

const ImportedClip* knownAs(const std::vector<ImportedClip>& imports, const FileURL& url) {
    const auto found = std::ranges::find_if(imports, [&url](const ImportedClip& imported) {
        return imported.clip.url == url || imported.clip.originalURL == url;
    });
    return found == imports.end() ? nullptr : &*found;
}

bool holds(const std::vector<Clip>& clips, const FileURL& url) {
    return std::ranges::find(clips, url, &Clip::url) != clips.end();
}

/// Probes a file and, with `copies`, copies it into the project. Blocks.
Result<ImportedClip> bringIn(MediaPlatform& media, ProjectMedia* copies, const FileURL& url,
                             const std::stop_token& stop) {
    Result<ImportedClip> imported = MediaEngine::importClip(media, url, stop);
    // A stop amid the thumbnail leaves a clip without one, which is not what was asked for.
    if (imported && stop.stop_requested()) return fail(Error::cancelled());
    if (!imported) return imported;
    imported->picture = Thumbnails::reduced(std::move(imported->picture));
    if (copies == nullptr) return imported;
    Result<Clip> inside = copies->localize(std::move(imported->clip), stop);
    if (!inside) return fail(inside.error());
    imported->clip = std::move(*inside);
    return imported;
}

void addOnce(std::vector<std::string>& lines, std::string line) {
    if (std::ranges::find(lines, line) == lines.end()) lines.push_back(std::move(line));
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += text.empty() ? line : "\n" + line;
    return text;
}

}  // namespace

void Editor::importFiles() {
    if (busy()) return;
    services_.panels->chooseFiles(PanelContent::media, "Choose videos or audio files.",
                                  [weak = weak_from_this()](std::vector<FileURL> urls) {
                                      if (const auto self = weak.lock()) self->importURLs(std::move(urls));
                                  });
}

void Editor::importURLs(std::vector<FileURL> urls) {
    if (busy() || urls.empty()) return;
    isImporting_ = true;
    importTask_ = std::stop_source();
    importProgress_ = {.file = 1, .count = urls.size()};
    announce(State::work);
    importEach(std::move(urls));
}

void Editor::cancelImport() { importTask_.request_stop(); }

QCoro::Task<void> Editor::importEach(std::vector<FileURL> urls) {
    const std::shared_ptr<Editor> self = shared_from_this();
    std::vector<Clip> arrivals;
    std::vector<std::string> failures;
    std::vector<std::shared_ptr<ProjectMedia>> kept;
    const std::stop_token stop = importTask_.get_token();
    for (std::size_t i = 0; i < urls.size() && !stop.stop_requested(); ++i) {
        const FileURL& url = urls[i];
        set(importProgress_.file, i + 1, State::work);
        if (knownAs(*assets_, url) != nullptr || knownAs(arrivals, url) != nullptr) continue;
        const auto copies = beginCopies();
        auto work = [media = services_.media, copies, url, stop] { return bringIn(*media, copies.get(), url, stop); };
        auto background = inBackground(*services_.context, std::move(work));
        Result<ImportedClip> imported = co_await background;
        if (imported) {
            storeThumbnail(imported->clip.url, std::move(imported->picture));
            arrivals.push_back(std::move(imported->clip));
            if (!copies) continue;
            copies->commit();
            kept.push_back(copies);
        } else {
            addOnce(failures, std::move(imported.error().message));
            auto dropping = dropCopies(copies);
            co_await dropping;
        }
    }
    isImporting_ = false;
    importProgress_ = {};
    importTask_ = std::stop_source(std::nostopstate);
    announce(State::work);
    if (!arrivals.empty()) {
        std::vector<Clip> assets = *assets_;
        for (Clip& clip : arrivals)
            if (!holds(assets, clip.url)) assets.push_back(std::move(clip));
        assets_ = std::make_shared<const std::vector<Clip>>(std::move(assets));
        announce(State::content);
        refreshDirty();
    }
    // Until here no asset stood for the copies.
    keepCopies(std::move(kept));
    if (!failures.empty() && !stop.stop_requested()) setError(joined(failures));
}

QCoro::Task<Result<std::vector<UUID>>> Editor::importMedia(std::vector<FileURL> urls,
                                                           std::function<Result<void>()> validateCommit,
                                                           std::stop_token stop) {
    using Answer = Result<std::vector<UUID>>;
    const std::shared_ptr<Editor> self = shared_from_this();
    if (busy() || interactionSnapshot_) co_return fail("Kelvane is busy.");
    isImporting_ = true;
    announce(State::work);
    const auto copies = beginCopies();
    auto gather = gatherImports(std::move(urls), std::move(validateCommit), std::move(stop), copies);
    Answer answer = co_await gather;
    if (!answer) {
        auto dropping = dropCopies(copies);
        co_await dropping;
    }
    isImporting_ = false;
    announce(State::work);
    co_return answer;
}

QCoro::Task<Result<std::vector<UUID>>> Editor::gatherImports(std::vector<FileURL> urls,
                                                             std::function<Result<void>()> validateCommit,
                                                             std::stop_token stop,
                                                             std::shared_ptr<ProjectMedia> copies) {
    using Answer = Result<std::vector<UUID>>;
    std::vector<ImportedClip> results;
    for (const FileURL& url : urls) {
        if (stop.stop_requested()) co_return fail(Error::cancelled());
        if (const Clip* asset = knownAs(*assets_, url)) {
            results.push_back({*asset, nullptr});
            continue;
        }
        if (const ImportedClip* earlier = knownAs(results, url)) {
            results.push_back(ImportedClip(*earlier));
            continue;
        }
        auto work = [media = services_.media, copies, url, stop] { return bringIn(*media, copies.get(), url, stop); };
        auto background = inBackground(*services_.context, std::move(work));
        Result<ImportedClip> imported = co_await background;
        if (!imported) co_return fail(imported.error());
        results.push_back(std::move(*imported));
    }
    if (const Result<void> valid = validateCommit ? validateCommit() : Result<void>(); !valid)
        co_return fail(valid.error());
    takeImports(results);
    if (copies) keepCopies({copies});
    std::vector<UUID> ids;
    ids.reserve(results.size());
    for (const ImportedClip& result : results) {
        // Two paths of one file share one copy, and the asset is the first of them.
        ids.push_back(std::ranges::find(*assets_, result.clip.url, &Clip::url)->id);
    }
    co_return Answer(std::move(ids));
}

std::shared_ptr<ProjectMedia> Editor::beginCopies() const {
    if (!mediaDirectory_) return nullptr;
    return std::make_shared<ProjectMedia>(*mediaDirectory_, ProgressReport(), services_.unfinished);
}

void Editor::keepCopies(std::vector<std::shared_ptr<ProjectMedia>> copies) {
    for (auto& one : copies) {
        one->commit();
        unsavedCopies_.push_back(std::move(one));
    }
    if (!isDirty_) settleCopies();
}

void Editor::settleCopies() {
    if (unsavedCopies_.empty()) return;
    auto withdraw = [copies = std::exchange(unsavedCopies_, {})] { ProjectMedia::finish(copies); };
    // Nobody waits for the records.
    services_.context->runInBackground(std::move(withdraw), Lane::shortWork);
}

QCoro::Task<void> Editor::dropCopies(std::shared_ptr<ProjectMedia> copies) {
    if (!copies) co_return;
    auto work = [copies] {
        copies->finish();
        return true;
    };
    auto background = inBackground(*services_.context, std::move(work));
    (void)co_await background;
}

void Editor::takeImports(const std::vector<ImportedClip>& imports) {
    std::vector<Clip> assets = *assets_;
    for (const ImportedClip& imported : imports) {
        if (!holds(assets, imported.clip.url)) {
            assets.push_back(imported.clip);
            storeThumbnail(imported.clip.url, imported.picture);
        }
    }
    if (assets.size() == assets_->size()) return;
    pushUndo(presentEntry(true));
    redoStack_.clear();
    assets_ = std::make_shared<const std::vector<Clip>>(std::move(assets));
    announce(State::content);
    refreshDirty();
}

void Editor::storeThumbnail(const FileURL& url, StillImagePtr picture) {
    if (picture && isShown_)
        thumbnails_.store(url, std::move(picture));
    else
        thumbnails_.remove(url);
    announce(State::content);
}

}  // namespace kelvane
