#pragma once

#include <QColor>
#include <QImage>
#include <QQuickItem>
#include <QQuickWindow>
#include <algorithm>
#include <cmath>
#include <string>
#include <unordered_map>
#include <vector>

namespace kelvane::testing {

/// How bright a colour is to the eye, 0 to 1, as WCAG counts.
inline double luminance(const QColor& color) {
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

/// Of two opaque colours, 1 to 21.
inline double contrast(const QColor& one, const QColor& other) {
    const double a = luminance(one) + 0.05;
    const double b = luminance(other) + 0.05;
    return std::max(a, b) / std::min(a, b);
}

inline QColor laidOver(const QColor& under, const QColor& over, double opacity) {
    const double share = over.alphaF() * opacity;
    const auto mix = [share](double a, double b) { return static_cast<float>(a + (b - a) * share); };
    return QColor::fromRgbF(mix(under.redF(), over.redF()), mix(under.greenF(), over.greenF()),
                            mix(under.blueF(), over.blueF()));
}

/// The colour that fills most of a part of a picture: what a text there stands on.
inline QColor groundOf(const QImage& picture, const QRect& part) {
    std::unordered_map<QRgb, int> counts;
    QRgb most = 0;
    const QRect seen = part & picture.rect();
    for (int y = seen.top(); y <= seen.bottom(); ++y)
        for (int x = seen.left(); x <= seen.right(); ++x)
            if (const QRgb color = picture.pixel(x, y); ++counts[color] > counts[most]) most = color;
    return QColor(most);
}

/// Where a window's texts are read: in what stands above a scrim where there is one, as all below it is put aside.
inline const QQuickItem& readPart(const QQuickWindow& window) {
    for (const QQuickItem* item : window.contentItem()->childItems()) {
        if (!item->inherits("QQuickOverlay") || !item->isVisible()) continue;
        for (const QQuickItem* child : item->childItems())
            if (child->isVisible() && child->width() >= window.width() && child->height() >= window.height())
                return *item;
    }
    return *window.contentItem();
}

/// What menus and the like cover of the window below them.
inline std::vector<QRectF> coveredParts(const QQuickWindow& window) {
    std::vector<QRectF> covered;
    for (const QQuickItem* item : window.contentItem()->childItems())
        if (item->inherits("QQuickOverlay"))
            for (const QQuickItem* popup : item->childItems())
                if (popup->isVisible())
                    covered.push_back(popup->mapRectToScene({0, 0, popup->width(), popup->height()}));
    return covered;
}

/// A text that a window shows, and how far it stands out from what it is drawn on.
struct ShownText {
    std::string text;
    double contrast = 0;
    /// Whether all of it that fades has come.
    bool isThere = false;
};

/// The texts of a window that are drawn and enabled, as the window shows them.
inline std::vector<ShownText> shownTexts(QQuickWindow& window) {
    const QImage picture = window.grabWindow();
    const double ratio = window.effectiveDevicePixelRatio();
    const std::vector<QRectF> covered = coveredParts(window);
    std::vector<ShownText> texts;
    const auto walk = [&](const auto& self, const QQuickItem& item, double opacity, bool isAbove, QRectF seen) -> void {
        const double shown = opacity * item.opacity();
        if (!item.isVisible() || shown <= 0.01) return;
        isAbove = isAbove || item.inherits("QQuickOverlay");
        const bool isText =
            item.inherits("QQuickText") || item.inherits("QQuickTextInput") || item.inherits("QQuickTextEdit");
        const QString text = isText ? item.property("text").toString().trimmed() : QString();
        const QRectF place = item.mapRectToScene({0, 0, item.width(), item.height()});
        if (item.clip()) seen &= place;
        const QRect pixels = QRectF(place.topLeft() * ratio, place.size() * ratio).toAlignedRect();
        const bool isCovered =
            !isAbove && std::ranges::any_of(covered, [&](const QRectF& part) { return part.intersects(place); });
        if (!text.isEmpty() && item.isEnabled() && !isCovered && seen.contains(place.center()) &&
            picture.rect().intersects(pixels)) {
            const QColor ground = groundOf(picture, pixels);
            const QColor ink = laidOver(ground, item.property("color").value<QColor>(), shown);
            texts.push_back({text.toStdString(), contrast(ink, ground), shown == 1});
        }
        for (const QQuickItem* child : item.childItems()) self(self, *child, shown, isAbove, seen);
    };
    walk(walk, readPart(window), 1, false, QRectF(QPointF(), QSizeF(window.size())));
    return texts;
}

/// Those of them that stand out by less than `least`: "Saved: 3.9".
inline std::vector<std::string> faintTexts(QQuickWindow& window, double least = 4.5) {
    std::vector<std::string> faint;
    for (const ShownText& shown : shownTexts(window))
        if (shown.contrast < least) faint.push_back(shown.text + ": " + std::to_string(shown.contrast));
    return faint;
}

}  // namespace kelvane::testing
