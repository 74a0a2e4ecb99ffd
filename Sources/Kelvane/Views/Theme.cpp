#include "Theme.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <algorithm>

namespace kelvane {

Theme::Theme(QObject* parent) : QObject(parent) { themes_.push_back(this); }

Theme::~Theme() { std::erase(themes_, this); }

void Theme::setAppearance(Appearance appearance) {
    if (appearance == appearance_) return;
    appearance_ = appearance;
    const bool isStrong = appearance.moreContrast;
    text2 = themeColor(isStrong ? 0xd3d6db : 0xa9aeb6);
    text3 = themeColor(isStrong ? 0xb9bec6 : 0x8a9099);
    line = themeColor(0xffffff, isStrong ? 0.24 : 0.08);
    lineStrong = themeColor(0xffffff, isStrong ? 0.4 : 0.16);
    groove = themeColor(isStrong ? 0x6a7079 : 0x3a3e45);
    // A copy, as what follows may make or end one.
    for (Theme* theme : std::vector(themes_))
        if (std::ranges::find(themes_, theme) != themes_.end()) Q_EMIT theme->appearanceChanged();
}

void Theme::readyFonts() {
    for (const QFont& font : {captionFont(), bodyFont(), buttonFont(), titleFont(), cardTitleFont()})
        QFontMetricsF(font).horizontalAdvance(QStringLiteral("Projects 1,0"));
}

QFont Theme::font(int pixels, QFont::Weight weight) {
    QFont font;
    const QString desktop = QFontDatabase::systemFont(QFontDatabase::GeneralFont).family();
    font.setFamilies({QStringLiteral("Inter"), QStringLiteral("Noto Sans"), QStringLiteral("DejaVu Sans"), desktop});
    font.setPixelSize(pixels);
    font.setWeight(weight);
    return font;
}

}  // namespace kelvane
