#pragma once

#include <QDBusVariant>
#include <QObject>
#include <QString>
#include <optional>

class QDBusConnection;

namespace kelvane {

/// What desktops say about how programs look and move, each as far as it is known. A plain value.
struct AppearanceSettings {
    /// Of all desktops, "contrast" in the namespace "org.freedesktop.appearance": 1 where more is wanted.
    std::optional<unsigned int> contrast;
    /// Of all desktops, "reduced-motion" in the namespace "org.freedesktop.appearance": 1 where it is wanted.
    std::optional<unsigned int> reducedMotion;
    /// GNOME's, "enable-animations" in "org.gnome.desktop.interface".
    std::optional<bool> enableAnimations;
    /// KDE's, "AnimationDurationFactor" in "org.kde.kdeglobals.KDE".
    std::optional<double> durationFactor;

    /// Takes what one of these keys is set to; whether it is one, and its value one that it can have.
    bool take(const QString& space, const QString& key, const QVariant& value);
    /// Whether motion is to be reduced: what all desktops say counts first, then GNOME's word, then KDE's.
    [[nodiscard]] bool isMotionReduced() const;
    [[nodiscard]] bool wantsMoreContrast() const { return contrast == 1; }
    bool operator==(const AppearanceSettings&) const = default;
};

/// The desktop's settings, asked for through its portal and followed while they change. Until the portal has answered,
/// and where there is none, nothing is set. Nothing waits for it. The main thread.
class DesktopSettings final : public QObject {
    Q_OBJECT

public:
    /// Asks the portal of the user's session, where there is a session.
    DesktopSettings();
    explicit DesktopSettings(const QDBusConnection& bus);

    [[nodiscard]] bool reducedMotion() const { return appearance_.isMotionReduced(); }
    [[nodiscard]] bool moreContrast() const { return appearance_.wantsMoreContrast(); }

Q_SIGNALS:
    /// What is answered above is something else.
    void changed();

private Q_SLOTS:
    void followSetting(const QString& space, const QString& key, const QDBusVariant& value);

private:
    void follow(const QDBusConnection& bus);
    void take(const QString& space, const QString& key, const QVariant& value);

    AppearanceSettings appearance_;
};

}  // namespace kelvane
