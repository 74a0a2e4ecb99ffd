#include "DesktopSettings.h"

#include <QDBusConnection>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include "SessionBus.h"

namespace kelvane {

namespace {

const QString portal = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString settings = QStringLiteral("org.freedesktop.portal.Settings");

struct Key {
    QString space;
    QString name;
};
const Key contrastKey{QStringLiteral("org.freedesktop.appearance"), QStringLiteral("contrast")};
const Key reducedMotionKey{QStringLiteral("org.freedesktop.appearance"), QStringLiteral("reduced-motion")};
const Key animationsKey{QStringLiteral("org.gnome.desktop.interface"), QStringLiteral("enable-animations")};
const Key factorKey{QStringLiteral("org.kde.kdeglobals.KDE"), QStringLiteral("AnimationDurationFactor")};

/// The value in an answer, which the portal's older question wraps twice.
QVariant unwrapped(QVariant value) {
    while (value.canConvert<QDBusVariant>()) value = value.value<QDBusVariant>().variant();
    return value;
}

}  // namespace

bool AppearanceSettings::take(const QString& space, const QString& key, const QVariant& value) {
    bool isNumber = false;
    if (space == contrastKey.space && key == contrastKey.name) {
        const unsigned int number = value.toUInt(&isNumber);
        if (isNumber) contrast = number;
        return isNumber;
    }
    if (space == reducedMotionKey.space && key == reducedMotionKey.name) {
        const unsigned int number = value.toUInt(&isNumber);
        if (isNumber) reducedMotion = number;
        return isNumber;
    }
    if (space == animationsKey.space && key == animationsKey.name) {
        if (value.metaType() != QMetaType::fromType<bool>()) return false;
        enableAnimations = value.toBool();
        return true;
    }
    if (space == factorKey.space && key == factorKey.name) {
        const double number = value.toDouble(&isNumber);
        if (isNumber) durationFactor = number;
        return isNumber;
    }
    return false;
}

bool AppearanceSettings::isMotionReduced() const {
    if (reducedMotion) return *reducedMotion == 1;
    if (enableAnimations) return !*enableAnimations;
    return durationFactor == 0;
}

DesktopSettings::DesktopSettings() {
    if (const auto bus = sessionBus()) follow(*bus);
}

DesktopSettings::DesktopSettings(const QDBusConnection& bus) { follow(bus); }

void DesktopSettings::follow(const QDBusConnection& bus) {
    if (!bus.isConnected()) return;
    QDBusConnection(bus).connect(portal, portalPath, settings, QStringLiteral("SettingChanged"), this,
                                 SLOT(followSetting(QString, QString, QDBusVariant)));
    for (const Key& key : {contrastKey, reducedMotionKey, animationsKey, factorKey}) {
        // The question that all portals know.
        QDBusMessage question = QDBusMessage::createMethodCall(portal, portalPath, settings, QStringLiteral("Read"));
        question << key.space << key.name;
        auto* answer = new QDBusPendingCallWatcher(bus.asyncCall(question), this);
        connect(answer, &QDBusPendingCallWatcher::finished, this, [this, key](QDBusPendingCallWatcher* finished) {
            finished->deleteLater();
            const QDBusPendingReply<QDBusVariant> reply = *finished;
            if (reply.isValid()) take(key.space, key.name, reply.value().variant());
        });
    }
}

void DesktopSettings::followSetting(const QString& space, const QString& key, const QDBusVariant& value) {
    take(space, key, value.variant());
}

void DesktopSettings::take(const QString& space, const QString& key, const QVariant& value) {
    const bool wasReduced = reducedMotion();
    const bool wasStrong = moreContrast();
    if (!appearance_.take(space, key, unwrapped(value))) return;
    if (reducedMotion() != wasReduced || moreContrast() != wasStrong) Q_EMIT changed();
}

}  // namespace kelvane
