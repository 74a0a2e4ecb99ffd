#pragma once

#include <optional>
#include <string>
#include <vector>

#include "JourneyFixture.h"

namespace kelvane::testing {

/// A node that a surface must have, or mustn't.
struct Wanted {
    std::string role;
    std::string name;
    bool isEnabled = true;
};
using Wanteds = std::vector<Wanted>;

/// What the window's tree told at one look, node by node, parents first.
struct Look {
    struct Seen {
        NodeReport report;
        /// None of what has no value.
        std::optional<NodeValue> value;
    };
    std::vector<Seen> nodes;

    /// The first with this role whose name is this one, or begins with it.
    [[nodiscard]] const NodeReport* named(const std::string& role, const std::string& name) const;
    [[nodiscard]] const NodeReport* begunWith(const std::string& role, const std::string& name) const;
};

/// Every surface of the window, read from outside, node by node.
class SurfaceReader : public Journey {
protected:
    [[nodiscard]] Look look() const;
    /// All nodes of the window keep to the rules, and exactly one has the keyboard; what is wanted is there, and of the
    /// others none: all in one look. What comes or goes while it is looked at, a menu that fades, a list that is read
    /// anew, is looked at again.
    void expectSurface(const std::string& surface, const Wanteds& there, const Wanteds& others = {});
    /// What of it isn't so.
    [[nodiscard]] static std::vector<std::string> complaintsOf(const Look& look, const Wanteds& there,
                                                               const Wanteds& others);

    void openMenu(const std::string& name) { act("menu item", name); }
    void closeMenu(const std::string& item) {
        press("Escape");
        expectGone("menu item", item);
    }
    /// Asks for the menu of what lies there, with the pointer.
    void openMenuOf(const BusNode& node);
    /// Closes what stands over the window by its button.
    void dismiss(const std::string& role, const std::string& title, const std::string& button);
    void makeProject(const std::string& name);
    void importFiles();
    /// Lays the first film so many times, and the sound.
    void lay(int times);
    /// Answers the question for the place.
    void exportTo(const std::string& name);
};

}  // namespace kelvane::testing
