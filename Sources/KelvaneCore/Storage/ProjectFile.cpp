#include "ProjectFile.h"

#include <string>
#include <unordered_set>

#include "ProjectDocument.h"
#include "ProjectMedia.h"
#include "Support/AtomicFile.h"
#include "Support/Text.h"

namespace kelvane::ProjectFile {

namespace {

/// Largest document that is read, bytes: a hundred times a long project's.
constexpr std::size_t sizeLimit = std::size_t{128} << 20;

constexpr int missingMediaCode = 1;

/// The pool of a document without one: each file once, as a fresh import would hold it.
std::vector<Clip> derivedAssets(const std::vector<Clip>& clips) {
    std::vector<Clip> assets;
    std::unordered_set<FileURL> known;
    for (const Clip& clip : clips) {
        if (!known.insert(clip.url).second) continue;
        Clip asset;
        asset.id = clip.id;
        asset.url = clip.url;
        asset.sourceDuration = clip.sourceDuration;
        asset.end = clip.sourceDuration;
        asset.audioOnly = clip.audioOnly;
        asset.originalURL = clip.originalURL;
        assets.push_back(std::move(asset));
    }
    return assets;
}

bool allValid(const std::vector<Clip>& clips) {
    for (const Clip& clip : clips)
        if (!clip.isValid()) return false;
    return true;
}

bool idsAreUnique(const std::vector<Clip>& clips) {
    std::unordered_set<UUID> ids;
    for (const Clip& clip : clips) ids.insert(clip.id);
    return ids.size() == clips.size();
}

/// The paths of media that is not on disk, one a line, in order and with repeats; empty when all is there.
std::string missingMedia(const Project& project) {
    std::string paths;
    const auto collect = [&](const std::vector<Clip>& clips) {
        for (const Clip& clip : clips) {
            const std::string path = clip.url.path();
            if (!fileExists(path)) paths += "\n" + path;
        }
    };
    collect(project.clips);
    collect(*project.assets);
    return paths;
}

}  // namespace

Result<Project> read(const FileURL& file) {
    const auto data = readFile(file.path(), sizeLimit);
    if (!data) return fail(data.error());
    auto decoded = decodeProject(*data);
    if (!decoded) {
        Error error = decoded.error();
        error.message = quotedFileName(file.path()) + " can’t be read as a project. " + error.message;
        return fail(std::move(error));
    }

    Project project = ProjectMedia::resolveMedia(*std::move(decoded), file);
    if (!project.assets) project.assets = derivedAssets(project.clips);

    const bool sound = project.version == 1 && allValid(project.clips) && allValid(*project.assets) &&
                       idsAreUnique(*project.assets) && idsAreUnique(project.clips);
    if (!sound) return fail(Error(quotedFileName(file.path()) + " isn’t in the correct format.", "Corrupt", 0));

    const std::string missing = missingMedia(project);
    if (!missing.empty()) {
        return fail(Error("The source media could not be found. Move them back to their original location:" + missing,
                          "Kelvane", missingMediaCode));
    }
    return project;
}

Result<void> write(const Project& project, const FileURL& file) {
    const auto data = encodeProject(project);
    if (!data) return fail(data.error());
    return writeFileAtomically(file.path(), *data);
}

}  // namespace kelvane::ProjectFile
