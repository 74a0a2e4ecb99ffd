#include "ReaderBus.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>
#include <cstdlib>
#include <map>

#include "Support/FileDescriptor.h"
#include "Support/Patience.h"

namespace kelvane::testing {

namespace {

const QString accessible = QStringLiteral("org.a11y.atspi.Accessible");
const QString component = QStringLiteral("org.a11y.atspi.Component");
const QString action = QStringLiteral("org.a11y.atspi.Action");
const QString valued = QStringLiteral("org.a11y.atspi.Value");
const QString written = QStringLiteral("org.a11y.atspi.Text");
const QString sessionName = QStringLiteral("kelvane-test-session");
const QString readersName = QStringLiteral("kelvane-test-readers");
constexpr uint screenCoordinates = 0;
constexpr uint windowCoordinates = 1;

/// Bits of a node's states, as the protocol numbers them (AtspiStateType).
const std::map<int, std::string> stateNames = {{1, "active"},    {4, "checked"},    {8, "enabled"},  {9, "expandable"},
                                               {10, "expanded"}, {11, "focusable"}, {12, "focused"}, {22, "selectable"},
                                               {23, "selected"}, {24, "sensitive"}, {25, "showing"}, {30, "visible"},
                                               {39, "default"},  {41, "checkable"}};

/// Roles as the protocol numbers them (AtspiRole): the bridge's own names for them differ between versions.
const std::map<uint, std::string> roleNames = {
    {2, "alert"},        {7, "check box"},     {11, "combo box"},  {16, "dialog"},        {23, "frame"},
    {27, "image"},       {29, "label"},        {31, "list"},       {32, "list item"},     {33, "menu"},
    {34, "menu bar"},    {35, "menu item"},    {39, "panel"},      {41, "popup menu"},    {42, "progress bar"},
    {43, "push button"}, {44, "radio button"}, {48, "scroll bar"}, {50, "separator"},     {51, "slider"},
    {53, "split pane"},  {54, "status bar"},   {61, "text"},       {62, "toggle button"}, {69, "window"}};

BusNode nodeIn(const QDBusArgument& argument) {
    BusNode node;
    QDBusObjectPath path;
    argument.beginStructure();
    argument >> node.service >> path;
    argument.endStructure();
    node.path = path.path();
    return node;
}

std::vector<BusNode> nodesIn(const QDBusMessage& reply) {
    std::vector<BusNode> nodes;
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) return nodes;
    const auto list = reply.arguments().first().value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) nodes.push_back(nodeIn(list));
    list.endArray();
    return nodes;
}

std::set<std::string> statesIn(const QDBusMessage& reply) {
    std::set<std::string> states;
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) return states;
    QList<uint> words;
    reply.arguments().first().value<QDBusArgument>() >> words;
    for (const auto& [bit, name] : stateNames)
        if (bit / 32 < words.size() && (words[bit / 32] >> (bit % 32) & 1) != 0) states.insert(name);
    return states;
}

QRect extentsIn(const QDBusMessage& reply) {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    if (reply.type() != QDBusMessage::ReplyMessage) return {};
    const auto extents = reply.arguments().first().value<QDBusArgument>();
    extents.beginStructure();
    extents >> x >> y >> width >> height;
    extents.endStructure();
    return {x, y, width, height};
}

std::vector<std::string> actionsIn(const QDBusMessage& reply) {
    std::vector<std::string> actions;
    if (reply.type() != QDBusMessage::ReplyMessage) return actions;
    const auto list = reply.arguments().first().value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        QString name;
        QString description;
        QString key;
        list.beginStructure();
        list >> name >> description >> key;
        list.endStructure();
        actions.push_back(name.toStdString());
    }
    list.endArray();
    return actions;
}

/// Whoever asks it waits: what it is asked comes to a thread whose events nobody handles.
class SilentObject : public QDBusVirtualObject {
public:
    [[nodiscard]] QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage&, const QDBusConnection&) override { return true; }
};

}  // namespace

