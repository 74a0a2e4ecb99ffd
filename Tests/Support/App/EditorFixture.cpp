#include "EditorFixture.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "Storage/ProjectFile.h"

namespace kelvane::testing {

EditorFixture::EditorFixture() {
    folder_.makeFolder("Sources");
    folder_.makeFolder("Library/Media");
    makeEditor();
}

EditorFixture::~EditorFixture() {
    editor.reset();
    context.settle();
}

void EditorFixture::makeEditor(bool inLibrary) {
    EditorServices services;
    services.context = &context;
    services.media = &media;
    services.panels = &panels;
    services.unfinished = unfinished;
    services.recording = &recording;
    services.desktop = &desktop;
    services.makePlayer = [this](PlayerRole role) {
        auto made = std::make_unique<FakePlayer>();
        (role == PlayerRole::main ? player : hoverPlayer) = made.get();
        return made;
    };
    editor = Editor::create(UUID::random(), inLibrary ? std::optional(mediaFolder()) : std::nullopt, services);
    editor->onProjectChange = [this] { ++projectChanges; };
    if (inLibrary) editor->setLibraryName("Trailer");
}

FileURL EditorFixture::makeSource(const std::string& name, FakeFile file) {
    media.addFileNamed(name, std::move(file));
    return folder_.write("Sources/" + name, "media of " + name);
}

FileURL EditorFixture::makeManaged(const std::string& name, FakeFile file) {
    media.addFileNamed(name, std::move(file));
    return folder_.write("Library/Media/" + UUID::random().upper() + "/" + name, "media of " + name);
}

std::vector<std::string> EditorFixture::mediaFiles() const {
    const std::filesystem::path root = mediaFolder().path();
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
        found.push_back(entry.path().lexically_relative(root).string());
    std::ranges::sort(found);
    return found;
}

std::vector<std::string> EditorFixture::entries(const FileURL& folder) {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
        found.push_back(entry.path().filename().string());
    std::ranges::sort(found);
    return found;
}

Clip EditorFixture::video(const FileURL& file, double seconds) {
    Clip clip;
    clip.id = UUID::random();
    clip.url = file;
    clip.sourceDuration = seconds;
    clip.end = seconds;
    return clip;
}

Clip EditorFixture::audio(const FileURL& file, double seconds, double timelineStart) {
    Clip clip = video(file, seconds);
    clip.audioOnly = true;
    clip.timelineStart = timelineStart;
    return clip;
}

void EditorFixture::load(std::vector<Clip> clips, std::optional<std::vector<Clip>> assets) {
    Project project;
    project.clips = std::move(clips);
    project.assets = std::move(assets);
    project.mediaRoot = editor->mediaDirectory();
    const Result<void> written = ProjectFile::write(project, projectFile());
    ASSERT_TRUE(written) << written.error().message;
    const Result<void> loaded = load(projectFile());
    ASSERT_TRUE(loaded) << loaded.error().message;
}

void EditorFixture::settlePreview() {
    context.settle();
    context.advance(std::chrono::milliseconds(180));
    context.settle();
}

void EditorFixture::save(bool saveAs) {
    testing::finish(context, editor->saveProject(saveAs));
    runUntil(context, [this] { return !context.hasWork() || panels.openQuestions() > 0; });
}

void EditorFixture::beBusy() {
    editor->importURLs({makeSource("busy.mov", FakeFile::video(1))});
    ASSERT_TRUE(editor->busy());
}

std::vector<UUID> ids(const std::vector<Clip>& clips) {
    std::vector<UUID> found;
    found.reserve(clips.size());
    for (const Clip& clip : clips) found.push_back(clip.id);
    return found;
}

}  // namespace kelvane::testing
