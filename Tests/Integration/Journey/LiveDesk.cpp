#include "LiveDesk.h"

namespace kelvane::testing {

namespace {

/// No window has as many stops of the Tab key.
constexpr int mostSteps = 60;
/// As many times as that what has the least of the machine is waited for.
constexpr int workPatiences = 5;

bool isIt(const NodeReport& report, const std::string& role, const std::string& name, const std::string& description) {
    return report.role == role && report.name == name && (description.empty() || report.description == description);
}

}  // namespace

void LiveDesk::SetUp() {
    if (!ReaderBus::isInstalled()) GTEST_SKIP() << "no at-spi2-core or dbus-daemon here";
    if (!PrivateDisplay::isInstalled()) GTEST_SKIP() << "no Xvfb here";
    ASSERT_TRUE(display.start()) << display.log();
    ASSERT_TRUE(bus.start()) << bus.log();
    hands = std::make_unique<LiveHands>(display.name());
}

std::vector<std::string> LiveDesk::surroundings() const {
    // Drawn by the processor, so that no driver of this machine has a part in it.
    std::vector<std::string> entries{"QT_QPA_PLATFORM=xcb", "QT_QUICK_BACKEND=software", "DISPLAY=" + display.name(),
                                     "XDG_CONFIG_HOME=" + folder.path("config"),
                                     "XDG_DATA_DIRS=" + folder.path("share")};
    for (auto& entry : bus.surroundings()) entries.push_back(entry);
    return entries;
}

void LiveDesk::launch(const std::vector<std::string>& arguments) {
    app = std::make_unique<LiveApplication>(folder, arguments, surroundings());
    window = std::make_unique<LiveWindow>(display.name());
    ASSERT_TRUE(window->waitForIt()) << log();
    (void)waitFor([this] { return !bus.windows().empty(); }, "a window in the tree");
}

void LiveDesk::launchAgain(const std::vector<std::string>& arguments) {
    LiveApplication second(folder, arguments, surroundings());
    EXPECT_EQ(second.wait(), 0) << log();
}

bool LiveDesk::waitFor(const std::function<bool()>& isSo, const std::string& what) { return waitLong(isSo, what, 1); }

bool LiveDesk::waitForWork(const std::function<bool()>& isSo, const std::string& what) {
    return waitLong(isSo, what, workPatiences);
}

bool LiveDesk::waitLong(const std::function<bool()>& isSo, const std::string& what, int patiences) {
    // What comes after a failure proves nothing, and would be waited for in vain.
    if (HasFailure()) return false;
    bool isOver = false;
    for (int i = 0; i < patiences && !isOver; ++i) isOver = eventually([&] { return isSo() || !app->isRunning(); });
    const bool isIt = isOver && app->isRunning();
    if (!isIt) ADD_FAILURE() << what << "\nfocus: " << called(bus.focused()) << "\n" << bus.tree() << log();
    return isIt;
}

std::string LiveDesk::called(const std::optional<BusNode>& node) const {
    if (!node) return "nowhere";
    const auto report = bus.report(*node);
    return report.role + " \"" + report.name + "\"";
}

BusNode LiveDesk::node(const std::string& role, const std::string& name, const std::string& description) {
    std::optional<BusNode> found;
    (void)waitFor([&] { return (found = bus.find(role, name, description)).has_value(); },
                  role + " \"" + name + "\" is missing");
    return found.value_or(BusNode{});
}

bool LiveDesk::isThere(const std::string& role, const std::string& name) const {
    return bus.find(role, name).has_value();
}

void LiveDesk::expectGone(const std::string& role, const std::string& name) {
    (void)waitFor([&] { return !isThere(role, name); }, role + " \"" + name + "\" is still there");
}

void LiveDesk::expectState(const BusNode& node, const std::string& state, bool is) {
    if (HasFailure()) return;
    (void)waitFor([&] { return bus.states(node).contains(state) == is; },
                  called(node) + (is ? " never is " : " is always ") + state);
}

void LiveDesk::act(const std::string& role, const std::string& name, const std::string& action) {
    const auto found = node(role, name);
    expectState(found, "enabled");
    if (!HasFailure()) EXPECT_TRUE(bus.act(found, action)) << name;
}

void LiveDesk::press(const std::string& chord) {
    if (!HasFailure()) hands->press(chord);
}

void LiveDesk::type(const std::string& text) {
    if (!HasFailure()) hands->type(text);
}

void LiveDesk::expectFocus(const std::string& role, const std::string& name, const std::string& description) {
    const auto isThere = [&] {
        const auto focused = bus.focused();
        if (!focused) return false;
        return isIt(bus.report(*focused), role, name, description);
    };
    (void)waitFor(isThere, "the keyboard isn't at " + role + " \"" + name + "\"");
}

void LiveDesk::goTo(const std::string& key, const std::string& role, const std::string& name,
                    const std::string& description) {
    std::string way;
    for (int step = 0; step < mostSteps && !HasFailure(); ++step) {
        std::optional<BusNode> focused;
        (void)waitFor([&] { return (focused = bus.focused()).has_value(); }, "the keyboard is nowhere behind" + way);
        if (HasFailure()) return;
        if (isIt(bus.report(*focused), role, name, description)) return;
        way += "\n  " + called(focused);
        hands->press(key);
        (void)waitFor(
            [&] {
                const auto now = bus.focused();
                return now && now != focused;
            },
            key + " leads nowhere from" + way);
    }
    EXPECT_TRUE(HasFailure()) << key << " doesn't lead to " << role << " \"" << name << "\":" << way;
}

void LiveDesk::takeFromMenu(const std::string& chord, const std::string& item) {
    press(chord);
    const auto found = node("menu item", item);
    expectState(found, "enabled");
    goTo("Down", "menu item", item);
    press("Return");
}

QRect LiveDesk::placeOf(const BusNode& node) const { return bus.report(node).extents; }

QPoint LiveDesk::middleOf(const BusNode& node) const { return placeOf(node).center(); }

void LiveDesk::click(const std::string& role, const std::string& name, const std::string& description) {
    const auto found = node(role, name, description);
    expectState(found, "enabled");
    if (!HasFailure()) hands->click(middleOf(found));
}

}  // namespace kelvane::testing
