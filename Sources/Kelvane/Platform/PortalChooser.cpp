#include "PortalChooser.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QRandomGenerator>
#include <utility>

namespace kelvane {

namespace {

const QString portal = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString fileChooser = QStringLiteral("org.freedesktop.portal.FileChooser");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");
/// Between two looks at whether the portal is still there and has come to show anything.
constexpr std::chrono::milliseconds lookPause{500};

// The portal's numbers.
constexpr uint chosenResponse = 0;
constexpr uint cancelledResponse = 1;
constexpr uint globRule = 0;

}  // namespace

/// A filter as the portal takes it: "(sa(us))".
struct FilterRule {
    uint kind = globRule;
    QString pattern;
};
struct PortalFilter {
    QString name;
    QList<FilterRule> rules;
};

QDBusArgument& operator<<(QDBusArgument& argument, const FilterRule& rule) {
    argument.beginStructure();
    argument << rule.kind << rule.pattern;
    argument.endStructure();
    return argument;
}
const QDBusArgument& operator>>(const QDBusArgument& argument, FilterRule& rule) {
    argument.beginStructure();
    argument >> rule.kind >> rule.pattern;
    argument.endStructure();
    return argument;
}
QDBusArgument& operator<<(QDBusArgument& argument, const PortalFilter& filter) {
    argument.beginStructure();
    argument << filter.name << filter.rules;
    argument.endStructure();
    return argument;
}
const QDBusArgument& operator>>(const QDBusArgument& argument, PortalFilter& filter) {
    argument.beginStructure();
    argument >> filter.name >> filter.rules;
    argument.endStructure();
    return argument;
}

namespace {

QList<PortalFilter> portalFilters(const std::vector<ChooserRequest::Filter>& filters) {
    QList<PortalFilter> result;
    for (const auto& filter : filters) {
        PortalFilter one{.name = filter.name, .rules = {}};
        for (const QString& pattern : filter.patterns) one.rules.append({globRule, pattern});
        result.append(one);
    }
    return result;
}

/// The part of a handle's path that stands for us.
QString pathOf(QString uniqueName) { return uniqueName.remove(':').replace('.', '_'); }

QVariantMap options(const ChooserRequest& request, const QString& token) {
    QVariantMap options{{"handle_token", token}, {"modal", true}};
    options["filters"] = QVariant::fromValue(portalFilters(request.filters));
    if (request.saves)
        options["current_name"] = request.proposedName;
    else
        options["multiple"] = true;
    return options;
}

}  // namespace

PortalChooser::PortalChooser(MainContext& context, QDBusConnection bus, const ChooserRequest& request,
                             std::function<bool()> seemsShown, std::function<void(ChooserOutcome)> answer)
    : context_(context),
      bus_(std::move(bus)),
      seemsShown_(std::move(seemsShown)),
      answer_(std::move(answer)),
      limit_(context.now() + patience) {
    qDBusRegisterMetaType<FilterRule>();
    qDBusRegisterMetaType<QList<FilterRule>>();
    qDBusRegisterMetaType<PortalFilter>();
    qDBusRegisterMetaType<QList<PortalFilter>>();
    bus_.connect(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                 QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"), {portal},
                 QStringLiteral("sss"), this, SLOT(followOwner(QString, QString, QString)));
    ask(request);
    look();
}

PortalChooser::~PortalChooser() {
    // The person has answered, or the portal is gone.
    if (!answer_ || !bus_.isConnected()) return;
    bus_.send(QDBusMessage::createMethodCall(portal, handle_, requestInterface, QStringLiteral("Close")));
}

void PortalChooser::ask(const ChooserRequest& request) {
    // Nobody else can guess where the answer comes to.
    const QString token = QStringLiteral("kelvane") + QString::number(QRandomGenerator::system()->generate64(), 16);
    follow(portalPath + QStringLiteral("/request/") + pathOf(bus_.baseService()) + '/' + token);
    auto question =
        QDBusMessage::createMethodCall(portal, portalPath, fileChooser, request.saves ? "SaveFile" : "OpenFile");
    question << request.parentWindow << request.title << options(request, token);
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(question), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* finished) {
        finished->deleteLater();
        takeUp(finished->reply());
    });
}

void PortalChooser::follow(const QString& handle) {
    handle_ = handle;
    // Of any sender: asking the bus for the portal's would wait for it.
    bus_.connect(QString(), handle, requestInterface, QStringLiteral("Response"), this,
                 SLOT(respond(uint, QVariantMap)));
}

void PortalChooser::takeUp(const QDBusMessage& reply) {
    if (!answer_) return;
    if (reply.type() != QDBusMessage::ReplyMessage) {
        finish({});
        return;
    }
    // Portals of old choose the path themselves.
    const auto handle = reply.arguments().value(0).value<QDBusObjectPath>().path();
    if (!handle.isEmpty() && handle != handle_) follow(handle);
    isTakenUp_ = true;
    limit_ = context_.now() + patience;
}

void PortalChooser::look() {
    isShown_ = isShown_ || (isTakenUp_ && seemsShown_());
    const bool isLate = !isShown_ && context_.now() >= limit_;
    if (isLate || !bus_.isConnected()) {
        if (isTakenUp_ && bus_.isConnected())
            bus_.send(QDBusMessage::createMethodCall(portal, handle_, requestInterface, QStringLiteral("Close")));
        finish({});
        return;
    }
    timer_ = context_.after(lookPause, [this] { look(); });
}

void PortalChooser::respond(uint response, const QVariantMap& results) {
    if (response == cancelledResponse) return finish({ChooserOutcome::Kind::cancelled, {}});
    if (response != chosenResponse) return finish({});
    ChooserOutcome outcome{ChooserOutcome::Kind::chosen, {}};
    for (const QString& uri : results.value(QStringLiteral("uris")).toStringList()) {
        const auto url = FileURL::parse(uri.toStdString());
        if (url && url->isFile()) outcome.files.push_back(*url);
    }
    if (outcome.files.empty()) outcome.kind = ChooserOutcome::Kind::cancelled;
    finish(std::move(outcome));
}

void PortalChooser::followOwner(const QString&, const QString& before, const QString& now) {
    if (!before.isEmpty() && now.isEmpty()) finish({});
}

void PortalChooser::finish(ChooserOutcome outcome) {
    timer_.cancel();
    // This object may end in it.
    if (const auto answer = std::exchange(answer_, nullptr)) answer(std::move(outcome));
}

}  // namespace kelvane
