#include "SurfaceReader.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace kelvane::testing {

using nlohmann::json;
using ::testing::IsEmpty;

namespace {

bool isIn(const std::string& role, std::initializer_list<const char*> roles) {
    return std::ranges::find(roles, role) != roles.end();
}

/// Of one node; `list` is the frame of the last list before it.
std::vector<std::string> faultsOf(const Look::Seen& seen, const QRect& list) {
    const auto& [report, value] = seen;
    std::vector<std::string> faults;
    const auto add = [&](const std::string& fault) {
        faults.push_back(report.role + " \"" + report.name + "\" " + fault);
    };
    const bool isKnown =
        isIn(report.role, {"alert", "combo box", "dialog", "frame", "image", "label", "list", "list item", "menu",
                           "menu bar", "menu item", "panel", "popup menu", "progress bar", "push button",
                           "radio button", "slider", "split pane", "text"});
    if (!isKnown) add("has no role of ours");
    if (report.name.empty()) add("has no name");
    if (report.extents.isEmpty()) add("has no extents");
    // What is scrolled out of a list stays in the tree.
    if (!report.states.contains("visible") && (list.isNull() || list.intersects(report.extents))) add("isn't visible");
    if (report.states.contains("enabled") != report.states.contains("sensitive")) add("is enabled by half");
    const bool isPressed = isIn(report.role, {"push button", "radio button", "menu item", "combo box"});
    const bool canBe = std::ranges::find(report.actions, "Press") != report.actions.end();
    if (isPressed && !canBe) add("can't be pressed");
    if (isIn(report.role, {"slider", "split pane", "progress bar"}) && !value) add("has no value");
    if (value && (value->minimum > value->current || value->current > value->maximum)) add("lies beside its range");
    // An empty timeline has nowhere to go.
    if (value && report.states.contains("enabled") && value->minimum >= value->maximum) add("has no range");
    return faults;
}

const NodeReport* firstOf(const Look& look, const std::function<bool(const NodeReport&)>& isIt) {
    const auto found = std::ranges::find_if(look.nodes, isIt, &Look::Seen::report);
    return found == look.nodes.end() ? nullptr : &found->report;
}

}  // namespace

const NodeReport* Look::named(const std::string& role, const std::string& name) const {
    return firstOf(*this, [&](const NodeReport& report) { return report.role == role && report.name == name; });
}

const NodeReport* Look::begunWith(const std::string& role, const std::string& name) const {
    return firstOf(*this,
                   [&](const NodeReport& report) { return report.role == role && report.name.starts_with(name); });
}

Look SurfaceReader::look() const {
    Look look;
    bus.walk([&](const BusNode& node, const NodeReport& report) {
        look.nodes.push_back({report, bus.value(node)});
        return true;
    });
    return look;
}

std::vector<std::string> SurfaceReader::complaintsOf(const Look& look, const Wanteds& there, const Wanteds& others) {
    std::vector<std::string> complaints;
    const auto called = [](const Wanted& wanted) { return wanted.role + " \"" + wanted.name + "\""; };
    for (const auto& wanted : there) {
        const NodeReport* found = look.named(wanted.role, wanted.name);
        if (found == nullptr)
            complaints.push_back(called(wanted) + " is missing");
        else if (found->states.contains("enabled") != wanted.isEnabled)
            complaints.push_back(called(wanted) + (wanted.isEnabled ? " isn't enabled" : " is enabled"));
    }
    for (const auto& other : others)
        if (look.named(other.role, other.name) != nullptr) complaints.push_back(called(other) + " is there");
    std::string focused;
    int focuses = 0;
    QRect list;
    for (const auto& seen : look.nodes) {
        if (seen.report.role == "list") list = seen.report.extents;
        for (auto& fault : faultsOf(seen, list)) complaints.push_back(std::move(fault));
        if (!seen.report.states.contains("focused")) continue;
        ++focuses;
        focused += " " + seen.report.role + " \"" + seen.report.name + "\"";
    }
    if (focuses != 1) complaints.push_back("the keyboard is at " + std::to_string(focuses) + " places:" + focused);
    return complaints;
}

void SurfaceReader::expectSurface(const std::string& surface, const Wanteds& there, const Wanteds& others) {
    if (HasFailure()) return;
    std::vector<std::string> complaints;
    (void)eventually([&] {
        complaints = complaintsOf(look(), there, others);
        return complaints.empty() || !app->isRunning();
    });
    EXPECT_THAT(complaints, IsEmpty()) << surface << "\n" << bus.tree() << log();
}

void SurfaceReader::openMenuOf(const BusNode& node) {
    if (!HasFailure()) hands->click(middleOf(node), 3);
}

void SurfaceReader::dismiss(const std::string& role, const std::string& title, const std::string& button) {
    act("push button", button);
    expectGone(role, title);
}

void SurfaceReader::makeProject(const std::string& name) {
    press("Ctrl+N");
    expectFocus("text", "Name");
    type(name);
    press("Return");
    expectEditor(name);
    expectProject();
}

void SurfaceReader::importFiles() {
    if (HasFailure()) return;
    app->result({"import", "--revision", app->revision(), "--json", json(files).dump()});
    for (const char* name : {firstFilm, secondFilm, sound}) (void)node("list item", name);
}

void SurfaceReader::lay(int times) {
    if (HasFailure()) return;
    const json now = state();
    json entries = json::array();
    for (int i = 0; i < times; ++i)
        entries.push_back({{"assetID", now["assets"][0]["assetID"]}, {"start", 0}, {"end", filmSeconds}});
    entries.push_back({{"assetID", now["assets"][2]["assetID"]}, {"start", 0}, {"end", 1}, {"timelineStart", 0}});
    app->result({"timeline", "--revision", now.value("revision", ""), "--json", entries.dump()});
    (void)videoClips(static_cast<std::size_t>(times));
    expectBuilt();
}

void SurfaceReader::exportTo(const std::string& name) {
    expectFocus("text", "File name");
    press("Ctrl+A");
    type(folder.path(name));
    press("Return");
}

}  // namespace kelvane::testing
