#pragma once

#include <sys/types.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QRect>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Support/TempFolder.h"

namespace kelvane::testing {

/// A node of an application's accessible tree, as others find it on the bus.
struct BusNode {
    QString service;
    QString path;
    bool operator==(const BusNode&) const = default;
};

/// What a node says of itself.
struct NodeReport {
    std::string role;
    std::string name;
    std::string description;
    std::set<std::string> states;
    /// In points of the screen.
    QRect extents;
    std::vector<std::string> actions;
};

struct NodeValue {
    double minimum = 0;
    double maximum = 0;
    double current = 0;
    double step = 0;
    bool operator==(const NodeValue&) const = default;
};

/// A session of its own, with the bus on which readers of the screen meet applications, and a reader on it. Nobody else
/// is there. It ends with its maker.
class ReaderBus {
public:
    /// Whether the packages are there at all.
    static bool isInstalled();

    /// Starts nothing yet.
    ReaderBus() = default;
    ~ReaderBus();
    ReaderBus(const ReaderBus&) = delete;
    ReaderBus& operator=(const ReaderBus&) = delete;

    /// False when patience ends before both buses answer; `log` tells why.
    bool start();
    /// Takes this name in the session, and never answers who asks it; false where it is taken.
    bool fallSilent(const QString& service);
    /// Entries of the environment of an application that is to be read.
    [[nodiscard]] std::vector<std::string> surroundings() const;
    [[nodiscard]] std::string log() const { return folder_.read("log"); }

    /// The windows of all applications that are there.
    [[nodiscard]] std::vector<BusNode> windows() const;
    [[nodiscard]] std::vector<BusNode> children(const BusNode& node) const;
    [[nodiscard]] NodeReport report(const BusNode& node) const;
    [[nodiscard]] std::set<std::string> states(const BusNode& node) const;
    /// In points of its window.
    [[nodiscard]] QRect placeInWindow(const BusNode& node) const;
    /// The node at a point of the window in which `node` is, among that one's children.
    [[nodiscard]] std::optional<BusNode> childAt(const BusNode& node, QPoint point) const;
    /// None of what has no value.
    [[nodiscard]] std::optional<NodeValue> value(const BusNode& node) const;
    /// Whether it was taken.
    bool setValue(const BusNode& node, double value) const;
    /// Whether the node has this action and did it.
    bool act(const BusNode& node, const std::string& action) const;

    /// Calls `visit` with each node of all windows, parents first; false ends the walk.
    void walk(const std::function<bool(const BusNode&, const NodeReport&)>& visit) const;
    /// The first one with this role and name, and this description where one is given.
    [[nodiscard]] std::optional<BusNode> find(const std::string& role, const std::string& name,
                                              const std::string& description = {}) const;
    /// What the keyboard works, by its own word; where several say so, the innermost one.
    [[nodiscard]] std::optional<BusNode> focused() const;
    /// What is written in a field or on a label, as a reader reads it out.
    [[nodiscard]] std::string text(const BusNode& node) const;
    /// A line for each node: its role, its name, its extents and, where it isn't, that it isn't enabled.
    [[nodiscard]] std::string tree() const;

private:
    void walkNodes(const std::function<bool(const BusNode&)>& visit) const;
    [[nodiscard]] std::string role(const BusNode& node) const;
    [[nodiscard]] std::string word(const BusNode& node, const char* property) const;
    [[nodiscard]] QDBusMessage call(const BusNode& node, const QString& interface, const QString& method,
                                    const QVariantList& arguments = {}) const;
    [[nodiscard]] QVariant property(const BusNode& node, const QString& interface, const QString& name) const;

    TempFolder folder_;
    std::unique_ptr<QDBusVirtualObject> silent_;
    pid_t process_ = -1;
    std::string session_;
    QString readers_;
};

}  // namespace kelvane::testing
