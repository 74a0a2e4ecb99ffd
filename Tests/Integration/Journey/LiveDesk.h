#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "Integration/Accessible/ReaderBus.h"
#include "Integration/LiveApplication.h"
#include "Integration/Playback/LiveWindow.h"
#include "Integration/Playback/PrivateDisplay.h"
#include "LiveHands.h"
#include "Support/TempFolder.h"

namespace kelvane::testing {

/// The real application on a display and in a session of its own. What it shows is found by its accessible tree; what a
/// person does comes by keys and pointer. Once a check has failed, nothing is waited for any more.
class LiveDesk : public ::testing::Test {
protected:
    void SetUp() override;
    /// Where the display is, who may read it, and where nothing of this machine's desktop is found.
    [[nodiscard]] std::vector<std::string> surroundings() const;
    /// Starts the application and waits for its window, which has the focus then.
    void launch(const std::vector<std::string>& arguments = {});
    /// Starts it once more, with these, and waits for its end, which must be a good one.
    void launchAgain(const std::vector<std::string>& arguments);

    /// Waits for the first with this role and name, and this description where one is given.
    BusNode node(const std::string& role, const std::string& name, const std::string& description = {});
    [[nodiscard]] bool isThere(const std::string& role, const std::string& name) const;
    void expectGone(const std::string& role, const std::string& name);
    /// Waits until the node tells this state, or no longer does.
    void expectState(const BusNode& node, const std::string& state, bool is = true);
    /// Presses by the tree, as a reader of the screen does, once it is enabled.
    void act(const std::string& role, const std::string& name, const std::string& action = "Press");

    /// Presses keys held together, and types text.
    void press(const std::string& chord);
    void type(const std::string& text);
    /// Waits until the keyboard is there.
    void expectFocus(const std::string& role, const std::string& name, const std::string& description = {});
    /// Presses the key again and again until the keyboard is there: by Tab, or from pane to pane.
    void goTo(const std::string& key, const std::string& role, const std::string& name,
              const std::string& description = {});
    /// Opens a menu by its letter and takes the item, by arrows and Return.
    void takeFromMenu(const std::string& chord, const std::string& item);

    /// The middle of a node, on the screen.
    [[nodiscard]] QPoint middleOf(const BusNode& node) const;
    [[nodiscard]] QRect placeOf(const BusNode& node) const;
    /// Clicks in the middle, once it is enabled.
    void click(const std::string& role, const std::string& name, const std::string& description = {});

    /// What the project says of itself to a client.
    [[nodiscard]] nlohmann::json state() const { return app->result({"project"}); }
    [[nodiscard]] std::string log() const { return folder.read("application.log"); }

    TempFolder folder;
    PrivateDisplay display;
    ReaderBus bus;
    std::unique_ptr<LiveApplication> app;
    std::unique_ptr<LiveWindow> window;
    std::unique_ptr<LiveHands> hands;

    /// False, with what is shown then, when patience ends first or the application does.
    bool waitFor(const std::function<bool()>& isSo, const std::string& what);
    /// The same of what is worked out beside everything else, a forecast or a movie: a machine that has other things to
    /// do gives it what is left, so that it may take many times as long there.
    bool waitForWork(const std::function<bool()>& isSo, const std::string& what);

private:
    bool waitLong(const std::function<bool()>& isSo, const std::string& what, int patiences);
    [[nodiscard]] std::string called(const std::optional<BusNode>& node) const;
};

}  // namespace kelvane::testing
