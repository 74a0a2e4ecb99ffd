#include "ProjectGridLayout.h"

#include <algorithm>
#include <cmath>

namespace kelvane {

int ProjectGridLayout::columns() const {
    const double room = width - 2 * margin;
    return std::max(1, static_cast<int>(std::floor((room + spacing) / (leastWidth + spacing))));
}

double ProjectGridLayout::cardWidth() const {
    const double room = width - 2 * margin;
    return std::max(0.0, (room - spacing * (columns() - 1)) / columns());
}

QRectF ProjectGridLayout::frame(int index) const {
    const int row = index / columns();
    const int column = index % columns();
    return {margin + column * (cardWidth() + spacing), heading + row * (height + rowSpacing), cardWidth(), height};
}

int ProjectGridLayout::neighbour(int index, int count, int columnStep, int rowStep) const {
    if (count <= 0) return -1;
    const int across = columns();
    int next = std::clamp(index, 0, count - 1) + columnStep;
    if (columnStep != 0) return std::clamp(next, 0, count - 1);
    const int rows = (count + across - 1) / across;
    const int row = std::clamp(next / across + rowStep, 0, rows - 1);
    next = row * across + next % across;
    // Below the last row's end: its last card, unless that is the row one comes from.
    if (next >= count) next = row > index / across ? count - 1 : index;
    return next;
}

}  // namespace kelvane
