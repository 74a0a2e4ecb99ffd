#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QTest>
#include <array>
#include <cstdio>
#include <filesystem>

#include "App/KelvaneApp.h"
#include "Support/Quick/Keyboard.h"
#include "Support/TempFolder.h"

namespace kelvane::testing {
namespace {

/// The lines that a command prints.
std::vector<std::string> lines(const std::string& command) {
    std::vector<std::string> found;
    FILE* output = popen(command.c_str(), "r");
    std::array<char, 4096> line{};
    while (output != nullptr && std::fgets(line.data(), line.size(), output) != nullptr) {
        std::string text(line.data());
        while (!text.empty() && text.back() == '\n') text.pop_back();
        found.push_back(std::move(text));
    }
    if (output != nullptr) pclose(output);
    return found;
}

/// The packages of QML modules that users of the application install.
std::vector<std::string> listedModules() {
    std::vector<std::string> modules;
    const std::string list =
        "bash -c '. " KELVANE_SOURCE_FOLDER "/Tools/common.sh; printf \"%s\\n\" \"${run_packages[@]}\"'";
    for (std::string& package : lines(list))
        if (package.starts_with("qml6-module-")) modules.push_back(std::move(package));
    return modules;
}

/// Fills `folder` with the modules of these packages and no others.
void install(const std::vector<std::string>& packages, const TempFolder& folder) {
    const std::string_view root = "/qt6/qml/";
    for (const std::string& package : packages) {
        for (const std::string& file : lines("dpkg -L " + package)) {
            const auto at = file.find(root);
            if (at == std::string::npos || std::filesystem::is_directory(file)) continue;
            const std::filesystem::path link = folder.path(file.substr(at + root.size()));
            std::filesystem::create_directories(link.parent_path());
            std::filesystem::create_symlink(file, link);
        }
    }
}

/// The application with a window in front, in which a person could be asked, where only these modules are installed.
class MinimalApplication {
public:
    explicit MinimalApplication(const std::vector<std::string>& packages) {
        install(packages, modules_);
        qputenv("XDG_DATA_HOME", QByteArray::fromStdString(data_.path()));
        app_ = std::make_unique<KelvaneApp>(true, std::vector<FileURL>());
        app_->engine().setImportPathList({QString::fromStdString(modules_.path()), "qrc:/qt-project.org/imports"});
        check(app_->start(), "the application opens its window");
        window_ = QGuiApplication::topLevelWindows().first();
        check(QTest::qWaitForWindowActive(window_, patience), "the window comes to the front");
    }
    ~MinimalApplication() { app_->shutDown(); }

    /// Asks one question after the other, each of another kind, and waits until each is open or was answered by
    /// itself; the open ones are declined by the key for it. What became of them, in words.
    std::string askEach() {
        std::string outcome;
        const auto record = [&outcome](bool declined) { outcome += declined ? "declined " : "answered "; };
        WindowPanels& panels = app_->panels();
        panels.askName("New", "Untitled", "Create", [&](const auto& name) { record(!name); });
        outcome += openAndDecline();
        panels.confirm("Sure?", "Really.", "No", "Yes", [&](bool yes) { record(!yes); });
        outcome += openAndDecline();
        panels.chooseFiles(PanelContent::media, "Choose.", [&](const auto& files) { record(files.empty()); });
        outcome += openAndDecline();
        panels.chooseDestination(PanelContent::mp4Movie, "Film.mp4", "4K", [&](const auto& file) { record(!file); });
        outcome += openAndDecline();
        return outcome;
    }

private:
    /// A panel is open long before; only a test that fails waits as long as this, milliseconds.
    static constexpr int patience = 20000;

    std::string openAndDecline() {
        const QPointer<PanelQuestion> question = app_->panels().question();
        const auto isOpen = [&] { return question && question->stage() == PanelQuestion::Stage::shown; };
        if (!QTest::qWaitFor([&] { return !app_->panels().question() || isOpen(); }, patience)) return "waiting ";
        if (!isOpen()) return "closed ";
        const auto isDeclined = [&] {
            QTest::keyClick(keyboardWindow(window_), Qt::Key_Escape);
            return app_->panels().question() == nullptr;
        };
        return QTest::qWaitFor(isDeclined, patience) ? "open " : "stuck ";
    }

    TempFolder modules_;
    TempFolder data_;
    std::unique_ptr<KelvaneApp> app_;
    QWindow* window_ = nullptr;
};

/// Ends this process: with 0 where asking leads to `wanted`.
[[noreturn]] void expectAsking(const std::vector<std::string>& packages, const std::string& wanted) {
    std::string outcome;
    {
        MinimalApplication application(packages);
        outcome = application.askEach();
    }
    std::fprintf(stderr, "Panels: %s\n", outcome.c_str());
    _exit(outcome == wanted ? 0 : 1);
}

/// Each in a process of its own: what a process has loaded once stays, and a fault that ends it is a result.
class PanelModules : public ::testing::Test {
protected:
    PanelModules() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
    void SetUp() override {
        if (lines("command -v dpkg").empty()) GTEST_SKIP() << "Only Debian's packages are listed.";
        for (const std::string& package : listed)
            EXPECT_FALSE(lines("dpkg -L " + package + " 2>/dev/null").empty()) << package << " is not installed";
    }

    const std::vector<std::string> listed = listedModules();
};

TEST_F(PanelModules, ThoseListedAreEnoughForEveryPanel) {
    EXPECT_EXIT(expectAsking(listed, "declined open declined open declined open declined open "),
                ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace kelvane::testing
