#pragma once

#include <ostream>

#include "Media/EditedMedia.h"
#include "Media/ExportSettings.h"
#include "Support/FakeMediaPlatform.h"

/// How GoogleTest shows media values. Include it in every test file of this folder.
namespace kelvane {

inline void PrintTo(const MediaTime& time, std::ostream* out) { *out << testing::FakeMediaPlatform::describe(time); }
inline void PrintTo(const MediaTimeRange& range, std::ostream* out) {
    *out << testing::FakeMediaPlatform::describe(range);
}
inline void PrintTo(const Size& size, std::ostream* out) { *out << size.width << "x" << size.height; }
inline void PrintTo(const Error& error, std::ostream* out) { *out << error.message; }
inline void PrintTo(const AffineTransform& t, std::ostream* out) {
    *out << "(" << t.a << " " << t.b << " " << t.c << " " << t.d << " " << t.tx << " " << t.ty << ")";
}
inline void PrintTo(const GainPoint& point, std::ostream* out) {
    *out << point.gain << " from " << testing::FakeMediaPlatform::describe(point.at);
}
inline void PrintTo(const ExportCapabilities& capabilities, std::ostream* out) {
    *out << capabilities.maximumSize.width << "x" << capabilities.maximumSize.height << " at "
         << capabilities.frameRate;
}

}  // namespace kelvane

namespace kelvane::testing {

/// The failure of `result`; an empty one, which equals no real failure, when it succeeded.
template <class T>
Error errorOf(const Result<T>& result) {
    return result ? Error() : result.error();
}

}  // namespace kelvane::testing
