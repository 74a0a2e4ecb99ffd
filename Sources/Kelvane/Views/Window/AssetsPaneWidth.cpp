#include "AssetsPaneWidth.h"

#include <algorithm>

namespace kelvane {

double AssetsPaneWidth::held(double width, double rowWidth) {
    return std::max(std::min(width, rowWidth - leftToPreview), least);
}

}  // namespace kelvane
