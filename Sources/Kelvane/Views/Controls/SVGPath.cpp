#include <cmath>
#include <numbers>

#include "IconShape.h"

namespace kelvane {

namespace {

/// Reads numbers and commands from left to right.
class Words {
public:
    explicit Words(QStringView text) : text_(text) {}

    [[nodiscard]] bool isAtEnd() {
        skipGaps();
        return text_.isEmpty();
    }
    /// The command that stands next; a null character where a number does.
    QChar command() {
        skipGaps();
        if (text_.isEmpty() || !text_.front().isLetter()) return {};
        const QChar found = text_.front();
        text_ = text_.sliced(1);
        return found;
    }
    double number() {
        skipGaps();
        qsizetype length = 0;
        bool hasPoint = false;
        while (length < text_.size()) {
            const QChar next = text_[length];
            const bool isSign = length == 0 && (next == u'-' || next == u'+');
            const bool isPoint = next == u'.' && !hasPoint;
            if (!next.isDigit() && !isSign && !isPoint) break;
            hasPoint = hasPoint || isPoint;
            ++length;
        }
        return taken(length);
    }
    /// One digit, which needs no gap behind it.
    bool flag() {
        skipGaps();
        return taken(1) != 0;
    }
    [[nodiscard]] bool hasFailed() const { return hasFailed_; }

private:
    void skipGaps() {
        while (!text_.isEmpty() && (text_.front().isSpace() || text_.front() == u',')) text_ = text_.sliced(1);
    }
    double taken(qsizetype length) {
        bool isNumber = false;
        const double value = length > text_.size() ? 0 : text_.first(length).toDouble(&isNumber);
        if (!isNumber) {
            hasFailed_ = true;
            text_ = {};
            return 0;
        }
        text_ = text_.sliced(length);
        return value;
    }

    QStringView text_;
    bool hasFailed_ = false;
};

/// Where an arc stands on its ellipse, as a painter's path takes it.
struct Arc {
    QPointF radii;
    bool isLarge = false;
    bool isClockwise = false;
};

void arcTo(QPainterPath& path, Arc arc, QPointF to) {
    const QPointF from = path.currentPosition();
    if (from == to) return;
    // On the unit circle, whose centre lies beside the middle of the chord.
    const QPointF half((from.x() - to.x()) / 2 / arc.radii.x(), (from.y() - to.y()) / 2 / arc.radii.y());
    const double chord = std::hypot(half.x(), half.y());
    // Radii that are too short are stretched to reach.
    if (chord > 1) arc.radii *= chord;
    const double away = chord >= 1 ? 0 : std::sqrt(1 / (chord * chord) - 1);
    const double side = arc.isLarge == arc.isClockwise ? -away : away;
    const QPointF unit = chord > 1 ? half / chord : half;
    const QPointF centre(side * unit.y(), -side * unit.x());
    const QPointF middle((from.x() + to.x()) / 2 + centre.x() * arc.radii.x(),
                         (from.y() + to.y()) / 2 + centre.y() * arc.radii.y());
    const auto angle = [](QPointF on) { return std::atan2(-on.y(), on.x()) * 180 / std::numbers::pi; };
    const double begin = angle(unit - centre);
    double sweep = angle(-unit - centre) - begin;
    if (arc.isClockwise && sweep > 0) sweep -= 360;
    if (!arc.isClockwise && sweep < 0) sweep += 360;
    path.arcTo({middle - arc.radii, middle + arc.radii}, begin, sweep);
}

/// Appends one command with its numbers; false for one that isn't known.
bool append(QPainterPath& path, QChar command, Words& words) {
    const QPointF origin = command.isLower() ? path.currentPosition() : QPointF();
    const auto point = [&words, origin] {
        const double x = words.number();
        return origin + QPointF(x, words.number());
    };
    switch (command.toUpper().unicode()) {
        case 'M':
            path.moveTo(point());
            return true;
        case 'L':
            path.lineTo(point());
            return true;
        case 'H':
            path.lineTo(origin.x() + words.number(), path.currentPosition().y());
            return true;
        case 'V':
            path.lineTo(path.currentPosition().x(), origin.y() + words.number());
            return true;
        case 'C': {
            const QPointF first = point();
            const QPointF second = point();
            path.cubicTo(first, second, point());
            return true;
        }
        case 'A': {
            Arc arc;
            arc.radii.setX(words.number());
            arc.radii.setY(words.number());
            if (words.number() != 0 || !(arc.radii.x() > 0 && arc.radii.y() > 0)) return false;
            arc.isLarge = words.flag();
            arc.isClockwise = words.flag();
            arcTo(path, arc, point());
            return true;
        }
        case 'Z':
            path.closeSubpath();
            return true;
        default:
            return false;
    }
}

}  // namespace

std::optional<QPainterPath> svgPath(QStringView description) {
    Words words(description);
    QPainterPath path;
    QChar command;
    while (!words.isAtEnd()) {
        const QChar next = words.command();
        // Numbers without a command repeat the one before; those behind the first point of a line go on with it.
        if (next.isNull() && command.toUpper() == u'Z') return std::nullopt;
        if (!next.isNull())
            command = next;
        else if (command.toUpper() == u'M')
            command = command.isLower() ? u'l' : u'L';
        if (!append(path, command, words) || words.hasFailed()) return std::nullopt;
    }
    return path;
}

}  // namespace kelvane
