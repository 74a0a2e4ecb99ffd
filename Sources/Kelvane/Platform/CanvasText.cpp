#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QString>
#include <QTextBoundaryFinder>
#include <algorithm>

#include "BitmapCanvas.h"
#include "Support/Error.h"

namespace kelvane {

namespace {

/// A line's band, as shares of its face's size: above the baseline room for two stacked marks on a capital, below it
/// for the deepest letters of any script, and little enough that lines of the sheets don't meet.
constexpr double bandAbove = 1.45;
constexpr double bandBelow = 0.6;

/// Liberation Sans has the measures of Helvetica. The others are named so that the same faces are taken on each
/// machine; for what they lack the system's own order decides.
QStringList faces() {
    return {QStringLiteral("Liberation Sans"), QStringLiteral("DejaVu Sans"), QStringLiteral("Noto Sans"),
            QStringLiteral("WenQuanYi Micro Hei"), QStringLiteral("Noto Color Emoji")};
}

/// Unhinted and without colour fringes, so that the shapes depend on the face alone.
QFont font(int pixelSize) {
    QFont font(faces());
    font.setPixelSize(pixelSize);
    font.setHintingPreference(QFont::PreferNoHinting);
    font.setStyleStrategy(static_cast<QFont::StyleStrategy>(QFont::PreferAntialias | QFont::NoSubpixelAntialias));
    return font;
}

bool turnsDirection(char16_t unit) {
    return unit == 0x061C || unit == 0x200E || unit == 0x200F || (unit >= 0x202A && unit <= 0x202E) ||
           (unit >= 0x2066 && unit <= 0x2069);
}

QString oneLine(std::string_view text) {
    const QString whole = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    QString line;
    line.reserve(whole.size());
    for (qsizetype i = 0; i < whole.size(); ++i) {
        const QChar unit = whole[i];
        if (turnsDirection(unit.unicode())) continue;
        const auto category = unit.category();
        if (unit == u'\r' && i + 1 < whole.size() && whole[i + 1] == u'\n') continue;
        if (category == QChar::Other_Control || category == QChar::Separator_Line ||
            category == QChar::Separator_Paragraph) {
            line += u' ';
        } else {
            // The place of an embedded object, which a line of text has none of.
            line += unit == QChar::ObjectReplacementCharacter ? QChar(QChar::ReplacementCharacter) : unit;
        }
    }
    return line;
}

}  // namespace

void BitmapCanvas::drawText(std::string_view text, double x, double baseline, int pixelSize, CanvasColor color) {
    const QString line = oneLine(text);
    if (line.isEmpty() || pixelSize < 1) return;
    check(qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr,
          "text was drawn without a QGuiApplication");
    QImage bitmap(image_.pixels.data(), width(), height(), width() * 4, QImage::Format_RGBX8888);
    QPainter painter(&bitmap);
    const double y = height() - baseline;
    painter.setClipRect(QRectF(0, y - bandAbove * pixelSize, width(), (bandAbove + bandBelow) * pixelSize));
    painter.setRenderHint(QPainter::TextAntialiasing);
    // A line begins at `x` whatever script it begins with.
    painter.setLayoutDirection(Qt::LeftToRight);
    painter.setFont(font(pixelSize));
    painter.setPen(QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                                    static_cast<float>(color.blue)));
    painter.drawText(QPointF(x, y), line);
}

std::string firstCharacters(std::string_view text, std::size_t count) {
    const QString whole = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, whole);
    qsizetype end = 0;
    for (std::size_t i = 0; i < count && end < whole.size(); ++i) {
        const qsizetype next = finder.toNextBoundary();
        if (next < 0) break;
        end = next;
    }
    return whole.left(end).toStdString();
}

}  // namespace kelvane
