#include <filesystem>

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
    leaving_.emplace_back([this] { editor().setShowExportOptions(false); });
}

void Stage::startExport(std::vector<Clip> clips) {
    open("Late light", std::move(clips), 0);
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
    runUntil([this] { return editor().exportProgress() >= 0.15F; });
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

void Stage::showAssetPreview() {
    open("Late light", film(), 17.5);
    editor().showAssetPreview(editor().assets()[1].id);
    settle();
    editor().seekPreview(4);
}

void Stage::ask(const std::function<void(Panels&)>& question) {
    auto panels = std::make_shared<WindowPanels>(true, context_);
    auto host = std::make_shared<PanelHost>(*panels, engine_, *window_);
    question(*panels);
    leaving_.emplace_back([host, panels]() mutable {
        host.reset();
        panels.reset();
    });
}

void Stage::showConfirm() {
    open("Late light", film(), 17.5);
    clear();
    ask([](Panels& panels) {
        panels.confirm("Delete “Late light”?",
                       "This permanently deletes the project, its media copies, and voice-over recordings. Files "
                       "imported from elsewhere will be kept.",
                       "Cancel", "Delete", [](bool) {});
    });
}

void Stage::showName() {
    ask([](Panels& panels) {
        panels.askName("New Project", "Untitled", "Create", [](const std::optional<std::string>&) {});
    });
}

}  // namespace kelvane::testing
