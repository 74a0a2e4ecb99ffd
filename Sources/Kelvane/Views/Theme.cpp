#include "Theme.h"

#include <QFontDatabase>

namespace kelvane {

QFont Theme::font(int pixels, QFont::Weight weight) {
    QFont font;
    const QString desktop = QFontDatabase::systemFont(QFontDatabase::GeneralFont).family();
    font.setFamilies({QStringLiteral("Inter"), QStringLiteral("Noto Sans"), QStringLiteral("DejaVu Sans"), desktop});
    font.setPixelSize(pixels);
    font.setWeight(weight);
    return font;
}

}  // namespace kelvane
