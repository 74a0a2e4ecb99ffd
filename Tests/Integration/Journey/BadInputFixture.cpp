#include "BadInputFixture.h"

#include "Storage/ProjectFile.h"

namespace kelvane::testing {

using nlohmann::json;

void BadInput::launchOn(const std::string& name) {
    folder.write(name + ".kelvane", "{\"clips\":[],\"version\":1}");
    launch({folder.path(name + ".kelvane")});
    (void)node("push button", "Project name: " + name + ". Rename project");
    if (!HasFailure()) EXPECT_TRUE(app->waitForProject()) << log();
}

void BadInput::expectAlert(const std::string& message) {
    (void)node("alert", "Unable to Complete");
    (void)node("label", message);
    expectFocus("push button", "OK");
    press("Return");
    expectGone("alert", "Unable to Complete");
}

std::string BadInput::expectAlertThatBegins(const std::string& words) {
    std::string message;
    const auto says = [&] {
        bool isAlert = false;
        bus.walk([&](const BusNode&, const NodeReport& report) {
            isAlert = isAlert || (report.role == "alert" && report.name == "Unable to Complete");
            if (isAlert && report.role == "label" && report.name.starts_with(words)) message = report.name;
            return message.empty();
        });
        return !message.empty();
    };
    // Some say what came of work that takes long.
    (void)waitForWork(says, "nothing says \"" + words + "\"");
    expectFocus("push button", "OK");
    press("Return");
    expectGone("alert", "Unable to Complete");
    return message;
}

void BadInput::beginRenaming(const std::string& name) {
    act("push button", "Project name: " + name + ". Rename project");
    expectFocus("text", "Project name");
}

void BadInput::askForName() {
    press("Ctrl+N");
    expectFocus("text", "Name");
    press("Ctrl+A");
    press("Delete");
}

json BadInput::import(const std::string& file) {
    if (HasFailure()) return {};
    return app->result({"import", "--revision", app->revision(), "--json", json{file}.dump()});
}

void BadInput::lay(const json& entries) {
    if (!HasFailure()) app->result({"timeline", "--revision", app->revision(), "--json", entries.dump()});
}

void BadInput::expectKept(std::size_t clips) const {
    if (HasFailure()) return;
    const auto kept = ProjectFile::read(app->projectFile());
    ASSERT_TRUE(kept) << kept.error().message;
    EXPECT_EQ(kept->clips.size(), clips);
}

}  // namespace kelvane::testing
