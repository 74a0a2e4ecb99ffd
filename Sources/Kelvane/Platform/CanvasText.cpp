#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QString>
#include <QTextBoundaryFinder>
#include <QTextLayout>
#include <QTextOption>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

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
QStringList faces(const char* first = nullptr) {
    QStringList names;
    if (first != nullptr) names += QString::fromLatin1(first);
    for (const char* name : {"Liberation Sans", "DejaVu Sans", "Noto Sans", "WenQuanYi Micro Hei", "Noto Color Emoji"})
        names += QString::fromLatin1(name);
    return names;
}

/// A face that can shape a script whose letters change with their neighbours; nothing for the other scripts. Qt tries
/// every face in turn for these and complains about each that can't, so the right one comes first.
const char* shapingFace(QChar::Script script) {
    switch (script) {
        case QChar::Script_Syriac:
            return "Noto Sans Syriac";
        case QChar::Script_Devanagari:
            return "Noto Sans Devanagari";
        case QChar::Script_Bengali:
            return "Noto Sans Bengali";
        case QChar::Script_Gurmukhi:
            return "Noto Sans Gurmukhi";
        case QChar::Script_Gujarati:
            return "Noto Sans Gujarati";
        case QChar::Script_Oriya:
            return "Noto Sans Oriya";
        case QChar::Script_Tamil:
            return "Noto Sans Tamil";
        case QChar::Script_Telugu:
            return "Noto Sans Telugu";
        case QChar::Script_Kannada:
            return "Noto Sans Kannada";
        case QChar::Script_Malayalam:
            return "Noto Sans Malayalam";
        case QChar::Script_Sinhala:
            return "Noto Sans Sinhala";
        case QChar::Script_Khmer:
            return "Noto Sans Khmer";
        case QChar::Script_Nko:
            return "Noto Sans NKo";
        default:
            return nullptr;
    }
}

/// Unhinted and without colour fringes, so that the shapes depend on the face alone.
QFont fontOf(int pixelSize, const char* first = nullptr) {
    QFont font(faces(first));
    font.setPixelSize(pixelSize);
    font.setHintingPreference(QFont::PreferNoHinting);
    font.setStyleStrategy(static_cast<QFont::StyleStrategy>(QFont::PreferAntialias | QFont::NoSubpixelAntialias));
    return font;
}

/// Faces for the stretches of a line that need their own. Signs that all scripts share go with what precedes them, as
/// the marks do that a letter is shaped with.
QList<QTextLayout::FormatRange> shapedStretches(const QString& line, int pixelSize) {
    QList<QTextLayout::FormatRange> ranges;
    const char* current = nullptr;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const auto script = line[i].script();
        const bool isShared = script == QChar::Script_Common || script == QChar::Script_Inherited;
        const char* face = isShared ? current : shapingFace(script);
        if (face != nullptr && face == current) {
            ++ranges.back().length;
        } else if (face != nullptr) {
            QTextLayout::FormatRange range;
            range.start = static_cast<int>(i);
            range.length = 1;
            range.format.setFont(fontOf(pixelSize, face));
            ranges += range;
        }
        current = face;
    }
    return ranges;
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

void drawLine(QImage& layer, const QString& line, QPointF place, int pixelSize, CanvasColor color) {
    QPainter painter(&layer);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.setPen(QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                                    static_cast<float>(color.blue)));

    QTextLayout layout(line, fontOf(pixelSize));
    QTextOption option;
    // A line begins at its place whatever script it begins with.
    option.setTextDirection(Qt::LeftToRight);
    option.setWrapMode(QTextOption::NoWrap);
    layout.setTextOption(option);
    layout.setFormats(shapedStretches(line, pixelSize));
    layout.beginLayout();
    const QTextLine laid = layout.createLine();
    layout.endLayout();
    if (laid.isValid()) layout.draw(&painter, place - QPointF(0, laid.ascent()));
}

/// A premultiplied level laid over another.
std::uint8_t over(int level, int alpha, int below) {
    constexpr int full = 255;
    return static_cast<std::uint8_t>(std::min(level + (below * (full - alpha) + full / 2) / full, full));
}

}  // namespace

void BitmapCanvas::drawText(std::string_view text, double x, double baseline, int pixelSize, CanvasColor color) {
    const QString line = oneLine(text);
    if (line.isEmpty() || pixelSize < 1) return;
    check(qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr,
          "text was drawn without a QGuiApplication");
    const double y = height() - baseline;
    const int top = static_cast<int>(std::floor(y - bandAbove * pixelSize));
    const int bottom = static_cast<int>(std::ceil(y + bandBelow * pixelSize));
    // A layer of its own in the format that Qt draws best; others it would spread over threads.
    QImage layer(width(), bottom - top, QImage::Format_ARGB32_Premultiplied);
    if (layer.isNull()) return;
    layer.fill(Qt::transparent);
    drawLine(layer, line, QPointF(x, y - top), pixelSize, color);
    for (int row = std::max(top, 0); row < std::min(bottom, height()); ++row) {
        const auto* source = reinterpret_cast<const QRgb*>(std::as_const(layer).scanLine(row - top));
        std::uint8_t* target = &image_.pixels[static_cast<std::size_t>(row) * width() * 4];
        for (int column = 0; column < width(); ++column, target += 4) {
            const QRgb ink = source[column];
            if (qAlpha(ink) == 0) continue;
            target[0] = over(qRed(ink), qAlpha(ink), target[0]);
            target[1] = over(qGreen(ink), qAlpha(ink), target[1]);
            target[2] = over(qBlue(ink), qAlpha(ink), target[2]);
        }
    }
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