bool ReaderBus::isInstalled() {
    return std::system(
               "command -v dbus-daemon >/dev/null 2>&1 && "
               "test -e /usr/share/dbus-1/accessibility-services/org.a11y.atspi.Registry.service") == 0;
}

ReaderBus::~ReaderBus() {
    QDBusConnection::disconnectFromBus(readersName);
    QDBusConnection::disconnectFromBus(sessionName);
    if (process_ <= 0) return;
    // What it started for its clients ends with it.
    ::kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
}

bool ReaderBus::start() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    const FileDescriptor told(ends[0]);
    FileDescriptor tells(ends[1]);
    const FileDescriptor log = FileDescriptor::open(folder_.path("log"), O_WRONLY | O_CREAT | O_APPEND, 0644);
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        setenv("XDG_RUNTIME_DIR", folder_.path().c_str(), 1);
        setenv("GSETTINGS_BACKEND", "memory", 1);
        unsetenv("DISPLAY");
        unsetenv("DBUS_SESSION_BUS_ADDRESS");
        dup2(log.get(), 1);
        dup2(log.get(), 2);
        dup2(tells.get(), 3);
        execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=3", nullptr);
        _exit(127);
    }
    (void)tells.close();
    pollfd ready{told.get(), POLLIN, 0};
    while (!session_.ends_with('\n')) {
        char byte = 0;
        if (poll(&ready, 1, static_cast<int>(patience.count())) <= 0 || ::read(told.get(), &byte, 1) != 1) return false;
        session_.push_back(byte);
    }
    session_.pop_back();
    const auto session = QDBusConnection::connectToBus(QString::fromStdString(session_), sessionName);
    const auto ask = QDBusMessage::createMethodCall("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress");
    const QDBusReply<QString> address = session.call(ask, QDBus::Block, static_cast<int>(patience.count()));
    if (!address.isValid()) return false;
    readers_ = address.value();
    return QDBusConnection::connectToBus(readers_, readersName).isConnected();
}

bool ReaderBus::fallSilent(const QString& service) {
    QDBusConnection session(sessionName);
    silent_ = std::make_unique<SilentObject>();
    return session.registerVirtualObject("/", silent_.get(), QDBusConnection::SubPath) &&
           session.registerService(service);
}

std::vector<std::string> ReaderBus::surroundings() const {
    return {"DBUS_SESSION_BUS_ADDRESS=" + session_, "QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1"};
}

QDBusMessage ReaderBus::call(const BusNode& node, const QString& interface, const QString& method,
                             const QVariantList& arguments) const {
    auto message = QDBusMessage::createMethodCall(node.service, node.path, interface, method);
    message.setArguments(arguments);
    return QDBusConnection(readersName).call(message, QDBus::Block, static_cast<int>(patience.count()));
}

QVariant ReaderBus::property(const BusNode& node, const QString& interface, const QString& name) const {
    const auto reply = call(node, "org.freedesktop.DBus.Properties", "Get", {interface, name});
    if (reply.type() != QDBusMessage::ReplyMessage) return {};
    return reply.arguments().first().value<QDBusVariant>().variant();
}

std::vector<BusNode> ReaderBus::windows() const {
    std::vector<BusNode> windows;
    for (const auto& application : children({"org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root"}))
        for (const auto& window : children(application)) windows.push_back(window);
    return windows;
}

std::vector<BusNode> ReaderBus::children(const BusNode& node) const {
    return nodesIn(call(node, accessible, "GetChildren"));
}

std::string ReaderBus::role(const BusNode& node) const {
    const auto number = QDBusReply<uint>(call(node, accessible, "GetRole")).value();
    const auto known = roleNames.find(number);
    return known == roleNames.end() ? "role " + std::to_string(number) : known->second;
}

std::string ReaderBus::word(const BusNode& node, const char* name) const {
    return property(node, accessible, QLatin1String(name)).toString().toStdString();
}

std::set<std::string> ReaderBus::states(const BusNode& node) const {
    return statesIn(call(node, accessible, "GetState"));
}

