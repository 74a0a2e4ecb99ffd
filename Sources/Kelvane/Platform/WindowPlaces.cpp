#include "WindowPlaces.h"

#include <QAccessible>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QWindow>
#include <optional>

namespace kelvane {

namespace {

/// The names that the toolkit's bridge gives its connection and its objects.
constexpr const char* connectionName = "a11y";
constexpr const char* objects = "/org/a11y/atspi/accessible";

/// AT-SPI's kinds of coordinates.
constexpr uint ofScreen = 0;
constexpr uint ofWindow = 1;
constexpr uint ofParent = 2;

QAccessibleInterface* nodeAt(const QString& path) {
    bool isNumber = false;
    const auto id = path.section(QLatin1Char('/'), -1).toUInt(&isNumber);
    auto* node = isNumber ? QAccessible::accessibleInterface(id) : nullptr;
    return node != nullptr && node->isValid() ? node : nullptr;
}

/// Where on the screen the node's coordinates of a kind begin; nothing for kinds that are the bridge's to answer.
std::optional<QPoint> originOf(const QAccessibleInterface& node, uint kind) {
    if (kind == ofParent) {
        const auto* parent = node.parent();
        return parent != nullptr && parent->isValid() ? std::optional(parent->rect().topLeft()) : std::nullopt;
    }
    const QWindow* window = kind == ofWindow ? node.window() : nullptr;
    return window != nullptr ? std::optional(window->mapToGlobal(QPoint())) : std::nullopt;
}

QVariantList numbersOf(const QRect& rect) { return {rect.x(), rect.y(), rect.width(), rect.height()}; }

/// The place of the text's characters from `first` up to before `last`.
QRect placeOf(QAccessibleTextInterface& text, int first, int last) {
    if (last < 0) last = text.characterCount();
    QRect place;
    for (int at = first; at < last; ++at) place |= text.characterRect(at);
    return place;
}

/// What is answered to a question whose coordinates begin at `origin`; nothing for other questions.
std::optional<QVariantList> answerTo(const QDBusMessage& message, QAccessibleInterface& node, QPoint origin) {
    const QString question = message.member();
    const auto number = [&message](int index) { return message.arguments().value(index).toInt(); };
    if (question == QLatin1String("GetExtents"))
        return QVariantList{QVariant::fromValue(node.rect().translated(-origin))};
    if (question == QLatin1String("GetPosition")) {
        const QPoint place = node.rect().topLeft() - origin;
        return QVariantList{place.x(), place.y()};
    }
    auto* text = node.textInterface();
    if (text != nullptr && question == QLatin1String("GetCharacterExtents"))
        return numbersOf(text->characterRect(number(0)).translated(-origin));
    if (text != nullptr && question == QLatin1String("GetRangeExtents"))
        return numbersOf(placeOf(*text, number(0), number(1)).translated(-origin));
    return std::nullopt;
}

/// Whether the question gives a point before its kind of coordinates.
bool asksOfPoint(const QString& question) {
    return question == QLatin1String("Contains") || question == QLatin1String("GetAccessibleAtPoint") ||
           question == QLatin1String("GetOffsetAtPoint");
}

/// Stands before the bridge as soon as there is one.
class Readers final : public QAccessible::ActivationObserver {
public:
    void accessibilityActiveChanged(bool active) override {
        // Later, as the bridge is amid its own beginning.
        if (active) QMetaObject::invokeMethod(qApp, &Readers::standBeforeBridge, Qt::QueuedConnection);
    }

private:
    static void standBeforeBridge() {
        QDBusConnection connection{QLatin1String(connectionName)};
        auto* bridge = qobject_cast<QDBusVirtualObject*>(connection.objectRegisteredAt(QLatin1String(objects)));
        if (bridge == nullptr || dynamic_cast<WindowPlaces*>(bridge) != nullptr) return;
        auto* places = new WindowPlaces(*bridge);
        connection.unregisterObject(QLatin1String(objects), QDBusConnection::UnregisterTree);
        connection.registerVirtualObject(QLatin1String(objects), places, QDBusConnection::SubPath);
    }
};

}  // namespace

WindowPlaces::WindowPlaces(QDBusVirtualObject& bridge) : QDBusVirtualObject(&bridge), bridge_(bridge) {}

bool WindowPlaces::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    const QVariantList arguments = message.arguments();
    auto* node = arguments.isEmpty() ? nullptr : nodeAt(message.path());
    const auto origin = node != nullptr ? originOf(*node, arguments.last().toUInt()) : std::nullopt;
    if (!origin) return bridge_.handleMessage(message, connection);
    if (asksOfPoint(message.member()) && arguments.size() == 3) {
        const QPoint point = QPoint(arguments[0].toInt(), arguments[1].toInt()) + *origin;
        QDBusMessage asked = message;
        asked.setArguments({point.x(), point.y(), ofScreen});
        return bridge_.handleMessage(asked, connection);
    }
    const auto answer = answerTo(message, *node, *origin);
    return answer ? connection.send(message.createReply(*answer)) : bridge_.handleMessage(message, connection);
}

void answerPlacesInWindows() {
    static Readers readers;
    QAccessible::installActivationObserver(&readers);
    readers.accessibilityActiveChanged(QAccessible::isActive());
}

}  // namespace kelvane
