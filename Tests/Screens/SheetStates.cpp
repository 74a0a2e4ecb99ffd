#include <QTest>
#include <filesystem>

#include "Session/AIAssistantSession.h"
#include "Stage.h"
#include "Views/Window/PanelHost.h"
#include "Views/Window/WindowPanels.h"

namespace kelvane::testing {

namespace fs = std::filesystem;

void Stage::showAlert() {
    open("Late light", film(), 17.5);
    editor().setError("Interview.mov contains no video or audio.");
    leaving_.emplace_back([this] { editor().setError(std::nullopt); });
}

void Stage::showExportOptions() {
    open("Late light", film(), 17.5);
    editor().exportVideo();
    runUntil([this] { return view_->exportOptions()->sizeText().endsWith("B"); });
    leaving_.emplace_back([this] { editor().setShowExportOptions(false); });
}

void Stage::startExport(const std::vector<Clip>& clips) {
    open("Late light", clips, 0);
    const fs::path file = fs::temp_directory_path() / "Late light.mp4";
    fs::remove(file);
    panels_.destinations.push_back(FileURL::fromPath(file.string()));
    editor().confirmExport(ExportResolution::hd720, ExportFrameRate::automatic, ExportContainer::mp4);
    leaving_.emplace_back([this, file] {
        editor().cancelExport();
        runUntil([this] { return !editor().busy(); });
        fs::remove(file);
    });
}

void Stage::showExporting() {
    startExport(film());
    // The one before has left its own.
    runUntil([this] { return editor().exportProgress() < 0.1F; });
    runUntil([this] { return editor().exportProgress() >= 0.15F; });
    // Its sheet has come.
    const auto begun = context_.now();
    runUntil([&] { return context_.now() > begun + std::chrono::milliseconds(500); });
}

void Stage::showExported() {
    startExport({video("Coast.mp4", 1, 1.5)});
    runUntil([this] { return editor().exportedURL().has_value(); });
}

void Stage::showImporting() {
    open("Late light", film(), 17.5);
    const fs::path folder = fs::temp_directory_path() / "kelvane-screens-import";
    fs::create_directories(folder);
    std::vector<FileURL> files;
    for (int i = 1; i <= 12; ++i) {
        const fs::path file = folder / ("Take " + std::to_string(i) + ".mp4");
        fs::copy_file(footage_ / (i % 2 == 0 ? "Balloons.mp4" : "Coast.mp4"), file,
                      fs::copy_options::overwrite_existing);
        files.push_back(FileURL::fromPath(file.string()));
    }
    const std::size_t before = editor().assets().size();
    editor().importURLs(files);
    leaving_.emplace_back([this, folder] {
        runUntil([this] { return !editor().busy(); });
        fs::remove_all(folder);
    });
    // What takes no time shows nothing.
    const auto begun = context_.now();
    runUntil([&] {
        return !editor().isImporting() || context_.now() - begun > std::chrono::milliseconds(600) ||
               editor().assets().size() > before + 3;
    });
}

void Stage::ask(const std::function<void(WindowPanels&)>& question) {
    auto panels = std::make_shared<WindowPanels>(true, context_);
    auto host = std::make_shared<PanelHost>(*panels, engine_, *window_);
    question(*panels);
    leaving_.emplace_back([host, panels]() mutable {
        host.reset();
        panels.reset();
    });
}

void Stage::showConfirm() {
    showHome();
    ask([](WindowPanels& panels) {
        panels.confirm("Delete “Road trip”?",
                       "This permanently deletes the project, its media copies, and voice-over recordings. Files "
                       "imported from elsewhere will be kept.",
                       "Cancel", "Delete", [](bool) {});
    });
}

void Stage::showName() {
    showHome();
    ask([](WindowPanels& panels) {
        panels.askName("New Project", "Untitled", "Create", [](const std::optional<std::string>&) {});
    });
}

void Stage::showExportChoices() {
    showExportOptions();
    settle();
    const QQuickItem& choice = shown("label", "Resolution");
    QTest::mouseClick(window_.get(), Qt::LeftButton, {}, middleOf(choice));
    leaving_.emplace(leaving_.begin(), [this] { press(Qt::Key_Escape); });
}

void Stage::showChooser() {
    open("Late light", film(), 17.5);
    ask([this](WindowPanels& panels) {
        panels.beginNextIn(folderOfFiles().string());
        panels.chooseFiles(PanelContent::media, "Import Assets", [](const auto&) {});
    });
}

void Stage::showChooserSave() {
    open("Late light", film(), 17.5);
    ask([this](WindowPanels& panels) {
        panels.beginNextIn(folderOfFiles().string());
        panels.chooseDestination(PanelContent::mp4Movie, "Late light.mp4", "1080p · 30 fps · MP4", [](const auto&) {});
    });
}

fs::path Stage::folderOfFiles() {
    const fs::path folder = "/tmp/Holiday";
    fs::remove_all(folder);
    fs::create_directories(folder / "Sounds");
    for (const char* name : {"Coast.mp4", "Balloons.mp4", "Harbour.mp4", "Meadow.mp4", "Voice.wav", "Music.wav"})
        fs::create_symlink(footage_ / name, folder / name);
    leaving_.emplace_back([folder] { fs::remove_all(folder); });
    return folder;
}

void Stage::showAssistants() {
    desktop_.install("com.openai.codex");
    desktop_.install("com.anthropic.claudefordesktop");
    open("Late light", film(), 17.5);
    editor().ai().start();
    leaving_.emplace_back([this] {
        desktop_.applications.clear();
        editor().ai().dismissSheet();
    });
}

void Stage::showAssistantsNone() {
    open("Late light", film(), 17.5);
    editor().ai().start();
    leaving_.emplace_back([this] { editor().ai().dismissSheet(); });
}

void Stage::showAssistantsMessage() {
    showAssistants();
    settle();
    desktop_.applications.erase("com.openai.codex");
    editor().ai().launch(editor().ai().assistants().front());
    runUntil([this] { return editor().ai().message().has_value(); });
}

void Stage::showShortcuts() {
    open("Late light", film(), 17.5);
    view_->help()->showShortcuts();
    leaving_.emplace_back([this] { view_->help()->dismiss(); });
}

void Stage::showAbout() {
    open("Late light", film(), 17.5);
    view_->help()->showAbout();
    leaving_.emplace_back([this] { view_->help()->dismiss(); });
}

}  // namespace kelvane::testing