QRect ReaderBus::placeInWindow(const BusNode& node) const {
    return extentsIn(call(node, component, "GetExtents", {windowCoordinates}));
}

std::optional<BusNode> ReaderBus::childAt(const BusNode& node, QPoint point) const {
    const auto reply = call(node, component, "GetAccessibleAtPoint", {point.x(), point.y(), windowCoordinates});
    if (reply.type() != QDBusMessage::ReplyMessage) return std::nullopt;
    return nodeIn(reply.arguments().first().value<QDBusArgument>());
}

std::string ReaderBus::text(const BusNode& node) const {
    // From the first character to behind the last.
    return QDBusReply<QString>(call(node, written, "GetText", {0, -1})).value().toStdString();
}

NodeReport ReaderBus::report(const BusNode& node) const {
    NodeReport report;
    report.role = role(node);
    report.name = word(node, "Name");
    report.description = word(node, "Description");
    report.states = states(node);
    report.extents = extentsIn(call(node, component, "GetExtents", {screenCoordinates}));
    report.actions = actionsIn(call(node, action, "GetActions"));
    return report;
}

std::optional<NodeValue> ReaderBus::value(const BusNode& node) const {
    const auto interfaces = QDBusReply<QStringList>(call(node, accessible, "GetInterfaces")).value();
    if (!interfaces.contains(valued)) return std::nullopt;
    const auto number = [&](const char* name) { return property(node, valued, QLatin1String(name)).toDouble(); };
    return NodeValue{number("MinimumValue"), number("MaximumValue"), number("CurrentValue"),
                     number("MinimumIncrement")};
}

bool ReaderBus::setValue(const BusNode& node, double value) const {
    const auto reply = call(node, "org.freedesktop.DBus.Properties", "Set",
                            {valued, QStringLiteral("CurrentValue"), QVariant::fromValue(QDBusVariant(value))});
    return reply.type() == QDBusMessage::ReplyMessage;
}

bool ReaderBus::act(const BusNode& node, const std::string& name) const {
    const auto actions = report(node).actions;
    const auto found = std::ranges::find(actions, name);
    if (found == actions.end()) return false;
    return QDBusReply<bool>(call(node, action, "DoAction", {static_cast<int>(found - actions.begin())})).value();
}

void ReaderBus::walkNodes(const std::function<bool(const BusNode&)>& visit) const {
    auto waiting = windows();
    std::ranges::reverse(waiting);
    while (!waiting.empty()) {
        const auto node = waiting.back();
        waiting.pop_back();
        if (!visit(node)) return;
        auto below = children(node);
        waiting.insert(waiting.end(), below.rbegin(), below.rend());
    }
}

void ReaderBus::walk(const std::function<bool(const BusNode&, const NodeReport&)>& visit) const {
    walkNodes([&](const BusNode& node) { return visit(node, report(node)); });
}

std::optional<BusNode> ReaderBus::find(const std::string& sought, const std::string& name,
                                       const std::string& description) const {
    std::optional<BusNode> found;
    walkNodes([&](const BusNode& node) {
        const bool isIt = word(node, "Name") == name && role(node) == sought &&
                          (description.empty() || word(node, "Description") == description);
        if (isIt) found = node;
        return !found;
    });
    return found;
}

std::optional<BusNode> ReaderBus::focused() const {
    std::optional<BusNode> found;
    walkNodes([&](const BusNode& node) {
        if (states(node).contains("focused")) found = node;
        return true;
    });
    return found;
}

std::string ReaderBus::tree() const {
    std::string text;
    walk([&text](const BusNode&, const NodeReport& report) {
        text += report.role + " \"" + report.name + "\"";
        const QRect& place = report.extents;
        text += " " + std::to_string(place.x()) + "," + std::to_string(place.y()) + " " +
                std::to_string(place.width()) + "x" + std::to_string(place.height());
        text += report.states.contains("enabled") ? "\n" : " not enabled\n";
        return true;
    });
    return text;
}

}  // namespace kelvane::testing
